#include "support/reference_extract.h"

#include <cmath>

#include "support/reference_layers.h"
#include "support/reference_projection.h"
#include "support/reference_single_steps.h"

namespace reference {
namespace {

constexpr int32_t kSamples = 2;
constexpr size_t kOutputs = 160;

Floats slice(const Floats& values, size_t begin, size_t length) {
  const auto first = values.begin() + static_cast<std::ptrdiff_t>(begin);
  return Floats(first, first + static_cast<std::ptrdiff_t>(length));
}

Floats exchanged(const StoredMatrix& matrix) {
  Floats values;
  for (int32_t c = 0; c < matrix.cols; ++c) {
    for (int32_t r = 0; r < matrix.rows; ++r) {
      values.push_back(matrix.values[static_cast<size_t>(r * matrix.cols + c)]);
    }
  }
  return values;
}

float rectified(float x) { return x > 0.0f ? x : 0.0f; }

// One filter bank and its rectifier.
Floats filtered(const Floats& samples, const FilterBank& bank, const BankShape& shape,
                MatrixProduct product) {
  const Floats weights = exchanged(bank.weights);
  const int32_t modules = shape.modulesX * shape.modulesX;
  const int32_t window = shape.channels * shape.filterSize * shape.filterSize;
  const size_t length = samples.size() / kSamples;
  Floats outputs;
  for (size_t s = 0; s < kSamples; ++s) {
    const Floats patches = unfold(slice(samples, s * length, length), shape.channels, shape.imgSize,
                                  shape.imgSize, shape.filterSize, 0, 1);
    // The content of the output before a product must not affect it.
    Floats planes(static_cast<size_t>(shape.filters * modules), std::nanf(""));
    product(shape.filters, modules, window, weights.data(), patches.data(), 0.0f, planes.data());
    for (size_t i = 0; i < planes.size(); ++i) {
      const size_t filter = i / static_cast<size_t>(modules);
      const bool biased = !bank.biases.values.empty();
      const Single sum =
          biased ? Single(planes[i]) + Single(bank.biases.values[filter]) : planes[i];
      outputs.push_back(rectified(sum.value));
    }
  }
  return outputs;
}

Floats halved(const Floats& samples, const BankShape& shape) {
  PoolGeometry geometry;
  geometry.channels = shape.filters;
  geometry.sizeX = 2;
  geometry.stride = 2;
  geometry.outputsX = shape.modulesX / 2;
  return maximumPool(samples, kSamples, geometry);
}

// The biases come between the two products.
Floats flat(const NetNumbers& net, const Floats& first, const Floats& second,
            MatrixProduct product) {
  Floats outputs(kSamples * kOutputs, std::nanf(""));
  product(kSamples, kOutputs, net.flatWeights[0].rows, first.data(),
          net.flatWeights[0].values.data(), 0.0f, outputs.data());
  for (size_t i = 0; i < outputs.size() && !net.flatBiases.values.empty(); ++i) {
    outputs[i] = (Single(outputs[i]) + Single(net.flatBiases.values[i % kOutputs])).value;
  }
  product(kSamples, kOutputs, net.flatWeights[1].rows, second.data(),
          net.flatWeights[1].values.data(), 1.0f, outputs.data());
  return outputs;
}

}  // namespace

BankShape bankShape(int32_t bank, int32_t channels, int32_t inputSide) {
  static const int32_t kFilters[] = {16, 32, 48, 64};
  static const int32_t kFilterSizes[] = {4, 3, 3, 2};
  BankShape shape = {};
  int32_t side = inputSide;
  for (int32_t i = 0; i <= bank; ++i) {
    shape.channels = i == 0 ? channels : kFilters[i - 1];
    shape.filters = kFilters[i];
    shape.filterSize = kFilterSizes[i];
    shape.imgSize = side;
    shape.modulesX = side - shape.filterSize + 1;
    side = shape.modulesX / 2;
  }
  return shape;
}

NetActivations runNet(const NetNumbers& net, int32_t channels, int32_t inputSide,
                      const std::vector<float>& patchMatrix, MatrixProduct product) {
  NetActivations run;
  const Floats* input = &patchMatrix;
  for (size_t bank = 0; bank < 4; ++bank) {
    const BankShape shape = bankShape(static_cast<int32_t>(bank), channels, inputSide);
    run.rectified[bank] = filtered(*input, net.banks[bank], shape, product);
    if (bank == 3) break;
    run.pooled[bank] = halved(run.rectified[bank], shape);
    input = &run.pooled[bank];
  }
  run.outputs = flat(net, run.rectified[3], run.pooled[2], product);
  return run;
}

std::vector<float> unitRows(const float* outputs) {
  std::vector<float> unit;
  for (const float* row = outputs; row != outputs + kSamples * kOutputs; row += kOutputs) {
    double sum = 0.0;
    for (size_t k = 0; k < kOutputs; ++k) sum += (Single(row[k]) * Single(row[k])).wide();
    const Single norm = squareRoot(Single(static_cast<float>(sum)));
    for (size_t k = 0; k < kOutputs; ++k) {
      unit.push_back(static_cast<float>(Single(row[k]).wide() / norm.wide()));
    }
  }
  return unit;
}

Extraction extract(const ModelNumbers& model, const PictureView& picture,
                   const LandmarkSet& landmarks, MatrixProduct product) {
  Extraction extraction;
  extraction.patches = patchMatrices(picture, landmarks, model.patchMeans.data());
  for (int32_t patch = 0; patch < kPatches; ++patch) {
    const PatchRow& row = patchRow(patch);
    const size_t index = static_cast<size_t>(patch);
    extraction.nets.push_back(runNet(model.nets[index], row.colour ? 3 : 1, row.side,
                                     extraction.patches.matrices[index], product));
    const std::vector<float> unit = unitRows(extraction.nets.back().outputs.data());
    extraction.joined.insert(extraction.joined.end(), unit.begin(), unit.end());
  }
  extraction.feature = project(extraction.joined.data(), model.featureMean.data(),
                               model.selfColumns, model.crossColumns)
                           .feature;
  return extraction;
}

}  // namespace reference
