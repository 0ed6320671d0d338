#pragma once

// Runs independent pieces of work at the same time on a few threads.
//
//   RunConcurrently(designs.size(), jobs,
//                   [&](size_t i) { results[i] = Run(designs[i]); },   // on worker threads
//                   [&](size_t i) { Store(results[i]); });             // on this thread
//
// Calls `work(i)` once for every i in [0, count), at most `jobs` calls at a
// time, each on a thread of its own, and `done(i)` on the calling thread as
// soon as work(i) has returned (in the order they finish); returns when all
// are done. The calls take their i in increasing order. With `jobs` <= 1 (or
// one piece of work) everything runs in order on the calling thread. `work`
// must be safe to call from several threads at once; neither may throw.

#include <cstddef>
#include <functional>

void RunConcurrently(size_t count, int jobs, const std::function<void(size_t)>& work,
                     const std::function<void(size_t)>& done);
