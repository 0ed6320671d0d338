#pragma once

// The checks of a problem that look across its fields: names (unique, usable
// in expressions, not reserved) and expressions (they compile and use only
// the names declared for them).

#include <vector>

#include "problem/Problem.h"
#include "problem/ProblemIssue.h"

// Adds an issue for every mistake found; adds nothing to a sound problem.
void CheckProblem(const CProblem& problem, std::vector<CProblemIssue>& issues);
