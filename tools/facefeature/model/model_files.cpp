#include "model/model_files.h"

#include <system_error>

#include "base/failure.h"

namespace facefeature_tools {
namespace {

constexpr int32_t kNets = 25;
constexpr int32_t kNetOutputs = 160;
constexpr int32_t kProjectedFloats = 500;
constexpr int32_t kJoinedFloats = kNets * 2 * kNetOutputs;

// The inputs of the 25 nets. They differ in nothing else.
struct NetInput {
  int32_t side;
  int32_t planes;
};

constexpr NetInput kNetInputs[kNets] = {
    {55, 3}, {55, 3}, {47, 3}, {47, 1}, {47, 3}, {47, 1}, {47, 1}, {47, 3}, {47, 1},
    {47, 1}, {47, 3}, {47, 1}, {47, 1}, {47, 3}, {47, 1}, {47, 1}, {47, 3}, {47, 1},
    {47, 3}, {47, 1}, {47, 3}, {47, 1}, {47, 3}, {47, 1}, {47, 3}};

// A convolution layer of every net: each filter has filterSide x filterSide weights for each plane
// of its input. It reduces a side to side - filterSide + 1, and all but the last are followed by a
// pooling that halves that.
struct ConvolutionStage {
  int32_t filterSide;
  int32_t filters;
};

constexpr ConvolutionStage kStages[] = {{4, 16}, {3, 32}, {3, 48}, {2, 64}};

std::string fileName(int32_t stage, int32_t net, int32_t item) {
  return std::to_string(stage) + "-" + std::to_string(net) + "-" + std::to_string(item);
}

ModelFile plainFile(const std::string& name, ModelFileKind kind, int32_t rows, int32_t cols) {
  return {name, kind, rows, cols, 0, 0, false, 0, 0};
}

ModelFile weightsFile(const std::string& name, int32_t rows, int32_t cols, int32_t window,
                      int32_t fanIn) {
  return {name, ModelFileKind::kWeights, rows, cols, window, fanIn, false, 0, 0};
}

void addNetFiles(int32_t net, const NetInput& input, std::vector<ModelFile>& files) {
  int32_t side = input.side;
  int32_t planes = input.planes;
  int32_t pooledSide = 0;
  int32_t pooledPlanes = 0;
  int32_t stage = 1;
  for (const ConvolutionStage& convolution : kStages) {
    const int32_t window = convolution.filterSide * convolution.filterSide;
    const int32_t products = planes * window;
    files.push_back(
        weightsFile(fileName(stage, net, 1), products, convolution.filters, window, products));
    files.back().readsPixels = stage == 1;
    files.push_back(
        plainFile(fileName(stage, net, 2), ModelFileKind::kBiases, convolution.filters, 1));
    // After the loop these two describe the input of the last convolution.
    pooledSide = side;
    pooledPlanes = planes;
    side = side - convolution.filterSide + 1;
    planes = convolution.filters;
    if (stage < 4) side /= 2;
    ++stage;
  }
  // The last layer reads the last convolution and also the input of that convolution.
  const int32_t fromConvolution = planes * side * side;
  const int32_t fromPool = pooledPlanes * pooledSide * pooledSide;
  const int32_t products = fromConvolution + fromPool;
  files.push_back(
      weightsFile(fileName(5, net, 1), fromConvolution, kNetOutputs, side * side, products));
  files.push_back(
      weightsFile(fileName(5, net, 2), fromPool, kNetOutputs, pooledSide * pooledSide, products));
  files.push_back(plainFile(fileName(5, net, 3), ModelFileKind::kBiases, 1, kNetOutputs));
}

std::vector<ModelFile> makeModelFiles() {
  std::vector<ModelFile> files;
  files.reserve(303);
  for (int32_t net = 1; net <= kNets; ++net) {
    const NetInput& input = kNetInputs[net - 1];
    files.push_back(plainFile(fileName(0, net, 0), ModelFileKind::kPatchMean,
                              input.planes * input.side * input.side, 1));
    files.back().planes = input.planes;
    files.back().side = input.side;
  }
  files.push_back(plainFile("6-0", ModelFileKind::kFeatureMean, 1, kJoinedFloats));
  files.push_back(
      plainFile("6-1", ModelFileKind::kSelfProjection, kProjectedFloats, kJoinedFloats));
  files.push_back(
      plainFile("6-2", ModelFileKind::kCrossProjection, kProjectedFloats, kJoinedFloats));
  for (int32_t net = 1; net <= kNets; ++net) addNetFiles(net, kNetInputs[net - 1], files);
  return files;
}

}  // namespace

size_t ModelFile::headerWords() const {
  switch (kind) {
    case ModelFileKind::kPatchMean:
      return 1;
    case ModelFileKind::kWeights:
    case ModelFileKind::kBiases:
      return 2;
    default:
      return 0;
  }
}

const std::vector<ModelFile>& modelFiles() {
  static const std::vector<ModelFile> files = makeModelFiles();
  return files;
}

std::filesystem::path canonicalModelFolder(const std::string& folder) {
  std::error_code error;
  const std::filesystem::path canonical = std::filesystem::canonical(folder, error);
  if (!error) return canonical;
  throw Failure(kBadModel, folder, "can't be read as a folder: " + error.message(),
                "Name the folder with the 303 files of a model");
}

}  // namespace facefeature_tools
