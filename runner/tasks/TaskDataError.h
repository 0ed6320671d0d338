#pragma once

// The error of every reader of task records: a task whose records are
// missing or do not fit together. Its message names the task and the record.

#include <stdexcept>

class CTaskDataError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
