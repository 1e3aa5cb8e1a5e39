// A program that links facefeature_geometry and nothing else of the library. It does not link if
// the geometry needs an engine, a net or a BLAS. Fills the patches of one face.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "geometry/face_warp.h"
#include "geometry/fill_patches.h"
#include "geometry/model_points.h"

namespace {

// The ids of the model points.
const int32_t kIds[facefeature::kModelPointCount] = {
    0,   1,   2,   3,   4,   5,   6,   9,   10,  11,  12,  13,  43,  44, 45,
    200, 221, 222, 223, 225, 226, 227, 240, 241, 300, 302, 314, 315, 316};

// The model face, seen from the front.
std::vector<uint8_t> frontalRecord() {
  const int32_t count = facefeature::kModelPointCount;
  std::vector<uint8_t> record(8 + sizeof(Landmark) * static_cast<size_t>(count));
  std::memcpy(record.data(), &count, sizeof count);
  for (int32_t i = 0; i < count; ++i) {
    const float* point = facefeature::ModelPoints[i];
    const Landmark entry = {kIds[i], 100.0f + 8.0f * point[0], 100.0f + 8.0f * point[1]};
    std::memcpy(&record[8 + sizeof entry * static_cast<size_t>(i)], &entry, sizeof entry);
  }
  return record;
}

}  // namespace

int main() {
  constexpr int32_t kSide = 200;
  const std::vector<uint8_t> pixels(3 * kSide * kSide, 128);
  const std::vector<uint8_t> record = frontalRecord();
  std::vector<uint8_t> grayFace(facefeature::kGrayFaceBytes);
  std::vector<uint8_t> colorFace(facefeature::kColorFaceBytes);
  const auto means = std::make_unique<facefeature::PatchMean[]>(facefeature::kPatchCount);
  std::vector<float> rows[facefeature::kPatchCount];
  float* patches[facefeature::kPatchCount];
  for (int32_t patch = 0; patch < facefeature::kPatchCount; ++patch) {
    rows[patch].resize(2 * static_cast<size_t>(facefeature::sampleLength(patch)));
    patches[patch] = rows[patch].data();
  }
  facefeature::fillPatches({pixels.data(), kSide, kSide, 3 * kSide, nullptr},
                           reinterpret_cast<const LandmarkSet*>(record.data()),
                           facefeature::PatchPlan::kSharedFrames, means.get(),
                           {grayFace.data(), colorFace.data()}, patches);
  const float middle = rows[5][rows[5].size() / 4];
  std::printf("%g\n", middle);
  return middle == 128.0f ? 0 : 1;
}
