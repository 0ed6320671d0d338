#pragma once

#include <cstdint>
#include <cstdio>

// The host's log: timestamped lines, one event per line, in a file.
//
// A host program makes one CLogFile and installs it as the current log with
// SetCurrentLog(); the L-functions below write to the current log (to stderr
// while none is installed, except LPrint, which then writes nothing).
class CLogFile {
 public:
  // Opens the file for appending (created when missing). Throws an exception
  // derived from std::exception, naming the path, when it cannot be opened.
  CLogFile(const char* pszPath, int32_t nLevel);
  ~CLogFile();
  CLogFile(const CLogFile&) = delete;
  CLogFile& operator=(const CLogFile&) = delete;

  // Writes one line: time stamp, category, text (a trailing newline of the
  // text is dropped; the line always ends with one).
  void WriteLine(const char* pszCategory, const char* pszText);
  // The underlying stream, for dumps.
  FILE* Stream() const { return m_pFile; }

  int32_t m_nLevel;  // detail level: 0 errors only ... 3 and above debug output

 private:
  FILE* m_pFile;  // owned
};

// The log the L-functions write to; null for none. Installing a log also
// points fpLog at its stream (back to null for none).
void SetCurrentLog(CLogFile* pLog);
CLogFile* GetCurrentLog();

// The host's log stream: the current log's file, or null while none is set.
extern FILE* fpLog;

// A new exception was made at file:line with this message.
void LNewException(const char* pszFile, int nLine, const char* pszMessage);
// An exception passed a handler at file:line; pszWhat is its what() text.
void LException(const char* pszFile, int nLine, const char* pszWhat);
// An exception of unknown type passed a handler at file:line.
void LGenException(const char* pszFile, int nLine);
// An error line, printf-style.
void LError(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));
// A plain line, printf-style.
void LPrint(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));
