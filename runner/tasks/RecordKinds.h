#pragma once

// Kinds that the task database stores as bare numbers in its records. The
// numbers are part of the stored format: they never change, and a new kind
// takes a new number.

// What a task is (CTask m_nTaskKind).
enum class ETaskKind {
  Continuous = 0,  // a continuous problem on its own
  Search = 1,      // a discrete search task: the problem as written
  Subtask = 2,     // a node of a search, once solved (before, it carries its parent's kind)
};

// Where a design point came from (CDPoint m_nOrigin).
enum class EPointOrigin {
  GivenStart = 0,  // the start values of the problem file
  Sampled = 1,     // a start point of a Latin hypercube
  Optimizer = 2,   // the result of a local search
};

// The number a record stores for the kind.
constexpr int Stored(ETaskKind kind) { return static_cast<int>(kind); }
constexpr int Stored(EPointOrigin origin) { return static_cast<int>(origin); }
