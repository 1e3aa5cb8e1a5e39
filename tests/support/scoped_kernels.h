// Working with one set of kernels for the length of a test.
#ifndef FACEFEATURE_TESTS_SUPPORT_SCOPED_KERNELS_H
#define FACEFEATURE_TESTS_SUPPORT_SCOPED_KERNELS_H

#include <gtest/gtest.h>

#include <string>

#include "kernels/kernel_set.h"

namespace facefeature_test {

// All sets that there are. The plain one stands among them: its results are what the others are
// compared with, and it must keep to its buffers like them.
inline const facefeature::KernelSet* const kKernelSets[] = {&facefeature::kPlainKernels,
                                                            &facefeature::kFastKernels};

// Names the tests of a parameter.
inline std::string kernelSetName(
    const ::testing::TestParamInfo<const facefeature::KernelSet*>& parameter) {
  return parameter.param->name;
}

// Puts back what was there, also when a test leaves early.
class ScopedKernels {
 public:
  explicit ScopedKernels(const facefeature::KernelSet& set) : before_(facefeature::activeKernels) {
    facefeature::activeKernels = &set;
  }
  ~ScopedKernels() { facefeature::activeKernels = before_; }
  ScopedKernels(const ScopedKernels&) = delete;
  ScopedKernels& operator=(const ScopedKernels&) = delete;

 private:
  const facefeature::KernelSet* before_;
};

}  // namespace facefeature_test

#endif
