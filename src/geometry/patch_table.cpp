#include "geometry/patch_table.h"

namespace facefeature {

// The two point rows hold partners across the centre line; a patch on the line has its point in
// both. Patches 7 and 13 are cut alike and differ only in their means and nets. The width and the
// colours of each match its net (config/net_definitions.cpp). 0.3333f is the float with bits
// 0x3EAAA64C and not a third.
const PatchSpec patchSpec = {
    // clang-format off
    // patch: 0   1   2   3   4   5   6   7   8   9  10  11  12  13  14  15  16  17  18  19  20  21  22  23  24
    /* patchSize */
           {55, 55, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47},
    /* referenceSpan */
           {12, 18, 33, 18, 27, 33, 33, 30, 33, 30, 12, 33, 15, 30, 15, 24, 18, 30, 33, 21, 33, 18, 33, 18, 33},
    /* offsetFactor */
           {0,   0,  0,  0, 0.3333f, 0, 0,  0,  0,  0,  0,  0, 0.3333f, 0, -1,  0,  0,  0,  0, 0.3333f, 0, 0,  0,  0,  0},
    /* columnMargin */
           {4,   4,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0},
    /* rowMargin */
           {0,   0,  0,  0,  0,  0,  0,  0,  0,  0,  3,  0,  6,  0,  3,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0},
    /* centerPoint */
           {6,   6,  2, 10,  6,  9, 18, 13,  0, 10, 15, 15,  6, 13,  6, 15, 14,  3,  7,  6,  0, 22, 10, 15,  3},
    /* mirrorPoint */
           {6,   6,  5, 11,  6,  9, 19, 12,  1, 11, 15, 15,  6, 12,  6, 15, 14,  4,  7,  6,  1, 23, 11, 15,  4},
    /* isColor */
           {1,   1,  1,  0,  1,  0,  0,  1,  0,  0,  1,  0,  0,  1,  0,  0,  1,  0,  1,  0,  1,  0,  1,  0,  1},
    // clang-format on
};

int32_t sampleLength(int32_t patch) {
  const int32_t pixels = patchSpec.patchSize[patch] * patchSpec.patchSize[patch];
  return patchSpec.isColor[patch] == 1 ? pixels * 3 : pixels;
}

}  // namespace facefeature
