#pragma once

// The readers of the design sections of a problem file ([sets],
// [catalogues.*], [variables.*], [equations], [constraints], [analyses.*], [slurm]);
// ProblemFile.cpp reads the rest and calls them in this order: sets and
// catalogues before variables, which name them, and the catalogue variables'
// quantities before [equations], which may use them.
// Each collects its mistakes into `issues` and fills what it can read.

#include <vector>

#include "problem/Problem.h"
#include "problem/ProblemIssue.h"
#include "problem/TomlFields.h"

void ReadSets(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues);
// [catalogues.*]: each catalogue's rows, sorted by its key column, and a set
// of its key values, of its name, appended to the problem's sets.
void ReadCatalogues(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues);
void ReadVariables(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues);
// One equation for each column of each catalogue variable's catalogue,
// "<variable>_<column>": the key column is the variable itself, another column
// interpolate(<variable>, key1, value1, ...) over its rows
// (expressions/PiecewiseLinear.h). Appended to the problem's equations.
void AddCatalogueQuantities(CProblem& problem, std::vector<CProblemIssue>& issues);
void ReadEquations(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues);
// [analyses.*] and work_folder; after the variables, which they read.
void ReadAnalyses(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues);
// [slurm] (the executor the file asks for, and what Slurm gives every
// analysis) and each [analyses.NAME.slurm]; after the analyses, each of which
// receives the file's settings with its own on top.
void ReadSlurm(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues);
void ReadConstraints(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues);
