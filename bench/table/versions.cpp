// facefeature_bench_versions FOLDER OLD-BYTES NEW-BYTES prints what has become of version 1.0.0,
// which multiplied matrices with OpenBLAS: times of both versions, measured in turns, and the
// goals. OLD-BYTES and NEW-BYTES are the sizes of the stripped libraries.
//
// Exit status 2 if results are missing. A missed goal is reported and is not an error.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "results.h"

namespace facefeature_bench {
namespace {

const char kCall1[] = "extract/640x480/threads:1/";
const char kCall2[] = "extract/640x480/threads:2/";
const char kNets1[] = "stage/nets/threads:1/";
const char kNets2[] = "stage/nets/threads:2/";

void printTimes(const char* title, const Results& results, const std::string& name) {
  if (!results.has(name)) {
    std::printf("%-44s%10s\n", title, "not run");
    return;
  }
  const Series& series = results.of(name);
  std::printf("%-44s%10.2f%10.2f%8zu\n", title, series.minimum(), series.median(),
              series.milliseconds.size());
}

void printRatio(const char* title, double minima, double medians, double bound, bool atMost) {
  const double worse = atMost ? std::max(minima, medians) : std::min(minima, medians);
  const bool holds = atMost ? worse <= bound : worse >= bound;
  std::printf("%-44s%10.3f%10.3f  %s%7.2f  %s\n", title, minima, medians,
              atMost ? "<=" : ">=", bound, holds ? "yes" : "no");
}

// The time of one benchmark over that of another, times scale.
void printGoal(const char* title, const Results& above, const std::string& name,
               const Results& below, const std::string& other, double bound, bool atMost = true,
               double scale = 1) {
  if (!above.has(name) || !below.has(other)) {
    std::printf("%-44s%10s\n", title, "not run");
    return;
  }
  printRatio(title, scale * above.minimum(name) / below.minimum(other),
             scale * above.median(name) / below.median(other), bound, atMost);
}

void printTable(const std::string& folder, double oldBytes, double newBytes) {
  const Results old = readKind(folder, "old"), oldAvx2 = readKind(folder, "old_avx2");
  const Results now = readKind(folder, "new"), slow = readKind(folder, "slow");
  const std::string fast = "fast";
  std::printf("%-44s%10s%10s%8s\n", "milliseconds", "minimum", "median", "runs");
  printTimes("call, 1 thread: 1.0.0", old, kCall1 + fast);
  printTimes("call, 1 thread: now", now, kCall1 + fast);
  printTimes("call, 2 threads: 1.0.0", old, kCall2 + fast);
  printTimes("call, 2 threads: now", now, kCall2 + fast);
  printTimes("call, 1 thread, AVX2: 1.0.0", oldAvx2, kCall1 + fast);
  printTimes("call, 1 thread, AVX2: now", now, std::string(kCall1) + "avx2");
  printTimes("call, 1 thread, SSE2: now", slow, std::string(kCall1) + "sse2");
  printTimes("call, 1 thread, plain: now", slow, std::string(kCall1) + "plain");
  printTimes("nets, 1 thread: 1.0.0", old, kNets1 + fast);
  printTimes("nets, 1 thread: now", now, kNets1 + fast);
  printTimes("nets, 2 threads: 1.0.0", old, kNets2 + fast);
  printTimes("nets, 2 threads: now", now, kNets2 + fast);
  printTimes("nets, 1 thread, AVX2: 1.0.0", oldAvx2, kNets1 + fast);
  printTimes("nets, 1 thread, AVX2: now", now, std::string(kNets1) + "avx2");
  printTimes("16 faces in one pass, 1 thread: now", now, "batch/faces:16");

  std::printf("\n%-44s%10s%10s  %9s  holds\n", "goals", "minima", "medians", "goal");
  printGoal("nets, AVX2, now / 1.0.0", now, std::string(kNets1) + "avx2", oldAvx2, kNets1 + fast,
            0.60);
  printGoal("call, 1 thread, now / 1.0.0", now, kCall1 + fast, old, kCall1 + fast, 0.52);
  printGoal("call, 2 threads, now / 1.0.0", now, kCall2 + fast, old, kCall2 + fast, 0.42);
  printGoal("call, now, 1 thread / 2 threads", now, kCall1 + fast, now, kCall2 + fast, 1.85, false);
  printGoal("a face, 16 in one pass / alone", now, "batch/faces:16", now, "batch/faces:1", 0.66,
            true, 1.0 / 16);
  printGoal("call, 1 thread, SSE2 now / 1.0.0", slow, std::string(kCall1) + "sse2", old,
            kCall1 + fast, 12);
  printGoal("call, 1 thread, plain now / 1.0.0", slow, std::string(kCall1) + "plain", old,
            kCall1 + fast, 12);
  printRatio("megabytes of the stripped library", newBytes * 1e-6, newBytes * 1e-6, 1.5, true);
  std::printf("   1.0.0: %.2f\n", oldBytes * 1e-6);
  const auto memory = [&folder](const char* kind) {
    return readKind(folder, kind).of("memory").counters.at("engine_bytes") * 1e-6;
  };
  const double before = memory("old_memory"), after = memory("new_memory");
  printRatio("memory of an engine, now / 1.0.0", after / before, after / before, 1.0, true);
  std::printf("   %.1f MB, 1.0.0: %.1f MB\n", after, before);
}

}  // namespace
}  // namespace facefeature_bench

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: facefeature_bench_versions FOLDER OLD-BYTES NEW-BYTES\n");
    return 2;
  }
  facefeature_bench::printTable(argv[1], std::atof(argv[2]), std::atof(argv[3]));
  return 0;
}
