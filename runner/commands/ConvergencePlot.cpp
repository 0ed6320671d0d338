#include "commands/ConvergencePlot.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <optional>
#include <stdexcept>

#include "commands/NiceScale.h"
#include "commands/SvgWriter.h"

namespace {

constexpr double kWidth = 760;        // the document
constexpr double kLeft = 90;          // the panels' left edge: room for tick labels
constexpr double kRight = 740;        // and their right edge
constexpr double kPanelHeight = 220;  // each panel's plot area
constexpr double kFirstPanelTop = 86;
constexpr double kPanelDistance = 290;  // from one panel's top to the next
constexpr double kHeight = kFirstPanelTop + kPanelDistance + kPanelHeight + 50;
constexpr double kLargest = 1e300;  // values beyond are drawn at this

const char* const kStyle =
    "text{font-family:Helvetica,Arial,sans-serif;font-size:12px;fill:#222}"
    ".title{font-size:16px;font-weight:bold}.note{fill:#555}"
    ".frame{fill:none;stroke:#444}.grid{stroke:#ddd}"
    ".incumbent{fill:none;stroke:#1f77b4;stroke-width:2}"
    ".bound{fill:none;stroke:#ff7f0e;stroke-width:2;stroke-dasharray:6 4}"
    ".found{fill:#1f77b4;stroke:#fff}";

std::optional<double> Plotted(bool has, double value) {
  if (!has || !std::isfinite(value)) return std::nullopt;
  return std::clamp(value, -kLargest, kLargest);
}

// Maps [low, high] onto [from, to] (both finite; to may be below from).
struct CAxisMap {
  double low, high, from, to;
  double operator()(double value) const {
    // Halves, so that a range near the largest double does not overflow.
    const double t = (value * 0.5 - low * 0.5) / (high * 0.5 - low * 0.5);
    return from + t * (to - from);
  }
};

// The objective axis, shared by both panels: linear, or logarithmic when
// every value is positive and they span three decades or more (a
// least-squares objective falling from 1e-3 to 1e-12 would otherwise lie
// flat on zero). A logarithmic axis' scale is of the decimal logarithms,
// with ticks at whole powers of ten.
struct CObjectiveAxis {
  bool logarithmic = false;
  CNiceScale scale;  // of the values, or of their logarithms

  CObjectiveAxis(double least, double greatest) {
    if (least > greatest) {
      scale = NiceScale(0.0, 1.0);
    } else if (least > 0.0 && greatest / least >= 1e3) {
      logarithmic = true;
      const double low = std::floor(std::log10(least));
      const double high = std::ceil(std::log10(greatest));
      scale.step = std::max(1.0, std::ceil((high - low) / 6));
      scale.low = std::floor(low / scale.step) * scale.step;
      scale.high = std::ceil(high / scale.step) * scale.step;
      for (double tick = scale.low; tick <= scale.high; tick += scale.step)
        scale.ticks.push_back(tick);
    } else {
      scale = NiceScale(least, greatest);
    }
  }
  double Position(double value) const { return logarithmic ? std::log10(value) : value; }
  std::string Label(double tick) const {
    if (!logarithmic) return TickLabel(tick, scale.step);
    const double value = std::pow(10.0, tick);
    return TickLabel(value, value);
  }
};

// One panel: the points' x values (nodes or seconds) against their levels.
class CPanel {
 public:
  CPanel(CSvgDocument& svg, double top, const std::vector<double>& xs, const CObjectiveAxis& y,
         const std::string& xLabel)
      : m_svg(svg), m_top(top), m_y(y) {
    const double greatest = xs.empty() || xs.back() <= 0.0 ? 1.0 : xs.back();
    m_x = NiceScale(0.0, greatest);
    m_mapX = {m_x.low, m_x.high, kLeft, kRight};
    m_mapY = {m_y.scale.low, m_y.scale.high, top + kPanelHeight, top};
    DrawAxes(xLabel);
  }

  // A step line through the present values: each holds until the next point.
  void DrawSteps(const std::vector<double>& xs, const std::vector<std::optional<double>>& values,
                 const char* className) {
    std::string path;
    bool drawing = false;
    for (size_t i = 0; i < xs.size(); ++i) {
      const std::string x = SvgNumber(m_mapX(xs[i]));
      if (values[i]) {
        const std::string y = SvgNumber(m_mapY(m_y.Position(*values[i])));
        path += drawing ? fmt::format("H{}V{}", x, y) : fmt::format("M{} {}", x, y);
        drawing = true;
      } else if (drawing) {
        path += "H" + x;
        drawing = false;
      }
    }
    if (!path.empty()) m_svg.Add("path", {{"class", className}, {"d", path}});
  }

  void Mark(double x, double y, const std::string& tooltip) {
    m_svg.AddWithTooltip("circle",
                         {{"class", "found"},
                          {"cx", SvgNumber(m_mapX(x))},
                          {"cy", SvgNumber(m_mapY(m_y.Position(y)))},
                          {"r", "4"}},
                         tooltip);
  }

 private:
  void DrawAxes(const std::string& xLabel) {
    const double bottom = m_top + kPanelHeight;
    for (double tick : m_y.scale.ticks) {
      const std::string y = SvgNumber(m_mapY(tick));
      m_svg.Add("line", {{"class", "grid"},
                         {"x1", SvgNumber(kLeft)},
                         {"x2", SvgNumber(kRight)},
                         {"y1", y},
                         {"y2", y}});
      m_svg.AddText(
          "text",
          {{"x", SvgNumber(kLeft - 6)}, {"y", SvgNumber(m_mapY(tick) + 4)}, {"text-anchor", "end"}},
          m_y.Label(tick));
    }
    for (double tick : m_x.ticks) {
      const std::string x = SvgNumber(m_mapX(tick));
      m_svg.Add("line", {{"class", "grid"},
                         {"x1", x},
                         {"x2", x},
                         {"y1", SvgNumber(m_top)},
                         {"y2", SvgNumber(bottom)}});
      m_svg.AddText("text", {{"x", x}, {"y", SvgNumber(bottom + 16)}, {"text-anchor", "middle"}},
                    TickLabel(tick, m_x.step));
    }
    m_svg.Add("rect", {{"class", "frame"},
                       {"x", SvgNumber(kLeft)},
                       {"y", SvgNumber(m_top)},
                       {"width", SvgNumber(kRight - kLeft)},
                       {"height", SvgNumber(kPanelHeight)}});
    m_svg.AddText("text",
                  {{"x", SvgNumber((kLeft + kRight) / 2)},
                   {"y", SvgNumber(bottom + 34)},
                   {"text-anchor", "middle"}},
                  xLabel);
    const std::string middle = SvgNumber(m_top + kPanelHeight / 2);
    m_svg.AddText("text",
                  {{"x", "16"},
                   {"y", middle},
                   {"text-anchor", "middle"},
                   {"transform", fmt::format("rotate(-90 16 {})", middle)}},
                  m_y.logarithmic ? "objective (log scale)" : "objective");
  }

  CSvgDocument& m_svg;
  double m_top;        // the plot area's top edge
  CNiceScale m_x;      // the x axis
  CObjectiveAxis m_y;  // the y axis, shared by the panels
  CAxisMap m_mapX{};   // x value to pixels
  CAxisMap m_mapY{};   // y value to pixels
};

void DrawLegend(CSvgDocument& svg) {
  const double top = 56;
  svg.Add("path", {{"class", "incumbent"}, {"d", fmt::format("M{} {}h28", kLeft, top)}});
  svg.AddText("text", {{"x", SvgNumber(kLeft + 34)}, {"y", SvgNumber(top + 4)}},
              "incumbent (best discrete design so far)");
  svg.Add("path", {{"class", "bound"}, {"d", fmt::format("M{} {}h28", kLeft + 290, top)}});
  svg.AddText("text", {{"x", SvgNumber(kLeft + 324)}, {"y", SvgNumber(top + 4)}},
              "best open bound");
  svg.Add("circle",
          {{"class", "found"}, {"cx", SvgNumber(kLeft + 450)}, {"cy", SvgNumber(top)}, {"r", "4"}});
  svg.AddText("text", {{"x", SvgNumber(kLeft + 460)}, {"y", SvgNumber(top + 4)}},
              "new incumbent found");
}

std::string Heading(const CConvergencePlotTitle& title) {
  return fmt::format("{}: search task {}{}", title.problemName, title.searchTaskId,
                     title.end.empty() ? "" : ", " + title.end);
}

// "best 5885.33 after 12 subtasks (0.8 s)", or what is missing.
std::string Summary(const std::vector<CConvergencePoint>& points) {
  if (points.empty()) return "no convergence history";
  const CConvergencePoint& last = points.back();
  std::string text = fmt::format("{} subtasks in {:.3g} s; ", last.node, last.seconds);
  if (const std::optional<double> incumbent = Plotted(last.hasIncumbent, last.incumbent))
    text += fmt::format("incumbent {:.10g}", *incumbent);
  else
    text += "no feasible discrete design found";
  if (const std::optional<double> bound = Plotted(last.hasOpenBound, last.openBound))
    text += fmt::format("; best open bound {:.10g}", *bound);
  return text;
}

}  // namespace

std::string ConvergencePlotSvg(const std::vector<CConvergencePoint>& points,
                               const CConvergencePlotTitle& title) {
  CSvgDocument svg(kWidth, kHeight, Heading(title), kStyle);
  svg.AddText("text", {{"class", "title"}, {"x", SvgNumber(kLeft)}, {"y", "22"}}, Heading(title));
  svg.AddText("text", {{"class", "note"}, {"x", SvgNumber(kLeft)}, {"y", "40"}}, Summary(points));
  DrawLegend(svg);

  std::vector<double> nodes, seconds;
  std::vector<std::optional<double>> incumbents, bounds;
  double least = INFINITY, greatest = -INFINITY;
  for (const CConvergencePoint& point : points) {
    nodes.push_back(point.node);
    seconds.push_back(std::isfinite(point.seconds) ? std::max(point.seconds, 0.0) : 0.0);
    incumbents.push_back(Plotted(point.hasIncumbent, point.incumbent));
    bounds.push_back(Plotted(point.hasOpenBound, point.openBound));
    for (const auto& value : {incumbents.back(), bounds.back()}) {
      if (!value) continue;
      least = std::min(least, *value);
      greatest = std::max(greatest, *value);
    }
  }
  // Seconds never run backwards on the plot, whatever the clock did.
  for (size_t i = 1; i < seconds.size(); ++i) seconds[i] = std::max(seconds[i], seconds[i - 1]);
  const CObjectiveAxis y(least, greatest);

  const std::pair<const std::vector<double>*, const char*> panels[] = {
      {&nodes, "subtasks solved"}, {&seconds, "elapsed time (s)"}};
  for (size_t p = 0; p < 2; ++p) {
    const std::vector<double>& xs = *panels[p].first;
    CPanel panel(svg, kFirstPanelTop + double(p) * kPanelDistance, xs, y, panels[p].second);
    panel.DrawSteps(xs, bounds, "bound");
    panel.DrawSteps(xs, incumbents, "incumbent");
    for (size_t i = 0; i < points.size(); ++i) {
      if (!points[i].isNewIncumbent || !incumbents[i]) continue;
      panel.Mark(xs[i], *incumbents[i],
                 fmt::format("subtask {}, {:.3g} s: new incumbent {:.10g}", points[i].node,
                             seconds[i], *incumbents[i]));
    }
  }
  return svg.Finish();
}

void WriteSvgFile(const std::string& path, const std::string& document) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (file) file << document;
  if (!file || !file.flush()) {
    throw std::runtime_error(
        fmt::format("cannot write picture file '{}': {}", path, std::strerror(errno)));
  }
}
