#include "bench_common.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "support/scoped_kernels.h"

namespace facefeature_bench {
namespace {

double minimumOf(const std::vector<double>& values) {
  return *std::min_element(values.begin(), values.end());
}

benchmark::internal::Benchmark* addUntimed(const std::string& name, BenchmarkBody body) {
  return benchmark::RegisterBenchmark(name.c_str(), std::move(body))
      ->Unit(benchmark::kMicrosecond)
      ->ComputeStatistics("min", minimumOf);
}

BenchmarkBody withSet(const facefeature::KernelSet& set, const BenchmarkBody& body) {
  return [&set, body](benchmark::State& state) {
    const facefeature_test::ScopedKernels active(set);
    body(state);
  };
}

}  // namespace

facefeature::PatchPlan activePlan() {
  const bool isPlain = facefeature::activeKernels == &facefeature::plainKernels();
  return isPlain ? facefeature::PatchPlan::kPatchByPatch : facefeature::PatchPlan::kSharedFrames;
}

benchmark::internal::Benchmark* addBenchmark(const std::string& name, BenchmarkBody body) {
  return addUntimed(name, std::move(body))->UseRealTime();
}

benchmark::internal::Benchmark* addSelfTimed(const std::string& name, BenchmarkBody body) {
  return addUntimed(name, std::move(body))->UseManualTime()->Iterations(1);
}

void addForSets(const std::string& name, const BenchmarkBody& body, int64_t iterations) {
  for (const facefeature::KernelSet* set : facefeature_test::runnableKernelSets()) {
    benchmark::internal::Benchmark* added =
        addBenchmark(name + "/" + set->name, withSet(*set, body));
    if (iterations > 0) added->Iterations(iterations);
  }
}

void addSelfTimedForSets(const std::string& name, const BenchmarkBody& body) {
  for (const facefeature::KernelSet* set : facefeature_test::runnableKernelSets()) {
    addSelfTimed(name + "/" + set->name, withSet(*set, body));
  }
}

// Eight accumulators, which fit into four of the narrowest vector registers: enough that no load
// waits for another. More would not fit into registers, and a single one is slower than memory.
uint64_t readAll(const float* floats, int64_t count) {
  constexpr int64_t kWords = 8;
  uint64_t mixed[kWords] = {};
  for (int64_t i = 0; i + 2 * kWords <= count; i += 2 * kWords) {
    for (int64_t k = 0; k < kWords; ++k) {
      uint64_t word;
      std::memcpy(&word, floats + i + 2 * k, sizeof word);
      mixed[k] ^= word;
    }
  }
  uint64_t result = 0;
  for (const uint64_t word : mixed) result ^= word;
  return result;
}

void emptyCaches() {
  static const std::vector<float> floats(size_t{32} << 20, 1.0f);
  benchmark::DoNotOptimize(readAll(floats.data(), static_cast<int64_t>(floats.size())));
}

void giveFreedMemoryBack() {
#if defined(__GLIBC__)
  malloc_trim(0);
#endif
}

// 64-bit FNV-1a.
std::string checksum(const void* bytes, size_t count, const std::string& former) {
  uint64_t hash = 0xCBF29CE484222325ull;
  const auto add = [&hash](const void* from, size_t size) {
    const unsigned char* byte = static_cast<const unsigned char*>(from);
    for (size_t i = 0; i < size; ++i) hash = (hash ^ byte[i]) * 0x100000001B3ull;
  };
  add(former.data(), former.size());
  add(bytes, count);
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
  return text;
}

std::vector<float> plausibleFloats(size_t count, uint32_t seed) {
  std::vector<float> values(count);
  uint32_t state = seed * 2654435761u + 1;
  for (float& value : values) {
    state = state * 1664525u + 1013904223u;
    // Multiples of 1/4096 from -64 to 64, so no value is denormal.
    value = static_cast<float>(static_cast<int32_t>(state >> 13) - (1 << 18)) * 0x1p-12f;
  }
  return values;
}

}  // namespace facefeature_bench
