// Complete extractions: both picture sizes, every kernel set, several threads, several faces in one
// pass, and several engines side by side.
#include <omp.h>

#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench_common.h"
#include "bench_model.h"
#include "engine/face_batch.h"

namespace facefeature_bench {
namespace {

// One call per repetition, after one that is not timed, so that minimum and median are those of
// single calls.
void runCall(benchmark::State& state, const Picture& picture, int32_t threads) {
  FeatureEngine* engine = sharedEngine();
  float feature[kFeatureFloats];
  omp_set_num_threads(threads);
  extract(engine, picture, feature);
  for (auto unused : state) {
    static_cast<void>(unused);
    extract(engine, picture, feature);
    benchmark::ClobberMemory();
  }
  omp_set_num_threads(1);
  state.SetLabel(checksum(feature, sizeof feature));
}

// One call for several faces per repetition, on one thread. The faces are copies of one picture.
void runBatch(benchmark::State& state, int32_t faces) {
  sharedEngine();  // so that the model files exist
  const std::unique_ptr<FaceBatch> batch = facefeature::newFaceBatch();
  const Picture& picture = smallPicture();
  std::vector<FeatureVector> features(static_cast<size_t>(faces));
  const auto extractAll = [&] {
    for (int32_t i = 0; i < faces; ++i) {
      facefeature::samplePatches(*batch, i, picture.pixels.data(), picture.width, picture.height,
                                 picture.stride(), picture.face());
    }
    facefeature::extractFaces(*batch, faces, features.data());
  };
  extractAll();
  for (auto unused : state) {
    static_cast<void>(unused);
    extractAll();
    benchmark::ClobberMemory();
  }
  state.counters["count"] = faces;
  state.SetLabel(checksum(features.back().values, sizeof features.back().values));
}

constexpr int32_t kFacesOfAWorker = 20;

void extractFaces(FeatureEngine* engine, int32_t faces) {
  omp_set_num_threads(1);
  float feature[kFeatureFloats];
  for (int32_t i = 0; i < faces; ++i) extract(engine, smallPicture(), feature);
}

// Threads with an engine and kFacesOfAWorker calls each, every call on one thread. The engines
// share the model's numbers.
void runWorkers(benchmark::State& state, int32_t workers) {
  std::vector<FeatureEngine*> engines = {sharedEngine()};
  while (static_cast<int32_t>(engines.size()) < workers) {
    engines.push_back(facefeature::CreateFeatureEngine());
  }
  for (FeatureEngine* engine : engines) extractFaces(engine, 1);
  for (auto unused : state) {
    static_cast<void>(unused);
    std::vector<std::thread> threads;
    for (FeatureEngine* engine : engines) {
      threads.emplace_back([engine] { extractFaces(engine, kFacesOfAWorker); });
    }
    for (std::thread& thread : threads) thread.join();
  }
  for (size_t i = 1; i < engines.size(); ++i) facefeature::DestroyFeatureEngine(engines[i]);
  state.counters["count"] = workers * kFacesOfAWorker;
}

// 1, 2, 4 and so on, and the number of processors.
std::vector<int32_t> workerCounts() {
  std::vector<int32_t> counts;
  const int32_t processors = omp_get_num_procs();
  for (int32_t count = 1; count < processors; count *= 2) counts.push_back(count);
  counts.push_back(processors);
  return counts;
}

}  // namespace

void registerExtract() {
  for (const int32_t faces : {1, 2, 4, 8, 16}) {
    addBenchmark("batch/faces:" + std::to_string(faces), [faces](benchmark::State& state) {
      runBatch(state, faces);
    })->Iterations(1);
  }
  for (const int32_t workers : workerCounts()) {
    addBenchmark("workers/" + std::to_string(workers), [workers](benchmark::State& state) {
      runWorkers(state, workers);
    })->Iterations(1);
  }
  for (const bool large : {false, true}) {
    const std::string size = large ? "4000x3000" : "640x480";
    for (const int32_t threads : {1, 2}) {
      addForSets(
          "extract/" + size + "/threads:" + std::to_string(threads),
          [large, threads](benchmark::State& state) {
            runCall(state, large ? largePicture() : smallPicture(), threads);
          },
          1);
    }
  }
}

}  // namespace facefeature_bench
