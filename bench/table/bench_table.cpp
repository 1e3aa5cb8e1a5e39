// facefeature_bench_table FOLDER prints the results in a folder as one table, and the goals.
//
// Exit status 1 if results that must have the same bits do not, 2 if results are missing. A missed
// goal is reported and is not an error, since other load on the machine can be the reason.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "goals.h"
#include "results.h"
#include "rows.h"

namespace {

std::string processorName() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("model name", 0) == 0) return line.substr(line.find(':') + 2);
  }
  return "unknown";
}

// A value that only `run` knows and passes in the environment.
const char* told(const char* variable) {
  const char* text = std::getenv(variable);
  return text != nullptr ? text : "unknown";
}

void printMachine(const facefeature_bench::Measured& m) {
  const auto& context = m.release.context;
  std::printf("processor  %s; %s\n", processorName().c_str(), context.at("caches").c_str());
  std::printf("compiler   %s; plain, fast: %s", context.at("compiler").c_str(),
              context.at("flags").c_str());
  if (!m.o2.context.empty()) {
    std::printf("; plain -O2: %s", m.o2.context.at("flags").c_str());
  }
  std::printf("\nkernel set %s (\"fast\")", context.at("kernel_set").c_str());
  std::printf("\ncommit     %s; load average before the runs %s\n\n",
              told("FACEFEATURE_BENCH_COMMIT"), told("FACEFEATURE_BENCH_LOAD"));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: facefeature_bench_table FOLDER\n");
    return 2;
  }
  const facefeature_bench::Measured measured = facefeature_bench::readMeasured(argv[1]);
  if (measured.release.series.empty()) {
    std::fprintf(stderr, "facefeature_bench_table: no results in %s\n", argv[1]);
    return 2;
  }
  printMachine(measured);
  const bool sameBits = facefeature_bench::printRows(measured);
  std::printf("\n");
  facefeature_bench::printGoals(measured);
  if (!sameBits) std::printf("\nForms that must give the same bits do not: see DIFFER.\n");
  return sameBits ? 0 : 1;
}
