// The number of threads of this process.
#ifndef FACEFEATURE_TESTS_SUPPORT_TASKS_H
#define FACEFEATURE_TESTS_SUPPORT_TASKS_H

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <thread>

#include "support/windows_header.h"
#if defined(_WIN32)
// Needs the types of the header above.
#include <tlhelp32.h>
#endif

namespace facefeature_test {

#if defined(_WIN32)
inline size_t taskCount() {
  const HANDLE threads = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  size_t count = 0;
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  for (BOOL more = Thread32First(threads, &entry); more != 0;
       more = Thread32Next(threads, &entry)) {
    if (entry.th32OwnerProcessID == GetCurrentProcessId()) ++count;
  }
  CloseHandle(threads);
  return count;
}
#else
inline size_t taskCount() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
}
#endif

// Threads end asynchronously: waits a few seconds and returns the remaining count.
inline size_t taskCountOnceItFallsTo(size_t wanted) {
  for (int tries = 0; tries < 500 && taskCount() > wanted; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return taskCount();
}

}  // namespace facefeature_test

#endif
