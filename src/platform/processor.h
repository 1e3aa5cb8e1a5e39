// Questions to the processor.
//
// A feature is present if the processor reports it by CPUID and the operating system saves the
// registers that it uses (XGETBV). Model numbers and the environment play no part. All functions
// are false on processors other than x86-64. Any thread; the answers never change.
#ifndef FACEFEATURE_PLATFORM_PROCESSOR_H
#define FACEFEATURE_PLATFORM_PROCESSOR_H

namespace facefeature {

// AVX2 and FMA3, with 256-bit registers.
bool hasAvx2AndFma();

// AVX-512 F, DQ, BW and VL, with 512-bit and mask registers. Implies hasAvx2AndFma.
bool hasAvx512();

}  // namespace facefeature

#endif
