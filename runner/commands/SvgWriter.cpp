#include "commands/SvgWriter.h"

#include <fmt/format.h>

#include <cmath>

std::string XmlEscaped(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&apos;";
        break;
      default:
        const auto byte = static_cast<unsigned char>(c);
        escaped += byte < 0x20 && c != '\t' && c != '\n' && c != '\r' ? ' ' : c;
    }
  }
  return escaped;
}

std::string SvgNumber(double value) {
  if (!std::isfinite(value)) return "0";
  std::string text = fmt::format("{:.2f}", value);
  while (text.back() == '0') text.pop_back();
  if (text.back() == '.') text.pop_back();
  return text == "-0" ? "0" : text;
}

CSvgDocument::CSvgDocument(double width, double height, std::string_view title,
                           std::string_view style) {
  m_text = fmt::format(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" width=\"{0}\" height=\"{1}\" "
      "viewBox=\"0 0 {0} {1}\">\n<title>{2}</title>\n<style>{3}</style>\n",
      SvgNumber(width), SvgNumber(height), XmlEscaped(title), XmlEscaped(style));
}

void CSvgDocument::Open(std::string_view tag, const CSvgAttributes& attributes) {
  m_text += '<';
  m_text += tag;
  for (const auto& [name, value] : attributes)
    m_text += fmt::format(" {}=\"{}\"", name, XmlEscaped(value));
}

void CSvgDocument::Add(std::string_view tag, const CSvgAttributes& attributes) {
  Open(tag, attributes);
  m_text += "/>\n";
}

void CSvgDocument::AddText(std::string_view tag, const CSvgAttributes& attributes,
                           std::string_view text) {
  Open(tag, attributes);
  m_text += fmt::format(">{}</{}>\n", XmlEscaped(text), tag);
}

void CSvgDocument::AddWithTooltip(std::string_view tag, const CSvgAttributes& attributes,
                                  std::string_view tooltip) {
  Open(tag, attributes);
  m_text += fmt::format("><title>{}</title></{}>\n", XmlEscaped(tooltip), tag);
}

void CSvgDocument::OpenGroup(const CSvgAttributes& attributes) {
  Open("g", attributes);
  m_text += ">\n";
}

void CSvgDocument::CloseGroup() { m_text += "</g>\n"; }

std::string CSvgDocument::Finish() {
  m_text += "</svg>\n";
  return std::move(m_text);
}
