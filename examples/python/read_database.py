#!/usr/bin/env python3
"""Reads a task database back as Python objects: the searches, the search
tree and the evaluations. Solves the gear train first when no database is
given that exists.

    python3 read_database.py [DATABASE]
"""

import os
import sys

import discrete

path = sys.argv[1] if len(sys.argv) > 1 else "gear_train.db"
if not os.path.exists(path):
    problem = discrete.Problem(
        "gear_train",
        variables=[discrete.Variable(n, "integer", 12, 60) for n in ("Td", "Tb", "Ta", "Tf")],
        objective="(1/6.931 - Td*Tb/(Ta*Tf))^2",
        constraints={"driver_order": "Td - Tb <= 0", "follower_order": "Ta - Tf <= 0"})
    discrete.solve(problem, database=path, max_nodes=200)

database = discrete.open(path)
print(database)
for search in database.searches:
    print(f"search task {search.search_task}: {search.end or 'not ended'}, "
          f"{search.solved_subtasks} subtasks, result task {search.result_task}")
tree = database.tree()
fates = {}
for node in tree.walk():
    fates[node.task.node] = fates.get(node.task.node, 0) + 1
print("nodes by fate:", fates)
best = database.tasks.get(database.search().result_task)
print("best design:", best.design if best else None)
failed = [e for e in database.evaluations if e.status != "succeeded"]
print(f"{len(database.evaluations)} evaluations, {len(failed)} failed")
