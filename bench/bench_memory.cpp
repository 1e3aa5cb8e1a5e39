// How much memory an engine takes, and whether that grows.
//
// Must run in a process of its own: --benchmark_filter=^memory/. FACEFEATURE_BENCH_EXTRACTIONS is
// the number of calls, 2000 by default.
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

// Resident bytes: all of them, and those that are not backed by a file. The difference is mostly
// pages of the program itself, which are loaded when they are first needed, possibly hours later.
struct Resident {
  int64_t all;
  int64_t own;
};

Resident residentBytes() {
  std::FILE* file = std::fopen("/proc/self/statm", "r");
  long long total = 0;
  long long resident = 0;
  long long shared = 0;
  const bool read =
      file != nullptr && std::fscanf(file, "%lld %lld %lld", &total, &resident, &shared) == 3;
  if (file != nullptr) std::fclose(file);
  if (!read) {
    std::fprintf(stderr, "facefeature_bench: /proc/self/statm can't be read\n");
    std::exit(4);
  }
  const int64_t page = sysconf(_SC_PAGESIZE);
  return {resident * page, (resident - shared) * page};
}

// Bytes that the layers have written in their last run, counting matrices that are rewritten in
// place once, plus the patch matrices, which a call creates and frees.
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

// With as many threads as there are processors, as in a host. The first calls create threads,
// stacks and scratch memory, which belong to the engine and are not growth.
void measureMemory(benchmark::State& state) {
  const int64_t extractions = wantedExtractions();
  constexpr int64_t kFirst = 100;
  float feature[kFeatureFloats];
  const Picture& picture = smallPicture();
  haveModelFiles();
  const int64_t fileBytes = modelFileBytes();
  omp_set_num_threads(omp_get_num_procs());
  giveFreedMemoryBack();
  const Resident before = residentBytes();
  for (auto unused : state) {
    static_cast<void>(unused);
    FeatureEngine* engine = sharedEngine();
    const Resident created = residentBytes();
    for (int64_t i = 0; i < kFirst; ++i) extract(engine, picture, feature);
    const Resident first = residentBytes();
    for (int64_t i = kFirst; i < extractions; ++i) extract(engine, picture, feature);
    const Resident last = residentBytes();
    const auto counter = [&state](const char* name, int64_t value) {
      state.counters[name] = static_cast<double>(value);
    };
    counter("file_bytes", fileBytes);
    counter("activation_bytes", activationBytes(engine));
    counter("created_bytes", created.all - before.all);
    counter("engine_bytes", first.all - before.all);
    counter("growth_bytes", last.own - first.own);
    counter("extractions", extractions);
  }
  omp_set_num_threads(1);
}

}  // namespace

void registerMemory() { addBenchmark("memory", measureMemory)->Iterations(1)->Repetitions(1); }

}  // namespace facefeature_bench
