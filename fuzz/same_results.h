// Ends the program if two variants of a result differ.
#ifndef FACEFEATURE_FUZZ_SAME_RESULTS_H
#define FACEFEATURE_FUZZ_SAME_RESULTS_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace facefeature_fuzz {

[[noreturn]] inline void fail(const char* what, size_t index) {
  std::fprintf(stderr, "%s differs at %zu\n", what, index);
  std::abort();
}

inline void requireSameBytes(const char* what, const uint8_t* wanted, const uint8_t* got,
                             size_t count) {
  if (count == 0 || std::memcmp(wanted, got, count) == 0) return;
  for (size_t i = 0; i < count; ++i) {
    if (wanted[i] != got[i]) fail(what, i);
  }
}

// Equal bits, except that any NaN equals any other: its payload depends on the processor.
inline void requireSameFloats(const char* what, const float* wanted, const float* got,
                              size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (std::memcmp(wanted + i, got + i, sizeof(float)) == 0) continue;
    if (std::isnan(wanted[i]) && std::isnan(got[i])) continue;
    fail(what, i);
  }
}

}  // namespace facefeature_fuzz

#endif
