// Arithmetic with the sizes in a net text, which may have any value.
#ifndef FACEFEATURE_KERNELS_CHECKED_GEOMETRY_H
#define FACEFEATURE_KERNELS_CHECKED_GEOMETRY_H

#include <cstdint>

namespace facefeature {

// numerator / divisor, truncated. Throws std::out_of_range for a divisor of 0 and for the one
// quotient that an int32_t can't hold.
int32_t divideGeometry(int32_t numerator, int32_t divisor);

// a * b. Throws std::out_of_range if an int32_t can't hold it.
int32_t multiplyGeometry(int32_t a, int32_t b);

// The square root in double, truncated: the side of a square of this many cells. 0 for a negative
// count.
int32_t truncatedSquareRoot(int32_t cells);

}  // namespace facefeature

#endif
