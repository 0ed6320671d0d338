#pragma once

// The executor of each kind (SlurmSettings.h, Executor.h).

#include <memory>

#include "analyses/Executor.h"

// Throws CSlurmError when an executor that uses Slurm finds no Slurm client
// commands on PATH.
std::unique_ptr<CAnalysisExecutor> MakeExecutor(EExecutor executor);
