/*
 * A library that replaces the real one in tests of its callers: fast, and able to fail in every
 * way that the real one does. The width of a photograph selects its behaviour.
 */
#include <facefeature/facefeature.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#define EXPORT __attribute__((visibility("default")))

enum {
  kAborts = 13,
  kExits = 14,
  kSleeps = 15,
  kNotANumber = 16,
  kTellsThreads = 17,
  kTakesItsTime = 18
};

EXPORT FeatureEngine* CreateFeatureEngine(void) {
  if (getenv("STUB_ABORTS") != NULL) abort();
  /* As the real one does for a missing file. */
  puts("load something failed");
  fflush(stdout);
  return getenv("STUB_HAS_NO_ENGINE") != NULL ? NULL : (FeatureEngine*)malloc(1);
}

EXPORT void ExtractFeature(FeatureEngine* engine, const uint8_t* pixels, int32_t width,
                           int32_t height, int32_t stride, const LandmarkSet* landmarks,
                           float* feature) {
  (void)engine;
  float sum = (float)landmarks->count;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < 3 * width; ++x) sum += (float)(x % 7 + y + 1) * pixels[y * stride + x];
  }
  for (int32_t i = 0; i < kFeatureFloats; ++i) feature[i] = sum + (float)i;
  if (width == kAborts) abort();
  if (width == kExits) exit(7);
  if (width == kSleeps) sleep(600);
  if (width == kNotANumber) feature[501] = NAN;
  if (width == kTellsThreads) feature[0] = (float)atoi(getenv("OMP_NUM_THREADS"));
  if (width == kTakesItsTime) usleep(300000);
}

EXPORT float CompareFeatures(const FeatureVector* a, const FeatureVector* b) {
  return a->values[0] - b->values[0];
}

EXPORT void DestroyFeatureEngine(FeatureEngine* engine) { free(engine); }
