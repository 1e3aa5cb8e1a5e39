// Galleries of random features, for tests that need no faces.
#ifndef FACEFEATURE_TESTS_TOOLS_GALLERY_RANDOM_GALLERY_H
#define FACEFEATURE_TESTS_TOOLS_GALLERY_RANDOM_GALLERY_H

#include <string>
#include <vector>

#include "gallery/gallery_file.h"
#include "support/random.h"

namespace facefeature_test {

// Like the feature of a face: element 501 is the norm of the first 500, element 500 the square of a
// different length.
inline FeatureVector randomFeature(Random& random) {
  FeatureVector feature;
  float squares = 0.0f;
  for (int i = 0; i < 500; ++i) {
    feature.values[i] = random.normal();
    squares += feature.values[i] * feature.values[i];
  }
  feature.values[500] = squares * random.between(0.5f, 1.5f);
  feature.values[501] = static_cast<float>(std::sqrt(static_cast<double>(squares)));
  return feature;
}

inline facefeature_tools::GalleryOrigin originOf(uint8_t model) {
  facefeature_tools::GalleryOrigin origin;
  origin.model.fill(model);
  origin.libraryVersion = "1.2.3";
  origin.blasCore = "Somecore";
  return origin;
}

// Writes a gallery with these ids and returns its features.
inline std::vector<FeatureVector> writeRandomGallery(
    const std::string& path, const std::vector<std::string>& ids, Random& random,
    const facefeature_tools::GalleryOrigin& origin = originOf(7)) {
  std::vector<FeatureVector> features;
  facefeature_tools::GalleryWriter writer(path, origin, ids);
  for (size_t i = 0; i < ids.size(); ++i) {
    features.push_back(randomFeature(random));
    writer.add(features.back());
  }
  writer.finish();
  return features;
}

}  // namespace facefeature_test

#endif
