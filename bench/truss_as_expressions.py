#!/usr/bin/python3
"""Prints a truss problem file of examples/ (ten_bar_truss.toml, ...) with
its analysis program replaced by equations: the stiffness matrix, its
Cholesky factor, the displacements and the stresses written out as the
problem file's own expressions, which give the same responses as truss.py.

The search over this twin is the search over the original without a process
per analysis, so it shows in seconds how many subtasks and analyses the
original takes (each of its analyses then costs one run of the program):

  bench/truss_as_expressions.py examples/ten_bar_truss.toml > /tmp/twin.toml
  build/default/runner/discrete solve /tmp/twin.toml --db /tmp/twin.db
"""
import importlib
import os
import re
import sys
import tomllib


def symbolic_solve(truss, areas):
    """Equations (name, expression) of the displacements and stresses of the
    truss for areas given as variable names, and the displacement and stress
    names that stand for the results."""
    size = len(truss.free)
    stiffness = [[[] for _ in range(size)] for _ in range(size)]
    for member, area in enumerate(areas):
        length, cosines = truss.member_geometry(member)
        signs = [-c for c in cosines] + cosines
        dofs = truss.member_dofs(member)
        for i, row in enumerate(dofs):
            for j, column in enumerate(dofs):
                factor = truss.modulus / length * signs[i] * signs[j]
                if row is not None and column is not None and column <= row and factor != 0:
                    stiffness[row][column].append("%r*%s" % (factor, area))
    equations, factor = [], {}
    for j in range(size):
        for i in range(j, size):
            terms = " + ".join(stiffness[i][j]) or "0"
            products = ["L%d_%d*L%d_%d" % (i, k, j, k) for k in range(j) if (i, k) in factor and (j, k) in factor]
            if terms == "0" and not products:
                continue
            value = "(%s)%s" % (terms, "".join(" - " + p for p in products))
            factor[(i, j)] = True
            equations.append(("L%d_%d" % (i, j), "sqrt(%s)" % value if i == j else "(%s) / L%d_%d" % (value, j, j)))
    for i, dof in enumerate(truss.free):
        rest = "".join(" - L%d_%d*w%d" % (i, k, k) for k in range(i) if (i, k) in factor)
        equations.append(("w%d" % i, "(%r%s) / L%d_%d" % (truss.loads.get(dof, 0.0), rest, i, i)))
    for i in reversed(range(size)):
        rest = "".join(" - L%d_%d*u%d" % (k, i, k) for k in range(i + 1, size) if (k, i) in factor)
        equations.append(("u%d" % i, "(w%d%s) / L%d_%d" % (i, rest, i, i)))
    displacement = {dof: "u%d" % index for dof, index in truss.unknown.items()}
    stresses = []
    for member in range(len(truss.members)):
        length, cosines = truss.member_geometry(member)
        first, second = truss.members[member]
        terms = []
        for axis, c in enumerate(cosines):
            for node, sign in ((second, 1), (first, -1)):
                if (node, axis) in displacement and c != 0:
                    terms.append("%r*%s" % (sign * truss.modulus * c / length, displacement[(node, axis)]))
        equations.append(("stress%d" % member, " + ".join(terms) or "0"))
        stresses.append("stress%d" % member)
    return equations, displacement, stresses


def main(path):
    text = open(path).read()
    problem = tomllib.loads(text)
    (analysis,) = problem["analyses"].values()
    program = os.path.splitext(os.path.basename(analysis["command"][0]))[0]
    sys.path.insert(0, os.path.dirname(os.path.abspath(path)))
    module = importlib.import_module(program)
    equations = []

    def solve(areas):
        found, displacement, stresses = symbolic_solve(module.TRUSS, areas)
        equations.extend(found)
        return displacement, stresses

    # analyse() given the variables' names for values hands them to the
    # solve as the members' areas and names its responses after the results.
    module.TRUSS.solve = solve
    responses = module.analyse({name: name for name in problem["variables"]})
    twin = re.sub(r"^\[analyses\.\w+\]\n(?:[^\[].*\n|\n)*", "", text, flags=re.MULTILINE)
    twin = twin.replace('name = "%s"' % problem["name"], 'name = "%s_expressions"' % problem["name"])
    print(twin + "\n[equations]")
    for name, expression in equations + list(responses.items()):
        print('%s = "%s"' % (name, expression))

if __name__ == "__main__":
    main(sys.argv[1])
