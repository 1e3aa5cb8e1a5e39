// Arrays of floats for kernels: at every offset within a wide register, or next to inaccessible
// pages, with values of all kinds.
#ifndef FACEFEATURE_TESTS_SUPPORT_PLACED_FLOATS_H
#define FACEFEATURE_TESTS_SUPPORT_PLACED_FLOATS_H

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/random.h"

namespace facefeature_test {

// Positions 0 to 15: this many floats after a boundary of 64 bytes, with guard values on both
// sides. 16: the last float is next to an inaccessible page. 17: the first one is.
constexpr int32_t kFloatPlacements = 18;

class PlacedFloats {
 public:
  PlacedFloats(const std::vector<float>& values, int32_t placement) : count_(values.size()) {
    if (placement >= 16) {
      std::vector<uint8_t> bytes;
      bytes.reserve(4 * count_ + 1);
      bytes.resize(4 * count_);
      if (count_ > 0) std::memcpy(bytes.data(), values.data(), bytes.size());
      guarded_ = std::make_unique<GuardedBuffer>(
          bytes, placement == 16 ? GuardedBuffer::Guard::kAfter : GuardedBuffer::Guard::kBefore);
      data_ = reinterpret_cast<float*>(guarded_->data());
      return;
    }
    marked_.assign(count_ + 3 * kBoundary, kMark);
    const size_t past = reinterpret_cast<uintptr_t>(marked_.data()) / 4 % kBoundary;
    const size_t start =
        kBoundary + (kBoundary - past) % kBoundary + static_cast<size_t>(placement);
    data_ = marked_.data() + start;
    if (count_ > 0) std::memcpy(data_, values.data(), 4 * count_);
  }

  float* data() { return data_; }
  size_t size() const { return count_; }

  // Checks that the guard values are unchanged. An access to an inaccessible page ends the program.
  bool isUntouchedAround() const {
    for (const float& value : marked_) {
      const bool inside = &value >= data_ && &value < data_ + count_;
      if (!inside && bitsOf(value) != bitsOf(kMark)) return false;
    }
    return true;
  }

 private:
  static constexpr size_t kBoundary = 16;  // floats in 64 bytes
  static constexpr float kMark = -7654.25f;

  size_t count_;
  float* data_;
  std::vector<float> marked_;
  std::unique_ptr<GuardedBuffer> guarded_;
};

inline int32_t randomPlacement(Random& random) { return random.integer(0, kFloatPlacements - 1); }

// Exactly the same bits, also of NaNs: for kernels that copy and select but do not compute.
inline ::testing::AssertionResult identicalFloats(const float* wanted, const float* got,
                                                  size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (bitsOf(wanted[i]) == bitsOf(got[i])) continue;
    return ::testing::AssertionFailure() << "element " << i << " of " << count << " is "
                                         << describe(got[i]) << ", wanted " << describe(wanted[i]);
  }
  return ::testing::AssertionSuccess();
}

// Kinds of values for a whole array: ordinary ones; magnitudes so far apart that another order of
// summation changes the bits; a few difficult ones among ordinary ones; nearly only difficult ones;
// denormals; arbitrary bits.
constexpr int32_t kFloatKinds = 6;

inline float floatOfKind(Random& random, int32_t kind) {
  const uint32_t bits = static_cast<uint32_t>(random.next() >> 32);
  switch (kind) {
    case 0:
      return random.between(-2.0f, 2.0f);
    case 1:
      return std::ldexp(random.unit() - 0.5f, random.integer(-12, 12));
    case 2:
      return random.chance(5) ? random.special() : random.between(-1.0f, 1.0f);
    case 3:
      return random.chance(80) ? random.special() : random.between(-1.0f, 1.0f);
    case 4:
      return floatOfBits(bits & 0x807FFFFFu);
    default:
      return floatOfBits(bits);
  }
}

inline std::vector<float> floatsOfKind(Random& random, size_t count, int32_t kind) {
  std::vector<float> values(count);
  for (float& value : values) value = floatOfKind(random, kind);
  return values;
}

inline std::vector<float> floatsOfRandomKind(Random& random, size_t count) {
  return floatsOfKind(random, count, random.integer(0, kFloatKinds - 1));
}

}  // namespace facefeature_test

#endif
