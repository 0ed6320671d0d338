// The problem-file reader on any text: it returns a problem or throws
// CProblemFileError, whose every line names the file and stays short (quoted
// input is cut, MessageText.h). Any other exception, a crash or a sanitizer
// report is a fault.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>

#include "problem/ProblemFile.h"

namespace {

// Longer than any message of the reader: a file name, a field path of at most
// 160 characters, a reason quoting at most a few 60-character excerpts.
constexpr size_t kLongestMessageLine = 700;

void CheckMessage(const std::string& message) {
  std::istringstream lines(message);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.rfind("fuzz.toml", 0) != 0 || line.size() > kLongestMessageLine) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  try {
    ParseProblem(std::string_view(reinterpret_cast<const char*>(data), size), "fuzz.toml");
  } catch (const CProblemFileError& error) {
    CheckMessage(error.what());
  }
  return 0;
}
