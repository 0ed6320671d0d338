#pragma once

// The one exception of the task database (TaskDatabase.h, host/Records.h,
// CLock): whoever fails to open, read, write or lock it throws CDatabaseError.

#include <stdexcept>
#include <string>

// Every failure of the task database: the message names what was being done
// (the record and its key, or the file) and SQLite's own explanation.
class CDatabaseError : public std::runtime_error {
 public:
  explicit CDatabaseError(const std::string& message) : std::runtime_error(message) {}
};
