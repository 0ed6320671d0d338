#!/usr/bin/python3
"""Member stresses and node displacements of the ten-bar plane cantilever truss.

Venkayya's truss (AIAA Journal 9 (1971) 2406-2414), as used by
ten_bar_truss.toml: two bays of 360 in, nodes

    5 ---(1)--- 3 ---(2)--- 1          y
    |  \\     /  |  \\     /  |          |
   (fixed) (7)(8) (5)  (9)(10)  (6)      +-- x
    |  /     \\  |  /     \\  |
    6 ---(3)--- 4 ---(4)--- 2
                 100 kips    100 kips (down)

node 1 at (720, 360), 2 at (720, 0), 3 at (360, 360), 4 at (360, 0), 5 at
(0, 360), 6 at (0, 0) in inches; nodes 5 and 6 are pinned to the wall.
Members (the numbering of the literature): 1: 3-5, 2: 1-3, 3: 4-6, 4: 2-4,
5: 3-4, 6: 1-2, 7: 4-5, 8: 3-6, 9: 2-3, 10: 1-4. E = 1e4 ksi.

Reads the areas A1..A10 (in^2) from input.json; writes the stresses s1..s10
(ksi, tension positive) and the displacements x1, y1 .. x4, y4 (in) of the
free nodes to output.json.
"""
from truss import CTruss, run_analysis

BAY = 360.0  # in
LOAD = 100.0  # kips, down at nodes 2 and 4

TRUSS = CTruss(
    nodes=[(2 * BAY, BAY), (2 * BAY, 0.0), (BAY, BAY), (BAY, 0.0), (0.0, BAY), (0.0, 0.0)],
    members=[(3, 5), (1, 3), (4, 6), (2, 4), (3, 4), (1, 2), (4, 5), (3, 6), (2, 3), (1, 4)],
    fixed={(5, 0), (5, 1), (6, 0), (6, 1)},
    loads={(2, 1): -LOAD, (4, 1): -LOAD},
    modulus=1.0e4)


def analyse(design):
    """The responses of a design: stresses and displacements by name."""
    displacement, stresses = TRUSS.solve([design["A%d" % member] for member in range(1, 11)])
    named = {"s%d" % (member + 1): stress for member, stress in enumerate(stresses)}
    for node in range(1, 5):
        named["x%d" % node] = displacement[(node, 0)]
        named["y%d" % node] = displacement[(node, 1)]
    return named


if __name__ == "__main__":
    run_analysis(analyse)
