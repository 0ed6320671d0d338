#!/usr/bin/python3
"""Member stresses and node displacements of the 25-bar space truss (a
transmission tower), as used by twenty_five_bar_truss.toml.

Nodes in inches: 1 (-37.5, 0, 200), 2 (37.5, 0, 200), 3 (-37.5, 37.5, 100),
4 (37.5, 37.5, 100), 5 (37.5, -37.5, 100), 6 (-37.5, -37.5, 100), and the
supports 7 (-100, 100, 0), 8 (100, 100, 0), 9 (100, -100, 0),
10 (-100, -100, 0), pinned. Members (the numbering of the literature) and
their eight groups of equal area:

  A1: 1 (1-2)
  A2: 2 (1-4), 3 (2-3), 4 (1-5), 5 (2-6)
  A3: 6 (2-4), 7 (2-5), 8 (1-3), 9 (1-6)
  A4: 10 (3-6), 11 (4-5)
  A5: 12 (3-4), 13 (5-6)
  A6: 14 (3-10), 15 (6-7), 16 (4-9), 17 (5-8)
  A7: 18 (3-8), 19 (4-7), 20 (6-9), 21 (5-10)
  A8: 22 (3-7), 23 (4-8), 24 (5-9), 25 (6-10)

Loads in kips: node 1 (1, -10, -10), node 2 (0, -10, -10), node 3 (0.5, 0, 0),
node 6 (0.6, 0, 0). E = 1e4 ksi.

Reads the group areas A1..A8 (in^2) from input.json; writes the stresses
s1..s25 (ksi, tension positive) and the displacements x1, y1, z1 .. x6, y6, z6
(in) of the free nodes to output.json.
"""
from truss import CTruss, run_analysis

GROUPS = [[1], [2, 3, 4, 5], [6, 7, 8, 9], [10, 11], [12, 13], [14, 15, 16, 17], [18, 19, 20, 21],
          [22, 23, 24, 25]]

TRUSS = CTruss(
    nodes=[(-37.5, 0.0, 200.0), (37.5, 0.0, 200.0), (-37.5, 37.5, 100.0), (37.5, 37.5, 100.0),
           (37.5, -37.5, 100.0), (-37.5, -37.5, 100.0), (-100.0, 100.0, 0.0), (100.0, 100.0, 0.0),
           (100.0, -100.0, 0.0), (-100.0, -100.0, 0.0)],
    members=[(1, 2), (1, 4), (2, 3), (1, 5), (2, 6), (2, 4), (2, 5), (1, 3), (1, 6), (3, 6), (4, 5), (3, 4),
             (5, 6), (3, 10), (6, 7), (4, 9), (5, 8), (3, 8), (4, 7), (6, 9), (5, 10), (3, 7), (4, 8), (5, 9),
             (6, 10)],
    fixed={(node, axis) for node in (7, 8, 9, 10) for axis in range(3)},
    loads={(1, 0): 1.0, (1, 1): -10.0, (1, 2): -10.0, (2, 1): -10.0, (2, 2): -10.0, (3, 0): 0.5,
           (6, 0): 0.6},
    modulus=1.0e4)


def analyse(design):
    """The responses of a design: stresses and displacements by name."""
    areas = [0.0] * len(TRUSS.members)
    for group, members in enumerate(GROUPS, 1):
        for member in members:
            areas[member - 1] = design["A%d" % group]
    displacement, stresses = TRUSS.solve(areas)
    named = {"s%d" % (member + 1): stress for member, stress in enumerate(stresses)}
    for node in range(1, 7):
        for axis, letter in enumerate("xyz"):
            named["%s%d" % (letter, node)] = displacement[(node, axis)]
    return named


if __name__ == "__main__":
    run_analysis(analyse)
