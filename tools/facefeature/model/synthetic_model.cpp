#include "model/synthetic_model.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include "base/failure.h"
#include "base/little_endian.h"
#include "base/whole_file.h"
#include "model/model_files.h"

namespace facefeature_tools {
namespace {

namespace fs = std::filesystem;

constexpr char kReadmeName[] = "README";
constexpr char kReadmeTitle[] = "SYNTHETIC MODEL, NOT TRAINED";

// All arithmetic here is integer, or + - * / and square roots of doubles with one rounding to float
// at the end: operations that give the same bits on every IEEE machine. The distributions of
// <random> and the functions of the math library do not.

// SplitMix64 (Steele, Lea and Flood, 2014).
class NumberStream {
 public:
  // Each file has its own stream, so no file depends on how many numbers another used.
  NumberStream(uint64_t seed, uint64_t stream) : state_(seed) {
    const uint64_t mixed = next();
    state_ = mixed ^ (stream * 0xD1B54A32D192ED03u);
    next();
  }

  uint64_t next() {
    state_ += 0x9E3779B97F4A7C15u;
    uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }

  // Bell-shaped: the sum of four uniform 16-bit numbers minus its mean.
  int32_t bell() {
    const uint64_t bits = next();
    const uint64_t sum =
        (bits & 0xFFFF) + (bits >> 16 & 0xFFFF) + (bits >> 32 & 0xFFFF) + (bits >> 48);
    return static_cast<int32_t>(sum) - 131070;
  }

  // From -1 to 1.
  double uniform() { return static_cast<double>(next() >> 40) / 8388607.5 - 1.0; }

 private:
  uint64_t state_;
};

// The variance of bell(): four times (2^32 - 1) / 12.
constexpr double kBellVariance = 1431655765.0;

std::vector<float> bells(NumberStream& stream, size_t count, double deviation) {
  const double scale = deviation / std::sqrt(kBellVariance);
  std::vector<float> values(count);
  for (float& value : values) value = static_cast<float>(scale * stream.bell());
  return values;
}

// Weights of variance 2 / fanIn, which keeps the size of the activations from layer to layer after
// rectifiers. Over each window the weights of an output sum to zero: everything that is uniform
// over an input plane (the brightness of a photograph, the part of the activations that all faces
// share) cancels, and the rest distinguishes photographs.
std::vector<float> weights(NumberStream& stream, const ModelFile& file) {
  const size_t window = static_cast<size_t>(file.window);
  const size_t cols = static_cast<size_t>(file.cols);
  // Integers up to the one product below: the mean is subtracted times the window, so nothing is
  // rounded. Subtracting it leaves (window - 1) / window of the variance.
  const double left = static_cast<double>(window - 1) / static_cast<double>(window);
  const double variance = kBellVariance * static_cast<double>(window * window) * left;
  double scale = std::sqrt(2.0 / file.fanIn / variance);
  // Pixels minus their mean are some dozens; the later layers see numbers around 1.
  if (file.readsPixels) scale /= 16.0;

  std::vector<float> values(file.floats());
  std::vector<int64_t> drawn(window * cols);
  std::vector<int64_t> sums(cols);
  for (size_t start = 0; start < values.size(); start += drawn.size()) {
    sums.assign(cols, 0);
    for (size_t i = 0; i < drawn.size(); ++i) {
      drawn[i] = stream.bell();
      sums[i % cols] += drawn[i];
    }
    for (size_t i = 0; i < drawn.size(); ++i) {
      const int64_t centred = static_cast<int64_t>(window) * drawn[i] - sums[i % cols];
      values[start + i] = static_cast<float>(scale * static_cast<double>(centred));
    }
  }
  return values;
}

// A bright blob on a dim ground, slightly tilted, redder than blue: roughly what the mean of many
// patches of faces looks like. All values are between 80 and 170.
std::vector<float> patchMean(NumberStream& stream, const ModelFile& file) {
  const double slopeX = 8.0 * stream.uniform();
  const double slopeY = 8.0 * stream.uniform();
  const double height = 36.0 + 8.0 * stream.uniform();
  std::vector<float> values;
  values.reserve(file.floats());
  const double half = (file.side - 1) / 2.0;
  for (int32_t plane = 0; plane < file.planes; ++plane) {
    const double ground = 111.0 + (file.planes == 3 ? 9.0 * (1 - plane) : 0.0);
    for (int32_t row = 0; row < file.side; ++row) {
      for (int32_t column = 0; column < file.side; ++column) {
        const double x = (column - half) / half;
        const double y = (row - half) / half;
        const double blob = (1.0 - x * x) * (1.0 - y * y);
        values.push_back(static_cast<float>(ground + height * blob + slopeX * x + slopeY * y));
      }
    }
  }
  return values;
}

// Preserves the length of the projected vector, on average over all directions.
std::vector<float> crossProjection(NumberStream& stream, const ModelFile& file) {
  return bells(stream, file.floats(), std::sqrt(1.0 / file.rows));
}

// Mostly the cross projection again. The score of a face with itself is 3 minus twice the quotient
// of the squared lengths of the self projection and the cross projection: the two agree within a
// few percent, so the score is within a few percent of 1.
std::vector<float> selfProjection(NumberStream& cross, NumberStream& own, const ModelFile& file) {
  std::vector<float> values = crossProjection(cross, file);
  const std::vector<float> other = crossProjection(own, file);
  // The squares of 0.992 and 0.126 add up to nearly 1.
  for (size_t i = 0; i < values.size(); ++i) {
    values[i] = static_cast<float>(0.992 * static_cast<double>(values[i]) +
                                   0.126 * static_cast<double>(other[i]));
  }
  return values;
}

constexpr uint64_t kCrossStream = 1000;

std::vector<float> numbersOf(const ModelFile& file, uint64_t seed, uint64_t streamNumber) {
  NumberStream stream(seed, streamNumber);
  NumberStream crossStream(seed, kCrossStream);
  switch (file.kind) {
    case ModelFileKind::kPatchMean:
      return patchMean(stream, file);
    case ModelFileKind::kFeatureMean:
      // Rows of 160 floats and of length 1: each float is about 0.08.
      return bells(stream, file.floats(), 0.01);
    case ModelFileKind::kSelfProjection:
      return selfProjection(crossStream, stream, file);
    case ModelFileKind::kCrossProjection:
      return crossProjection(crossStream, file);
    case ModelFileKind::kWeights:
      return weights(stream, file);
    case ModelFileKind::kBiases:
      return bells(stream, file.floats(), 0.05);
  }
  return {};
}

std::vector<uint8_t> bytesOf(const ModelFile& file, const std::vector<float>& numbers) {
  std::vector<uint8_t> bytes(file.bytes());
  const size_t words = file.headerWords();
  if (words > 0) putWord(static_cast<uint32_t>(file.rows), &bytes[0]);
  if (words > 1) putWord(static_cast<uint32_t>(file.cols), &bytes[4]);
  uint8_t* at = bytes.data() + 4 * words;
  for (const float number : numbers) {
    putFloat(number, at);
    at += 4;
  }
  return bytes;
}

bool isSynthetic(const fs::path& folder) {
  std::ifstream readme(folder / kReadmeName);
  std::string title;
  return std::getline(readme, title) && title == kReadmeTitle;
}

// Never overwrites a trained model, and never scatters 303 files over a folder with other contents.
void requireEmptyOrSynthetic(const fs::path& folder) {
  std::error_code error;
  const bool empty = fs::is_empty(folder, error);
  if (!error && (empty || isSynthetic(folder))) return;
  throw Failure(kWrongUsage, folder.string(),
                error ? "can't be read: " + error.message()
                      : "contains files that are not of a synthetic model",
                "Name a new or empty folder, or one that this verb made");
}

void writeReadme(const fs::path& folder, uint64_t seed) {
  const std::string text = std::string(kReadmeTitle) + "\n\n" + kSyntheticWarning +
                           "\n\nThe 303 files of this folder were written by\n\n"
                           "    facefeature model synth DIR --seed " +
                           std::to_string(seed) +
                           "\n\nThe same seed gives the same bytes on every platform.\n";
  writeWholeFile((folder / kReadmeName).string(), reinterpret_cast<const uint8_t*>(text.data()),
                 text.size());
}

}  // namespace

const char kSyntheticWarning[] =
    "These numbers are NOT trained: they are random, and scores made with them say nothing about "
    "people.";

void writeSyntheticModel(const std::string& folder, uint64_t seed) {
  const fs::path path(folder);
  std::error_code error;
  fs::create_directories(path, error);
  std::error_code ignored;
  if (!fs::is_directory(path, ignored)) {
    const std::string reason = error ? error.message() : "a file of that name exists";
    throw Failure(kFailed, folder, "can't be created as a folder: " + reason,
                  "Name another folder");
  }
  requireEmptyOrSynthetic(path);
  // First, so that a partially written folder is recognisable.
  writeReadme(path, seed);
  uint64_t streamNumber = 0;
  for (const ModelFile& file : modelFiles()) {
    const std::vector<uint8_t> bytes = bytesOf(file, numbersOf(file, seed, streamNumber));
    writeWholeFile((path / file.name).string(), bytes.data(), bytes.size());
    ++streamNumber;
  }
}

}  // namespace facefeature_tools
