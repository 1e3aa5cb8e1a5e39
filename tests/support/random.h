// Random test data. Tests use SeededRandom (support/seeded_random.h), which prints its seed.
#ifndef FACEFEATURE_TESTS_SUPPORT_RANDOM_H
#define FACEFEATURE_TESTS_SUPPORT_RANDOM_H

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace facefeature_test {

// SplitMix64 (Steele, Lea and Flood, 2014): the same numbers on every platform, which the
// distributions of <random> do not promise.
class Random {
 public:
  explicit Random(uint64_t seed) : seed_(seed), state_(seed) {}

  std::string trace() const { return "FACEFEATURE_TEST_SEED=" + std::to_string(seed_); }

  uint64_t next() {
    state_ += 0x9E3779B97F4A7C15ull;
    uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }

  // From low to high, both included.
  int32_t integer(int32_t low, int32_t high) {
    const uint64_t span = static_cast<uint64_t>(static_cast<int64_t>(high) - low) + 1;
    return static_cast<int32_t>(low + static_cast<int64_t>(next() % span));
  }

  bool chance(int32_t percent) { return integer(1, 100) <= percent; }

  // From 0 to below 1, on a grid of 2^-24.
  float unit() { return static_cast<float>(next() >> 40) * 0x1p-24f; }

  float between(float low, float high) { return low + (high - low) * unit(); }

  // Approximately normal: the sum of twelve uniform numbers minus their mean.
  float normal() {
    float sum = -6.0f;
    for (int i = 0; i < 12; ++i) sum += unit();
    return sum;
  }

  // Difficult numbers: zeros of both signs, infinities, NaN, the smallest and the largest.
  float special() {
    static const float kSpecial[] = {0.0f,
                                     -0.0f,
                                     1.0f,
                                     -1.0f,
                                     std::numeric_limits<float>::infinity(),
                                     -std::numeric_limits<float>::infinity(),
                                     std::numeric_limits<float>::quiet_NaN(),
                                     std::numeric_limits<float>::denorm_min(),
                                     std::numeric_limits<float>::min(),
                                     std::numeric_limits<float>::max(),
                                     std::numeric_limits<float>::lowest(),
                                     0.49999997f};
    return kSpecial[integer(0, 11)];
  }

  std::vector<float> normals(size_t count, float scale = 1.0f) {
    std::vector<float> values(count);
    for (float& value : values) value = normal() * scale;
    return values;
  }

  std::vector<uint8_t> bytes(size_t count) {
    std::vector<uint8_t> values(count);
    for (uint8_t& value : values) value = static_cast<uint8_t>(next() >> 56);
    return values;
  }

 private:
  uint64_t seed_;
  uint64_t state_;
};

}  // namespace facefeature_test

#endif
