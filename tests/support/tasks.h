// How many threads this process has.
#ifndef FACEFEATURE_TESTS_SUPPORT_TASKS_H
#define FACEFEATURE_TESTS_SUPPORT_TASKS_H

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <thread>

namespace facefeature_test {

inline size_t taskCount() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
}

// Threads end on their own time: waits for a few seconds, and answers the count that is left.
inline size_t taskCountOnceItFallsTo(size_t wanted) {
  for (int tries = 0; tries < 500 && taskCount() > wanted; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return taskCount();
}

}  // namespace facefeature_test

#endif
