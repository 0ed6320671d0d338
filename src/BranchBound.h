#pragma once

// The branch-and-bound driver of libDiscrete.so. Its exceptions and entry
// points, what a host sees, are declared in the public header Discrete.h;
// this header adds the module state that the driver keeps between calls.

#include "Discrete.h"
#include "DiscreteTree.h"

// ---------------------------------------------------------------------------
// Module state between calls. Not exported from libDiscrete.so: only code
// linked with the driver itself (its tests) sees these. Built at load in this
// order and destroyed in the reverse order.

extern CDiscreteTree theTree;  // the current search: node store, incumbent, sets
extern CDiscreteNode curNode;  // the node whose subtask is outstanding; node number -1 at load
extern int nContinuousTask;    // the search task's id; 0 before the first search
extern CLogFile* pLogFile;     // the log of the starting call; null before the first search
