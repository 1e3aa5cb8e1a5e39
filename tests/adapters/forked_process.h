// Runs parts of a test in processes of their own, as a test harness for vendors does.
#ifndef FACEFEATURE_TESTS_ADAPTERS_FORKED_PROCESS_H
#define FACEFEATURE_TESTS_ADAPTERS_FORKED_PROCESS_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <iterator>

namespace facefeature_test {

// A fork of this process runs the body and exits. Returns false if an expectation failed there, if
// an exception left the body, or if the process did not exit by itself.
inline bool passesInFork(const std::function<void()>& body) {
  std::fflush(nullptr);
  const pid_t process = fork();
  if (process == 0) {
    int result = 1;
    try {
      body();
      result = ::testing::Test::HasFailure() ? 1 : 0;
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s\n", error.what());
    }
    std::fflush(nullptr);
    _exit(result);
  }
  int status = 0;
  return process > 0 && waitpid(process, &status, 0) == process && status == 0;
}

// The number of threads of this process.
inline ptrdiff_t threadCount() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                       std::filesystem::directory_iterator());
}

}  // namespace facefeature_test

#endif
