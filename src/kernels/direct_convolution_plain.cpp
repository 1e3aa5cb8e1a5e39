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

// The outputs of all filters at one position, before pooling. The chains of the filters advance
// side by side, because a step of one chain waits for the step before it.
void positivePartsAt(const DirectShape& shape, const DirectConvolution& task, const float* image,
                     int32_t y, int32_t x, float* parts) {
  const ImageSteps step = stepsOf(shape);
  const float* weights = task.weights;
  for (int32_t f = 0; f < shape.filters; ++f) parts[f] = 0.0f;
  for (int32_t c = 0; c < task.channels; ++c) {
    for (int32_t ky = 0; ky < shape.filterSize; ++ky) {
      for (int32_t kx = 0; kx < shape.filterSize; ++kx) {
        const float value = image[(y + ky) * step.row + (x + kx) * step.column + c * step.channel];
        for (int32_t f = 0; f < shape.filters; ++f) {
          parts[f] = fusedMultiplyAdd(weights[f], value, parts[f]);
        }
        weights += shape.filters;
      }
    }
  }
  for (int32_t f = 0; f < shape.filters; ++f) {
    const float biased = parts[f] + task.biases[f];
    parts[f] = biased > 0.0f ? biased : 0.0f;
  }
}

void pooledAt(const DirectShape& shape, const DirectConvolution& task, const float* image,
              int32_t y, int32_t x, float* maxima) {
  for (int32_t f = 0; f < shape.filters; ++f) maxima[f] = 0.0f;
  for (int32_t i = 0; i < 4; ++i) {
    float parts[kMostDirectFilters];
    positivePartsAt(shape, task, image, 2 * y + i / 2, 2 * x + i % 2, parts);
    for (int32_t f = 0; f < shape.filters; ++f) {
      maxima[f] = parts[f] > maxima[f] ? parts[f] : maxima[f];
    }
  }
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
        if (shape.pools) {
          pooledAt(shape, task, image, y, x, out);
        } else {
          positivePartsAt(shape, task, image, y, x, out);
        }
        out += shape.filters;
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
