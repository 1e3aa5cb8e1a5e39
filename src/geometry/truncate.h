// The only conversion from float to integer in the geometry.
#ifndef FACEFEATURE_GEOMETRY_TRUNCATE_H
#define FACEFEATURE_GEOMETRY_TRUNCATE_H

#include <cstdint>
#include <limits>

namespace facefeature {

// Truncates toward zero, whatever the rounding mode. NaN, infinities and values beyond the range
// give -2147483648, which is what x86 returns for them. A plain cast would be undefined there, and
// ARM saturates instead.
inline int32_t truncateToInt(float value) {
  if (value >= -2147483648.0f && value < 2147483648.0f) return static_cast<int32_t>(value);
  return std::numeric_limits<int32_t>::min();
}

}  // namespace facefeature

#endif
