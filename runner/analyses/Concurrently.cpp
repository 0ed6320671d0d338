#include "analyses/Concurrently.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

void RunConcurrently(size_t count, int jobs, const std::function<void(size_t)>& work,
                     const std::function<void(size_t)>& done) {
  const size_t threadCount = std::min(count, static_cast<size_t>(std::max(jobs, 1)));
  if (threadCount <= 1) {
    for (size_t i = 0; i < count; ++i) {
      work(i);
      done(i);
    }
    return;
  }
  std::atomic<size_t> next{0};
  std::mutex mutex;
  std::condition_variable finishedOne;
  std::deque<size_t> finished;  // guarded by mutex
  std::vector<std::thread> threads;
  threads.reserve(threadCount);
  for (size_t t = 0; t < threadCount; ++t) {
    threads.emplace_back([&] {
      for (size_t i = next++; i < count; i = next++) {
        work(i);
        std::lock_guard<std::mutex> hold(mutex);
        finished.push_back(i);
        finishedOne.notify_one();
      }
    });
  }
  for (size_t reported = 0; reported < count; ++reported) {
    std::unique_lock<std::mutex> hold(mutex);
    finishedOne.wait(hold, [&] { return !finished.empty(); });
    const size_t i = finished.front();
    finished.pop_front();
    hold.unlock();
    done(i);
  }
  for (std::thread& thread : threads) thread.join();
}
