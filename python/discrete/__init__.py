"""Mixed-discrete optimisation from Python (docs/python.md).

    import discrete
    problem = discrete.Problem(
        "gear_train",
        variables=[discrete.Variable(n, "integer", 12, 60) for n in ("Td", "Tb", "Ta", "Tf")],
        objective="(1/6.931 - Td*Tb/(Ta*Tf))^2",
        constraints={"driver_order": "Td - Tb <= 0"})
    result = discrete.solve(problem, database="gear.db")
    print(result.design, result.objective)
    db = discrete.open("gear.db")
"""

from .database import Database, Evaluation, Search, Task, TreeNode, open
from .errors import DatabaseError, Error, ProblemError
from .problem import Analysis, Constraint, Objective, Problem, Range, Variable
from .solving import Result, resume, solve

__all__ = ["Analysis", "Constraint", "Database", "DatabaseError", "Error", "Evaluation",
           "Objective", "Problem", "ProblemError", "Range", "Result", "Search", "Task",
           "TreeNode", "Variable", "open", "resume", "solve"]
__version__ = "1.0.0"
