#include "support/reference_layers.h"

#include <algorithm>
#include <cmath>

#include "support/bits.h"
#include "support/reference_arithmetic.h"

namespace reference {
namespace {

// The pixel under weight (c, ky, kx) of a window, 0 outside of the image.
struct Picture {
  const float* pixels;
  int32_t height;
  int32_t width;

  float at(int32_t c, int32_t y, int32_t x) const {
    if (y < 0 || y >= height || x < 0 || x >= width) return 0.0f;
    return pixels[c * height * width + y * width + x];
  }
};

Picture pictureOf(const FilterInput& input, int32_t sample) {
  return {input.samples.data() + static_cast<ptrdiff_t>(sample) * input.sampleLength, input.imgSize,
          input.sampleLength / input.channels / input.imgSize};
}

// Calls visit(weight index within the window, pixel) for one window, in the order of the weights.
template <typename Visit>
void forEachWindowPixel(const Picture& picture, const FilterInput& input, int32_t filterSize,
                        int32_t oy, int32_t ox, const Visit& visit) {
  int32_t index = 0;
  for (int32_t c = 0; c < input.channels; ++c) {
    for (int32_t ky = 0; ky < filterSize; ++ky) {
      for (int32_t kx = 0; kx < filterSize; ++kx) {
        visit(index++, picture.at(c, oy * input.stride + ky - input.padding,
                                  ox * input.stride + kx - input.padding));
      }
    }
  }
}

struct Span {
  int32_t low;
  int32_t high;

  int32_t length() const { return high - low; }
};

Span clippedSpan(int32_t output, const PoolGeometry& geometry, int32_t imgSize) {
  const int32_t begin = output * geometry.stride + geometry.start;
  return {std::max(begin, 0), std::min(begin + geometry.sizeX, imgSize)};
}

// Folds every window with step(accumulator, pixel), then finishes it with last(accumulator, cells).
template <typename Step, typename Last>
Floats pool(const Floats& samples, int32_t sampleCount, const PoolGeometry& geometry, float initial,
            const Step& step, const Last& last) {
  const int32_t length = sampleCount == 0 ? 0 : static_cast<int32_t>(samples.size()) / sampleCount;
  const int32_t imgPixels = length / geometry.channels;
  const int32_t imgSize = wholeSide(imgPixels);
  Floats result;
  for (int32_t plane = 0; plane < sampleCount * geometry.channels; ++plane) {
    const int32_t sample = plane / geometry.channels;
    const float* pixels = samples.data() + static_cast<ptrdiff_t>(sample) * length +
                          static_cast<ptrdiff_t>(plane % geometry.channels) * imgPixels;
    for (int32_t oy = 0; oy < geometry.outputsX; ++oy) {
      const Span ys = clippedSpan(oy, geometry, imgSize);
      for (int32_t ox = 0; ox < geometry.outputsX; ++ox) {
        const Span xs = clippedSpan(ox, geometry, imgSize);
        float accumulator = initial;
        for (int32_t y = ys.low; y < ys.high; ++y) {
          for (int32_t x = xs.low; x < xs.high; ++x) {
            accumulator = step(accumulator, pixels[y * imgSize + x]);
          }
        }
        result.push_back(last(accumulator, ys.length() * xs.length()));
      }
    }
  }
  return result;
}

}  // namespace

int32_t wholeSide(int32_t pixels) {
  int32_t side = 0;
  while ((side + 1) * (side + 1) <= pixels) ++side;
  return side;
}

Floats unfold(const Floats& image, int32_t channels, int32_t height, int32_t width,
              int32_t filterSize, int32_t padding, int32_t stride) {
  // C++ truncates such quotients toward zero: a window that overhangs by less than a stride is
  // still counted.
  const int32_t outHeight = (height + 2 * padding - filterSize) / stride + 1;
  const int32_t outWidth = (width + 2 * padding - filterSize) / stride + 1;
  FilterInput input;
  input.channels = channels;
  input.padding = padding;
  input.stride = stride;
  const Picture picture = {image.data(), height, width};
  const int32_t windows = outHeight * outWidth;
  Floats patches(static_cast<size_t>(channels * filterSize * filterSize * windows));
  for (int32_t window = 0; window < windows; ++window) {
    forEachWindowPixel(picture, input, filterSize, window / outWidth, window % outWidth,
                       [&](int32_t index, float pixel) {
                         patches[static_cast<size_t>(index * windows + window)] = pixel;
                       });
  }
  return patches;
}

Floats convolution(const std::vector<FilterInput>& inputs, int32_t samples, int32_t filters,
                   int32_t modulesX, const Floats& biases) {
  Floats sums;
  for (int32_t s = 0; s < samples; ++s) {
    for (int32_t f = 0; f < filters; ++f) {
      for (int32_t module = 0; module < modulesX * modulesX; ++module) {
        float total = 0.0f;
        for (const FilterInput& input : inputs) {
          const float* weights =
              input.weights.data() + static_cast<ptrdiff_t>(f) * input.weightLength;
          float chain = 0.0f;
          forEachWindowPixel(
              pictureOf(input, s), input, wholeSide(input.weightLength / input.channels),
              module / modulesX, module % modulesX,
              [&](int32_t index, float pixel) { chain = fused(weights[index], pixel, chain); });
          const bool isFirst = &input == &inputs.front();
          total = isFirst ? chain : sum(total, chain);
          // The bias of a single filter is a vector of one element, which applies to the first
          // column only.
          if (isFirst && (filters != 1 || module == 0)) {
            total = sum(total, biases[static_cast<size_t>(f)]);
          }
        }
        sums.push_back(total);
      }
    }
  }
  return sums;
}

Floats localUnshared(const FilterInput& input, int32_t samples, int32_t filters, int32_t modulesX,
                     const Floats& biases, bool first) {
  const int32_t modules = modulesX * modulesX;
  const int32_t windowLength = input.weightLength / modules;
  const int32_t filterSize = wholeSide(windowLength / input.channels);
  Floats result;
  for (int32_t s = 0; s < samples; ++s) {
    for (int32_t f = 0; f < filters; ++f) {
      for (int32_t module = 0; module < modules; ++module) {
        const float* weights = input.weights.data() +
                               static_cast<ptrdiff_t>(f) * input.weightLength +
                               static_cast<ptrdiff_t>(module) * windowLength;
        float accumulator = 0.0f;
        forEachWindowPixel(pictureOf(input, s), input, filterSize, module / modulesX,
                           module % modulesX, [&](int32_t index, float pixel) {
                             accumulator = sum(accumulator, product(pixel, weights[index]));
                           });
        if (first && !biases.empty()) {
          accumulator = sum(accumulator, biases[static_cast<size_t>(f * modules + module)]);
        }
        result.push_back(accumulator);
      }
    }
  }
  return result;
}

Floats fullyConnected(const std::vector<FlatInput>& inputs, int32_t samples, int32_t outputs,
                      const Floats& biases) {
  Floats sums;
  for (int32_t s = 0; s < samples; ++s) {
    for (int32_t j = 0; j < outputs; ++j) {
      float total = 0.0f;
      for (const FlatInput& input : inputs) {
        float chain = 0.0f;
        for (int32_t k = 0; k < input.length; ++k) {
          chain = fused(input.samples[static_cast<size_t>(s * input.length + k)],
                        input.weights[static_cast<size_t>(k * outputs + j)], chain);
        }
        if (&input == &inputs.front()) {
          total = sum(chain, biases[static_cast<size_t>(j)]);
        } else {
          total = sum(total, chain);
        }
      }
      sums.push_back(total);
    }
  }
  return sums;
}

Floats averagePool(const Floats& samples, int32_t sampleCount, const PoolGeometry& geometry) {
  return pool(samples, sampleCount, geometry, 0.0f, sum, [](float total, int32_t cells) {
    return quotient(total, static_cast<float>(cells));
  });
}

Floats maximumPool(const Floats& samples, int32_t sampleCount, const PoolGeometry& geometry) {
  return pool(
      samples, sampleCount, geometry, facefeature_test::floatOfBits(0xFF167699u),
      [](float largest, float pixel) { return pixel > largest ? pixel : largest; },
      [](float largest, int32_t) { return largest; });
}

Floats crossMapNorm(const Floats& samples, int32_t sampleCount, int32_t channels, int32_t sizeX,
                    float scale, float power) {
  const int32_t length = sampleCount == 0 ? 0 : static_cast<int32_t>(samples.size()) / sampleCount;
  const int32_t pixels = length / channels;
  const float alpha = quotient(scale, static_cast<float>(sizeX));
  Floats result(samples.size());
  for (int32_t i = 0; i < sampleCount * length; ++i) {
    const int32_t row = i / length * length;
    const int32_t channel = i % length / pixels;
    const int32_t pixel = i % length % pixels;
    float squares = 0.0f;
    for (int32_t step = 0; step < sizeX; ++step) {
      const int32_t neighbour = channel - sizeX / 2 + step;
      if (neighbour < 0 || neighbour >= channels) continue;
      const float value = samples[static_cast<size_t>(row + neighbour * pixels + pixel)];
      squares = sum(product(value, value), squares);
    }
    const float base = sum(product(alpha, squares), 1.0f);
    const float factor = rounded(std::pow(static_cast<double>(base), -static_cast<double>(power)));
    result[static_cast<size_t>(i)] = product(factor, samples[static_cast<size_t>(i)]);
  }
  return result;
}

Floats softmax(const Floats& values, int32_t rows, int32_t cols) {
  Floats result;
  for (int32_t r = 0; r < rows; ++r) {
    const float* line = values.data() + static_cast<ptrdiff_t>(r) * cols;
    float largest = -3.4028234663852886e+38f;
    for (int32_t c = 0; c < cols; ++c) largest = greater(line[c], largest);
    Floats powers;
    float total = 0.0f;
    for (int32_t c = 0; c < cols; ++c) {
      // The maximum of a single row is a vector of one element, which applies to the first column
      // only.
      const bool shifted = rows != 1 || c == 0;
      powers.push_back(exponential(shifted ? sum(line[c], -largest) : line[c]));
      total = sum(powers.back(), total);
    }
    for (int32_t c = 0; c < cols; ++c) {
      float& power = powers[static_cast<size_t>(c)];
      if (rows != 1) {
        power = product(power, quotient(1.0f, total));
      } else if (c == 0) {
        power = quotient(power, total);
      }
    }
    result.insert(result.end(), powers.begin(), powers.end());
  }
  return result;
}

Floats weightedSum(const std::vector<Floats>& inputs, const Floats& coefficients) {
  Floats total;
  for (const float value : inputs.front()) total.push_back(product(value, coefficients.front()));
  for (size_t i = 1; i < inputs.size(); ++i) {
    for (size_t k = 0; k < total.size(); ++k) {
      total[k] = sum(total[k], product(coefficients[i], inputs[i][k]));
    }
  }
  return total;
}

Floats elementwiseMaximum(const std::vector<Floats>& inputs) {
  // The first two inputs are combined in reverse order.
  Floats result = inputs.at(0);
  for (size_t i = 1; i < inputs.size(); ++i) {
    for (size_t k = 0; k < result.size(); ++k) {
      result[k] = i == 1 ? greater(inputs[1][k], result[k]) : greater(result[k], inputs[i][k]);
    }
  }
  return result;
}

}  // namespace reference
