#!/usr/bin/python3
"""Checks the published design of a problem file whose variables are all set
variables and whose responses come from one analysis program of this folder
(ten_bar_truss.toml, twenty_five_bar_truss.toml):

- evaluates the design given by the variables' `reference` values through the
  analysis program's analyse() and the file's own objective and constraints,
  and prints its objective, its largest scaled constraint value and the
  nearest constraints;
- searches its neighbourhood: every design that moves one or two variables by
  up to RADIUS positions in their sets, or three variables by one, and
  prints each one that is feasible and better.

Usage: truss_neighbourhood.py PROBLEM.toml
Exit status 0 when the published design is feasible and no better feasible
neighbour exists, 1 otherwise.
"""
import importlib
import itertools
import math
import os
import sys
import tomllib

RADIUS = 5  # set positions a variable moves in the one- and two-variable moves
FUNCTIONS = {name: getattr(math, name) for name in ("sqrt", "exp", "log", "sin", "cos", "tan")}
FUNCTIONS.update(abs=abs, min=min, max=max, pi=math.pi)


def python_expression(text):
    """A problem file's expression as Python: its power operator is ^."""
    return compile(text.strip().replace("^", "**"), "<expression>", "eval")


class CProblem:
    def __init__(self, path):
        with open(path, "rb") as source:
            problem = tomllib.load(source)
        (analysis,) = problem["analyses"].values()
        program = os.path.basename(analysis["command"][0])
        sys.path.insert(0, os.path.dirname(os.path.abspath(path)))
        self.analyse = importlib.import_module(os.path.splitext(program)[0]).analyse
        self.names = list(problem["variables"])
        self.sets = [problem["sets"][variable["set"]] for variable in problem["variables"].values()]
        self.published = [variable["reference"] for variable in problem["variables"].values()]
        objective = problem["objective"]
        self.objective = python_expression(objective["expression"] if isinstance(objective, dict) else objective)
        self.equations = {name: python_expression(text) for name, text in problem.get("equations", {}).items()}
        self.constraints = {}
        for name, constraint in problem["constraints"].items():
            text, scale = (constraint["expression"], constraint.get("scale", 1)) \
                if isinstance(constraint, dict) else (constraint, 1)
            operator = "<=" if "<=" in text else ">="
            left, right = text.split(operator)
            sign = 1 if operator == "<=" else -1
            self.constraints[name] = (python_expression(left), sign, eval(python_expression(right)), scale)
        self.tolerance = problem.get("tolerance", 1e-6)

    def evaluate(self, values):
        """Objective and scaled constraint values {name: value} of a design."""
        scope = dict(FUNCTIONS, **dict(zip(self.names, values)))
        scope.update(self.analyse(dict(zip(self.names, values))))
        for name, expression in self.equations.items():
            scope[name] = eval(expression, scope)
        scaled = {name: sign * (eval(left, scope) - right) / scale
                  for name, (left, sign, right, scale) in self.constraints.items()}
        return eval(self.objective, scope), scaled

    def neighbours(self):
        """Designs near the published one, as lists of values."""
        positions = [values.index(value) for values, value in zip(self.sets, self.published)]
        for count in (1, 2, 3):
            steps = [s for s in range(-RADIUS, RADIUS + 1) if s] if count < 3 else [-1, 1]
            for chosen in itertools.combinations(range(len(self.names)), count):
                for shift in itertools.product(steps, repeat=count):
                    moved = list(positions)
                    for variable, step in zip(chosen, shift):
                        moved[variable] += step
                    if all(0 <= p < len(values) for p, values in zip(moved, self.sets)):
                        yield [values[p] for values, p in zip(self.sets, moved)]


def main(path):
    problem = CProblem(path)
    objective, scaled = problem.evaluate(problem.published)
    worst = max(scaled.values())
    print("published design: objective %.7f, largest scaled constraint value %.3e (%s)"
          % (objective, worst, "feasible" if worst <= problem.tolerance else "INFEASIBLE"))
    for name, value in sorted(scaled.items(), key=lambda item: -item[1])[:3]:
        print("  %s: %.6f" % (name, value))
    better, searched = 0, 0
    for design in problem.neighbours():
        searched += 1
        candidate, candidate_scaled = problem.evaluate(design)
        if candidate < objective and max(candidate_scaled.values()) <= problem.tolerance:
            better += 1
            print("better feasible neighbour: objective %.7f at %s" % (candidate, design))
    print("%d neighbours searched, %d better and feasible" % (searched, better))
    return 0 if worst <= problem.tolerance and better == 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
