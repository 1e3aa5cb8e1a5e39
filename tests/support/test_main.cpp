#include <gtest/gtest.h>

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  // A death test runs in a newly started process: a fork would lose the worker threads of the
  // OpenMP runtime and hang in the next parallel loop.
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  return RUN_ALL_TESTS();
}
