// Complete extractions: both picture sizes, one and two threads, every kernel set.
#include <omp.h>

#include <cstdint>
#include <string>

#include "bench_common.h"
#include "bench_model.h"

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

}  // namespace

void registerExtract() {
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
