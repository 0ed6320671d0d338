// The host's log. Every event is one line:
//
//   2026-11-23 10:15:02.123 ERROR  text
//
// local time to the millisecond, the category left-aligned in six columns,
// the text. A line break inside the text is written as the two characters
// "\n", so that one event never spans two lines. Each line is flushed as it is
// written, so the log is complete up to the last event if the process dies.

#include "LogFile.h"

#include <sys/time.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <string>

FILE* fpLog = nullptr;

namespace {

CLogFile* currentLog = nullptr;  // the installed log; null for none

constexpr const char* kExceptionCategory = "EXCEPT";
constexpr const char* kErrorCategory = "ERROR";
constexpr const char* kPrintCategory = "INFO";
constexpr size_t kCategoryWidth = 6;

std::string TimeStamp() {
  timeval now{};
  gettimeofday(&now, nullptr);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  char stamp[40];
  const size_t length = std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
  std::snprintf(stamp + length, sizeof stamp - length, ".%03ld",
                static_cast<long>(now.tv_usec / 1000));
  return stamp;
}

void WriteEventLine(FILE* stream, const char* category, const char* text) {
  std::string paddedCategory = category != nullptr ? category : "";
  if (paddedCategory.size() < kCategoryWidth) paddedCategory.resize(kCategoryWidth, ' ');
  std::string line = TimeStamp() + ' ' + paddedCategory + ' ';
  std::string body = text != nullptr ? text : "";
  if (!body.empty() && body.back() == '\n') body.pop_back();
  for (const char c : body) {
    if (c == '\n')
      line += "\\n";
    else
      line += c;
  }
  line += '\n';
  std::fputs(line.c_str(), stream);
  std::fflush(stream);
}

std::string FormatText(const char* format, va_list arguments) {
  va_list measuring;
  va_copy(measuring, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, measuring);
  va_end(measuring);
  if (length <= 0) return "";
  std::string text(static_cast<size_t>(length) + 1, '\0');
  std::vsnprintf(&text[0], text.size(), format, arguments);
  text.resize(static_cast<size_t>(length));
  return text;
}

// To the current log; without one, to stderr when the event must not be lost.
void WriteEvent(const char* category, const std::string& text, bool toStderrWithoutLog) {
  if (currentLog != nullptr)
    currentLog->WriteLine(category, text.c_str());
  else if (toStderrWithoutLog)
    WriteEventLine(stderr, category, text.c_str());
}

std::string Location(const char* file, int line) {
  return std::string(file != nullptr ? file : "(unknown file)") + ":" + std::to_string(line);
}

}  // namespace

CLogFile::CLogFile(const char* pszPath, int32_t nLevel)
    : m_nLevel(nLevel), m_pFile(pszPath != nullptr ? std::fopen(pszPath, "a") : nullptr) {
  if (m_pFile == nullptr)
    throw std::runtime_error(std::string("cannot open log file '") +
                             (pszPath != nullptr ? pszPath : "(null)") +
                             "': " + std::strerror(pszPath != nullptr ? errno : EINVAL));
}

CLogFile::~CLogFile() {
  if (currentLog == this) SetCurrentLog(nullptr);
  std::fclose(m_pFile);
}

void CLogFile::WriteLine(const char* pszCategory, const char* pszText) {
  WriteEventLine(m_pFile, pszCategory, pszText);
}

void SetCurrentLog(CLogFile* pLog) {
  currentLog = pLog;
  fpLog = pLog != nullptr ? pLog->Stream() : nullptr;
}

CLogFile* GetCurrentLog() { return currentLog; }

void LNewException(const char* pszFile, int nLine, const char* pszMessage) {
  WriteEvent(kExceptionCategory,
             "new exception at " + Location(pszFile, nLine) + ": " +
                 (pszMessage != nullptr ? pszMessage : ""),
             true);
}

void LException(const char* pszFile, int nLine, const char* pszWhat) {
  WriteEvent(
      kExceptionCategory,
      "exception passed " + Location(pszFile, nLine) + ": " + (pszWhat != nullptr ? pszWhat : ""),
      true);
}

void LGenException(const char* pszFile, int nLine) {
  WriteEvent(kExceptionCategory, "exception of unknown type passed " + Location(pszFile, nLine),
             true);
}

void LError(const char* pszFormat, ...) {
  va_list arguments;
  va_start(arguments, pszFormat);
  const std::string text = FormatText(pszFormat, arguments);
  va_end(arguments);
  WriteEvent(kErrorCategory, text, true);
}

void LPrint(const char* pszFormat, ...) {
  if (currentLog == nullptr) return;
  va_list arguments;
  va_start(arguments, pszFormat);
  const std::string text = FormatText(pszFormat, arguments);
  va_end(arguments);
  WriteEvent(kPrintCategory, text, false);
}
