"""discrete.solve and discrete.open, run through the installed package, the
real module and real task databases (docs/python.md)."""

import json
import os
import subprocess
import threading
import time

import pytest

import discrete

EXAMPLES = os.path.join(os.path.dirname(__file__), "..", "..", "examples", "python")


def load_example(name):
    namespace = {"__name__": "example"}
    path = os.path.join(EXAMPLES, name)
    exec(compile(open(path).read(), path, "exec"), namespace)
    return namespace


def test_expressions_reach_the_published_pressure_vessel(tmp_path):
    plate = discrete.Range(0.0625, 6.1875, 0.0625)
    problem = discrete.Problem(
        "pressure_vessel",
        variables=[discrete.Variable("Ts", set="plate", start=1.125),
                   discrete.Variable("Th", values=plate, start=0.625),
                   discrete.Variable("R", "continuous", 10, 200, start=50),
                   discrete.Variable("L", "continuous", 10, 200, start=150)],
        sets={"plate": plate},
        objective=discrete.Objective(
            "0.6224*Ts*R*L + 1.7781*Th*R^2 + 3.1661*Ts^2*L + 19.84*Ts^2*R", scale=1000),
        constraints={"shell": "0.0193*R - Ts <= 0", "head": "0.00954*R - Th <= 0",
                     "volume": discrete.Constraint("pi*R^2*L + 4/3*pi*R^3 >= 1296000",
                                                   scale=1296000),
                     "length": discrete.Constraint("L <= 240", scale=240)})
    result = discrete.solve(problem, database=tmp_path / "vessel.db")
    assert result.complete and result.discrete_feasible
    assert (result.design["Ts"], result.design["Th"]) == (0.8125, 0.4375)
    assert result.design["L"] == pytest.approx(176.6365958, rel=1e-5)
    assert result.objective == pytest.approx(6059.7143, rel=1e-5)
    assert set(result.constraints) == {"shell", "head", "volume", "length"}
    assert result.constraints["length"] == pytest.approx(result.design["L"])
    assert result.evaluations == 0 and result.subtasks >= 1
    assert result.database == str(tmp_path / "vessel.db")

    database = discrete.open(result.database)
    search = database.search()
    assert search.result_task == result.result_task and search.finished
    tree = database.tree()
    assert tree.task.kind == "search"
    assert sorted(node.task.id for node in tree.walk()) == sorted(search.tasks)
    best = database.tasks[result.result_task]
    assert best.design == result.design and best.node == "discrete feasible"
    assert all(task.parent == tree.task.id for task in (n.task for n in tree.children))
    assert "pressure_vessel" in search.problem_text


def test_callables_reach_the_published_pressure_vessel_and_are_stored(tmp_path):
    example = load_example("pressure_vessel.py")
    result = discrete.solve(example["problem"], database=tmp_path / "vessel.db", jobs=2)
    assert result.complete and result.discrete_feasible
    assert result.design["Ts"] == 0.8125 and result.design["Th"] == 0.4375
    assert result.design["R"] == pytest.approx(42.0984456, rel=1e-5)
    assert result.objective == pytest.approx(6059.7143, rel=1e-5)

    evaluations = discrete.open(result.database).evaluations
    assert len(evaluations) == result.evaluations > 0
    assert {e.analysis for e in evaluations} == {"cost", "volume"}
    assert all(e.status == "succeeded" for e in evaluations)
    first = next(e for e in evaluations if e.analysis == "cost")
    assert first.responses["cost"] == pytest.approx(example["cost"](first.inputs))
    # No design is evaluated twice by one function: the store answers it.
    seen = [(e.analysis, json.dumps(e.inputs, sort_keys=True)) for e in evaluations]
    assert len(seen) == len(set(seen))


def test_a_callable_that_raises_is_a_failed_evaluation_and_the_search_goes_on(quadratic, tmp_path):
    def objective(x):
        if x["x"] >= 4:
            raise ValueError(f"no model beyond x = 4 (asked {x['x']})\nsecond line")
        return (x["x"] - 2.4) ** 2 + (x["y"] - 1) ** 2

    result = discrete.solve(quadratic(objective=objective), database=tmp_path / "q.db")
    assert result.discrete_feasible
    assert result.design["x"] == 2 and result.design["y"] == pytest.approx(1, abs=1e-4)
    failed = [e for e in discrete.open(result.database).evaluations if e.status == "failed"]
    assert failed, "the start x = 5 is beyond the model"
    assert failed[0].reason.startswith("ValueError: no model beyond x = 4")
    assert "\n" not in failed[0].reason


def test_callables_that_release_the_gil_run_concurrently(quadratic, tmp_path):
    calls, lock = [], threading.Lock()

    def objective(x):
        started = time.monotonic()
        time.sleep(0.05)  # releases the GIL, as an analysis calling out of Python does
        with lock:
            calls.append((started, time.monotonic()))
        return (x["x"] - 2.4) ** 2 + (x["y"] - 1) ** 2

    result = discrete.solve(quadratic(objective=objective), database=tmp_path / "q.db", jobs=4,
                            max_nodes=2)
    assert result.evaluations == len(calls) > 4
    calls.sort()
    overlapping = sum(1 for a, b in zip(calls, calls[1:]) if b[0] < a[1])
    assert overlapping > 0, "the points of a finite-difference gradient overlap in time"


def test_mistakes_are_named(quadratic, tmp_path):
    with pytest.raises(ValueError, match="variable 'x': kind 'complex' is unknown"):
        discrete.Variable("x", "complex", 0, 1)
    problem = discrete.Problem("bounds", variables=[discrete.Variable("x", "integer", 70, 60)],
                               objective="x")
    with pytest.raises(discrete.ProblemError) as caught:
        discrete.solve(problem, database=tmp_path / "b.db")
    assert ("variables.x.lower", "70 is above upper bound 60") in caught.value.issues
    assert "problem 'bounds': variables.x.lower: 70 is above upper bound 60" in str(caught.value)
    assert not os.path.exists(tmp_path / "b.db")
    with pytest.raises(discrete.ProblemError, match="unknown"):
        discrete.solve(quadratic(objective="(x - 2.4)^2 + zz"), database=tmp_path / "c.db")
    with pytest.raises(discrete.DatabaseError, match="no such database file"):
        discrete.open(tmp_path / "missing.db")


def test_the_program_refuses_a_problem_with_functions(quadratic, tmp_path):
    program = os.environ.get("DISCRETE_PROGRAM")
    if not program:
        pytest.skip("DISCRETE_PROGRAM names no discrete program")
    path = tmp_path / "quadratic.toml"
    path.write_text(quadratic(objective=lambda x: x["x"]).to_toml())
    run = subprocess.run([program, "solve", str(path), "--db", str(tmp_path / "q.db")],
                         capture_output=True, text=True)
    assert run.returncode == 2
    assert "analysis 'objective' is a function" in run.stderr
