#pragma once

// Evaluations of analysis programs in this process, for the report.
struct CAnalysisCounts {
  long evaluations = 0;       // evaluations run, tries included
  long failed = 0;            // of them, those that failed
  long served = 0;            // designs answered from the store instead
  long slurmSubmissions = 0;  // job arrays submitted (slurm-jobs)
  long slurmPolls = 0;        // questions to Slurm's queue (slurm-jobs)
};
CAnalysisCounts& AnalysisCounts();
