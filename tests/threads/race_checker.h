// Whether this build has a race checker (the preset tsan), and what it requires of the tests.
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

// Writes the model and, under a checker, keeps one engine alive until the process ends. Destroying
// the last engine releases the OpenMP runtime's threads, which shuts the runtime down. When it
// starts again for the next loop, it no longer reports the order that a loop imposes to the
// checker, and every loop looks like a race. So the last destruction is checked in processes of its
// own, where nothing follows it.
inline void haveModelForThreads() {
  haveModel();
  if (!kChecksRaces) return;
  static FeatureEngine* const sharedEngine = facefeature::CreateFeatureEngine();
  ASSERT_NE(nullptr, sharedEngine);
}

}  // namespace facefeature_test

#endif
