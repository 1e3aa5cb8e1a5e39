// The random numbers of a test.
//
// The seed is fixed, so that a run is repeatable and CI is stable. The environment variable
// FACEFEATURE_TEST_SEED sets another one; soak runs use it.
#ifndef FACEFEATURE_TESTS_SUPPORT_SEEDED_RANDOM_H
#define FACEFEATURE_TESTS_SUPPORT_SEEDED_RANDOM_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>

#include "support/random.h"

namespace facefeature_test {

inline uint64_t testSeed() {
  const char* text = std::getenv("FACEFEATURE_TEST_SEED");
  return text != nullptr ? std::strtoull(text, nullptr, 10) : 20240229u;
}

// Every failure in its lifetime prints the seed and the location of the object. For one thread,
// which creates and destroys it.
class SeededRandom : public Random {
 public:
  explicit SeededRandom(const char* file = __builtin_FILE(), int line = __builtin_LINE())
      : Random(testSeed()), trace_(file, line, trace()) {}
  SeededRandom(const SeededRandom&) = delete;
  SeededRandom& operator=(const SeededRandom&) = delete;

 private:
  ::testing::ScopedTrace trace_;
};

}  // namespace facefeature_test

#endif
