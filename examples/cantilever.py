#!/usr/bin/python3
"""Stress and tip deflection of a cantilever of rectangular section under a tip load.

Reads the design from input.json ({"b": width, "h": height}, mm) and writes
output.json ({"stress": MPa, "deflection": mm}), as docs/problem-format.md
describes for analysis programs.
"""
import json
import os

LENGTH = 1000.0  # mm
LOAD = 10000.0  # N
MODULUS = 200000.0  # MPa (steel)

with open(os.environ["DISCRETE_INPUT"]) as source:
    design = json.load(source)
b, h = design["b"], design["h"]
stress = 6 * LOAD * LENGTH / (b * h**2)
deflection = 4 * LOAD * LENGTH**3 / (MODULUS * b * h**3)
with open(os.environ["DISCRETE_OUTPUT"], "w") as target:
    json.dump({"stress": stress, "deflection": deflection}, target)
