#include "support/synthetic_folder.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <stdexcept>

namespace facefeature_test {
namespace {

constexpr int32_t kNets = 25;
constexpr int32_t kOutputs = 160;

bool isColour(int32_t net) {
  static const int32_t kColourNets[] = {0, 1, 2, 4, 7, 10, 13, 16, 18, 20, 22, 24};
  return std::find(std::begin(kColourNets), std::end(kColourNets), net) != std::end(kColourNets);
}

int32_t inputSide(int32_t net) { return net < 2 ? 55 : 47; }

// A rectifier halves the mean square of its input; this spread compensates for it.
float keepingSpread(int32_t terms) { return std::sqrt(6.0f / static_cast<float>(terms)); }

void addMatrix(std::vector<ModelFile>& files, int32_t stage, int32_t net, int32_t item,
               int32_t rows, int32_t cols, float spread) {
  const std::string name =
      std::to_string(stage) + "-" + std::to_string(net + 1) + "-" + std::to_string(item);
  files.push_back({name, ModelFileFormat::kMatrix, rows, cols, 0.0f, spread});
}

void addConvolution(std::vector<ModelFile>& files, int32_t stage, int32_t net, int32_t window,
                    int32_t filters) {
  addMatrix(files, stage, net, 1, window, filters, keepingSpread(window));
  addMatrix(files, stage, net, 2, filters, 1, 12.0f);
}

void addNet(std::vector<ModelFile>& files, int32_t net) {
  const bool large = inputSide(net) == 55;
  const int32_t first = 64 * (large ? 16 : 9);
  const int32_t second = 48 * (large ? 25 : 16);
  addConvolution(files, 1, net, 16 * (isColour(net) ? 3 : 1), 16);
  addConvolution(files, 2, net, 9 * 16, 32);
  addConvolution(files, 3, net, 9 * 32, 48);
  addConvolution(files, 4, net, 4 * 48, 64);
  addMatrix(files, 5, net, 1, first, kOutputs, keepingSpread(first));
  addMatrix(files, 5, net, 2, second, kOutputs, keepingSpread(second));
  addMatrix(files, 5, net, 3, 1, kOutputs, 20.0f);
}

std::vector<ModelFile> allFiles() {
  std::vector<ModelFile> files;
  for (int32_t net = 0; net < kNets; ++net) {
    const int32_t side = inputSide(net);
    files.push_back({"0-" + std::to_string(net + 1) + "-0", ModelFileFormat::kMean, 1,
                     side * side * (isColour(net) ? 3 : 1), 120.0f, 40.0f});
  }
  files.push_back({"6-0", ModelFileFormat::kRaw, 1, 8000, 0.0f, 0.03f});
  files.push_back({"6-1", ModelFileFormat::kRaw, 500, 8000, 0.0f, 0.05f});
  files.push_back({"6-2", ModelFileFormat::kRaw, 500, 8000, 0.0f, 0.05f});
  for (int32_t net = 0; net < kNets; ++net) addNet(files, net);
  return files;
}

uint32_t startOf(const std::string& name, uint32_t seed) {
  uint32_t hash = 2166136261u ^ seed;
  for (const char letter : name) hash = (hash ^ static_cast<uint8_t>(letter)) * 16777619u;
  return hash;
}

// Each number depends on its index alone, so the loop has no dependency chain: fourteen million
// numbers should take a few hundredths of a second.
uint32_t scrambled(uint32_t x) {
  x = (x ^ (x >> 16)) * 0x7FEB352Du;
  x = (x ^ (x >> 15)) * 0x846CA68Bu;
  return x ^ (x >> 16);
}

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

void writeAll(std::FILE* file, const void* bytes, size_t count, const std::string& path) {
  if (std::fwrite(bytes, 1, count, file) != count) throw std::runtime_error("can't write " + path);
}

}  // namespace

const std::vector<ModelFile>& modelFiles() {
  static const std::vector<ModelFile> files = allFiles();
  return files;
}

const ModelFile& modelFile(const std::string& name) {
  const auto found = std::find_if(modelFiles().begin(), modelFiles().end(),
                                  [&name](const ModelFile& file) { return file.name == name; });
  if (found == modelFiles().end()) throw std::out_of_range("no model file " + name);
  return *found;
}

std::vector<float> syntheticNumbers(const ModelFile& file, uint32_t seed) {
  std::vector<float> numbers(static_cast<size_t>(file.rows) * static_cast<size_t>(file.cols));
  const uint32_t start = startOf(file.name, seed);
  const float step = file.spread * 0x1p-23f;
  for (size_t i = 0; i < numbers.size(); ++i) {
    const uint32_t bits = scrambled(start + static_cast<uint32_t>(i) * 0x9E3779B9u);
    numbers[i] = static_cast<float>(static_cast<int32_t>(bits) >> 8) * step + file.middle;
  }
  return numbers;
}

void writeSyntheticFile(const std::string& folder, const ModelFile& file, uint32_t seed) {
  const std::string path = folder + "/" + file.name;
  const std::unique_ptr<std::FILE, CloseFile> stream(std::fopen(path.c_str(), "wb"));
  if (stream == nullptr) throw std::runtime_error("can't write " + path);
  const int32_t header[2] = {file.rows, file.cols};
  if (file.format == ModelFileFormat::kMatrix) writeAll(stream.get(), header, sizeof header, path);
  if (file.format == ModelFileFormat::kMean)
    writeAll(stream.get(), header + 1, sizeof(int32_t), path);
  const std::vector<float> numbers = syntheticNumbers(file, seed);
  writeAll(stream.get(), numbers.data(), numbers.size() * sizeof(float), path);
  if (std::fflush(stream.get()) != 0) throw std::runtime_error("can't write " + path);
}

void writeSyntheticModel(const std::string& folder, uint32_t seed) {
  for (const ModelFile& file : modelFiles()) writeSyntheticFile(folder, file, seed);
}

}  // namespace facefeature_test
