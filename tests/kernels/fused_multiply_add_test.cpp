// Compares the software fused multiply-add with the processor's, or with exact arithmetic if the
// processor has none. FACEFEATURE_FUSED_STEPS sets the number of steps, by default a few million.
#include "kernels/fused_multiply_add.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>

#include "support/bits.h"
#include "support/reference_arithmetic.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::fusedMultiplyAdd;

struct Operands {
  float a, b, c;
};

uint32_t bits(Random& random) {
  return static_cast<uint32_t>(random.integer(0, 0xFFFF)) << 16 |
         static_cast<uint32_t>(random.integer(0, 0xFFFF));
}

// A float with a biased exponent from low to high, the given mask of mantissa bits, and any sign.
float floatOf(Random& random, int32_t low, int32_t high, uint32_t mask) {
  const uint32_t exponent = static_cast<uint32_t>(random.integer(low, high));
  return floatOfBits((bits(random) & (0x80000000u | mask)) | exponent << 23);
}

float special(Random& random) {
  static const uint32_t kBits[] = {0,           0x80000000u, 0x7F800000u, 0xFF800000u, 1,
                                   0x80000001u, 0x7F7FFFFFu, 0x00800000u, 0x3F800000u, 0x007FFFFFu,
                                   0x33800000u, 0x7FC12345u, 0xFF812345u};
  return floatOfBits(kBits[random.integer(0, 12)]);
}

Operands operandsOfKind(Random& random, int64_t kind) {
  constexpr uint32_t kAll = 0x7FFFFFu;
  switch (kind) {
    case 0:  // any bits
      return {floatOfBits(bits(random)), floatOfBits(bits(random)), floatOfBits(bits(random))};
    case 1:  // few bits each, so that sums are often halfway between two floats
      return {floatOf(random, 127, 127, 0x7FF800u), floatOf(random, 127, 127, 0x7FF800u),
              floatOf(random, 100, 159, 0x7FF000u)};
    case 2:  // subnormal sums
      return {floatOf(random, 20, 79, kAll), floatOf(random, 20, 79, kAll),
              floatOf(random, 0, 1, kAll)};
    case 3: {  // the sum cancels everything but the rounding error of a product
      const float a = floatOf(random, 110, 129, kAll), b = floatOf(random, 110, 129, kAll);
      return {a, b, -(a * b)};
    }
    case 4:
      return {special(random), special(random), special(random)};
    case 5:  // a product far below the last bit of the sum
      return {floatOf(random, 127, 127, kAll), floatOf(random, 40, 119, 3),
              floatOf(random, 127, 129, kAll)};
    case 6:  // halfway between two subnormal floats
      return {floatOf(random, 50, 79, 0x7FF000u), floatOf(random, 50, 79, 0x7FF000u),
              floatOf(random, 0, 0, 0xFFFu)};
    default:  // on both sides of the smallest normal float
      return {floatOf(random, 60, 66, 0x600000u), floatOf(random, 60, 66, 0x600001u),
              floatOf(random, 0, 2, kAll)};
  }
}

#if defined(__x86_64__)
__attribute__((target("fma"))) float fusedByInstruction(float a, float b, float c) {
  return __builtin_fmaf(a, b, c);
}
bool hasInstruction() { return __builtin_cpu_supports("fma"); }
#else
float fusedByInstruction(float a, float b, float c) { return std::fma(a, b, c); }
bool hasInstruction() {
#ifdef FP_FAST_FMAF
  return true;
#else
  return false;
#endif
}
#endif

float wantedOf(const Operands& o) {
  return hasInstruction() ? fusedByInstruction(o.a, o.b, o.c) : reference::fused(o.a, o.b, o.c);
}

TEST(FusedMultiplyAdd, HasTheBitsOfTheInstruction) {
  SeededRandom random;
  const char* const asked = std::getenv("FACEFEATURE_FUSED_STEPS");
  const int64_t steps = asked == nullptr ? 4000000 : std::atoll(asked);
  for (int64_t i = 0; i < steps; ++i) {
    const Operands o = operandsOfKind(random, i % 8);
    const float wanted = wantedOf(o), got = fusedMultiplyAdd(o.a, o.b, o.c);
    if (sameBits(wanted, got)) continue;
    FAIL() << "step " << i << ": " << describe(o.a) << " * " << describe(o.b) << " + "
           << describe(o.c) << " is " << describe(got) << ", wanted " << describe(wanted);
  }
}

TEST(FusedMultiplyAdd, ReturnsTheFirstNaNQuieted) {
  const float first = floatOfBits(0x7F812345u), second = floatOfBits(0xFFC54321u);
  EXPECT_EQ(0x7FC12345u, bitsOf(fusedMultiplyAdd(first, second, 1.0f)));
  EXPECT_EQ(0xFFC54321u, bitsOf(fusedMultiplyAdd(1.0f, second, first)));
  EXPECT_EQ(0x7FC12345u, bitsOf(fusedMultiplyAdd(1.0f, 2.0f, first)));
}

TEST(FusedMultiplyAdd, InvalidOperationsMakeTheDefaultNaN) {
  const float infinity = HUGE_VALF;
  EXPECT_EQ(0xFFC00000u, bitsOf(fusedMultiplyAdd(infinity, 0.0f, 1.0f)));
  EXPECT_EQ(0xFFC00000u, bitsOf(fusedMultiplyAdd(infinity, 1.0f, -infinity)));
}

TEST(FusedMultiplyAdd, SignsOfZeros) {
  EXPECT_EQ(0x80000000u, bitsOf(fusedMultiplyAdd(-0.0f, 1.0f, -0.0f)));
  EXPECT_EQ(0u, bitsOf(fusedMultiplyAdd(-0.0f, 1.0f, 0.0f)));
  EXPECT_EQ(0u, bitsOf(fusedMultiplyAdd(3.0f, 2.0f, -6.0f)));
}

}  // namespace
}  // namespace facefeature_test
