#include "kernels/checked_geometry.h"

#include <cmath>
#include <limits>
#include <stdexcept>

namespace facefeature {
namespace {

int32_t narrowed(int64_t value) {
  if (value < std::numeric_limits<int32_t>::min() || value > std::numeric_limits<int32_t>::max()) {
    throw std::out_of_range("a geometry beyond 32 bits");
  }
  return static_cast<int32_t>(value);
}

}  // namespace

int32_t divideGeometry(int32_t numerator, int32_t divisor) {
  if (divisor == 0) throw std::out_of_range("division of a geometry by 0");
  return narrowed(static_cast<int64_t>(numerator) / divisor);
}

int32_t multiplyGeometry(int32_t a, int32_t b) { return narrowed(static_cast<int64_t>(a) * b); }

int32_t truncatedSquareRoot(int32_t cells) {
  if (cells < 0) return 0;
  return static_cast<int32_t>(std::sqrt(static_cast<double>(cells)));
}

}  // namespace facefeature
