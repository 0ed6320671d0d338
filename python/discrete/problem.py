"""A mixed-discrete problem defined in Python, written as the program's problem
file (docs/problem-format.md) so that the runner reads and checks it exactly as
it reads a file: every mistake is reported with the field it is in.

Expressions are texts in the program's expression language; a Python callable
becomes an analysis evaluated in this process (docs/python.md).
"""

import json
import math
import numbers
from collections.abc import Mapping

KINDS = ("continuous", "integer", "set")


class Range:
    """The values start, start + step, ... up to stop (a set of the problem file)."""

    def __init__(self, start, stop, step):
        self.start, self.stop, self.step = start, stop, step

    def __repr__(self):
        return f"Range({self.start!r}, {self.stop!r}, {self.step!r})"


class Variable:
    """A design variable: continuous, integer, or taking the values of a set.

    ``values`` (a list or a Range) gives a set variable its own values; ``set``
    names one of the problem's ``sets`` instead.
    """

    def __init__(self, name, kind=None, lower=None, upper=None, start=None, *, values=None,
                 set=None, scale=None, description="", units=""):
        if kind is None:
            kind = "set" if values is not None or set is not None else "continuous"
        if kind not in KINDS:
            raise ValueError(f"variable {name!r}: kind {kind!r} is unknown; use "
                             + ", ".join(repr(k) for k in KINDS))
        if kind == "set" and (values is None) == (set is None):
            raise ValueError(f"variable {name!r}: a set variable takes either values or set")
        if kind != "set" and (values is not None or set is not None):
            raise ValueError(f"variable {name!r}: values and set are for kind 'set', not {kind!r}")
        self.name, self.kind, self.lower, self.upper, self.start = name, kind, lower, upper, start
        self.values, self.set, self.scale = values, set, scale
        self.description, self.units = description, units

    def __repr__(self):
        extra = f", values={self.values!r}" if self.values is not None else ""
        extra += f", set={self.set!r}" if self.set is not None else ""
        return (f"Variable({self.name!r}, {self.kind!r}, lower={self.lower!r}, "
                f"upper={self.upper!r}, start={self.start!r}{extra})")


class Objective:
    """The objective: an expression, or a callable of the design (a dict)."""

    def __init__(self, function, name="objective", scale=None):
        self.function, self.name, self.scale = function, name, scale

    def __repr__(self):
        return f"Objective({_describe(self.function)}, name={self.name!r})"


class Constraint:
    """``function <op> bound``: an expression holding its own comparison, or a
    callable of the design compared with ``bound`` by ``op`` ("<=", ">=", "==")."""

    def __init__(self, function, op="<=", bound=0.0, scale=None):
        if op not in ("<=", ">=", "=="):
            raise ValueError(f"constraint operator {op!r} is unknown; use '<=', '>=' or '=='")
        self.function, self.op, self.bound, self.scale = function, op, bound, scale

    def __repr__(self):
        if callable(self.function):
            return f"Constraint({_describe(self.function)} {self.op} {self.bound!r})"
        return f"Constraint({self.function!r})"


class Analysis:
    """A callable that computes several responses at once: it receives the
    variables it reads (default: all) as a dict and returns a dict response ->
    number (or a sequence in the order of ``writes``). Its responses are used
    by the expressions like variables."""

    def __init__(self, function, writes, reads=None, name=None, retries=0):
        self.function, self.writes, self.reads = function, list(writes), reads
        self.name = name or getattr(function, "__name__", "analysis")
        self.retries = retries

    def __repr__(self):
        return f"Analysis({_describe(self.function)}, writes={self.writes!r})"


class Problem:
    """A problem: variables, an objective, constraints and optional equations,
    sets, analyses and optimiser settings (the keys of a problem file's
    [optimizer] table)."""

    def __init__(self, name, variables=(), objective=None, constraints=None, *, equations=None,
                 sets=None, analyses=(), sense="min", tolerance=None, description="",
                 optimizer=None, module_type=None):
        self.name = name
        self.variables = list(variables)
        self.objective = objective
        self.constraints = dict(constraints or {})
        self.equations = dict(equations or {})
        self.sets = dict(sets or {})
        self.analyses = list(analyses)
        self.sense, self.tolerance, self.description = sense, tolerance, description
        self.optimizer = dict(optimizer or {})
        self.module_type = module_type

    def __repr__(self):
        return (f"Problem({self.name!r}, {len(self.variables)} variables, "
                f"{len(self.constraints)} constraints, {len(self.functions())} functions)")

    def to_toml(self):
        """The problem file the runner reads (docs/problem-format.md)."""
        objective, analyses = self._objective_and_analyses()
        lines = [f"name = {_text(self.name)}", f"sense = {_text(self.sense)}"]
        if self.description:
            lines.append(f"description = {_text(self.description)}")
        if self.tolerance is not None:
            lines.append(f"tolerance = {_number(self.tolerance)}")
        if self.module_type is not None:
            lines.append(f"module_type = {_number(self.module_type)}")
        lines.append(f"objective = {objective}")
        sets = dict(self.sets)
        for variable in self.variables:
            if variable.values is not None:
                sets[f"{variable.name}_values"] = variable.values
        if sets:
            lines.append("\n[sets]")
            lines += [f"{_key(name)} = {_set(values)}" for name, values in sets.items()]
        for variable in self.variables:
            lines.append(f"\n[variables.{_key(variable.name)}]")
            lines += _variable_lines(variable)
        if self.equations:
            lines.append("\n[equations]")
            lines += [f"{_key(n)} = {_text(e)}" for n, e in self.equations.items()]
        if self.constraints:
            lines.append("\n[constraints]")
            lines += [f"{_key(n)} = {_constraint(n, c)}" for n, c in self.constraints.items()]
        for analysis in analyses:
            lines.append(f"\n[analyses.{_key(analysis.name)}]")
            lines.append("in_process = true")
            if analysis.reads is not None:
                lines.append(f"reads = {_texts(analysis.reads)}")
            lines.append(f"writes = {_texts(analysis.writes)}")
            lines.append('keep = "none"')
            if analysis.retries:
                lines.append(f"retries = {_number(analysis.retries)}")
        if self.optimizer:
            lines.append("\n[optimizer]")
            lines += [f"{_key(k)} = {_value(v)}" for k, v in self.optimizer.items()]
        return "\n".join(lines) + "\n"

    def functions(self):
        """analysis name -> a callable of a dict returning a list of floats, one
        per response, for every analysis that is a Python callable."""
        return {a.name: _normalised(a) for a in self._objective_and_analyses()[1]}

    def _objective_and_analyses(self):
        analyses = list(self.analyses)
        objective = self.objective
        if objective is None:
            raise ValueError(f"problem {self.name!r}: no objective")
        if not isinstance(objective, Objective):
            objective = Objective(objective)
        expression = objective.function
        if callable(expression):
            analyses.append(Analysis(_single(expression), [objective.name], name=objective.name))
            expression = objective.name
        table = {"name": objective.name, "expression": expression}
        if objective.scale is not None:
            table["scale"] = objective.scale
        for name, constraint in self.constraints.items():
            function = constraint.function if isinstance(constraint, Constraint) else constraint
            if callable(function):
                analyses.append(Analysis(_single(function), [name], name=name))
        return _inline_table(table), analyses


def _single(function):
    """A callable of one response as an analysis' function."""

    def call(inputs):
        return function(inputs)

    call.__name__ = getattr(function, "__name__", "function")
    return call


def _normalised(analysis):
    function, writes = analysis.function, analysis.writes

    def call(inputs):
        value = function(inputs)
        if isinstance(value, Mapping):
            if set(value) != set(writes):
                raise ValueError(f"returned the responses {sorted(value)}, not {sorted(writes)}")
            return [float(value[name]) for name in writes]
        if isinstance(value, numbers.Real):
            if len(writes) != 1:
                raise ValueError(f"returned one number for the responses {writes}")
            return [float(value)]
        values = [float(v) for v in value]
        if len(values) != len(writes):
            raise ValueError(f"returned {len(values)} numbers for the responses {writes}")
        return values

    return call


def _variable_lines(variable):
    lines = []
    if variable.kind == "set":
        name = variable.set if variable.set is not None else f"{variable.name}_values"
        lines.append(f"set = {_text(name)}")
    else:
        lines.append(f"kind = {_text(variable.kind)}")
    for key in ("lower", "upper", "start", "scale"):
        if getattr(variable, key) is not None:
            lines.append(f"{key} = {_number(getattr(variable, key))}")
    for key in ("description", "units"):
        if getattr(variable, key):
            lines.append(f"{key} = {_text(getattr(variable, key))}")
    return lines


def _constraint(name, constraint):
    if not isinstance(constraint, Constraint):
        constraint = Constraint(constraint)
    if callable(constraint.function):
        expression = f"{name} {constraint.op} {_number(constraint.bound)}"
    else:
        expression = constraint.function
    if constraint.scale is None:
        return _text(expression)
    return _inline_table({"expression": expression, "scale": constraint.scale})


def _set(values):
    if isinstance(values, Range):
        return _inline_table({"from": values.start, "to": values.stop, "step": values.step})
    return "[" + ", ".join(_number(v) for v in values) + "]"


def _describe(function):
    return getattr(function, "__name__", repr(function)) if callable(function) else repr(function)


def _text(value):
    if not isinstance(value, str):
        raise TypeError(f"{value!r} is not a text")
    return json.dumps(value)  # a TOML basic string: JSON's escapes are TOML's


def _texts(values):
    return "[" + ", ".join(_text(v) for v in values) + "]"


def _key(name):
    return _text(str(name))


def _number(value):
    if isinstance(value, bool) or not isinstance(value, numbers.Real):
        raise TypeError(f"{value!r} is not a number")
    if isinstance(value, numbers.Integral):
        return str(int(value))
    value = float(value)
    if math.isnan(value):
        return "nan"
    if math.isinf(value):
        return "inf" if value > 0 else "-inf"
    return repr(value)


def _value(value):
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, str):
        return _text(value)
    return _number(value)


def _inline_table(table):
    return "{ " + ", ".join(f"{_key(k)} = {_value(v)}" for k, v in table.items()) + " }"
