#include "platform/processor.h"

#include <gtest/gtest.h>

#include <fstream>
#include <initializer_list>
#include <set>
#include <sstream>
#include <string>

namespace facefeature_test {
namespace {

using facefeature::hasAvx2AndFma;
using facefeature::hasAvx512;

#if defined(__x86_64__) && defined(__GNUC__)

// The compiler's runtime detects the same features independently.
TEST(Processor, AgreesWithTheCompilersRuntime) {
  __builtin_cpu_init();
  EXPECT_EQ(__builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0,
            hasAvx2AndFma());
  EXPECT_EQ(__builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512dq") != 0 &&
                __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vl") != 0,
            hasAvx512());
}

// The flags of the first processor in /proc/cpuinfo. The kernel omits those whose registers it does
// not save. Empty on other systems.
std::set<std::string> kernelFlags() {
  std::set<std::string> flags;
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; flags.empty() && std::getline(file, line);) {
    if (line.compare(0, 5, "flags") != 0) continue;
    std::istringstream words(line.substr(line.find(':') + 1));
    for (std::string word; words >> word;) flags.insert(word);
  }
  return flags;
}

TEST(Processor, AgreesWithTheFlagsOfTheKernel) {
  const std::set<std::string> flags = kernelFlags();
  if (flags.empty()) GTEST_SKIP() << "no flags in /proc/cpuinfo";
  const auto hasFlags = [&flags](std::initializer_list<const char*> names) {
    for (const char* name : names) {
      if (flags.count(name) == 0) return false;
    }
    return true;
  };
  EXPECT_EQ(hasFlags({"avx2", "fma"}), hasAvx2AndFma());
  EXPECT_EQ(hasFlags({"avx2", "fma", "avx512f", "avx512dq", "avx512bw", "avx512vl"}), hasAvx512());
}

#else

TEST(Processor, OfAnotherKindHasNothingOfX86) {
  EXPECT_FALSE(hasAvx2AndFma());
  EXPECT_FALSE(hasAvx512());
}

#endif

}  // namespace
}  // namespace facefeature_test
