// What all benchmarks share.
//
// A benchmark is called group/what/.../set, where set is the name of a KernelSet; code that does
// not depend on the set leaves it out. Every benchmark that computes something has a label: a
// checksum of the resulting bits. Kernel sets with different labels have a bug.
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

// Each function adds the benchmarks of its group. To be called once, before the benchmarks run.
void registerExtract();
void registerKernels();
void registerLimits();
void registerMemory();
void registerStages();

using BenchmarkBody = std::function<void(benchmark::State&)>;

// Adds a benchmark that measures wall-clock time and also reports the minimum over its repetitions.
// The body of a self-timed benchmark measures its own time (SetIterationTime), with one iteration
// per repetition.
benchmark::internal::Benchmark* addBenchmark(const std::string& name, BenchmarkBody body);
benchmark::internal::Benchmark* addSelfTimed(const std::string& name, BenchmarkBody body);

// Add the benchmark once for each set that runs here, as name/ and the name of the set. The set is
// active while the body runs. If iterations is not 0, a repetition has that many iterations;
// otherwise Google Benchmark chooses their number by the time they take.
void addForSets(const std::string& name, const BenchmarkBody& body, int64_t iterations = 0);
void addSelfTimedForSets(const std::string& name, const BenchmarkBody& body);

// The plain plan while the plain set is active, so that "plain" is the definition of the results;
// otherwise the plan that the library uses.
facefeature::PatchPlan activePlan();

// Reads all floats once, front to back, with as little other work as possible.
uint64_t readAll(const float* floats, int64_t count);

// Evicts everything from the caches by reading more memory than they hold.
void emptyCaches();

// Returns freed memory that is still resident to the system. The next allocation would otherwise
// reuse it and avoid the cost of new memory.
void giveFreedMemoryBack();

// Measures wall-clock time for self-timed benchmarks.
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

// A checksum of the floats as 16 hexadecimal digits. To combine several arrays, pass the checksum
// of one to the call for the next.
std::string checksum(const void* bytes, size_t count, const std::string& former = "");

// Values like the activations of a net: half of them zero or negative, none denormal.
std::vector<float> plausibleFloats(size_t count, uint32_t seed);

}  // namespace facefeature_bench

#endif
