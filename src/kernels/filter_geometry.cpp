#include "kernels/filter_geometry.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "kernels/checked_geometry.h"
#include "kernels/unfold.h"

namespace facefeature {
namespace {

void require(bool holds, const char* what) {
  if (!holds) throw std::out_of_range(what);
}

// Number of floats that unfolding one image writes.
int64_t unfoldedFloats(const FilterShape& shape, int32_t width, int32_t filterSize) {
  const int64_t height = unfoldedSide(shape.imgSize, filterSize, shape.padding, shape.stride);
  const int64_t across = unfoldedSide(width, filterSize, shape.padding, shape.stride);
  if (height < 1 || across < 1) return 0;
  const int64_t patchRows = static_cast<int64_t>(shape.channels) * filterSize * filterSize;
  require(patchRows <= std::numeric_limits<int64_t>::max() / height / across, "unfolded size");
  return patchRows * height * across;
}

}  // namespace

FilterGeometry filterGeometry(const FilterShape& shape, const Matrix& input, const Matrix& weights,
                              int32_t weightsPerFilter) {
  FilterGeometry geometry;
  geometry.modules = multiplyGeometry(shape.modulesX, shape.modulesX);
  geometry.width = divideGeometry(divideGeometry(input.cols, shape.channels), shape.imgSize);
  require(shape.channels > 0, "channels below 1");
  const int32_t filterPixels = divideGeometry(weightsPerFilter, shape.channels);
  geometry.filterSize = truncatedSquareRoot(filterPixels);
  require(geometry.filterSize > 0, "a filter without weights");
  require(shape.stride != 0, "a stride of 0");
  geometry.patchRows = multiplyGeometry(filterPixels, shape.channels);
  geometry.patchFloats = 0;
  if (input.rows > 0) {
    geometry.patchFloats = unfoldedFloats(shape, geometry.width, geometry.filterSize);
  }
  require(geometry.patchFloats <= static_cast<int64_t>(geometry.patchRows) * geometry.modules,
          "more output positions than modules");
  geometry.outputCols = multiplyGeometry(geometry.modules, weights.rows);
  return geometry;
}

Matrix* newPatchMatrix(const FilterGeometry& geometry) {
  Matrix* patches = new Matrix(geometry.patchRows, geometry.modules);
  std::fill(patches->buffer + geometry.patchFloats, patches->buffer + patches->size, 0.0f);
  return patches;
}

void prepareOutput(const FilterGeometry& geometry, const Matrix& input, bool overwrite,
                   Matrix& output) {
  // In place works if nothing moves: a sample is unfolded before its row is written.
  require(&output != &input || output.cols == geometry.outputCols,
          "a filter bank that reshapes its input");
  if (overwrite) {
    output.resize(input.rows, geometry.outputCols);
    return;
  }
  const int64_t lastRow = static_cast<int64_t>(input.rows) - 1;
  require(lastRow < 0 || lastRow * output.cols + geometry.outputCols <= output.size,
          "an output too small to add to");
}

}  // namespace facefeature
