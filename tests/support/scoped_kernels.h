// The kernel sets that run here, and a scope that uses one of them.
#ifndef FACEFEATURE_TESTS_SUPPORT_SCOPED_KERNELS_H
#define FACEFEATURE_TESTS_SUPPORT_SCOPED_KERNELS_H

#include <stdexcept>
#include <string>
#include <vector>

#include "kernels/kernel_set.h"

namespace facefeature_test {

// In the order of the list, with the plain set last. The others are compared with it, and all of
// them must stay within their buffers.
inline std::vector<const facefeature::KernelSet*> runnableKernelSets() {
  std::vector<const facefeature::KernelSet*> sets;
  for (const facefeature::KernelSet& set : facefeature::kernelSets()) {
    if (set.runsHere()) sets.push_back(&set);
  }
  return sets;
}

// Throws std::invalid_argument if no set has the name or the set does not run here.
inline const facefeature::KernelSet& kernelSetNamed(const std::string& name) {
  for (const facefeature::KernelSet* set : runnableKernelSets()) {
    if (set->name == name) return *set;
  }
  throw std::invalid_argument("no kernel set runs here that is called " + name);
}

// Makes a set the active one until the end of the scope.
class ScopedKernels {
 public:
  explicit ScopedKernels(const facefeature::KernelSet& set) : before_(facefeature::activeKernels) {
    facefeature::activeKernels = &set;
  }
  explicit ScopedKernels(const std::string& name) : ScopedKernels(kernelSetNamed(name)) {}
  ~ScopedKernels() { facefeature::activeKernels = before_; }
  ScopedKernels(const ScopedKernels&) = delete;
  ScopedKernels& operator=(const ScopedKernels&) = delete;

 private:
  const facefeature::KernelSet* before_;
};

// Names the instances of a parametrised test. Info is a ::testing::TestParamInfo.
template <typename Info>
std::string kernelSetName(const Info& info) {
  return info.param->name;
}

}  // namespace facefeature_test

#endif
