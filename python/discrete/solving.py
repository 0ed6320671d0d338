"""Solving a problem defined in Python, and resuming a search that stopped,
through the same commands as `discrete solve` and `discrete resume`."""

import os
import tempfile
from dataclasses import dataclass, field

from . import _core
from .database import open as open_database
from .errors import ProblemError


@dataclass(frozen=True)
class Result:
    """How a search ended and the design it found."""
    design: dict  # variable -> value of the result ({} when there is none)
    objective: float  # None when there is no result
    constraints: dict  # constraint -> its value at the design
    max_constraint: float  # largest scaled constraint violation of the design
    status: str  # how the search ended: "search complete", "stopped at the node limit", ...
    complete: bool  # the search explored every node
    discrete_feasible: bool  # the design is a feasible discrete design
    subtasks: int  # subtasks solved
    evaluations: int  # tries of analyses run for this search (Python callables included)
    database: str  # the task database's path
    search_task: int
    result_task: int  # 0 when there is no result
    report: str = field(repr=False)  # the report `discrete solve` prints
    messages: str = field(repr=False)  # the notes it prints (bounds moved, ...)


def _settings(database, optimizer, max_nodes, time_limit, jobs, lock_timeout):
    settings = _core.RunSettings()
    settings.database = os.path.abspath(database)
    settings.optimizer = optimizer
    settings.max_nodes = max_nodes
    settings.time_limit = time_limit
    settings.jobs = jobs or 0
    settings.lock_timeout = lock_timeout
    settings.quiet = True
    return settings


def solve(problem, database=None, optimizer=None, max_nodes=None, time_limit=None, jobs=None,
          lock_timeout=30.0):
    """Solves the problem into a task database (default: <name>.db in the current
    folder, or the first free <name>-<n>.db) and returns its Result. ``jobs``
    evaluations of analyses run at once (default: the number of cores)."""
    functions = problem.functions()
    text = problem.to_toml()
    if database is None:
        database = _core.free_database_name(problem.name)
    settings = _settings(database, optimizer, max_nodes, time_limit, jobs, lock_timeout)
    with tempfile.TemporaryDirectory(prefix="discrete-") as folder:
        path = os.path.join(folder, f"{problem.name}.toml")
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        try:
            _, report, messages = _core.solve(path, settings, functions)
        except ProblemError as error:
            raise _named(problem.name, error) from None
    return _result(settings.database, report, messages)


def resume(database, problem=None, search_task=None, max_nodes=None, time_limit=None, jobs=None,
           lock_timeout=30.0):
    """Goes on with a search that stopped before its end (by default the last
    one): the analyses it ran are answered from the database. A problem with
    Python callables is given again, for its functions."""
    functions = problem.functions() if problem is not None else {}
    settings = _settings(database, None, max_nodes, time_limit, jobs, lock_timeout)
    _, report, messages = _core.resume(search_task, settings, functions)
    return _result(settings.database, report, messages)


def _named(name, error):
    if not error.issues:
        return error
    lines = [f"problem {name!r}: {field}: {message}" for field, message in error.issues]
    return ProblemError("\n".join(lines), error.issues)


def _result(path, report, messages):
    database = open_database(path)
    search = database.search()
    tree = set(search.tasks)
    task = database.tasks.get(search.result_task)
    return Result(
        design=dict(task.design) if task else {},
        objective=task.objective if task else None,
        constraints=dict(task.constraints) if task else {},
        max_constraint=task.max_constraint if task else None,
        status=search.end, complete=search.end == "search complete",
        discrete_feasible=search.discrete_feasible, subtasks=search.solved_subtasks,
        evaluations=sum(1 for e in database.evaluations if e.task in tree),
        database=path, search_task=search.search_task, result_task=search.result_task,
        report=report, messages=messages)
