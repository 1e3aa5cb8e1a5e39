// The only include of CBLAS. Three of its routines are used and no other: cblas_sgemm (always with
// CblasRowMajor), cblas_saxpy and cblas_sscal. What order they sum in is the package's; that they
// compute on the calling thread inside the loop over the nets is what the build's choice of flavour
// ensures (cmake/cblas.cmake), and no setting of the package is ever changed from here.
#ifndef FACEFEATURE_KERNELS_BLAS_H
#define FACEFEATURE_KERNELS_BLAS_H

#include <cblas.h>

#endif
