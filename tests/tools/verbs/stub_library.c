/*
 * A library that replaces both real ones in tests of their callers: fast, and able to fail in every
 * way that the real ones do. The width of a photograph selects its behaviour.
 */
#include <facefeature/batch.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#define EXPORT __attribute__((visibility("default")))

enum {
  kTellsFaces = 10,
  kFailsThePass = 11,
  kAbortsInThePass = 12,
  kAborts = 13,
  kExits = 14,
  kSleeps = 15,
  kNotANumber = 16,
  kTellsThreads = 17,
  kTakesItsTime = 18,
  kOpensAFile = 19,
  kSignalsItsParent = 21,
  kMapsCode = 22
};

static pid_t parent;

/* What a worker in a sandbox can't do. Returns whether it could. */
static int violates(int32_t width) {
  if (width == kOpensAFile) {
    FILE* file = fopen("/dev/null", "r");
    if (file != NULL) fclose(file);
    return file != NULL;
  }
  if (width == kSignalsItsParent) return syscall(SYS_tgkill, parent, parent, 0) == 0;
  return mmap(NULL, 4096, PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) != MAP_FAILED;
}

EXPORT FeatureEngine* CreateFeatureEngine(void) {
  if (getenv("STUB_ABORTS") != NULL) abort();
  parent = getppid();
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
  if (width == kOpensAFile || width == kSignalsItsParent || width == kMapsCode) {
    feature[0] = (float)violates(width);
  }
}

EXPORT float CompareFeatures(const FeatureVector* a, const FeatureVector* b) {
  return a->values[0] - b->values[0];
}

EXPORT void DestroyFeatureEngine(FeatureEngine* engine) { free(engine); }

struct FaceBatch {
  FeatureVector features[kFaceBatchFaces];
  int32_t widths[kFaceBatchFaces];
};

EXPORT int32_t FaceBatchVersion(void) { return kFaceBatchVersion; }

EXPORT int32_t CreateFaceBatch(FaceBatch** batch) {
  FeatureEngine* engine = CreateFeatureEngine();
  *batch = engine == NULL ? NULL : (FaceBatch*)calloc(1, sizeof **batch);
  DestroyFeatureEngine(engine);
  return *batch == NULL ? kFaceBatchNoModel : kFaceBatchDone;
}

EXPORT int32_t PutFaceInBatch(FaceBatch* batch, int32_t index, const uint8_t* pixels, int32_t width,
                              int32_t height, int32_t stride, const LandmarkSet* landmarks) {
  ExtractFeature(NULL, pixels, width, height, stride, landmarks, batch->features[index].values);
  batch->widths[index] = width;
  return kFaceBatchDone;
}

EXPORT int32_t ExtractFaceBatch(FaceBatch* batch, int32_t count, FeatureVector* features) {
  int32_t status = kFaceBatchDone;
  for (int32_t i = 0; i < count; ++i) {
    features[i] = batch->features[i];
    if (batch->widths[i] == kAbortsInThePass) abort();
    if (batch->widths[i] == kTellsFaces) features[i].values[0] = (float)count;
    if (batch->widths[i] == kFailsThePass) status = kFaceBatchFailed;
  }
  for (int32_t i = 0; status != kFaceBatchDone && i < count; ++i) features[i].values[501] = NAN;
  return status;
}

EXPORT void DestroyFaceBatch(FaceBatch* batch) { free(batch); }
