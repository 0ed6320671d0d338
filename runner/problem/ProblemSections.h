#pragma once

// The readers of the design sections of a problem file ([sets],
// [variables.*], [equations], [constraints], [analyses.*]); ProblemFile.cpp reads the rest
// and calls them in this order: sets before variables, which name them.
// Each collects its mistakes into `issues` and fills what it can read.

#include <vector>

#include "problem/Problem.h"
#include "problem/ProblemIssue.h"
#include "problem/TomlFields.h"

void ReadSets(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues);
void ReadVariables(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues);
void ReadEquations(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues);
// [analyses.*] and work_folder; after the variables, which they read.
void ReadAnalyses(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues);
void ReadConstraints(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues);
