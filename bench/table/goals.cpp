#include "goals.h"

#include <cstdio>
#include <string>

namespace facefeature_bench {
namespace {

const char kSmall1[] = "extract/640x480/threads:1";
const char kSmall2[] = "extract/640x480/threads:2";
const char kLarge1[] = "extract/4000x3000/threads:1";

// Error of the kernel's count of resident pages, which it updates in batches per processor.
constexpr double kCountingSlack = 256.0 * 1024;

void printGoal(const char* number, const std::string& text, double ratio, double medians,
               double bound, bool atMost) {
  const bool holds = atMost ? ratio <= bound : ratio >= bound;
  std::printf("%-3s%-66s%10.3f%10.3f  %s%7.3f  %s\n", number, text.c_str(), ratio, medians,
              atMost ? "<=" : ">=", bound, holds ? "yes" : "no");
}

// Prints the ratio of two benchmarks' times and whether it is within the bound.
void printQuotient(const char* number, const std::string& text, const Results& above,
                   const std::string& name, const Results& below, const std::string& other,
                   double bound, bool atMost = true) {
  if (!above.has(name) || !below.has(other)) {
    std::printf("%-3s%-66s%10s\n", number, text.c_str(), "not run");
    return;
  }
  printGoal(number, text, above.minimum(name) / below.minimum(other),
            above.median(name) / below.median(other), bound, atMost);
}

void printMemory(const Results& memory) {
  if (!memory.has("memory")) {
    std::printf("6  memory of an engine: not run\n");
    return;
  }
  const auto& counters = memory.of("memory").counters;
  const double wanted = counters.at("file_bytes") + counters.at("activation_bytes");
  const double ratio = counters.at("engine_bytes") / wanted;
  constexpr double kMb = 1e-6;
  printGoal("6", "resident memory of an engine / (model files + activations)", ratio, ratio, 1.10,
            true);
  std::printf(
      "   %.1f MB after creation, %.1f MB after 100 calls; files %.1f MB, activations %.1f MB\n",
      counters.at("created_bytes") * kMb, counters.at("engine_bytes") * kMb,
      counters.at("file_bytes") * kMb, counters.at("activation_bytes") * kMb);
  const double growth = counters.at("growth_bytes");
  std::printf("   growth over %.0f calls: %.0f bytes (pages are counted to within %.0f)%17s%s\n",
              counters.at("extractions"), growth, kCountingSlack, "",
              growth <= kCountingSlack ? "yes" : "no");
}

}  // namespace

void printGoals(const Measured& m) {
  const std::string plain = "/plain";
  const std::string fast = "/fast";
  std::printf("%-3s%-66s%10s%10s  %9s  holds\n", "", "goals", "minima", "medians", "goal");
  printQuotient("1", "640x480, 1 thread: fast / plain forms of the same build", m.release,
                kSmall1 + fast, m.release, kSmall1 + plain, 1.0 / 6);
  printQuotient("", "the same: fast / plain forms built with -O2", m.release, kSmall1 + fast, m.o2,
                kSmall1 + plain, 1.0 / 6);
  printQuotient("2", "4000x3000 / 640x480, 1 thread, fast", m.release, kLarge1 + fast, m.release,
                kSmall1 + fast, 1.15);
  std::printf("3  %-66s\n", "25 nets / the same nets in another runtime: bench/peers/run");
  printQuotient("4", "projection / plain read of both matrices, from memory", m.release,
                "stage/projection/cold/fast", m.release, "limit/read_projections/cold", 1.1);
  printQuotient("", "the same again and again, from what cache there is", m.release,
                "stage/projection/again/fast", m.release, "limit/read_projections/again", 1.1);
  printQuotient("5", "640x480, fast: 1 thread / 2 threads", m.release, kSmall1 + fast, m.release,
                kSmall2 + fast, 1.5, false);
  printMemory(m.memory);
  printQuotient("7", "creation / plain reads of its files, each to memory of its own", m.release,
                "stage/create", m.release, "limit/read_files_apart", 1.5);
  printQuotient("", "creation / plain reads, all to one place", m.release, "stage/create",
                m.release, "limit/read_files_over", 1.5);
}

}  // namespace facefeature_bench
