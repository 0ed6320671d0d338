#pragma once

// Writing SVG (Scalable Vector Graphics 1.1) by hand, for the pictures the
// program draws (ConvergencePlot.h, TreePicture.h): text escaped for XML,
// numbers in a short locale-free form that is never NaN or infinite, and a
// document assembled element by element.

#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The text with &, <, >, " and ' escaped, and the control characters that
// XML 1.0 does not allow replaced by spaces: safe as element text and as
// attribute value.
std::string XmlEscaped(std::string_view text);

// A coordinate or length: at most two decimals, no trailing zeros ("12.5",
// "3", "-0.25"); a value that is not finite is written as 0, so that a
// document never holds NaN or inf.
std::string SvgNumber(double value);

// An element's attributes, by name; values are escaped when written.
using CSvgAttributes = std::vector<std::pair<std::string, std::string>>;

class CSvgDocument {
 public:
  // Starts a document of the given size in pixels, with its <title> and a
  // <style> sheet (CSS) that elements refer to by class.
  CSvgDocument(double width, double height, std::string_view title, std::string_view style);

  // An empty element: <circle cx="1" r="2"/>.
  void Add(std::string_view tag, const CSvgAttributes& attributes);
  // An element with text: <text x="1">a &lt; b</text>.
  void AddText(std::string_view tag, const CSvgAttributes& attributes, std::string_view text);
  // An empty-looking element with a tooltip: <circle ...><title>text</title></circle>.
  void AddWithTooltip(std::string_view tag, const CSvgAttributes& attributes,
                      std::string_view tooltip);
  // <g ...> and </g>.
  void OpenGroup(const CSvgAttributes& attributes);
  void CloseGroup();

  // The whole document; the document is finished and must not be added to.
  std::string Finish();

 private:
  void Open(std::string_view tag, const CSvgAttributes& attributes);
  std::string m_text;  // the document so far
};
