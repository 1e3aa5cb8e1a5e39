// The indices of a feature's numbers. No inline functions, because the files of wide instruction
// sets include this header.
#ifndef FACEFEATURE_TOOLS_SEARCH_SCAN_LAYOUT_H
#define FACEFEATURE_TOOLS_SEARCH_SCAN_LAYOUT_H

#include <cstdint>

namespace facefeature_tools {

constexpr int32_t kScanFloats = 502;    // number of floats in a feature
constexpr int32_t kScanProducts = 500;  // number of floats in the sum
constexpr int32_t kScanSquares = 500;   // index of the sum of squares
constexpr int32_t kScanNorm = 501;      // index of the norm

}  // namespace facefeature_tools

#endif
