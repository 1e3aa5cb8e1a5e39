#include <facefeature/facefeature.h>

#include <iostream>

int main() {
  FeatureVector a = {{3.0f}}, b = {{2.0f}};
  a.values[500] = b.values[500] = a.values[501] = 1.0f;
  b.values[501] = 5.0f;
  DestroyFeatureEngine(CreateFeatureEngine());  // null if there is no model
  std::cout << CompareFeatures(&a, &b) << "\n";
}
