// CreateFeatureEngine and DestroyFeatureEngine: loads and frees everything, in a fixed order.
#include "engine/engine_count.h"
#include "engine/feature_engine.h"
#include "engine/model_files.h"
#include "engine/model_state.h"
#include "kernels/matrix.h"
#include "net/conv_net.h"
#include "platform/platform.h"

namespace facefeature {

int32_t engineCount = 0;

namespace {

// Allocates and reads the three large buffers. Returns false if a file can't be opened. The buffers
// are then freed, also for engines that are still alive.
bool loadModelBuffers(std::ifstream& stream) {
  constexpr int32_t kProjectionFloats = kProjectedFloats * kPatchFeatureFloats;
  freeModelBuffers();
  featureMean = allocateFloats(kPatchFeatureFloats);
  selfProjection = allocateFloats(kProjectionFloats);
  crossProjection = allocateFloats(kProjectionFloats);
  if (readRawFloats(stream, "6-0", featureMean, kPatchFeatureFloats) &&
      readRawFloats(stream, "6-1", selfProjection, kProjectionFloats) &&
      readRawFloats(stream, "6-2", crossProjection, kProjectionFloats)) {
    return true;
  }
  freeModelBuffers();
  return false;
}

void buildNets(FeatureEngine* engine) {
  for (int32_t i = 0; i < kPatchCount; ++i) engine->nets[i] = new ConvNet(i);
}

void destroyNets(FeatureEngine* engine) {
  for (ConvNet*& net : engine->nets) {
    delete net;
    net = nullptr;
  }
}

}  // namespace

FeatureEngine* CreateFeatureEngine() {
  keepOpenMpRuntimeLoaded();
  std::ifstream stream;
  for (int32_t n = 1; n <= kPatchCount; ++n) {
    if (!readPatchMean(stream, n)) return nullptr;
  }
  if (!loadModelBuffers(stream)) return nullptr;
  FeatureEngine* engine = new FeatureEngine;
  buildNets(engine);
  ++engineCount;
  // Counted only after the files are read: without an engine no destruction would undo it.
  expectOpenMpWorkers();
  return engine;
}

void DestroyFeatureEngine(FeatureEngine* engine) {
  if (engine == nullptr) return;
  destroyNets(engine);
  delete engine;
  --engineCount;
  if (engineCount > 0) return;
  freeModelBuffers();
  releaseOpenMpWorkers();
}

}  // namespace facefeature
