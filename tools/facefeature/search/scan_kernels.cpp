#include "search/scan_kernels.h"

#include "platform/processor.h"

namespace facefeature_tools {
namespace {

bool always() { return true; }

}  // namespace

const std::vector<ScanKernels>& scanKernels() {
  static const std::vector<ScanKernels> sets = {
#if defined(__x86_64__)
    {"avx512", facefeature::hasAvx512, scoreRowsAvx512},
    {"avx2", facefeature::hasAvx2AndFma, scoreRowsAvx2},
#elif defined(__aarch64__)
    // Part of every 64-bit ARM processor.
    {"neon", always, scoreRowsNeon},
#endif
    {"plain", always, scoreRowsPlain},
  };
  return sets;
}

const ScanKernels& fastestScanKernels() {
  for (const ScanKernels& set : scanKernels()) {
    if (set.runsHere()) return set;
  }
  return scanKernels().back();
}

}  // namespace facefeature_tools
