/*
 * A C host that knows the library by ordinals only: it binds by ordinal, finds no names, extracts
 * and compares. It sets the temporary folder of its own process before it loads the library, as a
 * host would.
 *
 *     ordinal_host DLL TEMPORARY-FOLDER
 *
 * Prints the bits of the feature and of its score with itself.
 */
#include <facefeature/facefeature.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

#include "host/probe_photograph.h"

typedef FeatureEngine* (*CreateFunction)(void);
typedef void (*ExtractFunction)(FeatureEngine*, const uint8_t*, int32_t, int32_t, int32_t,
                                const LandmarkSet*, float*);
typedef float (*CompareFunction)(const FeatureVector*, const FeatureVector*);
typedef void (*DestroyFunction)(FeatureEngine*);

static uint8_t pixels[kPhotographBytes];

static void fail(const char* what) {
  fprintf(stderr, "ordinal_host: %s\n", what);
  exit(2);
}

static void* bound(HMODULE library, int ordinal) {
  const FARPROC address = GetProcAddress(library, MAKEINTRESOURCEA(ordinal));
  void* function = NULL;
  if (address == NULL) fail("an ordinal is missing");
  memcpy(&function, &address, sizeof function);
  return function;
}

static void requireNoMore(HMODULE library) {
  static const char* const names[] = {"CreateFeatureEngine", "ExtractFeature", "CompareFeatures",
                                      "DestroyFeatureEngine", "cblas_sgemm"};
  size_t i;
  for (i = 0; i < sizeof names / sizeof names[0]; ++i) {
    if (GetProcAddress(library, names[i]) != NULL) fail("a name is exported");
  }
  if (GetProcAddress(library, MAKEINTRESOURCEA(5)) != NULL) fail("there is a fifth ordinal");
}

int main(int argc, char** argv) {
  CreateFunction create;
  ExtractFunction extract;
  CompareFunction compare;
  DestroyFunction destroy;
  HMODULE library;
  FeatureEngine* engine;
  FeatureVector feature;
  union {
    LandmarkSet set;
    uint8_t room[8 + sizeof kPhotographFace];
  } record;
  uint32_t bits;
  float score;
  int i;

  if (argc != 3) fail("ordinal_host DLL TEMPORARY-FOLDER");
  if (!SetEnvironmentVariableA("TMP", argv[2])) fail("the variable can't be set");
  library = LoadLibraryA(argv[1]);
  if (library == NULL) fail("the library can't be loaded");
  requireNoMore(library);
  create = (CreateFunction)bound(library, kOrdinalCreateFeatureEngine);
  extract = (ExtractFunction)bound(library, kOrdinalExtractFeature);
  compare = (CompareFunction)bound(library, kOrdinalCompareFeatures);
  destroy = (DestroyFunction)bound(library, kOrdinalDestroyFeatureEngine);

  paintPhotograph(pixels);
  memset(&record, 0, sizeof record);
  record.set.count = kFaceLandmarks;
  memcpy(record.room + 8, kPhotographFace, sizeof kPhotographFace);
  engine = create();
  if (engine == NULL) fail("the model is missing");
  extract(engine, pixels, kPhotographWidth, kPhotographHeight, kPhotographStride, &record.set,
          feature.values);
  printf("feature");
  for (i = 0; i < kFeatureFloats; ++i) {
    memcpy(&bits, &feature.values[i], sizeof bits);
    printf(" %08x", (unsigned)bits);
  }
  score = compare(&feature, &feature);
  printf("\nscore %.4f\n", (double)score);
  destroy(engine);
  if (!FreeLibrary(library)) fail("the library can't be unloaded");
  if (GetModuleHandleA(argv[1]) != NULL) fail("the library stays");
  return 0;
}
