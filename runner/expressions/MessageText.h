#pragma once

// Pieces of user input as they appear in error messages. A message is one
// line, whatever the input: line breaks become spaces, and long input is cut
// short with "..." so that a megabyte expression or name is never echoed.
//
//   fmt::format("cannot read '{}': ...", Excerpt(expression))

#include <string>
#include <string_view>

// The text with every control character (line break, tab, ...) as a space,
// cut after `longest` bytes (at a UTF-8 character boundary) and then marked
// with "...".
std::string Excerpt(std::string_view text, size_t longest = 60);

// One character for a message: 'c' for printable ASCII, else its byte in hex
// ("byte 0x0a").
std::string CharacterName(char character);
