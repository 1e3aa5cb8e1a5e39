/*
 * The smallest whole host: makes an engine, extracts the features of two generated pictures and
 * prints their score. A real host reads photographs and asks a landmark detector.
 */
#include <facefeature/facefeature.h>
#include <stdio.h>
#include <stdlib.h>

/* A full record's 29 ids, with points of an upright face about 200 pixels wide. */
static const Landmark kFace[] = {
    {0, 223, 191},   {1, 306, 188},   {2, 190, 182},   {3, 237, 166},   {4, 288, 163},
    {5, 337, 175},   {6, 265, 190},   {9, 269, 236},   {10, 266, 273},  {11, 268, 290},
    {12, 231, 278},  {13, 303, 276},  {43, 291, 241},  {44, 244, 241},  {45, 267, 279},
    {200, 268, 252}, {221, 238, 193}, {222, 223, 198}, {223, 209, 194}, {225, 319, 190},
    {226, 306, 194}, {227, 290, 192}, {240, 180, 244}, {241, 352, 238}, {300, 211, 160},
    {302, 314, 155}, {314, 270, 319}, {315, 193, 287}, {316, 342, 283}};

enum { kWidth = 512, kHeight = 600, kPoints = sizeof kFace / sizeof kFace[0] };

int main(void) {
  uint8_t* pixels = malloc(kWidth * kHeight * 3);
  LandmarkSet* face = malloc(sizeof(LandmarkSet) + (kPoints - 1) * sizeof(Landmark));
  FeatureEngine* engine = CreateFeatureEngine();
  FeatureVector features[2];
  int i, picture;
  if (pixels == NULL || face == NULL || engine == NULL) {
    fprintf(stderr, "minimal_host: no model in the folder ~kwplugintmp~ of the temporary folder\n");
    return 4;
  }
  face->count = kPoints;
  for (i = 0; i < kPoints; ++i) face->entries[i] = kFace[i];
  for (picture = 0; picture < 2; ++picture) {
    for (i = 0; i < kWidth * kHeight * 3; ++i) {
      pixels[i] = (uint8_t)(i / 3 % kWidth / 4 + i / 3 / kWidth / (6 + picture));
    }
    ExtractFeature(engine, pixels, kWidth, kHeight, kWidth * 3, face, features[picture].values);
  }
  printf("%.9g\n", CompareFeatures(&features[0], &features[1]));
  DestroyFeatureEngine(engine);
  free(face);
  free(pixels);
  return 0;
}
