// Compares BuildPatchMatrices with every plan, with and without a gray image, with the plain plan:
// the 25 matrices and both scratch faces of the engine. Input: any bytes. They choose the size,
// stride and pixels of the picture, and the coordinates of a record of 29 entries.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "engine/build_patch_matrices.h"
#include "engine/feature_engine.h"
#include "fuzz_input.h"
#include "geometry/gray_image.h"
#include "geometry/model_points.h"
#include "same_results.h"

namespace {

using facefeature::FeatureEngine;
using facefeature::Matrix;
using facefeature::PatchPlan;
using facefeature_fuzz::Input;

// The photograph, in a block that ends with its last pixel.
struct Photograph {
  int32_t width, height, stride;
  std::unique_ptr<uint8_t[]> storage;
  const uint8_t* pixels;
};

Photograph anyPhotograph(Input& input) {
  Photograph photo;
  photo.width = input.integer(2, 60);
  photo.height = input.integer(2, 60);
  const int32_t step = 3 * photo.width + input.integer(0, 5);
  photo.stride = input.flag() ? -step : step;
  const size_t top = static_cast<size_t>(step) * static_cast<size_t>(photo.height - 1);
  const size_t bytes = top + 3 * static_cast<size_t>(photo.width);
  photo.storage.reset(new uint8_t[bytes]);
  for (size_t i = 0; i < bytes; ++i) photo.storage[i] = input.byte();
  photo.pixels = photo.storage.get() + (photo.stride < 0 ? top : 0);
  return photo;
}

// The ids of the rigid face, in the order of its points.
const int32_t kIds[facefeature::kModelPointCount] = {
    0,   1,   2,   3,   4,   5,   6,   9,   10,  11,  12,  13,  43,  44, 45,
    200, 221, 222, 223, 225, 226, 227, 240, 241, 300, 302, 314, 315, 316};

// A frontal face with each point moved a little. A wild record has any floats among its
// coordinates.
std::vector<Landmark> anyEntries(Input& input) {
  const float scale = static_cast<float>(input.integer(1, 600)) * 0.01f;
  const float x = static_cast<float>(input.integer(-60, 120));
  const float y = static_cast<float>(input.integer(-60, 120));
  const bool isWild = input.byte() % 4 == 0;
  std::vector<Landmark> entries;
  for (int32_t i = 0; i < facefeature::kModelPointCount; ++i) {
    const float* point = facefeature::ModelPoints[i];
    const auto noise = [&input] { return static_cast<float>(input.byte() - 128) * 0.01f; };
    Landmark entry = {kIds[i], x + scale * (point[0] + noise()), y + scale * (point[1] + noise())};
    if (isWild && input.byte() % 8 == 0) entry.x = input.anyFloat();
    if (isWild && input.byte() % 8 == 0) entry.y = input.anyFloat();
    entries.push_back(entry);
  }
  return entries;
}

struct Outcome {
  std::vector<float> floats;
  std::vector<uint8_t> faces;
};

Outcome built(PatchPlan plan, uint8_t fill, const Photograph& photo, const uint8_t* gray,
              const LandmarkSet* landmarks) {
  const std::unique_ptr<FeatureEngine> engine(new FeatureEngine);
  std::memset(engine->grayFace, fill, sizeof engine->grayFace);
  std::memset(engine->colorFace, fill, sizeof engine->colorFace);
  std::vector<Matrix*>* matrices = facefeature::BuildPatchMatrices(
      engine.get(), photo.pixels, photo.width, photo.height, photo.stride, gray, landmarks, plan);
  Outcome outcome;
  for (const Matrix* matrix : *matrices) {
    outcome.floats.insert(outcome.floats.end(), matrix->buffer, matrix->buffer + matrix->size);
  }
  facefeature::freePatchMatrices(matrices);
  outcome.faces.assign(engine->grayFace, engine->grayFace + sizeof engine->grayFace);
  outcome.faces.insert(outcome.faces.end(), engine->colorFace,
                       engine->colorFace + sizeof engine->colorFace);
  return outcome;
}

void requireSame(const Outcome& wanted, const Outcome& got) {
  facefeature_fuzz::requireSameFloats("a matrix", wanted.floats.data(), got.floats.data(),
                                      wanted.floats.size());
  facefeature_fuzz::requireSameBytes("a face", wanted.faces.data(), got.faces.data(),
                                     wanted.faces.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const std::vector<Landmark> entries = anyEntries(input);
  const Photograph photo = anyPhotograph(input);
  const int32_t count = static_cast<int32_t>(entries.size());
  std::vector<uint8_t> record(8 + sizeof(Landmark) * entries.size());
  std::memcpy(record.data(), &count, sizeof count);
  std::memcpy(record.data() + 8, entries.data(), sizeof(Landmark) * entries.size());
  const LandmarkSet* landmarks = reinterpret_cast<const LandmarkSet*>(record.data());
  const std::unique_ptr<uint8_t[]> gray(
      new uint8_t[static_cast<size_t>(photo.width) * static_cast<size_t>(photo.height)]);
  facefeature::ConvertToGray(photo.pixels, photo.width, photo.height, photo.stride, gray.get());

  const Outcome wanted = built(PatchPlan::kPatchByPatch, 1, photo, gray.get(), landmarks);
  for (const PatchPlan plan : facefeature::kPatchPlans) {
    requireSame(wanted, built(plan, 2, photo, nullptr, landmarks));
    requireSame(wanted, built(plan, 3, photo, gray.get(), landmarks));
  }
  return 0;
}
