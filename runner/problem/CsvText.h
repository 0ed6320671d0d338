#pragma once

// Splitting the text of a CSV file into records of fields (RFC 4180, by
// libcsv in its strict mode), each record with its line in the file.
//
// Accepted: fields separated by commas, records by LF or CR LF; a field in
// double quotes may hold commas, line breaks and doubled quotes ("a ""b"""),
// spaces and tabs around an unquoted field are dropped; blank lines are
// skipped; a UTF-8 byte-order mark at the start is ignored. Refused, with
// the line: a quote inside an unquoted field, text after a closing quote, a
// quoted field that never closes. There are no comment lines and no other
// separators.

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

struct CCsvRecord {
  int line = 0;                     // line of the file where the record starts, from 1
  std::vector<std::string> fields;  // at least one
};

// Malformed CSV text: what is wrong and on which line.
class CCsvError : public std::runtime_error {
 public:
  CCsvError(int line, const std::string& message) : std::runtime_error(message), m_line(line) {}
  int Line() const { return m_line; }  // from 1

 private:
  int m_line;
};

// The records of the text, in order. Throws CCsvError.
std::vector<CCsvRecord> SplitCsv(std::string_view text);
