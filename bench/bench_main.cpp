// facefeature_bench: times of the library with every kernel set, and the limits of the machine.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <vector>

#include "bench_common.h"
#include "bench_model.h"
#include "kernels/kernel_set.h"

namespace {

// Defaults, which come before the command line's arguments and can be overridden by them.
// Repetitions of different benchmarks are interleaved, so that other load on the machine affects
// all of them alike.
char kRepetitions[] = "--benchmark_repetitions=5";
char kInTurns[] = "--benchmark_enable_random_interleaving=true";
char kMinTime[] = "--benchmark_min_time=0.01";
char kAggregates[] = "--benchmark_display_aggregates_only=true";

}  // namespace

int main(int argc, char** argv) {
  std::vector<char*> arguments = {argv[0], kRepetitions, kInTurns, kMinTime, kAggregates};
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;

  benchmark::AddCustomContext("kernel_set", facefeature::activeKernels->name);
  benchmark::AddCustomContext("compiler", FACEFEATURE_BENCH_COMPILER);
  benchmark::AddCustomContext("flags", FACEFEATURE_BENCH_FLAGS);

  // Benchmarks that use more threads set their number themselves.
  omp_set_num_threads(1);
  facefeature_bench::registerKernels();
  facefeature_bench::registerStages();
  facefeature_bench::registerExtract();
  facefeature_bench::registerLimits();
  facefeature_bench::registerMemory();
  const size_t run = benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  facefeature_bench::destroySharedEngine();
  return run > 0 ? 0 : 1;
}
