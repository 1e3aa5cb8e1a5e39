// The synthetic model, pictures and faces for the benchmarks.
#ifndef FACEFEATURE_BENCH_BENCH_MODEL_H
#define FACEFEATURE_BENCH_BENCH_MODEL_H

#include <cstdint>
#include <string>
#include <vector>

#include "engine/feature_engine.h"
#include "geometry/landmark_set.h"

namespace facefeature_bench {

// Gradients with noise, and one upright face of 29 landmarks whose size is a fixed fraction of the
// picture's height.
struct Picture {
  int32_t width;
  int32_t height;
  std::vector<uint8_t> pixels;  // blue, green, red; no padding between rows
  std::vector<int32_t> record;  // a LandmarkSet, as 32-bit words

  int32_t stride() const { return 3 * width; }
  const facefeature::LandmarkSet* face() const {
    return reinterpret_cast<const facefeature::LandmarkSet*>(record.data());
  }
  std::string name() const { return std::to_string(width) + "x" + std::to_string(height); }
};

// Created by the first call and kept until the program ends. 640 x 480 and 4000 x 3000.
const Picture& smallPicture();
const Picture& largePicture();

// The first call writes the 303 files to the folder from which the library reads. The folder
// belongs to this process and is deleted when it ends.
void haveModelFiles();

// The paths of the files in the order in which an engine reads them, and their total size in bytes.
const std::vector<std::string>& modelFilePaths();
int64_t modelFileBytes();

// Created by the first call. While it exists, so do the model's shared numbers.
FeatureEngine* sharedEngine();
void destroySharedEngine();

// One extraction from the picture.
void extract(FeatureEngine* engine, const Picture& picture, float* feature);

}  // namespace facefeature_bench

#endif
