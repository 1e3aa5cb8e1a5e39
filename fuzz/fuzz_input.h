// Derives sizes, choices and floats from the bytes of a fuzzing engine.
#ifndef FACEFEATURE_FUZZ_FUZZ_INPUT_H
#define FACEFEATURE_FUZZ_FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace facefeature_fuzz {

// Any bytes are an input. After their end, generated ones follow, so that a few bytes fill a large
// array. They depend only on what was read, so that an input is repeatable.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), left_(size) {}

  uint8_t byte() {
    uint8_t next;
    if (left_ > 0) {
      next = *data_++;
      --left_;
    } else {
      state_ = state_ * 6364136223846793005ull + 1442695040888963407ull;
      next = static_cast<uint8_t>(state_ >> 56);
    }
    state_ = (state_ ^ next) * 0x100000001B3ull;
    return next;
  }

  // From low to high, both included. The range must be below 65536.
  int32_t integer(int32_t low, int32_t high) {
    const int32_t span = high - low + 1;
    int32_t number = byte();
    if (span > 256) number = number * 256 + byte();
    return low + number % span;
  }

  bool flag() { return byte() % 2 == 1; }

  uint32_t anyBits() {
    uint32_t bits = 0;
    for (int32_t i = 0; i < 4; ++i) bits = bits << 8 | byte();
    return bits;
  }

  // Any bits.
  float anyFloat() {
    const uint32_t bits = anyBits();
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }

  // Ordinary, difficult, or any bits: one kind per array, so that not all sums are NaN.
  std::vector<float> floats(size_t count) {
    const uint8_t kind = byte();
    std::vector<float> values(count);
    for (float& value : values) value = floatOfKind(kind);
    return values;
  }

 private:
  float floatOfKind(uint8_t kind) {
    using Limits = std::numeric_limits<float>;
    static const float kSpecial[] = {0.0f,
                                     -0.0f,
                                     1.0f,
                                     -1.0f,
                                     Limits::infinity(),
                                     -Limits::infinity(),
                                     Limits::quiet_NaN(),
                                     Limits::denorm_min(),
                                     -Limits::min(),
                                     Limits::max(),
                                     Limits::lowest(),
                                     0.49999997f,
                                     -2e38f,
                                     0x1p24f,
                                     2147483648.0f,
                                     -2147483648.0f};
    if (kind % 4 == 0) return anyFloat();
    if (kind % 4 == 1) return kSpecial[byte() % 16];
    if (kind % 4 == 2) return static_cast<float>(byte() - 128) * (1.0f / 3.0f);
    const uint8_t next = byte();
    return next % 16 == 0 ? kSpecial[next / 16] : static_cast<float>(next) * 0.01f - 1.0f;
  }

  const uint8_t* data_;
  size_t left_;
  uint64_t state_ = 0xCBF29CE484222325ull;
};

}  // namespace facefeature_fuzz

#endif
