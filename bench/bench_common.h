// What all benchmarks share.
//
// A benchmark is called group/what/.../set, where set is the name of a KernelSet; those that have
// no forms leave it out. Every benchmark that computes something has a label: a checksum of the
// bits that come out. The sets are right only while their labels agree.
#ifndef FACEFEATURE_BENCH_BENCH_COMMON_H
#define FACEFEATURE_BENCH_BENCH_COMMON_H

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "geometry/patch_plan.h"
#include "kernels/kernel_set.h"

namespace facefeature_bench {

// Each adds its benchmarks. Called once, before any runs.
void registerExtract();
void registerKernels();
void registerLimits();
void registerMemory();
void registerStages();

using BenchmarkBody = std::function<void(benchmark::State&)>;

// Adds a benchmark that is timed by the clock on the wall, with the minimum over its
// repetitions besides what is always given. The second times itself (SetIterationTime), one
// iteration a repetition.
benchmark::internal::Benchmark* addBenchmark(const std::string& name, BenchmarkBody body);
benchmark::internal::Benchmark* addSelfTimed(const std::string& name, BenchmarkBody body);

// Add them once for each set that runs here, as name/ and the set's name; the set is active while
// the body runs.
// With iterations given a repetition has that many, else as many as its time has room for.
void addForSets(const std::string& name, const BenchmarkBody& body, int64_t iterations = 0);
void addSelfTimedForSets(const std::string& name, const BenchmarkBody& body);

// The plain plan while the plain set is active, so that "plain" is what defines the results; else
// the plan that the library uses.
facefeature::PatchPlan activePlan();

// Reads all of it once, front to back, and does no more than it must to have read it.
uint64_t readAll(const float* floats, int64_t count);

// Reads more memory than caches hold, so that what was in them is not any more.
void emptyCaches();

// Returns to the system what has been freed and is still resident: the next one to allocate would
// get it without the work of the system that new memory costs.
void giveFreedMemoryBack();

// The time between the caller's two looks at the clock, for benchmarks that time themselves.
class Stopwatch {
 public:
  void start() { start_ = std::chrono::steady_clock::now(); }
  void stop(benchmark::State& state) const {
    const auto end = std::chrono::steady_clock::now();
    state.SetIterationTime(std::chrono::duration<double>(end - start_).count());
  }

 private:
  std::chrono::steady_clock::time_point start_;
};

// 16 hexadecimal digits that any other bits would change. Several arrays are taken as one when the
// digits of the first go into the second.
std::string checksum(const void* bytes, size_t count, const std::string& former = "");

// Values of a kind with the activations of a net: half of them zero or below, none denormal.
std::vector<float> plausibleFloats(size_t count, uint32_t seed);

}  // namespace facefeature_bench

#endif
