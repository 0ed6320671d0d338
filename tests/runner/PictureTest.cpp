// The pictures the program draws: the convergence plot (from histories built
// here and from real searches) and the tree picture of real searches, each
// parsed with a real XML parser (tinyxml2) and checked for what a reader
// relies on: colours by the nodes' fates, every node drawn or counted once,
// the options' cuts, sizes, and no NaN or inf anywhere.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <cmath>
#include <functional>
#include <map>
#include <regex>
#include <set>

#include "DatabaseFiles.h"
#include "ProgramRun.h"
#include "TaskDatabase.h"
#include "commands/ConvergencePlot.h"
#include "commands/NiceScale.h"
#include "commands/SearchTreeView.h"
#include "search/ConvergenceHistory.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// A parsed SVG document; the test fails when it does not parse.
class CParsedSvg {
 public:
  explicit CParsedSvg(const std::string& text) {
    EXPECT_EQ(m_document.Parse(text.c_str(), text.size()), tinyxml2::XML_SUCCESS)
        << m_document.ErrorStr();
  }

  // Every element, in document order.
  std::vector<const tinyxml2::XMLElement*> All() const {
    std::vector<const tinyxml2::XMLElement*> elements;
    const std::function<void(const tinyxml2::XMLElement*)> visit =
        [&](const tinyxml2::XMLElement* element) {
          for (; element; element = element->NextSiblingElement()) {
            elements.push_back(element);
            visit(element->FirstChildElement());
          }
        };
    visit(m_document.RootElement());
    return elements;
  }

  // The elements with the tag (and the class, when given).
  std::vector<const tinyxml2::XMLElement*> Find(const std::string& tag,
                                                const std::string& className = "") const {
    std::vector<const tinyxml2::XMLElement*> found;
    for (const tinyxml2::XMLElement* element : All()) {
      const char* elementClass = element->Attribute("class");
      if (tag == element->Name() &&
          (className.empty() || (elementClass && className == elementClass)))
        found.push_back(element);
    }
    return found;
  }

  // No attribute holds NaN or an infinity ("infeasible" is a class).
  void ExpectOnlyFiniteNumbers() const {
    const std::regex nonFinite("(^|[^a-z])(nan|inf)([^a-z]|$)", std::regex::icase);
    for (const tinyxml2::XMLElement* element : All()) {
      for (const tinyxml2::XMLAttribute* a = element->FirstAttribute(); a; a = a->Next())
        EXPECT_FALSE(std::regex_search(a->Value(), nonFinite)) << a->Name() << "=" << a->Value();
    }
  }

 private:
  tinyxml2::XMLDocument m_document;
};

std::string Tooltip(const tinyxml2::XMLElement* element) {
  const tinyxml2::XMLElement* title = element->FirstChildElement("title");
  return title && title->GetText() ? title->GetText() : "";
}

TEST(NiceScale, TicksAtOneTwoOrFiveTimesAPowerOfTenCoverTheRange) {
  const CNiceScale scale = NiceScale(5885.3, 6059.7);
  EXPECT_EQ(scale.step, 50.0);
  EXPECT_EQ(scale.low, 5850.0);
  EXPECT_EQ(scale.high, 6100.0);
  EXPECT_EQ(scale.ticks.size(), 6u);
  EXPECT_EQ(TickLabel(scale.ticks[1], scale.step), "5900");
  const CNiceScale small = NiceScale(-0.013, 0.0031);
  EXPECT_LE(small.low, -0.013);
  EXPECT_GE(small.high, 0.0031);
  EXPECT_EQ(TickLabel(small.ticks.front(), small.step), "-0.015");
  EXPECT_EQ(TickLabel(small.low + 3 * small.step, small.step), "0");  // not 8.7e-19
  EXPECT_EQ(TickLabel(2.5e-12, 5e-13), "2.5e-12");
  const CNiceScale flat = NiceScale(7.0, 7.0);  // widened around its value
  EXPECT_LT(flat.low, 7.0);
  EXPECT_GT(flat.high, 7.0);
}

// A node of a built history.
CNodeSummary Summary(int node, double seconds, std::optional<double> incumbent,
                     std::optional<double> bound, bool isNew = false) {
  CNodeSummary summary;
  summary.node = node;
  summary.elapsedSeconds = seconds;
  summary.hasIncumbent = incumbent.has_value();
  summary.incumbentObjective = incumbent.value_or(0.0);
  summary.hasOpenBound = bound.has_value();
  summary.openBound = bound.value_or(0.0);
  summary.isNewIncumbent = isNew;
  return summary;
}

TEST(ConvergencePlot, KeepsTheStepsAndDrawsBothPanelsWithoutNonFiniteValues) {
  CConvergenceHistory history;
  history.OnNode(Summary(0, 0.1, std::nullopt, 90.0));
  history.OnNode(Summary(1, 0.2, std::nullopt, 90.0));  // nothing changed: not kept
  history.OnNode(Summary(2, 0.4, 120.0, 95.0, true));
  history.OnNode(Summary(3, 0.5, 120.0, NAN));             // a bound that is not a number: a gap
  history.OnNode(Summary(4, 0.9, 110.0, INFINITY, true));  // no finite bound: a gap
  history.OnNode(Summary(5, 1.0, 110.0, 101.0));
  history.OnNode(Summary(6, 1.5, 110.0, 101.0));  // the last node: kept
  CSearchOutcome outcome;
  outcome.end = ESearchEnd::TimeLimit;
  history.OnEnd(outcome);
  const std::vector<CConvergencePoint> points = history.Points();
  std::vector<int> nodes;
  for (const CConvergencePoint& point : points) nodes.push_back(point.node);
  EXPECT_THAT(nodes, ::testing::ElementsAre(0, 2, 3, 4, 5, 6));

  const std::string text = ConvergencePlotSvg(points, {"vessel <1>", 7, history.End()});
  const CParsedSvg svg(text);
  svg.ExpectOnlyFiniteNumbers();
  EXPECT_THAT(text, HasSubstr("vessel &lt;1&gt;: search task 7, stopped at the time limit"));
  // One step line of each per panel; the bound's gap splits its path.
  ASSERT_EQ(svg.Find("path", "incumbent").size(), 3u);  // the legend's sample and two panels
  ASSERT_EQ(svg.Find("path", "bound").size(), 3u);
  const std::string boundPath = svg.Find("path", "bound")[1]->Attribute("d");
  EXPECT_EQ(std::count(boundPath.begin(), boundPath.end(), 'M'), 2) << boundPath;
  // Marks of both new incumbents in both panels, with the legend's.
  const auto marks = svg.Find("circle", "found");
  ASSERT_EQ(marks.size(), 5u);
  EXPECT_THAT(Tooltip(marks[2]), HasSubstr("subtask 4, 0.9 s: new incumbent 110"));
  // A linear axis here: the values span less than three decades.
  EXPECT_THAT(text, Not(HasSubstr("log scale")));

  // Positive values over many decades: a logarithmic axis with powers of ten.
  const std::string logarithmic = ConvergencePlotSvg(
      {{0, 0.0, true, 1e-3, false, 0.0, true}, {9, 2.0, true, 2e-12, true, 1e-13, true}},
      {"gear", 1, "search complete"});
  CParsedSvg(logarithmic).ExpectOnlyFiniteNumbers();
  EXPECT_THAT(logarithmic, HasSubstr("objective (log scale)"));
  EXPECT_THAT(logarithmic, HasSubstr(">1e-12<"));

  // No history at all still gives a document, which says so.
  const std::string empty = ConvergencePlotSvg({}, {"none", 2, ""});
  CParsedSvg(empty).ExpectOnlyFiniteNumbers();
  EXPECT_THAT(empty, HasSubstr("no convergence history"));
}

// Each test works in a fresh folder of its own.
class Pictures : public ::testing::Test {
 protected:
  CProgramRun Run(const std::string& arguments) const {
    return RunProgram(m_directory.Path(), arguments);
  }
  std::string File(const std::string& name) const { return ReadFile(m_directory.File(name)); }

  // The tree of the search as the database holds it.
  CSearchTree StoredTree(const std::string& database, int searchTask = 1) const {
    OpenTaskDatabase(m_directory.File(database), ETaskDatabaseAccess::ReadOnly);
    CSearchTree tree = ReadSearchTree(searchTask);
    CloseTaskDatabase();
    return tree;
  }

  CScratchDirectory m_directory;  // removed after the test
};

// The class a node's dot must have: its fate, by the tree's own reading.
std::string ExpectedClass(const CTreeNode& node) {
  if (node.isIncumbent) return "incumbent";
  const std::map<ENodeOutcome, std::string> classes = {
      {ENodeOutcome::NotSolved, "unsolved"},
      {ENodeOutcome::NotConverged, "notconverged"},
      {ENodeOutcome::Infeasible, "infeasible"},
      {ENodeOutcome::WorseThanIncumbent, "worse"},
      {ENodeOutcome::DiscreteFeasible, "feasible"},
      {ENodeOutcome::ToBranch, node.children.empty() ? "open" : "branched"}};
  return classes.at(node.outcome);
}

// The drawn nodes by task id, with their class; every one is checked
// against its fate.
std::map<int, std::string> DrawnNodes(const CParsedSvg& svg, const CSearchTree& tree) {
  std::map<int, const CTreeNode*> byTask;
  for (const CTreeNode& node : tree.nodes) byTask.emplace(node.taskId, &node);
  std::map<int, std::string> drawn;
  for (const tinyxml2::XMLElement* circle : svg.Find("circle")) {
    const char* id = circle->Attribute("id");
    if (!id) continue;  // the legend's
    const int task = std::stoi(std::string(id).substr(1));
    drawn[task] = circle->Attribute("class");
    EXPECT_EQ(drawn[task], ExpectedClass(*byTask.at(task))) << "task " << task;
    EXPECT_THAT(Tooltip(circle), ::testing::StartsWith("task " + std::to_string(task) + ": "));
  }
  return drawn;
}

// The nodes the markers count.
int CountedByMarkers(const CParsedSvg& svg) {
  int counted = 0;
  for (const tinyxml2::XMLElement* text : svg.Find("text", "count"))
    counted += std::stoi(text->GetText());
  return counted;
}

TEST_F(Pictures, ASmallTreeIsDrawnWholeWithEachFatesColour) {
  ASSERT_EQ(Run("solve " EXAMPLES_DIR "/pressure_vessel.toml --db v.db --quiet").exitCode, 0);
  const CProgramRun run = Run("tree v.db --format svg");
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  const CParsedSvg svg(run.output);
  svg.ExpectOnlyFiniteNumbers();
  const CSearchTree tree = StoredTree("v.db");
  const std::map<int, std::string> drawn = DrawnNodes(svg, tree);
  EXPECT_EQ(drawn.size(), tree.nodes.size());
  std::set<std::string> classes;
  for (const auto& [task, className] : drawn) classes.insert(className);
  EXPECT_EQ(classes, (std::set<std::string>{"branched", "infeasible", "incumbent"}));
  EXPECT_THAT(run.output, HasSubstr("incumbent: task 4, objective 6059.714"));
}

// Thousands of nodes of the gear train, stopped at a node limit: the whole
// picture, the collapsed one (its size stated in docs/cli.md), the path to
// the incumbent and a depth cut; every node drawn or counted once.
TEST_F(Pictures, ALargeTreeStaysSmallWithItsOptionsAndEveryNodeIsCountedOnce) {
  ASSERT_EQ(
      Run("solve " EXAMPLES_DIR "/gear_train.toml --db g.db --quiet --max-nodes 2000").exitCode, 0);
  const CSearchTree tree = StoredTree("g.db");
  ASSERT_EQ(tree.nodes.size(), 2001u);
  std::map<int, const CTreeNode*> byTask;
  std::map<int, int> parentOf;
  for (const CTreeNode& node : tree.nodes) {
    byTask.emplace(node.taskId, &node);
    for (int child : node.children) parentOf[child] = node.taskId;
  }

  const CProgramRun whole = Run("tree g.db --format svg");
  const CParsedSvg wholeSvg(whole.output);
  EXPECT_THAT(whole.output,
              HasSubstr("gear_train: search task 1, stopped at the node limit, 2000 subtasks"));
  EXPECT_EQ(DrawnNodes(wholeSvg, tree).size(), tree.nodes.size());

  const CProgramRun collapsed = Run("tree g.db --format svg --collapse");
  const CParsedSvg collapsedSvg(collapsed.output);
  collapsedSvg.ExpectOnlyFiniteNumbers();
  const std::map<int, std::string> shown = DrawnNodes(collapsedSvg, tree);
  EXPECT_EQ(shown.size() + CountedByMarkers(collapsedSvg), tree.nodes.size());
  EXPECT_LT(collapsed.output.size(), 100'000u);
  EXPECT_LT(collapsedSvg.All().size(), 1'000u);
  EXPECT_LT(collapsed.output.size() * 3, whole.output.size());
  for (const tinyxml2::XMLElement* marker : collapsedSvg.Find("path", "collapsed")) {
    if (Tooltip(marker).empty()) continue;  // the legend's
    EXPECT_THAT(Tooltip(marker), Not(HasSubstr("feasible")));
    EXPECT_THAT(Tooltip(marker), Not(HasSubstr("to branch")));
    EXPECT_THAT(Tooltip(marker), Not(HasSubstr("incumbent:")));
  }
  // Every discrete feasible node and every open one stays drawn.
  for (const CTreeNode& node : tree.nodes) {
    const std::string expected = ExpectedClass(node);
    if (expected == "feasible" || expected == "open" || expected == "incumbent") {
      EXPECT_TRUE(shown.count(node.taskId)) << "task " << node.taskId;
    }
  }

  const CProgramRun path = Run("tree g.db --format svg --incumbent-path");
  const CParsedSvg pathSvg(path.output);
  const std::map<int, std::string> onPath = DrawnNodes(pathSvg, tree);
  EXPECT_EQ(onPath.size() + CountedByMarkers(pathSvg), tree.nodes.size());
  std::set<int> expected;  // the path and its siblings
  int incumbent = 0;
  for (const CTreeNode& node : tree.nodes) incumbent = node.isIncumbent ? node.taskId : incumbent;
  ASSERT_NE(incumbent, 0);
  for (int task = incumbent; task != 1; task = parentOf.at(task)) {
    for (int sibling : byTask.at(parentOf.at(task))->children) expected.insert(sibling);
  }
  expected.insert(1);
  std::set<int> drawnTasks;
  for (const auto& [task, className] : onPath) drawnTasks.insert(task);
  EXPECT_EQ(drawnTasks, expected);
  EXPECT_EQ(onPath.at(incumbent), "incumbent");

  const CProgramRun cut = Run("tree g.db --format svg --max-depth 3");
  const CParsedSvg cutSvg(cut.output);
  const std::map<int, std::string> shallow = DrawnNodes(cutSvg, tree);
  EXPECT_EQ(shallow.size() + CountedByMarkers(cutSvg), tree.nodes.size());
  for (const CTreeNode& node : tree.nodes)
    EXPECT_EQ(shallow.count(node.taskId) == 1, node.depth <= 3) << "task " << node.taskId;
}

TEST_F(Pictures, SolvesPlotAndThePlotCommandDrawsTheSameFromTheDatabase) {
  const CProgramRun solve =
      Run("solve " EXAMPLES_DIR "/gear_train.toml --db g.db --quiet --max-nodes 300 --plot a.svg");
  ASSERT_EQ(solve.exitCode, 0) << solve.errors;
  const std::string fromSolve = File("a.svg");
  const CParsedSvg svg(fromSolve);
  svg.ExpectOnlyFiniteNumbers();
  EXPECT_THAT(fromSolve, HasSubstr("gear_train: search task 1, stopped at the node limit"));
  EXPECT_GE(svg.Find("circle", "found").size(), 3u);
  // The database's rows (written once, when the search ended) draw the same plot.
  const CProgramRun plot = Run("plot g.db -o b.svg");
  EXPECT_EQ(plot.exitCode, 0) << plot.errors;
  EXPECT_EQ(File("b.svg"), fromSolve);
  EXPECT_EQ(Run("plot g.db --task 1").output, fromSolve);
}

TEST_F(Pictures, RefusesWhatItCannotDrawWithAClearError) {
  // A plot file that cannot be written: refused before anything is written.
  const CProgramRun noFolder =
      Run("solve " EXAMPLES_DIR "/pressure_vessel.toml --db v.db --plot missing/p.svg");
  EXPECT_EQ(noFolder.exitCode, 6);
  EXPECT_THAT(noFolder.errors, HasSubstr("cannot write plot file 'missing/p.svg'"));
  EXPECT_TRUE(FilesIn(m_directory.Path()).empty());

  ASSERT_EQ(Run("solve " EXAMPLES_DIR "/pressure_vessel.toml --db v.db --quiet").exitCode, 0);
  const CProgramRun textWithOptions = Run("tree v.db --collapse");
  EXPECT_EQ(textWithOptions.exitCode, 2);
  EXPECT_THAT(textWithOptions.errors, HasSubstr("shape the svg format only"));
  // A search whose history is gone (as after a kill) has no plot.
  CPlainConnection(m_directory.File("v.db")).Execute("DELETE FROM convergence");
  const CProgramRun noHistory = Run("plot v.db --task 1");
  EXPECT_EQ(noHistory.exitCode, 4);
  EXPECT_THAT(noHistory.errors, HasSubstr("search task 1 of v.db has no convergence history"));
  EXPECT_THAT(Run("plot v.db").errors,
              HasSubstr("v.db holds no search task with a convergence history"));
}

}  // namespace
