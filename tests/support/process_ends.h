// How a process ends that calls abort().
#ifndef FACEFEATURE_TESTS_SUPPORT_PROCESS_ENDS_H
#define FACEFEATURE_TESTS_SUPPORT_PROCESS_ENDS_H

#include <gtest/gtest.h>

#include <csignal>

namespace facefeature_test {

#if defined(_WIN32)
constexpr int kExitStatusOfAbort = 3;
inline ::testing::ExitedWithCode endedByAbort() {
  return ::testing::ExitedWithCode(kExitStatusOfAbort);
}
#else
inline ::testing::KilledBySignal endedByAbort() { return ::testing::KilledBySignal(SIGABRT); }
#endif

}  // namespace facefeature_test

#endif
