// Bitwise comparison of floats.
#ifndef FACEFEATURE_TESTS_SUPPORT_BITS_H
#define FACEFEATURE_TESTS_SUPPORT_BITS_H

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace facefeature_test {

inline uint32_t bitsOf(float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

inline float floatOfBits(uint32_t bits) {
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

// Equal bits, except that any NaN equals any other: payload and sign of a NaN that an operation
// produces depend on processor and compiler, and no feature depends on them.
inline bool sameBits(float a, float b) {
  return bitsOf(a) == bitsOf(b) || (std::isnan(a) && std::isnan(b));
}

// The number and its bits, for messages.
inline std::string describe(float value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.9g (0x%08X)", static_cast<double>(value), bitsOf(value));
  return text;
}

inline ::testing::AssertionResult sameFloat(const char* wantedText, const char* gotText,
                                            float wanted, float got) {
  if (sameBits(wanted, got)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << gotText << " is " << describe(got) << ", but "
                                       << wantedText << " is " << describe(wanted);
}

// Compares count floats and names the first index at which they differ.
inline ::testing::AssertionResult sameFloats(const float* wanted, const float* got, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (sameBits(wanted[i], got[i])) continue;
    return ::testing::AssertionFailure() << "element " << i << " of " << count << " is "
                                         << describe(got[i]) << ", wanted " << describe(wanted[i]);
  }
  return ::testing::AssertionSuccess();
}

inline ::testing::AssertionResult hasBits(const std::vector<float>& wanted, const float* got,
                                          size_t count) {
  if (count != wanted.size()) {
    return ::testing::AssertionFailure() << count << " values, wanted " << wanted.size();
  }
  return sameFloats(wanted.data(), got, count);
}

}  // namespace facefeature_test

#define EXPECT_SAME_FLOAT(wanted, got) \
  EXPECT_PRED_FORMAT2(::facefeature_test::sameFloat, wanted, got)
#define ASSERT_SAME_FLOAT(wanted, got) \
  ASSERT_PRED_FORMAT2(::facefeature_test::sameFloat, wanted, got)

// The exact bits of one float, given as an unsigned number.
#define EXPECT_BITS(wantedBits, got) \
  EXPECT_EQ(static_cast<uint32_t>(wantedBits), ::facefeature_test::bitsOf(got))

#endif
