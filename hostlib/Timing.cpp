// The host's timers and counters, defined once for the process.

#include "Timing.h"

CTimer dbReadTime = {0, 0.0, 0.0};
CTimer dbWriteTime = {0, 0.0, 0.0};
CTimer discSetupTime = {0, 0.0, 0.0};

int nNumAnalyses = 0;
int nNumGradCalc = 0;
