#pragma once

// Ctrl-C and termination while a search runs.
//
//   CInterruptHandling handling;                 // installs the handlers
//   search.StopWhen(InterruptRequested);         // Search.h
//
// The first SIGINT (Ctrl-C) asks the search to stop: it finishes the subtask
// it is solving, writes the best design so far as its result, and the report
// says it was interrupted; `discrete resume` goes on from there. A second
// SIGINT, or SIGTERM or SIGHUP, stops at once: the analysis programs still
// running are killed (their whole process groups) and the process ends with
// status 128 + the signal's number. Nothing committed is lost either way: the
// database keeps every step and every evaluation committed before (a
// transaction cut short is rolled back when the file is next opened).

// Installs the handlers; the destructor puts the previous ones back.
class CInterruptHandling {
 public:
  CInterruptHandling();
  ~CInterruptHandling();
  CInterruptHandling(const CInterruptHandling&) = delete;
  CInterruptHandling& operator=(const CInterruptHandling&) = delete;
};

// Whether a first SIGINT has arrived since the handlers were installed.
bool InterruptRequested();
