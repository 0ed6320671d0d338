#include "commands/TreePicture.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <unordered_map>

#include "commands/SvgWriter.h"

// Layout: a layered one. Every drawn item sits on the row of its depth; the
// drawn leaves take their places from left to right in depth-first order (a
// node's dot one column, a marker as much as its count needs), and a parent
// sits midway between its first and last child. It is linear in the items,
// deterministic, never overlaps, and reads like the text tree turned on its
// side. A tidy layout (Buchheim, Juenger and Leipert 2002) would pack
// subtrees closer, but the width here grows with the drawn leaves, which the
// options keep few; a branch-and-bound tree after collapsing is mostly narrow.

namespace {

constexpr double kColumn = 14;     // a drawn leaf's width
constexpr double kDigit = 5.5;     // a digit of a marker's count
constexpr double kRow = 36;        // between depths
constexpr double kMargin = 24;     // around the tree
constexpr double kTreeTop = 118;   // below the title and the legend
constexpr double kMinWidth = 760;  // room for the title and the legend

const char* const kStyle =
    "text{font-family:Helvetica,Arial,sans-serif;font-size:12px;fill:#222}"
    ".title{font-size:16px;font-weight:bold}.note{fill:#555}.count{font-size:9px}"
    ".edge{fill:none;stroke:#999;stroke-width:1}"
    "circle{stroke:#333;stroke-width:.6}"
    ".branched{fill:#c6dbef}.open{fill:#1f77b4}.feasible{fill:#2ca02c}"
    ".incumbent{fill:#ffbf00;stroke:#000;stroke-width:2}"
    ".infeasible{fill:#d62728}.worse{fill:#8c8c8c}.notconverged{fill:#ff7f0e}"
    ".unsolved{fill:#fff;stroke-dasharray:2 2}"
    ".collapsed{fill:#d9d9d9;stroke:#666}.hidden{fill:#fff;stroke:#666}";

// The CSS class of a node's dot, and its legend's words.
struct CNodeClass {
  const char* name;
  const char* words;
};

CNodeClass ClassOf(const CTreeNode& node) {
  if (node.isIncumbent) return {"incumbent", "incumbent"};
  switch (node.outcome) {
    case ENodeOutcome::NotSolved:
      return {"unsolved", "not solved"};
    case ENodeOutcome::NotConverged:
      return {"notconverged", "not converged"};
    case ENodeOutcome::Infeasible:
      return {"infeasible", "infeasible"};
    case ENodeOutcome::WorseThanIncumbent:
      return {"worse", "worse than incumbent"};
    case ENodeOutcome::DiscreteFeasible:
      return {"feasible", "discrete feasible"};
    case ENodeOutcome::ToBranch:
      break;
  }
  return node.children.empty() ? CNodeClass{"open", "to branch"}
                               : CNodeClass{"branched", "branched"};
}

// Something to draw: a node of the tree, or a marker standing for nodes.
struct CItem {
  int node = -1;                        // index of the node; -1 for a marker
  bool collapsed = false;               // a marker for one closed subtree; else for nodes left out
  int depth = 0;                        // the row
  int count = 0;                        // a marker's nodes
  std::map<std::string, int> outcomes;  // a marker's nodes by fate
  std::vector<int> children;            // item indices
  double x = 0.0;                       // centre from the left margin, after the layout

  static CItem Node(int node, int depth) {
    CItem item;
    item.node = node;
    item.depth = depth;
    return item;
  }
  static CItem Marker(bool collapsed, int depth) {
    CItem item;
    item.collapsed = collapsed;
    item.depth = depth;
    return item;
  }
};

class CTreeDrawing {
 public:
  CTreeDrawing(const CSearchTree& tree, const CTreePictureOptions& options)
      : m_nodes(tree.nodes), m_options(options) {
    Measure();
    Select();
    Lay();
  }

  std::string Svg(const CSearchTree& tree, int searchTaskId, const std::string& end) const;

 private:
  // Subtree sizes, parents, which subtrees hold a live node, the incumbent's path.
  void Measure() {
    const size_t n = m_nodes.size();
    std::unordered_map<int, int> indexOf;
    for (size_t i = 0; i < n; ++i) indexOf.emplace(m_nodes[i].taskId, int(i));
    m_childIndices.assign(n, {});
    m_parent.assign(n, -1);
    for (size_t i = 0; i < n; ++i) {
      for (int child : m_nodes[i].children) {
        m_childIndices[i].push_back(indexOf.at(child));
        m_parent[indexOf.at(child)] = int(i);
      }
    }
    m_size.assign(n, 1);
    m_live.assign(n, false);
    // Depth-first order puts every child after its parent.
    for (size_t i = n; i-- > 0;) {
      const CTreeNode& node = m_nodes[i];
      m_live[i] = m_live[i] || node.isIncumbent || node.outcome == ENodeOutcome::NotSolved ||
                  node.outcome == ENodeOutcome::DiscreteFeasible ||
                  (node.outcome == ENodeOutcome::ToBranch && node.children.empty());
      if (m_parent[i] >= 0) {
        m_size[m_parent[i]] += m_size[i];
        m_live[m_parent[i]] = m_live[m_parent[i]] || m_live[i];
      }
    }
    m_onPath.assign(n, false);
    if (n > 0) m_onPath[0] = true;
    for (size_t i = 0; i < n; ++i) {
      if (!m_nodes[i].isIncumbent) continue;
      for (int at = int(i); at >= 0; at = m_parent[at]) m_onPath[at] = true;
    }
  }

  // Counts the subtree of `node` (contiguous in depth-first order) into a marker.
  void CountInto(CItem& marker, int node) const {
    marker.count += m_size[node];
    for (int i = node; i < node + m_size[node]; ++i) ++marker.outcomes[ClassOf(m_nodes[i]).words];
  }

  int AddItem(CItem item, int parentItem) {
    m_items.push_back(std::move(item));
    const int index = int(m_items.size()) - 1;
    if (parentItem >= 0) m_items[parentItem].children.push_back(index);
    return index;
  }

  // Which nodes are drawn, which become markers; every item is made after its parent.
  void Select() {
    if (m_nodes.empty()) return;
    std::vector<int> stack{AddItem(CItem::Node(0, 0), -1)};
    while (!stack.empty()) {
      const int itemIndex = stack.back();
      stack.pop_back();
      const int node = m_items[itemIndex].node;
      const int depth = m_items[itemIndex].depth + 1;
      CItem hidden = CItem::Marker(false, depth);
      std::vector<int> shown;
      for (int child : m_childIndices[node]) {
        if ((m_options.maxDepth && depth > *m_options.maxDepth) ||
            (m_options.incumbentPath && !m_onPath[node])) {
          CountInto(hidden, child);
        } else if (m_options.collapse && m_size[child] >= 2 && !m_live[child]) {
          CItem marker = CItem::Marker(true, depth);
          CountInto(marker, child);
          AddItem(std::move(marker), itemIndex);
        } else {
          shown.push_back(AddItem(CItem::Node(child, depth), itemIndex));
        }
      }
      if (hidden.count > 0) AddItem(std::move(hidden), itemIndex);
      for (auto it = shown.rbegin(); it != shown.rend(); ++it) stack.push_back(*it);
    }
  }

  // Leaves in depth-first order take their widths from left to right; parents centre over
  // their children.
  void Lay() {
    if (m_items.empty()) return;
    std::vector<int> stack{0};
    while (!stack.empty()) {
      CItem& item = m_items[stack.back()];
      stack.pop_back();
      for (auto it = item.children.rbegin(); it != item.children.rend(); ++it) stack.push_back(*it);
      if (!item.children.empty()) continue;
      // A marker's leaf is as wide as its count, so that neighbouring counts do not overlap.
      const double width =
          item.node >= 0
              ? kColumn
              : std::max(kColumn, kDigit * double(std::to_string(item.count).size()) + 6);
      item.x = m_width + width / 2;
      m_width += width;
    }
    // Items were made parents first: backwards, every child is placed before its parent.
    for (size_t i = m_items.size(); i-- > 0;) {
      CItem& item = m_items[i];
      if (!item.children.empty())
        item.x = (m_items[item.children.front()].x + m_items[item.children.back()].x) / 2;
      m_deepest = std::max(m_deepest, item.depth);
    }
  }

  double X(const CItem& item) const { return kMargin + item.x; }
  double Y(const CItem& item) const { return kTreeTop + item.depth * kRow; }
  std::string NodeTooltip(const CTreeNode& node) const;
  std::string MarkerTooltip(const CItem& marker) const;
  std::string Note() const;
  void DrawLegend(CSvgDocument& svg) const;

  const std::vector<CTreeNode>& m_nodes;
  const CTreePictureOptions& m_options;
  std::vector<std::vector<int>> m_childIndices;  // per node
  std::vector<int> m_parent;                     // per node; -1 for the root
  std::vector<int> m_size;                       // nodes in each subtree
  std::vector<bool> m_live;                      // the subtree holds a live node
  std::vector<bool> m_onPath;                    // on the path from the root to the incumbent
  std::vector<CItem> m_items;                    // what is drawn; the root first
  double m_width = 0.0;                          // of the drawn leaves together
  int m_deepest = 0;                             // the deepest row drawn
};

std::string CTreeDrawing::NodeTooltip(const CTreeNode& node) const {
  return fmt::format("task {}: {}; {}; {}", node.taskId, node.branch, node.result,
                     ClassOf(node).words);
}

std::string CTreeDrawing::MarkerTooltip(const CItem& marker) const {
  std::string text = fmt::format("{} node{} {}", marker.count, marker.count == 1 ? "" : "s",
                                 marker.collapsed ? "collapsed" : "left out");
  const char* separator = ": ";
  for (const auto& [words, count] : marker.outcomes) {
    text += fmt::format("{}{} {}", separator, count, words);
    separator = ", ";
  }
  return text;
}

// What the picture shows of the tree.
std::string CTreeDrawing::Note() const {
  int drawn = 0;
  for (const CItem& item : m_items) drawn += item.node >= 0;
  std::string note = fmt::format("{} of {} nodes drawn", drawn, m_nodes.size());
  if (m_options.incumbentPath) note += "; the path to the incumbent and its siblings";
  if (m_options.maxDepth) note += fmt::format("; cut below depth {}", *m_options.maxDepth);
  if (m_options.collapse) note += "; closed subtrees collapsed";
  return note;
}

void CTreeDrawing::DrawLegend(CSvgDocument& svg) const {
  const std::pair<const char*, const char*> entries[] = {
      {"incumbent", "incumbent"},        {"feasible", "discrete feasible"},
      {"branched", "branched"},          {"open", "to branch"},
      {"infeasible", "infeasible"},      {"worse", "worse than incumbent"},
      {"notconverged", "not converged"}, {"unsolved", "not solved"}};
  for (size_t i = 0; i < std::size(entries); ++i) {
    const double x = kMargin + double(i % 4) * 170;
    const double y = 62 + double(i / 4) * 18;
    svg.Add(
        "circle",
        {{"class", entries[i].first}, {"cx", SvgNumber(x + 5)}, {"cy", SvgNumber(y)}, {"r", "5"}});
    svg.AddText("text", {{"x", SvgNumber(x + 16)}, {"y", SvgNumber(y + 4)}}, entries[i].second);
  }
  const double y = 98;
  svg.Add("path",
          {{"class", "collapsed"}, {"d", fmt::format("M{} {}l6 10h-12z", kMargin + 5, y - 6)}});
  svg.AddText("text", {{"x", SvgNumber(kMargin + 16)}, {"y", SvgNumber(y + 4)}},
              "closed subtree collapsed (its node count below)");
  svg.Add("path",
          {{"class", "hidden"}, {"d", fmt::format("M{} {}l6 10h-12z", kMargin + 345, y - 6)}});
  svg.AddText("text", {{"x", SvgNumber(kMargin + 356)}, {"y", SvgNumber(y + 4)}},
              "nodes left out (count below)");
}

std::string CTreeDrawing::Svg(const CSearchTree& tree, int searchTaskId,
                              const std::string& end) const {
  const double width = std::max(kMinWidth, 2 * kMargin + m_width);
  const double height = kTreeTop + m_deepest * kRow + kMargin + 12;
  const CSearchState& state = tree.state;
  const std::string heading =
      fmt::format("{}: search task {}, {}, {} subtasks solved", tree.problemName, searchTaskId,
                  !end.empty()     ? end
                  : state.finished ? std::string("finished")
                                   : std::string("not finished"),
                  state.solvedSubtasks);
  CSvgDocument svg(width, height, heading, kStyle);
  svg.AddText("text", {{"class", "title"}, {"x", SvgNumber(kMargin)}, {"y", "22"}}, heading);
  svg.AddText("text", {{"class", "note"}, {"x", SvgNumber(kMargin)}, {"y", "40"}}, Note());
  DrawLegend(svg);

  std::string edges;
  for (const CItem& item : m_items) {
    for (int child : item.children) {
      edges += fmt::format("M{} {}L{} {}", SvgNumber(X(item)), SvgNumber(Y(item)),
                           SvgNumber(X(m_items[child])), SvgNumber(Y(m_items[child])));
    }
  }
  if (!edges.empty()) svg.Add("path", {{"class", "edge"}, {"d", edges}});

  const CItem* incumbent = nullptr;
  for (const CItem& item : m_items) {
    const std::string x = SvgNumber(X(item));
    const std::string y = SvgNumber(Y(item));
    if (item.node >= 0) {
      const CTreeNode& node = m_nodes[item.node];
      if (node.isIncumbent) incumbent = &item;
      svg.AddWithTooltip("circle",
                         {{"id", fmt::format("t{}", node.taskId)},
                          {"class", ClassOf(node).name},
                          {"cx", x},
                          {"cy", y},
                          {"r", node.isIncumbent ? "7" : "5"}},
                         NodeTooltip(node));
      continue;
    }
    svg.AddWithTooltip("path",
                       {{"class", item.collapsed ? "collapsed" : "hidden"},
                        {"d", fmt::format("M{} {}l6 10h-12z", x, SvgNumber(Y(item) - 6))}},
                       MarkerTooltip(item));
    svg.AddText(
        "text",
        {{"class", "count"}, {"x", x}, {"y", SvgNumber(Y(item) + 14)}, {"text-anchor", "middle"}},
        fmt::format("{}", item.count));
  }
  if (incumbent) {
    const CTreeNode& node = m_nodes[incumbent->node];
    svg.AddText("text", {{"x", SvgNumber(X(*incumbent) + 10)}, {"y", SvgNumber(Y(*incumbent) - 8)}},
                fmt::format("incumbent: task {}, objective {:.10g}", node.taskId, node.objective));
  }
  return svg.Finish();
}

}  // namespace

std::string TreePictureSvg(const CSearchTree& tree, int searchTaskId, const std::string& end,
                           const CTreePictureOptions& options) {
  return CTreeDrawing(tree, options).Svg(tree, searchTaskId, end);
}
