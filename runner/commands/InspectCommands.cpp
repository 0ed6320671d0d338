#include <fmt/format.h>

#include <filesystem>

#include "TaskDatabase.h"
#include "commands/Commands.h"
#include "commands/EvaluationListing.h"
#include "commands/JsonOutput.h"
#include "commands/TaskListing.h"
#include "search/DiscreteModule.h"
#include "tasks/TaskWriter.h"

namespace {

struct CDatabaseSession {
  explicit CDatabaseSession(const std::string& path) { OpenExistingDatabase(path); }
  ~CDatabaseSession() { CloseTaskDatabase(); }
};

}  // namespace

void OpenExistingDatabase(const std::string& path) {
  if (!std::filesystem::is_regular_file(path))
    throw CDatabaseError(path + ": no such database file");
  OpenTaskDatabase(path, ETaskDatabaseAccess::ReadOnly);
}

EExitCode RunShow(const std::string& databasePath, std::optional<int> taskId, bool allEvaluations,
                  bool json, FILE* out) {
  CDatabaseSession session(databasePath);
  const EEvaluationSelection listed =
      allEvaluations ? EEvaluationSelection::All : EEvaluationSelection::Failed;
  if (json && taskId) {
    CJson document = JsonDocument("discrete-task");
    document["task"] = *taskId;
    bool solved = false;
    CJson records = TaskRecordsJson(*taskId, solved);
    document["solved"] = solved;
    document["records"] = std::move(records);
    document["evaluations"] = EvaluationsJson(EEvaluationSelection::All, taskId);
    PrintJson(out, document);
  } else if (json) {
    CJson document = JsonDocument("discrete-tasks");
    document["database"] = databasePath;
    document["tasks"] = TaskListJson();
    document["evaluations"] = EvaluationsJson(listed, std::nullopt);
    PrintJson(out, document);
  } else if (taskId) {
    PrintTaskRecords(out, *taskId);
    PrintEvaluations(out, EEvaluationSelection::All, taskId);
  } else {
    PrintTaskList(out);
    PrintEvaluations(out, listed, std::nullopt);
  }
  return EExitCode::Success;
}

EExitCode RunTree(const std::string& databasePath, std::optional<int> taskId, ETreeFormat format,
                  FILE* out, const CTreePictureOptions& picture) {
  CDatabaseSession session(databasePath);
  if (format == ETreeFormat::Svg) return PrintTreePicture(out, databasePath, taskId, picture);
  if (picture.Any())
    throw CUsageError("--incumbent-path, --max-depth and --collapse shape the svg format only");
  const std::vector<int> searchTasks = taskId ? std::vector<int>{*taskId} : SearchTasks();
  if (format == ETreeFormat::Json) {
    PrintSearchTreesJson(out, searchTasks);
    return EExitCode::Success;
  }
  if (searchTasks.empty()) fmt::print(out, "{} holds no search task\n", databasePath);
  for (int searchTask : searchTasks) PrintSearchTree(out, searchTask, format);
  return EExitCode::Success;
}

EExitCode RunVersion(FILE* out) {
  fmt::print(out, "{}\n", kProgramSignature);
  const CDiscreteModule module = CDiscreteModule::Load();
  const CModuleVersion version = module.Version();
  fmt::print(out, "module {}.{}.{} ({})\n", version.major, version.minor, version.patch,
             module.Path());
  return EExitCode::Success;
}
