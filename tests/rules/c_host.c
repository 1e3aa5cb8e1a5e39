/* A C host that is linked with the library and runs where there is no model. */
#include <facefeature/facefeature.h>
#include <stdio.h>
#include <string.h>

int main(void) {
  static const uint8_t pixels[12];
  LandmarkSet noFace;
  FeatureVector feature;
  FeatureEngine* engine;
  float unwritten[502];
  int i;

  engine = CreateFeatureEngine();
  printf("%s engine\n", engine == NULL ? "null" : "unexpected");

  memset(&noFace, 0, sizeof noFace);
  for (i = 0; i < kFeatureFloats; ++i) unwritten[i] = feature.values[i] = 0.5f;
  ExtractFeature(engine, pixels, 2, 2, 6, &noFace, feature.values);
  printf("feature %s\n",
         memcmp(unwritten, feature.values, sizeof unwritten) == 0 ? "untouched" : "written");

  /* 500 times a quarter is 125, and the sum of squares is the same: 250 - 250 over the norms. */
  feature.values[500] = 125.0f;
  printf("score %g\n", (double)CompareFeatures(&feature, &feature));
  DestroyFeatureEngine(engine);
  return 0;
}
