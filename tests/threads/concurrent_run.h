// Threads of a host that start at the same moment.
#ifndef FACEFEATURE_TESTS_THREADS_CONCURRENT_RUN_H
#define FACEFEATURE_TESTS_THREADS_CONCURRENT_RUN_H

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace facefeature_test {

// Runs work(0) to work(count - 1), each on a thread of its own, none before all are ready, and
// returns when all have finished.
inline void runConcurrently(size_t count, const std::function<void(size_t)>& work) {
  std::mutex mutex;
  std::condition_variable allReady;
  size_t ready = 0;
  std::vector<std::thread> threads;
  for (size_t t = 0; t < count; ++t) {
    threads.emplace_back([&, t] {
      {
        std::unique_lock<std::mutex> lock(mutex);
        if (++ready == count) allReady.notify_all();
        allReady.wait(lock, [&] { return ready == count; });
      }
      work(t);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// Runs the work on a thread of its own and waits for it.
inline void runOnOtherThread(const std::function<void()>& work) { std::thread(work).join(); }

}  // namespace facefeature_test

#endif
