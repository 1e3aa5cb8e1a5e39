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

// How a forked child came to its end.
struct ChildEnd {
  int exitStatus;   // -1 when a signal ended it
  int signal;       // 0 when it exited
  std::string err;  // its standard error, and what its work found wrong
};

// Runs the work in a child, which leaves with 0 when the work returns "" and with 3 otherwise.
ChildEnd inChild(const std::function<std::string()>& work);

// Expects that the child found nothing wrong.
void expectGoodEnd(const ChildEnd& end);

enum class Ending { kDone, kNull, kOutOfMemory };

// Each test has the library loaded afresh, with the synthetic model in its folder. Children are
// forked while the parent has no worker threads: it destroys its last engine ahead of that, or has
// extracted with none.
class ExhaustedHost : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // The calls of the library, the n-th request of the source failing.
  Ending create(FeatureEngine*& engine, MemorySource source = MemorySource::kNew,
                int64_t failing = 0, FailingFor length = FailingFor::kOnce) const;
  Ending extract(FeatureEngine* engine, MemorySource source = MemorySource::kNew,
                 int64_t failing = 0, FailingFor length = FailingFor::kOnce);

  // An engine, and the bits of its feature for the request; "" when all is as it was before
  // anything failed, else what is wrong.
  std::string faultOfAnotherRound();
  std::string faultOfAnotherExtraction(FeatureEngine* engine);

  // Bits that no extraction writes, in all places of the feature.
  void clearFeature();
  bool featureIsClear() const;

  ProbeLibrary library{FACEFEATURE_LIBRARY};
  const ProbeRequest request = probeRequest();
  FeatureVector feature;
  FeatureVector goodFeature;  // what a process without failures makes of the request
};

// Files that this process has open.
int64_t openFiles();

}  // namespace facefeature_test

#endif
