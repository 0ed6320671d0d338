#include "analyses/Concurrently.h"

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

void RunConcurrently(size_t count, int jobs, const std::function<void(size_t)>& work) {
  const size_t threadCount = std::min(count, static_cast<size_t>(std::max(jobs, 1)));
  if (threadCount <= 1) {
    for (size_t i = 0; i < count; ++i) work(i);
    return;
  }
  std::atomic<size_t> next{0};
  std::vector<std::thread> threads;
  threads.reserve(threadCount);
  for (size_t t = 0; t < threadCount; ++t) {
    threads.emplace_back([&] {
      for (size_t i = next++; i < count; i = next++) work(i);
    });
  }
  for (std::thread& thread : threads) thread.join();
}
