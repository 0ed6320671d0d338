// A host that embeds the Discrete module:
//
//   embedding [DATABASE [MAX_SUBTASKS]]
//
// creates (or opens) the task database (default embedding.db), writes a search
// task, solves it as a continuous problem, runs the branch-and-bound search
// with its own continuous solver for every subtask (at most MAX_SUBTASKS of
// them, when given) and prints the best discrete design. Exit status 0 when a
// feasible discrete design was found, 1 when not, 2 on an error.

#include <discrete/Discrete.h>
#include <discrete/LogFile.h>
#include <discrete/Records.h>
#include <discrete/TaskDatabase.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "HostRecords.h"

namespace {

// Four variables: a count, a thickness from a catalogue, a length and a
// position; the count and the thickness share a budget of 5.
CProblem ExampleProblem() {
  CProblem problem;
  problem.variables = {
      // name, set id, lower, upper, target c, weight w, budget coefficient a
      {"count", -1, 0.0, 10.0, 3.4, 1.0, 1.0},
      {"thickness", 1, 1.2, 6.3, 3.1, 2.0, 1.0},
      {"length", 0, 0.0, 5.0, 7.0, 0.5, 0.0},
      {"position", -1, -5.0, 5.0, -2.7, 1.0, 0.0},
  };
  problem.sets = {{1, "thickness", {1.2, 2.5, 4.0, 6.3}}};
  problem.budget = 5.0;
  return problem;
}

struct CSearchEnd {
  int subtasks = 0;      // subtasks solved
  bool stopped = false;  // the subtask limit ended the search
};

// The search loop (Discrete.h): start, then solve and post each subtask
// until the module hands out 0, or stop it early with BranchBoundStop.
CSearchEnd RunSearch(const CProblem& problem, int searchTask, CLogFile& log, int maxSubtasks) {
  CSearchEnd end;
  int subtask = GenDiscreteTask(searchTask, &log);
  while (subtask != 0) {
    SolveTask(problem, subtask);
    PostDiscreteTask(subtask, false);
    ++end.subtasks;
    if (maxSubtasks > 0 && end.subtasks >= maxSubtasks) {
      BranchBoundStop(searchTask);  // the result names the best design found so far
      end.stopped = true;
      break;
    }
    subtask = GenDiscreteTask(0, &log);
  }
  return end;
}

// Prints the search's outcome from the search task's result record; returns
// whether a feasible discrete design was found.
bool PrintResult(const CProblem& problem, int searchTask, const CSearchEnd& end) {
  CResult result(GetPOD());
  result.m_nTaskID = searchTask;
  if (!result.GetObject()) throw std::runtime_error("the search task has no result record");
  std::printf("search of task %d: %d subtasks%s\n", searchTask, end.subtasks,
              end.stopped ? ", stopped at the limit" : "");
  const int resultTask = result.m_nResultTask;
  if (resultTask == 0 || result.m_nDiscreteFeasible == 0) {
    std::printf("no feasible discrete design found\n");
    return false;
  }
  double objective = 0.0, maxConstraint = 0.0;
  std::valarray<double> values;
  GetBestResult(resultTask, &objective, &maxConstraint, values);
  std::printf("best discrete design (task %d): objective %.6g, max constraint %.6g\n", resultTask,
              objective, maxConstraint);
  for (size_t i = 0; i < values.size(); ++i)
    std::printf("  %-10s %.6g\n", problem.variables[i].name.c_str(), values[i]);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string path = argc > 1 ? argv[1] : "embedding.db";
  const int maxSubtasks = argc > 2 ? std::atoi(argv[2]) : 0;
  try {
    OpenTaskDatabase(path);
    CLogFile log((path + ".log").c_str(), 1);
    SetCurrentLog(&log);
    int major = 0, minor = 0, release = 0;
    GetDiscreteVersion(&major, &minor, &release);
    std::printf("Discrete module %d.%d.%d, task database %s\n", major, minor, release,
                path.c_str());

    const CProblem problem = ExampleProblem();
    const int searchTask = WriteSearchTask(problem);
    const CSolution continuous = SolveTask(problem, searchTask);
    std::printf("continuous optimum: objective %.6g\n", continuous.objective);
    const bool found =
        PrintResult(problem, searchTask, RunSearch(problem, searchTask, log, maxSubtasks));
    SetCurrentLog(nullptr);
    CloseTaskDatabase();
    return found ? 0 : 1;
  } catch (const std::exception& error) {  // CKivoErr (the module), CDatabaseError, ...
    std::fprintf(stderr, "embedding: %s\n", error.what());
    return 2;
  }
}
