// What an engine takes of the machine's memory, and whether that grows.
//
// In a process of its own only: --benchmark_filter=^memory/. FACEFEATURE_BENCH_EXTRACTIONS says how
// many calls are made, 2000 if it is unset.
#include <omp.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>

#include "bench_common.h"
#include "bench_model.h"
#include "engine/feature_engine.h"
#include "geometry/patch_table.h"
#include "kernels/matrix.h"
#include "net/conv_net.h"

namespace facefeature_bench {
namespace {

int64_t residentBytes() {
  std::FILE* file = std::fopen("/proc/self/statm", "r");
  long long total = 0;
  long long resident = 0;
  const bool read = file != nullptr && std::fscanf(file, "%lld %lld", &total, &resident) == 2;
  if (file != nullptr) std::fclose(file);
  if (!read) {
    std::fprintf(stderr, "facefeature_bench: /proc/self/statm can't be read\n");
    std::exit(4);
  }
  return resident * sysconf(_SC_PAGESIZE);
}

// What the layers have written in their last run, those that rewrite another's matrix counted once,
// and the patch matrices, which a call makes and frees.
int64_t activationBytes(const FeatureEngine* engine) {
  std::set<const facefeature::Matrix*> all;
  for (const facefeature::ConvNet* net : engine->nets) {
    for (facefeature::Layer* layer : net->layers) {
      if (layer->actsTarget < 0) all.insert(layer->getActivations());
    }
  }
  int64_t floats = 0;
  for (const facefeature::Matrix* matrix : all) floats += matrix->size;
  for (int32_t patch = 0; patch < facefeature::kPatchCount; ++patch) {
    floats += 2 * int64_t{facefeature::sampleLength(patch)};
  }
  return floats * static_cast<int64_t>(sizeof(float));
}

int64_t wantedExtractions() {
  const char* text = std::getenv("FACEFEATURE_BENCH_EXTRACTIONS");
  return std::max<int64_t>(text != nullptr ? std::atoll(text) : 2000, 200);
}

// With all threads there are, as a host has it. The first calls are those in which threads, stacks
// and the package's working memory come to be; they count as the engine's, not as growth.
void measureMemory(benchmark::State& state) {
  const int64_t extractions = wantedExtractions();
  constexpr int64_t kFirst = 100;
  float feature[kFeatureFloats];
  const Picture& picture = smallPicture();
  haveModelFiles();
  const int64_t fileBytes = modelFileBytes();
  omp_set_num_threads(omp_get_num_procs());
  giveFreedMemoryBack();
  const int64_t before = residentBytes();
  for (auto unused : state) {
    static_cast<void>(unused);
    FeatureEngine* engine = sharedEngine();
    const int64_t created = residentBytes();
    for (int64_t i = 0; i < kFirst; ++i) extract(engine, picture, feature);
    const int64_t first = residentBytes();
    for (int64_t i = kFirst; i < extractions; ++i) extract(engine, picture, feature);
    const int64_t last = residentBytes();
    const auto counter = [&state](const char* name, int64_t value) {
      state.counters[name] = static_cast<double>(value);
    };
    counter("file_bytes", fileBytes);
    counter("activation_bytes", activationBytes(engine));
    counter("created_bytes", created - before);
    counter("engine_bytes", first - before);
    counter("growth_bytes", last - first);
    counter("extractions", extractions);
  }
  omp_set_num_threads(1);
}

}  // namespace

void registerMemory() { addBenchmark("memory", measureMemory)->Iterations(1)->Repetitions(1); }

}  // namespace facefeature_bench
