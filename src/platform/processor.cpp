#include "platform/processor.h"

#include <cstdint>

// MinGW defines both names and is a GCC.
#if defined(__x86_64__)
#include <cpuid.h>
#elif defined(_M_X64)
#include <intrin.h>
#endif

namespace facefeature {
namespace {

// The registers that CPUID writes.
struct CpuidRegisters {
  uint32_t eax, ebx, ecx, edx;
};

// All zero for a leaf that the processor does not have.
CpuidRegisters cpuid(uint32_t leaf) {
  CpuidRegisters registers = {0, 0, 0, 0};
#if defined(__x86_64__)
  __get_cpuid_count(leaf, 0, &registers.eax, &registers.ebx, &registers.ecx, &registers.edx);
#elif defined(_M_X64)
  int highest[4], results[4];
  __cpuid(highest, 0);
  if (static_cast<uint32_t>(highest[0]) < leaf) return registers;
  __cpuidex(results, static_cast<int>(leaf), 0);
  registers = {static_cast<uint32_t>(results[0]), static_cast<uint32_t>(results[1]),
               static_cast<uint32_t>(results[2]), static_cast<uint32_t>(results[3])};
#else
  static_cast<void>(leaf);
#endif
  return registers;
}

// XCR0: one bit for each group of registers that the operating system saves.
uint64_t savedRegisters() {
  constexpr uint32_t kOsUsesXsave = 1u << 27;
  if ((cpuid(1).ecx & kOsUsesXsave) == 0) return 0;
#if defined(__x86_64__)
  // The intrinsic would need a compiler option for the whole file.
  uint32_t low, high;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (static_cast<uint64_t>(high) << 32) | low;
#elif defined(_M_X64)
  return _xgetbv(0);
#else
  return 0;
#endif
}

bool hasAll(uint64_t bits, uint64_t wanted) { return (bits & wanted) == wanted; }

}  // namespace

bool hasAvx2AndFma() {
  constexpr uint64_t kXmmAndYmm = 0x6;
  constexpr uint32_t kFma = 1u << 12, kAvx = 1u << 28;  // leaf 1, ecx
  constexpr uint32_t kAvx2 = 1u << 5;                   // leaf 7, ebx
  return hasAll(savedRegisters(), kXmmAndYmm) && hasAll(cpuid(1).ecx, kFma | kAvx) &&
         hasAll(cpuid(7).ebx, kAvx2);
}

bool hasAvx512() {
  constexpr uint64_t kMasksAndZmm = 0xE0;
  constexpr uint32_t kF = 1u << 16, kDq = 1u << 17, kBw = 1u << 30, kVl = 1u << 31;  // leaf 7, ebx
  return hasAvx2AndFma() && hasAll(savedRegisters(), kMasksAndZmm) &&
         hasAll(cpuid(7).ebx, kF | kDq | kBw | kVl);
}

}  // namespace facefeature
