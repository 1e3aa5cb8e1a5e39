#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  // A death test runs in a newly started process: a fork would lose the worker threads of the
  // OpenMP runtime and hang in the next parallel loop. GoogleTest's variable says otherwise for an
  // emulator, whose programs the system cannot start.
  if (std::getenv("GTEST_DEATH_TEST_STYLE") == nullptr) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  }
  return RUN_ALL_TESTS();
}
