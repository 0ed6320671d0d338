#pragma once

// What the Python package reads of a task database (docs/python.md,
// discrete.open): every task with its result and best design, every search
// with how it ended and the fate of each node, and every evaluation of an
// analysis, copied out in one read-only session so that the Python objects
// stay valid when the file changes or goes.
//
//   CDatabaseSnapshot snapshot = ReadDatabaseSnapshot("gear.db");
//
// Throws CDatabaseError when the file is no task database, CTaskDataError when
// its records disagree.

#include <string>
#include <vector>

#include "tasks/EvaluationTable.h"

struct CTaskSnapshot {
  int id = 0;
  std::string kind;  // "search", "subtask" or "task"
  std::string name;  // the problem's name
  int parent = 0;    // 0 for none
  std::vector<int> children;
  std::vector<std::string> variables;    // names, in order
  std::vector<double> lower, upper;      // the task's bounds (a subtask's are the branching's)
  bool solved = false;                   // its continuous problem has been solved
  bool converged = false;                // ... and the local searches converged
  bool feasible = false;                 // ... and the best design is within the tolerance
  std::string status;                    // how its solve ended, in words; "" when not solved
  double objective = 0.0;                // of the best design, when solved
  double maxConstraint = 0.0;            // its largest scaled constraint violation
  std::vector<double> design;            // the best design's values, when solved
  std::vector<std::string> constraints;  // constraint names, in order
  std::vector<double> constraintValues;  // each constraint's value at the design
  std::string node;  // its fate in a search (SearchObserver.h Describe), "" for none
};

struct CSearchSnapshot {
  int searchTask = 0;
  bool finished = false;          // no task of its tree is left unsolved
  std::string end;                // how it ended, in words; "" when it never recorded an end
  int resultTask = 0;             // the task whose design stands as its result; 0 for none
  bool discreteFeasible = false;  // that design is a feasible discrete design
  int solvedSubtasks = 0;
  std::vector<int> tasks;  // the tasks of its tree, the search task first
  std::string problemText;
  std::string problemFile;
  std::string started, ended;
  int resumedBy = 0;  // the search task that took it up again; 0 for none
};

struct CDatabaseSnapshot {
  std::string path;
  std::vector<CTaskSnapshot> tasks;       // by id
  std::vector<CSearchSnapshot> searches;  // by search task id
  std::vector<CEvaluationRow> evaluations;
};

CDatabaseSnapshot ReadDatabaseSnapshot(const std::string& path);
