#include "kernels/direct_convolution.h"
#include "kernels/fused_multiply_add.h"

namespace facefeature {
namespace {

// The floats from one element of an image to the next.
struct ImageSteps {
  int64_t row;
  int64_t column;
  int64_t channel;
};

ImageSteps stepsOf(const DirectShape& shape) {
  if (shape.channels == 0) return {shape.side, 1, static_cast<int64_t>(shape.side) * shape.side};
  return {static_cast<int64_t>(shape.side) * shape.channels, shape.channels, 1};
}

// The output of one filter at one position, before pooling.
float positivePartAt(const DirectShape& shape, const DirectConvolution& task, const float* image,
                     int32_t y, int32_t x, int32_t filter) {
  const ImageSteps step = stepsOf(shape);
  const float* weight = task.weights + filter;
  float sum = 0.0f;
  for (int32_t c = 0; c < task.channels; ++c) {
    for (int32_t ky = 0; ky < shape.filterSize; ++ky) {
      for (int32_t kx = 0; kx < shape.filterSize; ++kx) {
        const float value = image[(y + ky) * step.row + (x + kx) * step.column + c * step.channel];
        sum = fusedMultiplyAdd(*weight, value, sum);
        weight += shape.filters;
      }
    }
  }
  const float biased = sum + task.biases[filter];
  return biased > 0.0f ? biased : 0.0f;
}

float pooledAt(const DirectShape& shape, const DirectConvolution& task, const float* image,
               int32_t y, int32_t x, int32_t filter) {
  float maximum = 0.0f;
  for (int32_t i = 0; i < 4; ++i) {
    const float value = positivePartAt(shape, task, image, 2 * y + i / 2, 2 * x + i % 2, filter);
    maximum = value > maximum ? value : maximum;
  }
  return maximum;
}

}  // namespace

void convolveDirectPlain(int32_t shapeIndex, const DirectConvolution& task) {
  const DirectShape& shape = kDirectShapes[shapeIndex];
  const int32_t outSide = directOutputSide(shape);
  const int64_t imageFloats = static_cast<int64_t>(shape.side) * shape.side * task.channels;
  float* out = task.out;
  for (int32_t s = 0; s < task.samples; ++s) {
    const float* image = task.images + s * imageFloats;
    for (int32_t y = 0; y < outSide; ++y) {
      for (int32_t x = 0; x < outSide; ++x) {
        for (int32_t f = 0; f < shape.filters; ++f) {
          *out++ = shape.pools ? pooledAt(shape, task, image, y, x, f)
                               : positivePartAt(shape, task, image, y, x, f);
        }
      }
    }
  }
}

void transposePlain(const float* in, int32_t rows, int32_t columns, float* out) {
  for (int32_t c = 0; c < columns; ++c) {
    for (int32_t r = 0; r < rows; ++r) {
      out[static_cast<int64_t>(c) * rows + r] = in[static_cast<int64_t>(r) * columns + c];
    }
  }
}

}  // namespace facefeature
