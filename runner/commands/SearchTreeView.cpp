#include "commands/SearchTreeView.h"

#include <fmt/format.h>

#include <string>
#include <unordered_map>

#include "Records.h"
#include "commands/JsonOutput.h"
#include "search/SearchState.h"
#include "tasks/RecordKinds.h"
#include "tasks/TaskProblem.h"
#include "tasks/TaskResult.h"

namespace {

// The records of one task that the tree shows.
struct CTaskView {
  CTask task;           // its task record
  CDVar variables;      // its bounds
  CResult result;       // its result; valid when solved
  bool solved = false;  // it has been solved (TaskResult.h)
  explicit CTaskView(int taskId) : task(GetPOD()), variables(GetPOD()), result(GetPOD()) {
    task.m_nTaskID = taskId;
    variables.m_nTaskID = taskId;
    if (!task.GetObject() || !variables.GetObject()) {
      throw CTaskDataError(
          fmt::format("the database holds no task {} with its design variables", taskId));
    }
    solved = ReadSolvedResult(taskId, result);
  }
};

std::string Bound(const CDVar& parent, const CDVar& child) {
  std::string text;
  for (size_t i = 0; i < child.m_vaLower.size() && i < parent.m_vaLower.size(); ++i) {
    const std::string name = i < child.m_vNames.size() ? child.m_vNames[i] : fmt::format("x{}", i);
    if (double(child.m_vaLower[i]) > double(parent.m_vaLower[i])) {
      text += (text.empty() ? "" : ", ") +
              fmt::format("{} >= {:.10g}", name, double(child.m_vaLower[i]));
    }
    if (double(child.m_vaUpper[i]) < double(parent.m_vaUpper[i])) {
      text += (text.empty() ? "" : ", ") +
              fmt::format("{} <= {:.10g}", name, double(child.m_vaUpper[i]));
    }
  }
  return text.empty() ? "same bounds" : text;
}

// The node's fate (SearchState.h), and "branched" for a node to be branched
// that was.
std::string Status(const CTaskView& view, ENodeOutcome outcome) {
  if (outcome == ENodeOutcome::ToBranch && !view.task.m_vChildTaskIDs.empty()) return "branched";
  return Describe(outcome);
}

// The nodes in depth-first order (children in creation order), without
// recursion: trees can be deep.
std::vector<CTreeNode> ReadTree(int searchTaskId, const CSearchState& state) {
  const int incumbent = state.discreteFeasible ? state.resultTask : 0;
  std::vector<CTreeNode> nodes;
  struct CPending {                // a node still to be read
    int taskId;                    // its task
    int depth;                     // 0 for the search task
    int parent;                    // its parent's task; 0 for the search task
    bool isLastChild;              // last among its siblings
    std::vector<bool> openLevels;  // as CTreeNode's
    std::string branch;            // the bound its branching moved
  };
  std::vector<CPending> stack{{searchTaskId, 0, 0, true, {}, "root"}};
  while (!stack.empty()) {
    CPending pending = std::move(stack.back());
    stack.pop_back();
    const CTaskView view(pending.taskId);
    CTreeNode node;
    node.taskId = pending.taskId;
    node.depth = pending.depth;
    node.parent = pending.parent;
    node.isLastChild = pending.isLastChild;
    node.openLevels = pending.openLevels;
    node.branch = pending.branch;
    node.result =
        view.solved ? fmt::format("objective {:.10g}  max con {:.3g}",
                                  double(view.result.m_dBestObj), double(view.result.m_dBestMaxCon))
                    : "not solved";
    node.solved = view.solved;
    node.objective = double(view.result.m_dBestObj);
    node.maxConstraint = double(view.result.m_dBestMaxCon);
    node.outcome = state.outcomes.at(pending.taskId);
    node.status = Status(view, node.outcome);
    node.isIncumbent = pending.taskId == incumbent;
    std::vector<bool> childLevels = pending.openLevels;
    if (pending.depth > 0) childLevels.push_back(!pending.isLastChild);
    const auto& children = view.task.m_vChildTaskIDs;
    for (const pvINT32& child : children) node.children.push_back(child);
    for (size_t c = children.size();
         c-- > 0;) {  // pushed last first, so that they are visited in order
      const CTaskView child(children[c]);
      stack.push_back({int(children[c]), pending.depth + 1, pending.taskId,
                       c + 1 == children.size(), childLevels,
                       Bound(view.variables, child.variables)});
    }
    nodes.push_back(std::move(node));
  }
  return nodes;
}

// Said below the tree of a search that did not finish (SearchState.h).
std::string UnfinishedNote(const CSearchState& state) {
  return fmt::format(
      "search not finished: {} subtasks solved; {}", state.solvedSubtasks,
      state.discreteFeasible
          ? fmt::format("the best feasible discrete design so far is task {}", state.resultTask)
          : std::string("no feasible discrete design so far"));
}

void PrintText(FILE* out, const std::vector<CTreeNode>& nodes) {
  for (const CTreeNode& node : nodes) {
    std::string prefix;
    for (bool open : node.openLevels) prefix += open ? "|   " : "    ";
    if (node.depth > 0) prefix += node.isLastChild ? "`-- " : "+-- ";
    fmt::print(out, "{}task {}  {}  {}  {}{}\n", prefix, node.taskId, node.branch, node.result,
               node.status, node.isIncumbent ? "  <== incumbent" : "");
  }
}

void PrintDot(FILE* out, int searchTaskId, const CSearchState& state,
              const std::vector<CTreeNode>& nodes) {
  fmt::print(out, "digraph search_{} {{\n  node [shape=box, fontname=\"Helvetica\"];\n",
             searchTaskId);
  if (!state.finished) fmt::print(out, "  label=\"{}\";\n", UnfinishedNote(state));
  for (const CTreeNode& node : nodes) {
    fmt::print(out, "  t{} [label=\"task {}\\n{}\\n{}\"{}];\n", node.taskId, node.taskId,
               node.result, node.status,
               node.isIncumbent ? ", style=filled, fillcolor=gold, penwidth=2" : "");
  }
  std::unordered_map<int, const CTreeNode*> byTask;
  for (const CTreeNode& node : nodes) byTask.emplace(node.taskId, &node);
  for (const CTreeNode& node : nodes) {
    for (int child : node.children) {
      fmt::print(out, "  t{} -> t{} [label=\"{}\"];\n", node.taskId, child,
                 byTask.at(child)->branch);
    }
  }
  fmt::print(out, "}}\n");
}

CJson TreeJson(int searchTaskId) {
  const CSearchState state = ReadSearchState(searchTaskId);
  CJson tree = CJson::object();
  tree["search_task"] = searchTaskId;
  tree["finished"] = state.finished;
  tree["result_task"] = state.resultTask > 0 ? CJson(state.resultTask) : CJson(nullptr);
  tree["discrete_feasible"] = state.discreteFeasible;
  tree["solved_subtasks"] = state.solvedSubtasks;
  CJson nodes = CJson::array();
  for (const CTreeNode& node : ReadTree(searchTaskId, state)) {
    CJson item = CJson::object();
    item["task"] = node.taskId;
    item["parent"] = node.parent > 0 ? CJson(node.parent) : CJson(nullptr);
    item["depth"] = node.depth;
    item["branch"] = node.branch;
    item["outcome"] = node.status;
    item["solved"] = node.solved;
    item["objective"] = node.solved ? JsonNumber(node.objective) : CJson(nullptr);
    item["max_constraint"] = node.solved ? JsonNumber(node.maxConstraint) : CJson(nullptr);
    item["incumbent"] = node.isIncumbent;
    item["children"] = node.children;
    nodes.push_back(std::move(item));
  }
  tree["nodes"] = std::move(nodes);
  return tree;
}

}  // namespace

void PrintSearchTreesJson(FILE* out, const std::vector<int>& searchTaskIds) {
  CJson document = JsonDocument("discrete-tree");
  CJson trees = CJson::array();
  for (int searchTaskId : searchTaskIds) trees.push_back(TreeJson(searchTaskId));
  document["searches"] = std::move(trees);
  PrintJson(out, document);
}

std::vector<int> SearchTasks() {
  std::vector<int> tasks;
  const int lastId = CDBCtrl(GetPOD()).GetTaskID(false);
  for (int taskId = 1; taskId <= lastId; ++taskId) {
    CTask task(GetPOD());
    task.m_nTaskID = taskId;
    if (task.GetObject() && task.m_nTaskKind == Stored(ETaskKind::Search) &&
        task.m_nParentTaskID <= 0)
      tasks.push_back(taskId);
  }
  return tasks;
}

CSearchTree ReadSearchTree(int searchTaskId) {
  CSearchTree tree;
  tree.state = ReadSearchState(searchTaskId);
  tree.nodes = ReadTree(searchTaskId, tree.state);
  CTask task(GetPOD());
  task.m_nTaskID = searchTaskId;
  if (task.GetObject()) tree.problemName = task.m_strName;
  return tree;
}

void PrintSearchTree(FILE* out, int searchTaskId, ETreeFormat format) {
  const CSearchState state = ReadSearchState(searchTaskId);
  const std::vector<CTreeNode> nodes = ReadTree(searchTaskId, state);
  if (format == ETreeFormat::Dot) {
    PrintDot(out, searchTaskId, state, nodes);
  } else {
    PrintText(out, nodes);
    if (!state.finished) fmt::print(out, "{}\n", UnfinishedNote(state));
  }
}
