#!/usr/bin/env python3
"""A cantilever beam of rectangular section b x h (mm) under a tip load,
lightest within a stress and a deflection limit: examples/cantilever.toml,
with its analysis program (examples/cantilever.py) as a Python function that
returns two responses at once. The width comes in whole millimetres.

    python3 cantilever.py [DATABASE]
"""

import sys

import discrete

LOAD = 10_000.0  # N at the tip
LENGTH = 1_000.0  # mm
YOUNG = 200_000.0  # N/mm^2


def beam(x):
    """Stress at the root (N/mm^2) and tip deflection (mm) of the beam."""
    b, h = x["b"], x["h"]
    inertia = b * h**3 / 12
    return {"stress": LOAD * LENGTH * (h / 2) / inertia,
            "deflection": LOAD * LENGTH**3 / (3 * YOUNG * inertia)}


problem = discrete.Problem(
    "cantilever",
    variables=[discrete.Variable("b", "integer", 10, 50, start=30),
               discrete.Variable("h", "continuous", 20, 200, start=100)],
    analyses=[discrete.Analysis(beam, writes=["stress", "deflection"])],
    objective="b*h",
    constraints={"strength": discrete.Constraint("stress <= 200", scale=200),
                 "stiffness": discrete.Constraint("deflection <= 5", scale=5)})

if __name__ == "__main__":
    result = discrete.solve(problem, database=sys.argv[1] if len(sys.argv) > 1 else None)
    print(result.status, "- feasible discrete design:", result.discrete_feasible)
    print(f"  b = {result.design['b']:g} mm, h = {result.design['h']:.4g} mm, "
          f"area {result.objective:.6g} mm^2")
    print(f"  {result.evaluations} evaluations of beam(); database {result.database}")
