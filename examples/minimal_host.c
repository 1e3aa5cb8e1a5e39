/* A whole host. On standard input, for each of two faces: 29 lines "id x y", and then the bytes of
 * a photograph of 512 x 600. (On Windows, make standard input binary first.) */
#include <facefeature/facefeature.h>
#include <stdio.h>
#include <stdlib.h>

static uint8_t pixels[600 * 512 * 3]; /* blue, green, red; the top row first */

int main(void) {
  LandmarkSet* face = calloc(1, sizeof(LandmarkSet) + 28 * sizeof(Landmark));
  FeatureVector features[2];
  FeatureEngine* engine = CreateFeatureEngine();
  if (engine == NULL || face == NULL) return 4; /* no model in the temporary folder */
  for (int i = 0; i < 2; ++i) {
    for (face->count = 0; face->count < 29; ++face->count) {
      Landmark* point = &face->entries[face->count];
      if (scanf("%d %f %f%*c", &point->id, &point->x, &point->y) != 3) return 3;
    }
    if (fread(pixels, sizeof pixels, 1, stdin) != 1) return 3;
    ExtractFeature(engine, pixels, 512, 600, 512 * 3, face, features[i].values);
  }
  printf("%.9g\n", CompareFeatures(&features[0], &features[1]));
  DestroyFeatureEngine(engine);
  free(face);
  return 0;
}
