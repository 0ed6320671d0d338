#include "expressions/MessageText.h"

#include <fmt/format.h>

namespace {

bool IsUtf8Continuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

}  // namespace

std::string Excerpt(std::string_view text, size_t longest) {
  std::string excerpt(text.substr(0, longest));
  if (text.size() > longest) {
    while (!excerpt.empty() && IsUtf8Continuation(text[excerpt.size()])) excerpt.pop_back();
    excerpt += "...";
  }
  for (char& character : excerpt) {
    if (static_cast<unsigned char>(character) < 0x20 || character == 0x7F) character = ' ';
  }
  return excerpt;
}

std::string CharacterName(char character) {
  const auto byte = static_cast<unsigned char>(character);
  if (byte >= 0x20 && byte < 0x7F) return fmt::format("'{}'", character);
  return fmt::format("byte 0x{:02x}", byte);
}
