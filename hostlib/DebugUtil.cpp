#include "DebugUtil.h"

#include <string>

namespace {

// "<label> [n]: v0 v1 ...", one line, flushed.
template <class TValue>
void DumpArray(const char* label, FILE* stream, const std::valarray<TValue>& values,
               const char* valueFormat) {
  if (stream == nullptr) return;
  std::string line =
      std::string(label != nullptr ? label : "") + " [" + std::to_string(values.size()) + "]:";
  char text[32];
  for (const TValue& value : values) {
    std::snprintf(text, sizeof text, valueFormat, value);
    line += ' ';
    line += text;
  }
  line += '\n';
  std::fputs(line.c_str(), stream);
  std::fflush(stream);
}

}  // namespace

void CDebugUtil::DumpIntegerArray(const char* pszLabel, FILE* pStream,
                                  const std::valarray<int>& values) {
  DumpArray(pszLabel, pStream, values, "%d");
}

void CDebugUtil::DumpDoubleArray(const char* pszLabel, FILE* pStream,
                                 const std::valarray<double>& values) {
  DumpArray(pszLabel, pStream, values, "%.17g");
}
