// Whether this build has a checker of races (the preset tsan), and what it needs of the tests.
#ifndef FACEFEATURE_TESTS_THREADS_RACE_CHECKER_H
#define FACEFEATURE_TESTS_THREADS_RACE_CHECKER_H

#include "engine/feature_engine.h"
#include "support/test_engine.h"

#if defined(__SANITIZE_THREAD__)
#define FACEFEATURE_CHECKS_RACES 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define FACEFEATURE_CHECKS_RACES 1
#endif
#endif
#ifndef FACEFEATURE_CHECKS_RACES
#define FACEFEATURE_CHECKS_RACES 0
#endif

namespace facefeature_test {

constexpr bool kChecksRaces = FACEFEATURE_CHECKS_RACES == 1;

// The model is written, and under a checker one engine stands until the process ends. With the last
// engine the OpenMP runtime's threads are released, which ends the runtime; the one that starts
// with the next loop no longer tells the checker what a loop orders, and every loop looks like a
// race. So the last destruction is checked in processes of its own, where nothing follows it.
inline void haveModelForThreads() {
  haveModel();
  if (!kChecksRaces) return;
  static FeatureEngine* const standing = facefeature::CreateFeatureEngine();
  ASSERT_NE(nullptr, standing);
}

}  // namespace facefeature_test

#endif
