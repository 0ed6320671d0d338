#!/usr/bin/env python3
"""Checks the best known designs of the benchmark problems, independently of
the program `discrete`.

For every problem file (benchmarks/*.toml unless files are named):
  1. the design given by the variables' `reference` values is evaluated with
     the file's own expressions: its objective must equal the file's
     [reference] objective (relative 1e-6), it must meet every constraint
     within the file's tolerance, lie within the bounds and take allowed
     values for its discrete variables;
  2. where the discrete part is small, every discrete combination is tried
     (continuous variables, if any, completed by a closed-form rule per
     problem, see COMPLETIONS), and the best feasible design found must not
     beat the reference objective: the reference is then proven optimal.

Exit status 0 when every check passes, 1 otherwise. Python 3.11 standard
library only. The evaluator (load_problem, evaluate) is also used by
benchmarks/run to check the designs the program reports.
"""

import argparse
import itertools
import math
import pathlib
import re
import sys
import tomllib

OBJECTIVE_TOLERANCE = 1e-6  # relative agreement of reference design and objective
MAX_COMBINATIONS = 2_000_000  # larger discrete parts are not enumerated


def _sign(value):
    return (value > 0) - (value < 0)


def _rint(value):
    # muParser's rint rounds half away from zero (floor(x + 0.5)).
    return math.floor(value + 0.5)


# The functions and constants of the problem format's expression syntax.
NAMESPACE = {
    "sqrt": math.sqrt, "exp": math.exp, "log": math.log, "ln": math.log,
    "log10": math.log10, "log2": math.log2, "sin": math.sin, "cos": math.cos,
    "tan": math.tan, "asin": math.asin, "acos": math.acos, "atan": math.atan,
    "sinh": math.sinh, "cosh": math.cosh, "tanh": math.tanh, "abs": abs,
    "sign": _sign, "rint": _rint, "min": min, "max": max,
    "sum": lambda *values: math.fsum(values),
    "avg": lambda *values: math.fsum(values) / len(values),
    "pi": math.pi, "_pi": math.pi, "_e": math.e,
}


def compile_expression(text):
    """Compiles a muParser expression into Python code: `^` is the power."""
    return compile(text.replace("^", "**").replace("\n", " ").strip(), "<expression>", "eval")


def _split_comparison(text):
    """Splits `lhs <= value` (or >=, ==) at its one operator outside parentheses."""
    depth = 0
    for index, char in enumerate(text):
        depth += char == "("
        depth -= char == ")"
        if depth == 0 and text[index:index + 2] in ("<=", ">=", "=="):
            return text[:index], text[index:index + 2], text[index + 2:]
    raise ValueError(f"no comparison in '{text}'")


class Problem:
    """One problem file, read into what evaluation and enumeration need."""

    def __init__(self, path):
        self.path = pathlib.Path(path)
        with open(self.path, "rb") as stream:
            data = tomllib.load(stream)
        self.name = data["name"]
        self.minimize = data.get("sense", "min") == "min"
        self.tolerance = data.get("tolerance", 1e-6)
        sets = {}
        for set_name, values in data.get("sets", {}).items():
            if isinstance(values, dict):
                count = int(round((values["to"] - values["from"]) / values["step"]))
                values = [values["from"] + k * values["step"] for k in range(count + 1)]
            sets[set_name] = list(values)
        self.variables = []  # (name, kind, lower, upper, allowed values or None)
        for name, entry in data["variables"].items():
            kind = entry.get("kind", "set" if "set" in entry else "continuous")
            allowed = None
            if kind == "set":
                values = sets[entry["set"]]
                lower, upper = entry.get("lower", values[0]), entry.get("upper", values[-1])
                allowed = [v for v in values if lower - 1e-12 <= v <= upper + 1e-12]
            else:
                lower, upper = entry["lower"], entry["upper"]
                if kind == "integer":
                    allowed = list(range(math.ceil(lower), math.floor(upper) + 1))
            self.variables.append((name, kind, lower, upper, allowed))
        self.reference_design = {name: entry["reference"] for name, entry in data["variables"].items()
                                 if "reference" in entry}
        self.equations = [(name, compile_expression(text)) for name, text in data.get("equations", {}).items()]
        objective = data["objective"]
        self.objective = compile_expression(objective if isinstance(objective, str) else objective["expression"])
        self.constraints = []  # (name, code, operator, bound, scale)
        for name, entry in data.get("constraints", {}).items():
            text, scale = (entry, 1.0) if isinstance(entry, str) else (entry["expression"], entry.get("scale", 1.0))
            lhs, operator, rhs = _split_comparison(text)
            bound = eval(compile_expression(rhs), dict(NAMESPACE))
            self.constraints.append((name, compile_expression(lhs), operator, bound, scale))
        self.reference_objective = data.get("reference", {}).get("objective")

    @property
    def discrete(self):
        return [v for v in self.variables if v[4] is not None]

    @property
    def continuous(self):
        return [v for v in self.variables if v[4] is None]

    def better(self, a, b):
        """True when objective a is strictly better than b for this sense."""
        return a < b if self.minimize else a > b


def evaluate(problem, design):
    """Objective and largest scaled constraint violation of a design (a dict of
    every variable's value), as the problem format defines them: (g - b)/scale
    for <=, (b - g)/scale for >=, |g - b|/scale for ==; NaN counts as infinite;
    out-of-bounds values and discrete values off their allowed values count
    as violations too. Returns (objective, violation)."""
    scope = dict(NAMESPACE)
    scope.update(design)
    violation = 0.0
    for name, kind, lower, upper, allowed in problem.variables:
        value = design[name]
        violation = max(violation, lower - value, value - upper)
        if allowed is not None and min(abs(value - a) for a in allowed) > 1e-9 * max(1.0, abs(value)):
            violation = math.inf
    try:
        for name, code in problem.equations:
            scope[name] = eval(code, scope)
        objective = eval(problem.objective, scope)
        for name, code, operator, bound, scale in problem.constraints:
            value = eval(code, scope)
            scaled = (value - bound) / scale
            if operator == ">=":
                scaled = -scaled
            elif operator == "==":
                scaled = abs(scaled)
            violation = max(violation, scaled if scaled == scaled else math.inf)
    except (ValueError, ZeroDivisionError, OverflowError):
        return math.nan, math.inf
    if isinstance(objective, complex) or objective != objective:
        return math.nan, math.inf
    return objective, violation


# ---------------------------------------------------------------------------
# Enumeration boxes: discrete domains narrower than the bounds, each implied
# by a constraint or by the objective (so no better design lies outside).
ENUMERATION_BOXES = {
    # 2*i2^2 + i1 + 5*i3 <= 4 (the best known) needs i1 <= 4, i2 <= 1, i3 = 0.
    "nvs07": {"i1": range(0, 5), "i2": range(0, 2), "i3": range(0, 1)},
    # ellipsoid2: 6*i1^2 <= 550, 6*i2^2 <= 550, 4*i3^2 <= 550 (all terms >= 0).
    "nvs11": {"i1": range(0, 10), "i2": range(0, 10), "i3": range(0, 12)},
    # quadric1 (all terms >= 0): 9*i1^2, 8*i2^2, 5*i3^2, 7*i4^2 <= 1100.
    "nvs12": {"i1": range(0, 12), "i2": range(0, 12), "i3": range(0, 15), "i4": range(0, 13)},
    # budget: i1 + i2 + 2*i3 <= 3.
    "nvs15": {"i1": range(0, 4), "i2": range(0, 4), "i3": range(0, 2)},
}


# Closed-form completions: for one discrete assignment, the candidate values
# of the continuous variables among which the best completion lies (none when
# no completion is feasible). Each is exact for its problem; why is said in
# the problem file's comment.
def _complete_nvs01(d):
    if d["i1"] == 0 or d["i2"] == 0:
        return []
    return [{"x3": 420.169404664517 * math.sqrt(900 + d["i1"] ** 2) / (d["i1"] * d["i2"])}]


def _complete_nvs21(d):
    x3 = 0.2 if d["i1"] == 0 else min(0.2, math.sqrt(4.19) / d["i1"])
    return [{"x3": x3}]


def _complete_ex1222(d):
    lower = max(0.2, 0.2 + math.log(1 + 1.1 * d["b3"]))
    upper = min(1.0, 1.2 * d["b3"])
    if lower > upper:
        return []
    return [{"x1": min(max(0.5, lower), upper), "x2": -1 - 1.1 * d["b3"]}]


def _complete_ex1224(d):
    x1 = 1 - math.exp(-(2.30258509299405 * d["b4"] + 1.6094379124341 * d["b5"] + 1.89711998488588 * d["b6"]))
    x2 = 1 - math.exp(-(2.99573227355399 * d["b7"] + 1.6094379124341 * d["b8"] + 1.89711998488588 * d["b9"]))
    x3 = min(0.9988, 1 - math.exp(-(3.91202300542815 * d["b10"] + 2.81341071676004 * d["b11"])))
    return [{"x1": x1, "x2": x2, "x3": x3}]


def _complete_ex1225(d):
    return [{"x1": 1 + d["b3"] + 2 * d["b4"] + 4 * d["b5"], "x2": 1 + d["b6"] + 2 * d["b7"] + 4 * d["b8"]}]


def _complete_ex1226(d):
    x2 = 1 + d["b3"] + 2 * d["b4"] + 4 * d["b5"]

    def load(x1):  # the convex left-hand side of the first constraint, in x1
        return 8 * x1 - 2 * math.sqrt(x1) * x2 ** 2 + 11 * x2 + 2 * x2 ** 2 - 2 * math.sqrt(x2)

    upper = min(10.0, 3 + x2, (24 - 2 * x2) / 3)
    best = min(max(1.0, (x2 ** 2 / 8) ** 2), upper)  # least load within the bounds
    if upper < 1 or load(best) > 39:
        return []
    if load(upper) <= 39:
        return [{"x1": upper, "x2": x2}]
    low, high = best, upper  # load(low) <= 39 < load(high): bisect the boundary
    for _ in range(200):
        low, high = ((low + high) / 2, high) if load((low + high) / 2) <= 39 else (low, (low + high) / 2)
    return [{"x1": low, "x2": x2}]


def _complete_gbd(d):
    return [{"x2": max(0.2, 0.1 * d["b4"] + 0.25 * d["b5"])}]


def _complete_st_e13(d):
    return [{"x2": math.sqrt(max(0.0, 1.25 - d["b1"]))}]


def _complete_st_e27(d):
    # Vertices of the polytope in (x3, x4): intersections of pairs of its
    # boundary lines a*x3 + b*x4 = c.
    lines = [(-1, 3, 5), (2, -1, 5), (-2, 1, 0), (1, -3, 0), (1, 0, 6 * d["b1"]), (0, 1, 5 * d["b2"]),
             (1, 0, 0), (0, 1, 0), (1, 0, 6), (0, 1, 5)]
    vertices = []
    for (a1, b1, c1), (a2, b2, c2) in itertools.combinations(lines, 2):
        determinant = a1 * b2 - a2 * b1
        if determinant != 0:
            vertices.append({"x3": (c1 * b2 - c2 * b1) / determinant, "x4": (a1 * c2 - a2 * c1) / determinant})
    return vertices


def _complete_st_e36(d):
    i1 = d["i1"]
    candidates = []
    discriminant = 20 - 0.8 * i1  # roots of the parabola x2^2 - 6*x2 + 0.8*i1 - 11
    if discriminant >= 0:
        candidates += [3 - math.sqrt(discriminant), 3 + math.sqrt(discriminant)]
    for a, b, c in [(3.25, 0.62, 6.35), (3.55, 0.66, 6.85), (3.6, 0.7, 7.1), (3.8, 0.82, 7.9)]:
        x2 = c - 0.2 * i1  # a sum of two squares vanishes when both do
        if abs(a * x2 - b * i1) <= 1e-9:
            candidates.append(x2)
    return [{"x2": x2} for x2 in candidates]


def _complete_st_e40(d):
    return [{"x4": 0.15 * d["a1"] * d["a2"] + 0.14142135 * d["a2"] * d["a3"] + 0.1319 * d["a1"] * d["a3"]}]


def _complete_pressure_vessel(r_low, r_high, l_low, l_high):
    def complete(d):
        # The cost grows with L, so L is the least the volume allows; what is
        # left is a search over R up to the thickness limits: a grid, then a
        # golden-section refinement around the best grid point.
        Ts, Th = d["Ts"], d["Th"]
        r_top = min(r_high, Ts / 0.0193, Th / 0.00954)

        def length(R):
            return max(l_low, (1296000 - 4 / 3 * math.pi * R ** 3) / (math.pi * R ** 2))

        def cost(R):
            L = length(R)
            if L > l_high:
                return math.inf
            return 0.6224 * Ts * R * L + 1.7781 * Th * R ** 2 + 3.1661 * Ts ** 2 * L + 19.84 * Ts ** 2 * R

        if r_top < r_low:
            return []
        steps = 400
        grid = [r_low + (r_top - r_low) * k / steps for k in range(steps + 1)]
        best = min(range(steps + 1), key=lambda k: cost(grid[k]))
        if cost(grid[best]) == math.inf:
            return []
        low, high = grid[max(0, best - 1)], grid[min(steps, best + 1)]
        ratio = (math.sqrt(5) - 1) / 2
        for _ in range(100):
            a, b = high - ratio * (high - low), low + ratio * (high - low)
            low, high = (low, b) if cost(a) <= cost(b) else (a, high)
        R = min((grid[best], low), key=cost)
        return [{"R": R, "L": length(R)}]

    return complete


COMPLETIONS = {
    "nvs01": _complete_nvs01, "nvs21": _complete_nvs21, "ex1222": _complete_ex1222,
    "ex1224": _complete_ex1224, "ex1225": _complete_ex1225, "ex1226": _complete_ex1226,
    "gbd": _complete_gbd, "st_e13": _complete_st_e13, "st_e27": _complete_st_e27,
    "st_e36": _complete_st_e36, "st_e40": _complete_st_e40,
    "pressure_vessel_240": _complete_pressure_vessel(10, 200, 10, 240),
    "pressure_vessel_sandgren": _complete_pressure_vessel(25, 150, 25, 240),
}


def enumerate_best(problem):
    """The best feasible design over every discrete combination, or None when
    the problem is too large or has continuous variables without a
    completion rule. Returns (objective, design, combinations)."""
    complete = COMPLETIONS.get(problem.name)
    if problem.continuous and complete is None:
        return None
    box = ENUMERATION_BOXES.get(problem.name, {})
    domains = [(name, list(box.get(name, allowed))) for name, _, _, _, allowed in problem.discrete]
    if math.prod(len(values) for _, values in domains) > MAX_COMBINATIONS:
        return None
    best = None
    combinations = 0
    for values in itertools.product(*(values for _, values in domains)):
        combinations += 1
        assignment = dict(zip((name for name, _ in domains), values))
        for completion in (complete(assignment) if complete else [{}]):
            design = dict(assignment, **completion)
            objective, violation = evaluate(problem, design)
            if violation <= problem.tolerance and (best is None or problem.better(objective, best[0])):
                best = (objective, design)
    return (best[0], best[1], combinations) if best else (None, None, combinations)


def relative_difference(a, b):
    return abs(a - b) / max(abs(b), 1e-12)


def verify(problem, out):
    """Runs both checks on one problem, prints what it found; True when both pass."""
    ok = True
    names = [v[0] for v in problem.variables]
    if problem.reference_objective is None or set(problem.reference_design) != set(names):
        print(f"{problem.name}: FAIL: no [reference] objective or a variable without its reference value", file=out)
        return False
    objective, violation = evaluate(problem, problem.reference_design)
    agrees = relative_difference(objective, problem.reference_objective) <= OBJECTIVE_TOLERANCE
    feasible = violation <= problem.tolerance
    ok &= agrees and feasible
    print(f"{problem.name}: reference design objective {objective:.10g} "
          f"({'agrees' if agrees else 'DIFFERS from ' + repr(problem.reference_objective)}), "
          f"largest violation {violation:.3g} ({'feasible' if feasible else 'INFEASIBLE'})", file=out)
    found = enumerate_best(problem)
    if found is None:
        print(f"{problem.name}: not enumerated (continuous part without a closed form, or too many combinations)",
              file=out)
        return ok
    best, design, combinations = found
    if best is None:
        print(f"{problem.name}: FAIL: enumeration of {combinations} combinations found no feasible design", file=out)
        return False
    beaten = problem.better(best, problem.reference_objective) and \
        relative_difference(best, problem.reference_objective) > OBJECTIVE_TOLERANCE
    ok &= not beaten
    shown = ", ".join(f"{k} = {v:.10g}" for k, v in design.items())
    print(f"{problem.name}: enumeration of {combinations} combinations: best {best:.10g} ({shown}) "
          f"{'BEATS the reference' if beaten else 'confirms the reference'}", file=out)
    return ok


def problem_files(arguments):
    here = pathlib.Path(__file__).resolve().parent
    return [pathlib.Path(a) for a in arguments] if arguments else sorted(here.glob("*.toml"))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("files", nargs="*", help="problem files (default: benchmarks/*.toml)")
    arguments = parser.parse_args()
    failures = [path.name for path in problem_files(arguments.files) if not verify(Problem(path), sys.stdout)]
    print(f"\n{'all checks pass' if not failures else 'FAILED: ' + ', '.join(failures)}")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
