// The commands that draw: `tree --format svg` (TreePicture.h) and `plot`
// (ConvergencePlot.h), both reading a search back from an existing database.

#include <fmt/format.h>

#include "Records.h"
#include "TaskDatabase.h"
#include "commands/Commands.h"
#include "commands/ConvergencePlot.h"
#include "commands/TreePicture.h"
#include "tasks/ConvergenceTable.h"
#include "tasks/SearchTable.h"
#include "tasks/TaskDataError.h"

namespace {

// The search to draw: the one asked for, else the last one `accepts`.
template <typename FAccepts>
int SearchToDraw(const std::string& databasePath, std::optional<int> searchTaskId,
                 const FAccepts& accepts, const char* what) {
  if (searchTaskId) return *searchTaskId;
  const std::vector<int> searches = SearchTasks();
  for (auto task = searches.rbegin(); task != searches.rend(); ++task) {
    if (accepts(*task)) return *task;
  }
  throw CTaskDataError(fmt::format("{} holds no search task{}", databasePath, what));
}

// How the search ended (table `searches`); "" when the table does not say.
std::string SearchEnd(int searchTaskId) {
  for (const CSearchRow& row : ReadSearches()) {
    if (row.searchTaskId == searchTaskId) return row.end;
  }
  return "";
}

}  // namespace

EExitCode PrintTreePicture(FILE* out, const std::string& databasePath,
                           std::optional<int> searchTaskId, const CTreePictureOptions& options) {
  const int searchTask = SearchToDraw(
      databasePath, searchTaskId, [](int) { return true; }, "");
  const std::string svg =
      TreePictureSvg(ReadSearchTree(searchTask), searchTask, SearchEnd(searchTask), options);
  fmt::print(out, "{}", svg);
  return EExitCode::Success;
}

EExitCode RunPlot(const std::string& databasePath, std::optional<int> taskId,
                  const std::string& outputPath, FILE* out) {
  OpenExistingDatabase(databasePath);
  struct CClose {
    ~CClose() { CloseTaskDatabase(); }
  } close;
  const int searchTask = SearchToDraw(
      databasePath, taskId, [](int task) { return !ReadConvergence(task).empty(); },
      " with a convergence history");
  const std::vector<CConvergencePoint> points = ReadConvergence(searchTask);
  if (points.empty()) {
    throw CTaskDataError(fmt::format(
        "search task {} of {} has no convergence history: it was killed or stopped by a "
        "failure, or run by a version of discrete that kept none",
        searchTask, databasePath));
  }
  CConvergencePlotTitle title;
  title.searchTaskId = searchTask;
  CTask task(GetPOD());
  task.m_nTaskID = searchTask;
  if (task.GetObject()) title.problemName = task.m_strName;
  title.end = SearchEnd(searchTask);
  const std::string svg = ConvergencePlotSvg(points, title);
  if (outputPath.empty() || outputPath == "-")
    fmt::print(out, "{}", svg);
  else
    WriteSvgFile(outputPath, svg);
  return EExitCode::Success;
}
