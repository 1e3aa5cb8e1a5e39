#include "geometry/patch_sampling.h"

#include <algorithm>

#include "geometry/face_warp.h"
#include "geometry/patch_table.h"
#include "geometry/truncate.h"

namespace facefeature {
namespace {

constexpr int32_t kLargestSide = 55;

// Rounds to the nearest pixel of the frame, clamped to its border. 0.5 is added in single
// precision: 0.49999997 becomes 1 instead of 0.
int32_t framePosition(float position) {
  return std::clamp(truncateToInt(position + 0.5f), 0, kCanonicalSide - 1);
}

// Writes 0 into the margins of one plane. They are blanked after the mean is subtracted, so they
// are 0 instead of minus the mean. A column margin overrides a row margin.
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

// The rows and columns of the frame that the rows and columns of a sample read.
struct SamplePositions {
  int32_t y[kLargestSide];
  int32_t x[kLargestSide];
};

SamplePositions positionsOf(const float* center, int32_t patch, int32_t step) {
  const int32_t side = patchSpec.patchSize[patch];
  const int32_t half = side / 2;
  const float offY =
      static_cast<float>(patchSpec.referenceSpan[patch]) * patchSpec.offsetFactor[patch];
  SamplePositions positions;
  for (int32_t i = 0; i < side; ++i) {
    const float d = static_cast<float>(i - half);
    positions.y[i] = framePosition((d + center[1]) + offY);
    // Adding -d rounds as subtracting d does.
    positions.x[i] = framePosition(static_cast<float>(step) * d + center[0]);
  }
  return positions;
}

// One sample; step is 1 for a direct and -1 for a mirrored one. The mean is subtracted unmirrored
// from either: the nets are trained this way.
void sample(const uint8_t* face, int32_t planes, const float* center, int32_t patch, int32_t step,
            const float* mean, float* out) {
  const int32_t side = patchSpec.patchSize[patch];
  const int32_t pixels = side * side;
  const SamplePositions positions = positionsOf(center, patch, step);
  // Bytes are in the order blue, green, red; planes in the order red, green, blue.
  for (int32_t plane = 0; plane < planes; ++plane) {
    const float* planeMean = mean + plane * pixels;
    float* target = out + plane * pixels;
    for (int32_t i = 0; i < side; ++i) {
      const uint8_t* row = face + positions.y[i] * kCanonicalSide * planes + (planes - 1 - plane);
      for (int32_t j = 0; j < side; ++j) {
        target[side * i + j] =
            static_cast<float>(row[positions.x[j] * planes]) - planeMean[side * i + j];
      }
    }
    blankMargins(patch, target);
  }
}

}  // namespace

void SampleGrayPatch(const uint8_t* grayFace, const float* center, int32_t patch, const float* mean,
                     float* out) {
  sample(grayFace, 1, center, patch, 1, mean, out);
}

void SampleGrayPatchMirrored(const uint8_t* grayFace, const float* center, int32_t patch,
                             const float* mean, float* out) {
  sample(grayFace, 1, center, patch, -1, mean, out);
}

void SampleColorPatch(const uint8_t* colorFace, const float* center, int32_t patch,
                      const float* mean, float* out) {
  sample(colorFace, 3, center, patch, 1, mean, out);
}

void SampleColorPatchMirrored(const uint8_t* colorFace, const float* center, int32_t patch,
                              const float* mean, float* out) {
  sample(colorFace, 3, center, patch, -1, mean, out);
}

FrameRect sampledRect(const float* center, int32_t patch, int32_t step) {
  const int32_t side = patchSpec.patchSize[patch];
  const SamplePositions positions = positionsOf(center, patch, step);
  // Searched for instead of taken from the ends, so that nothing depends on the order of the
  // positions.
  const auto columns = std::minmax_element(positions.x, positions.x + side);
  const auto rows = std::minmax_element(positions.y, positions.y + side);
  return {*columns.first, *rows.first, *columns.second + 1, *rows.second + 1};
}

}  // namespace facefeature
