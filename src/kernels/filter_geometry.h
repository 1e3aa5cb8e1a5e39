// What a filter bank works out from the shapes of its matrices, and the bounds that keep it inside
// them. A net's text and its files have to agree, and nothing but this compares them: geometry that
// would read or write outside a matrix throws std::out_of_range, and all other is computed as it
// stands, sensible or not.
#ifndef FACEFEATURE_KERNELS_FILTER_GEOMETRY_H
#define FACEFEATURE_KERNELS_FILTER_GEOMETRY_H

#include <cstdint>

#include "kernels/matrix.h"

namespace facefeature {

// The numbers of a layer's text that the kernels work with.
struct FilterShape {
  int32_t imgSize;   // height of the input image
  int32_t modulesX;  // output positions along one side
  int32_t padding;
  int32_t stride;
  int32_t channels;
};

// What follows from them and from the matrices.
struct FilterGeometry {
  int32_t modules;      // output positions: modulesX squared
  int32_t width;        // of the input image; follows from the length of the input's rows
  int32_t filterSize;   // side of a filter: the root of its weights on one channel, truncated
  int32_t patchRows;    // weights of one filter at one position: rows of the patch matrix
  int64_t patchFloats;  // of the patch matrix that the unfolding writes, from its start on
  int32_t outputCols;   // a plane for each row of weights
};

// weightsPerFilter: weights of one filter at one output position, before the division by channels
// truncates it.
FilterGeometry filterGeometry(const FilterShape& shape, const Matrix& input, const Matrix& weights,
                              int32_t weightsPerFilter);

// A new patch matrix, the caller's, of patchRows x modules. What the unfolding is not going to
// write is 0: where the weights of a channel are no square it leaves the last rows.
Matrix* newPatchMatrix(const FilterGeometry& geometry);

// Prepares the output of a run over input. With overwrite it becomes input.rows x outputCols;
// otherwise it must have room for that.
void prepareOutput(const FilterGeometry& geometry, const Matrix& input, bool overwrite,
                   Matrix& output);

}  // namespace facefeature

#endif
