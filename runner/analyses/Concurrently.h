#pragma once

// Runs independent pieces of work at the same time on a few threads.
//
//   RunConcurrently(designs.size(), jobs, [&](size_t i) { results[i] = Run(designs[i]); });
//
// Calls `work(i)` once for every i in [0, count), at most `jobs` calls at a
// time, each on a thread of its own, and returns when all have returned; the
// calls take their i in increasing order. With `jobs` <= 1 (or one piece of
// work) they run in order on the calling thread. `work` must not throw and
// must be safe to call from several threads at once.

#include <cstddef>
#include <functional>

void RunConcurrently(size_t count, int jobs, const std::function<void(size_t)>& work);
