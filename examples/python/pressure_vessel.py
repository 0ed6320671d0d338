#!/usr/bin/env python3
"""Sandgren's pressure vessel (examples/pressure_vessel.toml) defined and
solved from Python: the objective and the volume constraint are Python
functions, the other constraints expressions. Published best design: Ts =
0.8125, Th = 0.4375, R = 42.0984456, L = 176.6365958, cost 6059.7143.

    python3 pressure_vessel.py [DATABASE]
"""

import math
import sys

import discrete


def cost(x):
    Ts, Th, R, L = x["Ts"], x["Th"], x["R"], x["L"]
    return 0.6224 * Ts * R * L + 1.7781 * Th * R**2 + 3.1661 * Ts**2 * L + 19.84 * Ts**2 * R


def volume(x):
    return math.pi * x["R"] ** 2 * x["L"] + 4 / 3 * math.pi * x["R"] ** 3


plate = discrete.Range(0.0625, 6.1875, 0.0625)  # rolled plate: multiples of 1/16 in
problem = discrete.Problem(
    "pressure_vessel",
    variables=[
        discrete.Variable("Ts", set="plate", start=1.125, units="in"),
        discrete.Variable("Th", set="plate", start=0.625, units="in"),
        discrete.Variable("R", "continuous", 10, 200, start=50, units="in"),
        discrete.Variable("L", "continuous", 10, 200, start=150, units="in"),
    ],
    sets={"plate": plate},
    objective=discrete.Objective(cost, name="cost", scale=1000),
    constraints={
        "shell": "0.0193*R - Ts <= 0",
        "head": "0.00954*R - Th <= 0",
        "volume": discrete.Constraint(volume, ">=", 1296000, scale=1296000),
        "length": discrete.Constraint("L <= 240", scale=240),
    },
    tolerance=1e-6,
)

if __name__ == "__main__":
    result = discrete.solve(problem, database=sys.argv[1] if len(sys.argv) > 1 else None)
    print(result.status, "- feasible discrete design:", result.discrete_feasible)
    for name, value in result.design.items():
        print(f"  {name:3} = {value:.7g}")
    print(f"  cost = {result.objective:.7f} after {result.subtasks} subtasks "
          f"and {result.evaluations} evaluations of Python functions")
    print("database:", result.database)
