#include "geometry/patch_sampling.h"

#include <algorithm>

#include "engine/model_state.h"
#include "geometry/face_warp.h"
#include "geometry/patch_table.h"
#include "geometry/truncate.h"

namespace facefeature {
namespace {

// Rounds to the nearest pixel of the frame; beyond the border it is the border. 0.5 is added in
// single precision: 0.49999997 becomes 1 and not 0.
int32_t framePosition(float position) {
  return std::clamp(truncateToInt(position + 0.5f), 0, kCanonicalSide - 1);
}

// Writes 0 into the margins of one plane. They are blanked after the mean is subtracted, so they
// are 0 and not minus the mean. A column margin hides a row margin.
void blankMargins(int32_t patch, float* plane) {
  const int32_t side = patchSpec.patchSize[patch];
  const int32_t columns = patchSpec.columnMargin[patch];
  const int32_t rows = patchSpec.rowMargin[patch];
  if (columns > 0) {
    for (int32_t y = 0; y < side; ++y) {
      float* row = plane + y * side;
      std::fill(row, row + columns, 0.0f);
      std::fill(row + side - columns, row + side, 0.0f);
    }
  } else if (rows > 0) {
    std::fill(plane, plane + rows * side, 0.0f);
    std::fill(plane + (side - rows) * side, plane + side * side, 0.0f);
  }
}

// One sample; step is 1 for a direct and -1 for a mirrored one. The mean is subtracted unmirrored
// from either: the nets are trained so.
void sample(const uint8_t* face, int32_t planes, const float* center, int32_t patch, float step,
            float* out) {
  const int32_t side = patchSpec.patchSize[patch];
  const int32_t pixels = side * side;
  const int32_t half = side / 2;
  const float offY =
      static_cast<float>(patchSpec.referenceSpan[patch]) * patchSpec.offsetFactor[patch];
  const float* mean = patchMeans[patch];
  for (int32_t i = 0; i < side; ++i) {
    const float dy = static_cast<float>(i - half);
    const int32_t y = framePosition((dy + center[1]) + offY);
    for (int32_t j = 0; j < side; ++j) {
      // Adding -dx rounds as subtracting dx does.
      const float dx = static_cast<float>(j - half);
      const int32_t x = framePosition(step * dx + center[0]);
      const uint8_t* pixel = face + (y * kCanonicalSide + x) * planes;
      const int32_t index = side * i + j;
      // Bytes come blue first, planes red first.
      for (int32_t channel = 0; channel < planes; ++channel) {
        const int32_t at = (planes - 1 - channel) * pixels + index;
        out[at] = static_cast<float>(pixel[channel]) - mean[at];
      }
    }
  }
  for (int32_t plane = 0; plane < planes; ++plane) blankMargins(patch, out + plane * pixels);
}

}  // namespace

void SampleGrayPatch(const uint8_t* grayFace, const float* center, int32_t patch, float* out) {
  sample(grayFace, 1, center, patch, 1.0f, out);
}

void SampleGrayPatchMirrored(const uint8_t* grayFace, const float* center, int32_t patch,
                             float* out) {
  sample(grayFace, 1, center, patch, -1.0f, out);
}

void SampleColorPatch(const uint8_t* colorFace, const float* center, int32_t patch, float* out) {
  sample(colorFace, 3, center, patch, 1.0f, out);
}

void SampleColorPatchMirrored(const uint8_t* colorFace, const float* center, int32_t patch,
                              float* out) {
  sample(colorFace, 3, center, patch, -1.0f, out);
}

}  // namespace facefeature
