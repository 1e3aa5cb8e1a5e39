// Compares every kernel of every set with the plain one, bit by bit. Input: any bytes. The first
// one chooses the kernel; the next ones give the sizes, alignments and values of its arrays. The
// arrays have exactly their size, so that sanitizers detect an access outside them.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz_input.h"
#include "geometry/face_warp.h"
#include "geometry/gray_image.h"
#include "kernels/kernel_set.h"
#include "kernels/unfold.h"
#include "same_results.h"
#include "support/scoped_kernels.h"

namespace {

using facefeature::FrameRect;
using facefeature::kCanonicalSide;
using facefeature::KernelSet;
using facefeature::plainKernels;
using facefeature_fuzz::Input;
using facefeature_fuzz::requireSameBytes;
using facefeature_fuzz::requireSameFloats;

// A copy that starts some floats after the beginning of its storage and ends with it.
class Placed {
 public:
  Placed(Input& input, const std::vector<float>& values)
      : shift_(static_cast<size_t>(input.integer(0, 15))),
        storage_(new float[shift_ + values.size()]()) {
    if (!values.empty()) std::memcpy(data(), values.data(), values.size() * sizeof(float));
  }
  float* data() { return storage_.get() + shift_; }

 private:
  size_t shift_;
  std::unique_ptr<float[]> storage_;
};

size_t product(int32_t a, int32_t b) { return static_cast<size_t>(a) * static_cast<size_t>(b); }

void checkUnfold(Input& input) {
  const int32_t channels = input.integer(0, 3);
  const int32_t height = input.integer(0, 40), width = input.integer(0, 40);
  const int32_t filterSize = input.integer(1, 7), padding = input.integer(-4, 8);
  const int32_t stride = input.integer(1, 4);
  const int32_t high = facefeature::unfoldedSide(height, filterSize, padding, stride);
  const int32_t wide = facefeature::unfoldedSide(width, filterSize, padding, stride);
  const size_t count =
      high < 1 || wide < 1 ? 0 : product(channels * filterSize * filterSize, high * wide);
  Placed image(input, input.floats(product(channels, height * width)));
  std::vector<float> wanted(count);
  plainKernels().unfold(image.data(), channels, height, width, filterSize, padding, stride,
                        wanted.data());
  for (const KernelSet* set : facefeature_test::runnableKernelSets()) {
    Placed got(input, std::vector<float>(count, -1.0f));
    set->unfold(image.data(), channels, height, width, filterSize, padding, stride, got.data());
    requireSameFloats("unfold", wanted.data(), got.data(), count);
  }
}

void checkBiases(Input& input) {
  const int32_t planes = input.integer(0, 40), count = input.integer(0, 80);
  Placed biases(input, input.floats(static_cast<size_t>(planes)));
  const std::vector<float> before = input.floats(product(planes, count));
  Placed wanted(input, before);
  plainKernels().addPlaneBiases(biases.data(), planes, count, wanted.data());
  for (const KernelSet* set : facefeature_test::runnableKernelSets()) {
    Placed got(input, before);
    set->addPlaneBiases(biases.data(), planes, count, got.data());
    requireSameFloats("addPlaneBiases", wanted.data(), got.data(), before.size());
  }
}

void checkPooling(Input& input) {
  const int32_t outputs = input.integer(0, 40);
  const int32_t side = 2 * outputs + input.integer(0, 3);
  Placed plane(input, input.floats(product(side, side)));
  std::vector<float> wanted(product(outputs, outputs));
  plainKernels().maxPoolPairs(plane.data(), side, outputs, wanted.data());
  for (const KernelSet* set : facefeature_test::runnableKernelSets()) {
    Placed got(input, std::vector<float>(wanted.size(), -1.0f));
    set->maxPoolPairs(plane.data(), side, outputs, got.data());
    requireSameFloats("maxPoolPairs", wanted.data(), got.data(), wanted.size());
  }
}

void checkProjection(Input& input) {
  const int32_t rows = input.integer(0, 50), cols = input.integer(0, 100);
  Placed matrix(input, input.floats(product(rows, cols)));
  Placed x(input, input.floats(static_cast<size_t>(cols)));
  std::vector<float> wanted(static_cast<size_t>(rows));
  plainKernels().projectRows(matrix.data(), rows, cols, x.data(), wanted.data());
  for (const KernelSet* set : facefeature_test::runnableKernelSets()) {
    Placed got(input, std::vector<float>(wanted.size(), -1.0f));
    set->projectRows(matrix.data(), rows, cols, x.data(), got.data());
    requireSameFloats("projectRows", wanted.data(), got.data(), wanted.size());
  }
}

struct Transform {
  float a, b, tx, ty;
};

Transform anyTransform(Input& input, int32_t width, int32_t height) {
  if (input.byte() % 4 == 0) {
    return {input.anyFloat(), input.anyFloat(), input.anyFloat(), input.anyFloat()};
  }
  const auto small = [&input] { return static_cast<float>(input.integer(-1000, 1000)) * 0.003f; };
  return {small(), small(), small() * static_cast<float>(width),
          small() * static_cast<float>(height)};
}

FrameRect anyRect(Input& input) {
  const int32_t left = input.integer(0, kCanonicalSide), top = input.integer(0, kCanonicalSide);
  return {left, top, input.integer(left, kCanonicalSide), input.integer(top, kCanonicalSide)};
}

// Transforms the rectangle from one frame to another.
void copyRect(const std::vector<uint8_t>& from, const FrameRect& rect, int32_t channels,
              std::vector<uint8_t>& to) {
  for (int32_t y = rect.top; y < rect.bottom; ++y) {
    const size_t start = product(y * kCanonicalSide + rect.left, channels);
    std::memcpy(to.data() + start, from.data() + start, product(rect.right - rect.left, channels));
  }
}

// A part of a warp must equal the same part of the whole warp, whether gray values are computed
// before the warp or within it.
void checkWarps(Input& input) {
  const int32_t width = input.integer(2, 30), height = input.integer(2, 30);
  const int32_t step = 3 * width + input.integer(0, 9);
  const int32_t stride = input.flag() ? -step : step;
  const size_t bytes = product(step, height - 1) + product(width, 3);
  const std::unique_ptr<uint8_t[]> storage(new uint8_t[bytes]);
  for (size_t i = 0; i < bytes; ++i) storage[i] = input.byte();
  const uint8_t* pixels = storage.get() + (stride < 0 ? product(step, height - 1) : 0);
  const std::unique_ptr<uint8_t[]> gray(new uint8_t[product(width, height)]);
  facefeature::ConvertToGray(pixels, width, height, stride, gray.get());
  const Transform t = anyTransform(input, width, height);
  const FrameRect rect = anyRect(input);

  std::vector<uint8_t> whole(facefeature::kColorFaceBytes), wanted(whole.size(), 77);
  std::vector<uint8_t> got = wanted;
  facefeature::WarpColorFace(pixels, width, height, stride, whole.data(), t.a, t.b, t.tx, t.ty);
  copyRect(whole, rect, 3, wanted);
  facefeature::WarpColorRect(pixels, width, height, stride, got.data(), rect, t.a, t.b, t.tx, t.ty);
  requireSameBytes("WarpColorRect", wanted.data(), got.data(), wanted.size());

  whole.resize(facefeature::kGrayFaceBytes);
  wanted.assign(whole.size(), 77);
  facefeature::WarpGrayFace(gray.get(), width, height, width, whole.data(), t.a, t.b, t.tx, t.ty);
  copyRect(whole, rect, 1, wanted);
  got.assign(whole.size(), 77);
  facefeature::WarpGrayRect(gray.get(), width, height, width, got.data(), rect, t.a, t.b, t.tx,
                            t.ty);
  requireSameBytes("WarpGrayRect", wanted.data(), got.data(), wanted.size());
  got.assign(whole.size(), 77);
  facefeature::WarpGrayRectFromColor(pixels, width, height, stride, got.data(), rect, t.a, t.b,
                                     t.tx, t.ty);
  requireSameBytes("WarpGrayRectFromColor", wanted.data(), got.data(), wanted.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using Check = void (*)(Input&);
  static const Check kChecks[] = {checkUnfold, checkBiases, checkPooling, checkProjection,
                                  checkWarps};
  Input input(data, size);
  kChecks[input.integer(0, 4)](input);
  return 0;
}
