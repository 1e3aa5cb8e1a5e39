/*
 * A host in C that knows the library's numbers and nothing else of it: binds by ordinal, finds no
 * name, extracts and compares. It sets the temporary folder of its own process before it loads the
 * library, as a host would.
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

#define WIDTH 140
#define HEIGHT 150
#define STRIDE (3 * WIDTH + 5)
#define LANDMARKS 29

typedef FeatureEngine* (*CreateFunction)(void);
typedef void (*ExtractFunction)(FeatureEngine*, const uint8_t*, int32_t, int32_t, int32_t,
                                const LandmarkSet*, float*);
typedef float (*CompareFunction)(const FeatureVector*, const FeatureVector*);
typedef void (*DestroyFunction)(FeatureEngine*);

static const Landmark face[LANDMARKS] = {
    {0, 50.75f, 53.00f},   {1, 88.25f, 52.75f},   {2, 35.75f, 46.00f},    {3, 60.75f, 43.50f},
    {4, 79.75f, 43.25f},   {5, 104.25f, 45.75f},  {6, 70.00f, 52.75f},    {9, 70.00f, 72.50f},
    {10, 70.00f, 87.75f},  {11, 69.75f, 98.50f},  {12, 54.00f, 93.75f},   {13, 85.25f, 94.00f},
    {43, 80.00f, 76.25f},  {44, 59.50f, 75.75f},  {45, 70.50f, 92.50f},   {200, 70.00f, 80.25f},
    {221, 59.25f, 54.25f}, {222, 50.50f, 56.25f}, {223, 43.50f, 53.50f},  {225, 96.25f, 53.50f},
    {226, 88.25f, 56.25f}, {227, 79.75f, 53.75f}, {240, 25.75f, 74.25f},  {241, 114.25f, 74.25f},
    {300, 46.25f, 40.00f}, {302, 92.00f, 39.50f}, {314, 69.75f, 115.50f}, {315, 31.75f, 96.25f},
    {316, 107.50f, 96.50f}};

static uint8_t pixels[STRIDE * HEIGHT];

/* The photograph of probe_request.cpp. */
static void paint(void) {
  int x, y;
  for (y = 0; y < HEIGHT; ++y) {
    for (x = 0; x < STRIDE; ++x) {
      const int column = x / 3, channel = x % 3;
      const int slope = column + (channel + 1) * y / 2;
      const int pattern = (column * column + 7 * channel * y + column * y / 3) % 61;
      pixels[y * STRIDE + x] = (uint8_t)(slope / 2 + pattern);
    }
  }
}

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
    uint8_t room[8 + sizeof face];
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

  paint();
  memset(&record, 0, sizeof record);
  record.set.count = LANDMARKS;
  memcpy(record.room + 8, face, sizeof face);
  engine = create();
  if (engine == NULL) fail("the model is missing");
  extract(engine, pixels, WIDTH, HEIGHT, STRIDE, &record.set, feature.values);
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
