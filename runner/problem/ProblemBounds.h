#pragma once

// Moving the bounds of discrete variables onto values they may take, before a
// search: an integer variable's bounds are rounded inward to whole numbers, a
// set variable's bounds move inward to the nearest values of its set. The
// search then never branches to a bound that no allowed value reaches.
//
// A start value that the moved bounds leave outside is moved onto the nearer
// bound. Every change is described in one line for the user, such as
//
//   gear.toml:5: variables.x1: lower bound 11.5 rounded up to 12
//
// A value within 1e-12 (relative) of an allowed value counts as that value:
// it is replaced by it exactly, without a note.

#include <string>
#include <vector>

#include "problem/Problem.h"
#include "problem/ProblemIssue.h"

// Moves the bounds of every discrete variable of the problem and returns the
// notes. Adds an issue for a variable whose bounds hold no allowed value.
std::vector<std::string> MoveBoundsOntoAllowedValues(CProblem& problem,
                                                     std::vector<CProblemIssue>& issues);
