#pragma once

#include <cstdint>

// A wall-clock accumulator. Its user sets m_dStart before a step and, once the
// step has succeeded, adds the elapsed seconds to m_dTotal; a failed step
// leaves the total as it was. Users only ever add to the total.
struct CTimer {
  int32_t m_nReserved;  // not used
  double m_dStart;      // start of the step being timed, seconds since the epoch
  double m_dTotal;      // seconds accumulated so far
};

// The host's accumulators: database reads, database writes, and the discrete
// search's set-up work (building subtasks included).
extern CTimer dbReadTime;
extern CTimer dbWriteTime;
extern CTimer discSetupTime;

// The host's counters of analyses (objective and constraint evaluations) and
// of gradient evaluations, over the life of the process.
extern int nNumAnalyses;
extern int nNumGradCalc;
