// The geometry of a filter bank, derived from the shapes of its matrices, and the bounds that keep
// it inside them. A net's text and its files have to agree, and this is the only check: geometry
// that would read or write outside a matrix throws std::out_of_range, and any other is computed,
// sensible or not.
#ifndef FACEFEATURE_KERNELS_FILTER_GEOMETRY_H
#define FACEFEATURE_KERNELS_FILTER_GEOMETRY_H

#include <cstdint>

#include "kernels/matrix.h"

namespace facefeature {

// The numbers of a layer's text that the kernels use.
struct FilterShape {
  int32_t imgSize;   // height of the input image
  int32_t modulesX;  // output positions along one side
  int32_t padding;
  int32_t stride;
  int32_t channels;
};

// The numbers derived from them and from the matrices.
struct FilterGeometry {
  int32_t modules;      // output positions: modulesX squared
  int32_t width;        // of the input image; derived from the length of the input's rows
  int32_t filterSize;   // side of a filter: the root of its weights on one channel, truncated
  int32_t patchRows;    // weights of one filter at one position: rows of the patch matrix
  int64_t patchFloats;  // floats of the patch matrix that the unfolding writes, from its start
  int32_t outputCols;   // one plane for each row of weights
};

// weightsPerFilter: weights of one filter at one output position, before the division by channels
// truncates it.
FilterGeometry filterGeometry(const FilterShape& shape, const Matrix& input, const Matrix& weights,
                              int32_t weightsPerFilter);

// A new patch matrix of patchRows x modules, owned by the caller. Elements that the unfolding does
// not write are 0: if the weights of a channel are not a square, it leaves out the last rows.
Matrix* newPatchMatrix(const FilterGeometry& geometry);

// Prepares the output of a run over input. With overwrite it becomes input.rows x outputCols;
// otherwise it must have room for that.
void prepareOutput(const FilterGeometry& geometry, const Matrix& input, bool overwrite,
                   Matrix& output);

}  // namespace facefeature

#endif
