#include "kernels/local.h"

#include <memory>
#include <stdexcept>

#include "kernels/blas.h"
#include "kernels/checked_geometry.h"
#include "kernels/filter_geometry.h"
#include "kernels/unfold.h"

namespace facefeature {
namespace {

// One filter at all output positions. The products are computed first, into a matrix of their own,
// and then summed down each column from 0.
void applyFilter(const Matrix& patches, const Matrix& filter, Matrix& products, float* plane) {
  patches.multiplyElements(filter, products);
  for (int32_t m = 0; m < patches.cols; ++m) {
    float sum = 0.0f;
    for (int32_t l = 0; l < patches.rows; ++l) sum += products.buffer[products.indexOf(l, m)];
    plane[m] = sum;
  }
}

// One bias for each output. Without a bias file there is nothing to add.
void addUnsharedBiases(const Matrix& biases, Matrix& planes) {
  if (biases.size == 0) return;
  if (biases.size < planes.size) throw std::out_of_range("fewer biases than outputs");
  if (biases.order != kColumnMajor) {
    cblas_saxpy(planes.size, 1.0f, biases.buffer, 1, planes.buffer, 1);
  } else {
    planes.combineElements(biases, elementAdd, planes);
  }
}

}  // namespace

// The horizontal number of modules is used for both directions: the grid is square.
void localForward(const Matrix& input, const Matrix& weights, Matrix& biases, Matrix& output,
                  int32_t imgSize, int32_t /*modulesY*/, int32_t modulesX, int32_t padding,
                  int32_t stride, int32_t channels, float scale) {
  const FilterShape shape = {imgSize, modulesX, padding, stride, channels};
  const int32_t modules = multiplyGeometry(modulesX, modulesX);
  // Dividing by the product of the two equals dividing by one after the other.
  const FilterGeometry geometry =
      filterGeometry(shape, input, weights, divideGeometry(weights.cols, modules));
  const bool overwrite = scale == 0.0f;
  prepareOutput(geometry, input, overwrite, output);

  // The biases take the shape of the output planes at every call, whatever their file said and
  // whether or not they will be added. Their size stays that of the file.
  biases.rows = weights.rows;
  biases.cols = modules;

  const std::unique_ptr<Matrix> patches(newPatchMatrix(geometry));
  Matrix products;
  for (int32_t s = 0; s < input.rows; ++s) {
    UnfoldPatches(input.buffer + static_cast<int64_t>(input.cols) * s, channels, imgSize,
                  geometry.width, geometry.filterSize, padding, stride, patches->buffer);
    Matrix planes = Matrix::view(output.buffer + static_cast<int64_t>(output.cols) * s,
                                 weights.rows, modules, kRowMajor);
    for (int32_t f = 0; f < weights.rows; ++f) {
      // A row of the weights holds module after module, which read column by column has the shape
      // of the patch matrix. The rows are taken in storage order, whatever order the weights have.
      const Matrix filter = Matrix::view(weights.buffer + static_cast<int64_t>(weights.cols) * f,
                                         geometry.patchRows, modules, kColumnMajor);
      // The sums replace the output whatever scale is. Adding for later inputs, as a convolution
      // does, would change every net with such a layer.
      applyFilter(*patches, filter, products, planes.buffer + static_cast<int64_t>(modules) * f);
    }
    if (overwrite) addUnsharedBiases(biases, planes);
  }
}

}  // namespace facefeature
