#include <facefeature/facefeature.h>
#include <stdio.h>

int main(void) {
  FeatureVector a = {{3.0f}}, b = {{2.0f}};
  a.values[500] = b.values[500] = a.values[501] = 1.0f;
  b.values[501] = 5.0f;
  DestroyFeatureEngine(CreateFeatureEngine()); /* null where there is no model */
  return printf("%g\n", (double)CompareFeatures(&a, &b)) == 2 ? 0 : 1;
}
