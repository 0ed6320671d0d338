"""A task database read back as Python objects: its tasks, its searches with
their trees, and the evaluations of its analyses. ``discrete.open`` reads the
whole file once, read-only; the objects stay valid when the file changes."""

import json
import os
from dataclasses import dataclass, field

from . import _core


@dataclass(frozen=True)
class Task:
    """One task: a search task, a subtask of a search, or a plain task."""
    id: int
    kind: str  # "search", "subtask" or "task"
    name: str
    parent: int  # 0 for none
    children: list
    lower: dict  # variable -> its lower bound in this task
    upper: dict
    solved: bool  # its continuous problem has been solved
    converged: bool  # ... and its local searches converged
    feasible: bool  # ... and the best design is within the tolerance
    status: str  # how its solve ended, in words
    objective: float  # of its best design (None when not solved)
    max_constraint: float  # largest scaled constraint violation of that design
    design: dict  # variable -> value of its best design ({} when not solved)
    constraints: dict  # constraint -> its value at that design
    node: str  # its fate in its search ("" outside any)

    def __repr__(self):
        where = f"subtask of {self.parent}" if self.parent else self.kind
        if not self.solved:
            return f"<Task {self.id} {where}: not solved>"
        state = "feasible" if self.feasible else "infeasible" if self.converged else "not converged"
        node = f", {self.node}" if self.node else ""
        return f"<Task {self.id} {where}: objective {self.objective:.10g}, {state}{node}>"


@dataclass(frozen=True)
class Evaluation:
    """One try of an analysis for one design (table `evaluations`)."""
    id: int
    task: int
    analysis: str
    inputs: dict
    attempt: int
    status: str  # "succeeded", "retried", "failed" or "lost"
    responses: dict  # when it succeeded
    reason: str  # when it failed
    seconds: float
    folder: str  # the kept folder, or ""


@dataclass(frozen=True)
class Search:
    """A search: its search task, how it ended and its result."""
    search_task: int
    finished: bool
    end: str  # "search complete", "stopped at the node limit", ...; "" if it recorded none
    result_task: int  # the task holding its result; 0 for none
    discrete_feasible: bool
    solved_subtasks: int
    tasks: list  # the tasks of its tree, the search task first
    problem_text: str = field(repr=False)
    started: str = ""
    ended: str = ""
    resumed_by: int = 0


@dataclass(frozen=True)
class TreeNode:
    """A node of a search tree: its task and the nodes branched from it."""
    task: Task
    children: list

    def walk(self):
        """This node and every node below it, depth first."""
        yield self
        for child in self.children:
            yield from child.walk()

    def __repr__(self):
        return f"<TreeNode task {self.task.id}, {len(self.children)} children>"


class Database:
    """What a task database holds, read once."""

    def __init__(self, path, snapshot):
        self.path = path
        self.tasks = {t.id: _task(t) for t in snapshot.tasks}
        self.searches = [_search(s) for s in snapshot.searches]
        self.evaluations = [_evaluation(e) for e in snapshot.evaluations]

    def __repr__(self):
        return (f"<Database {self.path}: {len(self.tasks)} tasks, {len(self.searches)} searches, "
                f"{len(self.evaluations)} evaluations>")

    def search(self, search_task=None):
        """The search of a search task; by default the last one."""
        if not self.searches:
            raise LookupError(f"{self.path} holds no search")
        if search_task is None:
            return self.searches[-1]
        for search in self.searches:
            if search.search_task == search_task:
                return search
        raise LookupError(f"{self.path} holds no search task {search_task}")

    def tree(self, search_task=None):
        """The search tree of a search task (by default the last) as TreeNodes."""
        root = self.search(search_task).search_task

        def node(task_id):
            task = self.tasks[task_id]
            return TreeNode(task, [node(c) for c in task.children if c in self.tasks])

        return node(root)


def open(path):  # noqa: A001 - the package's name for it, as in discrete.open
    """Reads a task database written by `discrete solve` or discrete.solve."""
    if not os.path.isfile(path):
        from .errors import DatabaseError
        raise DatabaseError(f"{path}: no such database file")
    return Database(os.fspath(path), _core.read_database(os.fspath(path)))


def _task(t):
    return Task(id=t.id, kind=t.kind, name=t.name, parent=t.parent, children=list(t.children),
                lower=dict(zip(t.variables, t.lower)), upper=dict(zip(t.variables, t.upper)),
                solved=t.solved, converged=t.converged, feasible=t.feasible, status=t.status,
                objective=t.objective if t.solved else None,
                max_constraint=t.max_constraint if t.solved else None,
                design=dict(zip(t.variables, t.design)),
                constraints=dict(zip(t.constraints, t.constraint_values)), node=t.node)


def _search(s):
    return Search(search_task=s.search_task, finished=s.finished, end=s.end,
                  result_task=s.result_task, discrete_feasible=s.discrete_feasible,
                  solved_subtasks=s.solved_subtasks, tasks=list(s.tasks),
                  problem_text=s.problem_text, started=s.started, ended=s.ended,
                  resumed_by=s.resumed_by)


def _evaluation(e):
    return Evaluation(id=e.id, task=e.task, analysis=e.analysis,
                      inputs=json.loads(e.inputs) if e.inputs else {}, attempt=e.attempt,
                      status=e.status, responses=json.loads(e.responses) if e.responses else {},
                      reason=e.reason, seconds=e.seconds, folder=e.folder)
