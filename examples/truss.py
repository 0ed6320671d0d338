"""Linear-elastic analysis of pin-jointed trusses by the direct stiffness method.

Shared by the truss analysis programs of this folder (ten_bar_truss.py,
twenty_five_bar_truss.py): each describes its truss as a CTruss, maps a
design to its responses in analyse(design) and hands that to
run_analysis(). Plain Python, no packages beyond the standard library: an
analysis program runs once per design evaluated, so a quick start matters
more than speed on large systems (the stiffness matrices here have 8 and 18
unknowns).
"""
import json
import math
import os


class CTruss:
    """A truss: nodes with coordinates (2 or 3 per node), members between two
    nodes each, the fixed degrees of freedom and the nodal loads.

    nodes: list of coordinate tuples; node k of the text is nodes[k - 1].
    members: list of (first node, second node) by node number; the methods
      take a member's index in this list (member k of the text is k - 1).
    fixed: set of (node, axis) pairs held in place, axis 0 = x, 1 = y, 2 = z.
    loads: dict (node, axis) -> force.
    """

    def __init__(self, nodes, members, fixed, loads, modulus):
        self.nodes = nodes
        self.members = members
        self.fixed = fixed
        self.loads = loads
        self.modulus = modulus
        self.dimension = len(nodes[0])
        self.free = [(node, axis) for node in range(1, len(nodes) + 1)
                     for axis in range(self.dimension) if (node, axis) not in fixed]
        self.unknown = {dof: index for index, dof in enumerate(self.free)}

    def member_geometry(self, member):
        """Length and direction cosines of a member."""
        first, second = self.members[member]
        delta = [b - a for a, b in zip(self.nodes[first - 1], self.nodes[second - 1])]
        length = math.sqrt(sum(d * d for d in delta))
        return length, [d / length for d in delta]

    def solve(self, areas):
        """Displacements {(node, axis): value} of the free degrees of freedom
        and the axial stress of each member (tension positive) under the loads.

        Raises ValueError when an area is not positive or the stiffness matrix
        is singular (a mechanism).
        """
        if any(not area > 0 for area in areas):
            raise ValueError("every cross-sectional area must be positive")
        size = len(self.free)
        stiffness = [[0.0] * size for _ in range(size)]
        for member, area in enumerate(areas):
            length, cosines = self.member_geometry(member)
            factor = self.modulus * area / length
            dofs = self.member_dofs(member)
            signs = [-c for c in cosines] + cosines
            for i, row in enumerate(dofs):
                if row is None:
                    continue
                for j, column in enumerate(dofs):
                    if column is not None:
                        stiffness[row][column] += factor * signs[i] * signs[j]
        forces = [self.loads.get(dof, 0.0) for dof in self.free]
        solution = _solve_symmetric_positive(stiffness, forces)
        displacement = {dof: solution[index] for dof, index in self.unknown.items()}
        stresses = []
        for member in range(len(self.members)):
            length, cosines = self.member_geometry(member)
            first, second = self.members[member]
            elongation = sum(
                c * (displacement.get((second, axis), 0.0) - displacement.get((first, axis), 0.0))
                for axis, c in enumerate(cosines))
            stresses.append(self.modulus * elongation / length)
        return displacement, stresses

    def member_dofs(self, member):
        """Unknown indices of a member's end displacements (None where fixed),
        first node's axes, then the second's."""
        ends = self.members[member]
        return [self.unknown.get((node, axis)) for node in ends for axis in range(self.dimension)]


def _solve_symmetric_positive(matrix, rhs):
    """Solves matrix * x = rhs by Cholesky factorisation (matrix is changed)."""
    size = len(rhs)
    for j in range(size):
        pivot = matrix[j][j] - sum(matrix[j][k] ** 2 for k in range(j))
        if not pivot > 1e-12 * matrix[j][j]:
            raise ValueError("the stiffness matrix is singular: the truss is a mechanism")
        matrix[j][j] = math.sqrt(pivot)
        for i in range(j + 1, size):
            matrix[i][j] = (matrix[i][j] - sum(matrix[i][k] * matrix[j][k] for k in range(j))) / matrix[j][j]
    forward = []
    for i in range(size):
        forward.append((rhs[i] - sum(matrix[i][k] * forward[k] for k in range(i))) / matrix[i][i])
    solution = [0.0] * size
    for i in reversed(range(size)):
        solution[i] = (forward[i] - sum(matrix[k][i] * solution[k] for k in range(i + 1, size))) / matrix[i][i]
    return solution


def run_analysis(analyse):
    """The analysis-program exchange (docs/problem-format.md, "Analyses"):
    reads the design (variable name -> value) from $DISCRETE_INPUT and writes
    analyse(design), a dict of response name -> number, to $DISCRETE_OUTPUT.
    An error leaves no output.json and exits with status 1, which the search
    records as a failed evaluation."""
    with open(os.environ["DISCRETE_INPUT"]) as source:
        design = json.load(source)
    results = analyse(design)
    with open(os.environ["DISCRETE_OUTPUT"], "w") as target:
        json.dump(results, target)
