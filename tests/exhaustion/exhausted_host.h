// A host of the shared library whose memory runs out.
#ifndef FACEFEATURE_TESTS_EXHAUSTION_EXHAUSTED_HOST_H
#define FACEFEATURE_TESTS_EXHAUSTION_EXHAUSTED_HOST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "exhaustion/failing_memory.h"
#include "facefeature/facefeature.h"
#include "host/probe_library.h"
#include "host/probe_request.h"

namespace facefeature_test {

// How a forked child ended.
struct ChildEnd {
  int exitStatus;   // -1 if a signal ended it
  int signal;       // 0 if it exited
  std::string err;  // its standard error, with any errors that its work found
};

// Runs the work in a child, which exits with 0 if the work returns "" and with 3 otherwise.
ChildEnd inChild(const std::function<std::string()>& work);

// Expects that the child reported no error.
void expectGoodEnd(const ChildEnd& end);

enum class Ending { kDone, kNull, kOutOfMemory };

// Each test loads the library afresh, with the synthetic model in its folder. Children are forked
// while the parent has no worker threads: it either destroys its last engine first or has not
// extracted yet.
class ExhaustedHost : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // The calls of the library, with the n-th request of the source failing.
  Ending create(FeatureEngine*& engine, MemorySource source = MemorySource::kNew,
                int64_t failing = 0, FailingFor length = FailingFor::kOnce) const;
  Ending extract(FeatureEngine* engine, MemorySource source = MemorySource::kNew,
                 int64_t failing = 0, FailingFor length = FailingFor::kOnce);

  // Creates an engine and compares the bits of its feature for the request. Returns "" if they are
  // the same as before anything failed, else a description of the error.
  std::string faultOfAnotherRound();
  std::string faultOfAnotherExtraction(FeatureEngine* engine);

  // A bit pattern that no extraction writes, in every element of the feature.
  void clearFeature();
  bool featureIsClear() const;

  ProbeLibrary library{FACEFEATURE_LIBRARY};
  const ProbeRequest request = probeRequest();
  FeatureVector feature;
  FeatureVector
      goodFeature;  // the feature that a process without failures computes for the request
};

// Number of files that this process has open.
int64_t openFiles();

}  // namespace facefeature_test

#endif
