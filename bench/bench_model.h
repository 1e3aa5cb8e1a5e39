// The made-up model, pictures and faces that the benchmarks work on.
#ifndef FACEFEATURE_BENCH_BENCH_MODEL_H
#define FACEFEATURE_BENCH_BENCH_MODEL_H

#include <cstdint>
#include <string>
#include <vector>

#include "engine/feature_engine.h"
#include "geometry/landmark_set.h"

namespace facefeature_bench {

// Slopes of brightness with noise, and one upright face of 29 landmarks that takes the same share
// of every picture's height.
struct Picture {
  int32_t width;
  int32_t height;
  std::vector<uint8_t> pixels;  // blue, green, red; rows without gaps
  std::vector<int32_t> record;  // the words of a LandmarkSet

  int32_t stride() const { return 3 * width; }
  const facefeature::LandmarkSet* face() const {
    return reinterpret_cast<const facefeature::LandmarkSet*>(record.data());
  }
  std::string name() const { return std::to_string(width) + "x" + std::to_string(height); }
};

// Made at the first call and kept until the program ends. The sizes are those that the benchmarks
// are about: 640 x 480 and 4000 x 3000.
const Picture& smallPicture();
const Picture& largePicture();

// Writes the 303 files to the folder in which the library looks, at the first call. The folder is
// the program's own and goes with it.
void haveModelFiles();

// Their paths, in the order in which a creation reads them, and their bytes in all.
const std::vector<std::string>& modelFilePaths();
int64_t modelFileBytes();

// Made at the first call. While it stands the shared numbers of the model do too.
FeatureEngine* sharedEngine();
void destroySharedEngine();

// One call on the picture.
void extract(FeatureEngine* engine, const Picture& picture, float* feature);

}  // namespace facefeature_bench

#endif
