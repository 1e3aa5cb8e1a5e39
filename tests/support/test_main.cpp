#include <gtest/gtest.h>

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  // A death test runs in a process that starts anew: a fork would leave the worker threads of the
  // OpenMP runtime behind and hang in the next parallel loop.
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  return RUN_ALL_TESTS();
}
