// The oracle of an extraction, with the product of matrices in the defined order of sums.
#ifndef FACEFEATURE_TESTS_SUPPORT_ORACLE_EXTRACTION_H
#define FACEFEATURE_TESTS_SUPPORT_ORACLE_EXTRACTION_H

#include "support/reference_extract.h"
#include "support/reference_product.h"

namespace facefeature_test {

inline reference::Extraction extractedByOracle(const reference::ModelNumbers& model,
                                               const reference::PictureView& picture,
                                               const LandmarkSet& landmarks) {
  return reference::extract(model, picture, landmarks, reference::matrixProduct);
}

}  // namespace facefeature_test

#endif
