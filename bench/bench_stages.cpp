// The stages of an extraction, each by itself, and the creation of an engine.
#include <omp.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench_common.h"
#include "bench_model.h"
#include "engine/build_patch_matrices.h"
#include "engine/model_state.h"
#include "engine/net_features.h"
#include "engine/project_feature.h"
#include "geometry/gray_image.h"
#include "kernels/matrix.h"

namespace facefeature_bench {
namespace {

using facefeature::Matrix;

struct FreeMatrices {
  void operator()(std::vector<Matrix*>* matrices) const {
    facefeature::freePatchMatrices(matrices);
  }
};
using PatchMatrices = std::unique_ptr<std::vector<Matrix*>, FreeMatrices>;

const Picture& pictureOf(bool large) { return large ? largePicture() : smallPicture(); }

std::vector<uint8_t> grayOf(const Picture& picture) {
  std::vector<uint8_t> gray(static_cast<size_t>(picture.width) *
                            static_cast<size_t>(picture.height));
  facefeature::ConvertToGray(picture.pixels.data(), picture.width, picture.height, picture.stride(),
                             gray.data());
  return gray;
}

PatchMatrices patchMatricesOf(const Picture& picture, const uint8_t* gray) {
  return PatchMatrices(facefeature::BuildPatchMatrices(
      sharedEngine(), picture.pixels.data(), picture.width, picture.height, picture.stride(), gray,
      picture.face(), activePlan()));
}

// The whole picture, as in the plain plan; the fast one has no such stage.
void timeGray(benchmark::State& state, bool large) {
  const Picture& picture = pictureOf(large);
  std::vector<uint8_t> gray = grayOf(picture);
  for (auto unused : state) {
    static_cast<void>(unused);
    facefeature::ConvertToGray(picture.pixels.data(), picture.width, picture.height,
                               picture.stride(), gray.data());
    benchmark::ClobberMemory();
  }
  state.SetLabel(checksum(gray.data(), gray.size()));
}

void timePatchMatrices(benchmark::State& state, bool large) {
  const Picture& picture = pictureOf(large);
  std::vector<uint8_t> gray;
  if (activePlan() == facefeature::PatchPlan::kPatchByPatch) gray = grayOf(picture);
  const uint8_t* grayImage = gray.empty() ? nullptr : gray.data();
  const PatchMatrices matrices = patchMatricesOf(picture, grayImage);
  for (auto unused : state) {
    static_cast<void>(unused);
    patchMatricesOf(picture, grayImage);
  }
  std::string label;
  for (const Matrix* matrix : *matrices) {
    label = checksum(matrix->buffer, static_cast<size_t>(matrix->size) * sizeof(float), label);
  }
  state.SetLabel(label);
}

void timeNets(benchmark::State& state, int32_t threads) {
  FeatureEngine* engine = sharedEngine();
  const std::vector<uint8_t> gray = grayOf(smallPicture());
  const PatchMatrices matrices = patchMatricesOf(smallPicture(), gray.data());
  std::vector<float> patchFeatures(facefeature::kPatchFeatureFloats);
  omp_set_num_threads(threads);
  facefeature::runNets(engine->nets, *matrices, patchFeatures.data());
  for (auto unused : state) {
    static_cast<void>(unused);
    facefeature::runNets(engine->nets, *matrices, patchFeatures.data());
    benchmark::ClobberMemory();
  }
  omp_set_num_threads(1);
  state.SetLabel(checksum(patchFeatures.data(), patchFeatures.size() * sizeof(float)));
}

// With the matrices in memory, as in an extraction after 25 nets, or wherever the previous
// projection has left them.
void timeProjection(benchmark::State& state, bool cold) {
  sharedEngine();
  const std::vector<float> nets = plausibleFloats(facefeature::kPatchFeatureFloats, 11);
  float feature[kFeatureFloats];
  std::vector<float> x = nets;
  Stopwatch watch;
  facefeature::ProjectFeature(x.data(), feature);
  for (auto unused : state) {
    static_cast<void>(unused);
    if (cold) emptyCaches();
    x = nets;
    watch.start();
    facefeature::ProjectFeature(x.data(), feature);
    watch.stop(state);
  }
  state.SetLabel(checksum(feature, sizeof feature));
}

// Into new memory, as the first creation in a process. If another engine existed, a creation would
// free the numbers that both share and reuse their memory. The destruction is not timed.
void timeCreation(benchmark::State& state) {
  destroySharedEngine();
  haveModelFiles();
  Stopwatch watch;
  for (auto unused : state) {
    static_cast<void>(unused);
    giveFreedMemoryBack();
    watch.start();
    FeatureEngine* engine = facefeature::CreateFeatureEngine();
    watch.stop(state);
    facefeature::DestroyFeatureEngine(engine);
  }
}

}  // namespace

void registerStages() {
  for (const bool large : {false, true}) {
    const std::string size = large ? "4000x3000" : "640x480";
    addBenchmark("stage/gray/" + size + "/plain",
                 [large](benchmark::State& state) { timeGray(state, large); });
    addForSets("stage/patches/" + size,
               [large](benchmark::State& state) { timePatchMatrices(state, large); });
  }
  for (const int32_t threads : {1, 2}) {
    addForSets("stage/nets/threads:" + std::to_string(threads),
               [threads](benchmark::State& state) { timeNets(state, threads); });
  }
  addSelfTimedForSets("stage/projection/cold",
                      [](benchmark::State& state) { timeProjection(state, true); });
  addSelfTimedForSets("stage/projection/again",
                      [](benchmark::State& state) { timeProjection(state, false); });
  addSelfTimed("stage/create", timeCreation);
}

}  // namespace facefeature_bench
