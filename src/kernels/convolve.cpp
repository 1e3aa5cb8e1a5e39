#include "kernels/convolve.h"

#include <memory>
#include <stdexcept>

#include "kernels/filter_geometry.h"
#include "kernels/multiply.h"
#include "kernels/unfold.h"

namespace facefeature {

// The horizontal number of modules is used for both directions: the grid is square.
void convolveForward(const Matrix& input, const Matrix& weights, const Matrix& biases,
                     Matrix& output, int32_t imgSize, int32_t /*modulesY*/, int32_t modulesX,
                     int32_t padding, int32_t stride, int32_t channels, float scale, float alpha) {
  const FilterShape shape = {imgSize, modulesX, padding, stride, channels};
  const FilterGeometry geometry = filterGeometry(shape, input, weights, weights.cols);
  // cblas_sgemm reads weights.cols rows of the patch matrix.
  if (weights.cols > geometry.patchRows) {
    throw std::out_of_range("weights that are no multiple of the channels");
  }
  const bool overwrite = scale == 0.0f;
  prepareOutput(geometry, input, overwrite, output);

  const std::unique_ptr<Matrix> patches(newPatchMatrix(geometry));
  for (int32_t s = 0; s < input.rows; ++s) {
    UnfoldPatches(input.buffer + static_cast<int64_t>(input.cols) * s, channels, imgSize,
                  geometry.width, geometry.filterSize, padding, stride, patches->buffer);
    const int64_t start = static_cast<int64_t>(output.cols) * s;
    Matrix planes = Matrix::view(output.buffer + start, weights.rows, geometry.modules, kRowMajor);
    multiply(weights, *patches, weights.rows, geometry.modules, weights.cols, alpha, scale,
             planes.buffer, geometry.modules);
    // Biases of another shape than the layer's may overflow into the next sample's planes, whose
    // product then overwrites them.
    if (overwrite) addBiases(biases, output.size - start, planes);
  }
}

}  // namespace facefeature
