// The oracle of an extraction with the package's product of matrices.
#ifndef FACEFEATURE_TESTS_SUPPORT_ORACLE_EXTRACTION_H
#define FACEFEATURE_TESTS_SUPPORT_ORACLE_EXTRACTION_H

#include <cstdint>

#include "kernels/blas.h"
#include "support/reference_extract.h"

#ifndef _OPENMP
#error "Outside of a parallel region the package would share a product out among threads."
#endif

namespace facefeature_test {

// c = a b + beta c, all row by row and without gaps.
inline void productByBlas(int32_t m, int32_t n, int32_t k, const float* a, const float* b,
                          float beta, float* c) {
  cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, m, n, k, 1.0f, a, k, b, n, beta, c, n);
}

// How many threads work on a product decides in which order it is summed. Within a parallel region
// of two or more it is always one, as in the loop over the nets; one region for all products, since
// the end of each is a wait for a thread that may have lost its processor.
inline reference::Extraction extractedByOracle(const reference::ModelNumbers& model,
                                               const reference::PictureView& picture,
                                               const LandmarkSet& landmarks) {
  reference::Extraction extraction;
#pragma omp parallel num_threads(2)
#pragma omp single
  extraction = reference::extract(model, picture, landmarks, productByBlas);
  return extraction;
}

}  // namespace facefeature_test

#endif
