#include "support/reference_model.h"

#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "support/reference_patches.h"
#include "support/reference_projection.h"

namespace reference {
namespace {

// A file read at once, and the current position in it.
class Bytes {
 public:
  explicit Bytes(const std::string& path) : path_(path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) throw std::runtime_error("can't open " + path);
    std::fseek(file, 0, SEEK_END);
    bytes_.resize(static_cast<size_t>(std::ftell(file)));
    std::rewind(file);
    const size_t got = std::fread(bytes_.data(), 1, bytes_.size(), file);
    std::fclose(file);
    if (got != bytes_.size()) throw std::runtime_error("can't read " + path);
  }

  int32_t integer() {
    int32_t value;
    take(&value, sizeof value);
    return value;
  }

  std::vector<float> floats(size_t count) {
    std::vector<float> values(count);
    take(values.data(), count * sizeof(float));
    return values;
  }

 private:
  void take(void* target, size_t count) {
    if (bytes_.size() - position_ < count) throw std::runtime_error(path_ + " is too short");
    std::memcpy(target, bytes_.data() + position_, count);
    position_ += count;
  }

  std::string path_;
  std::vector<char> bytes_;
  size_t position_ = 0;
};

NetNumbers readNet(const std::string& folder, int32_t number) {
  const auto matrix = [&](int32_t stage, int32_t item) {
    return readStoredMatrix(
        folder, std::to_string(stage) + "-" + std::to_string(number) + "-" + std::to_string(item));
  };
  NetNumbers net;
  for (int32_t stage = 1; stage <= 4; ++stage) {
    net.banks[static_cast<size_t>(stage - 1)] = {matrix(stage, 1), matrix(stage, 2)};
  }
  net.flatWeights = {matrix(5, 1), matrix(5, 2)};
  net.flatBiases = matrix(5, 3);
  return net;
}

}  // namespace

StoredMatrix readStoredMatrix(const std::string& folder, const std::string& name) {
  Bytes bytes(folder + "/" + name);
  StoredMatrix matrix;
  matrix.rows = bytes.integer();
  matrix.cols = bytes.integer();
  matrix.values = bytes.floats(static_cast<size_t>(matrix.rows) * static_cast<size_t>(matrix.cols));
  return matrix;
}

ModelNumbers readModel(const std::string& folder) {
  ModelNumbers model;
  model.patchMeans.assign(kPatches * kMeanFloats, 0.0f);
  for (int32_t number = 1; number <= kPatches; ++number) {
    Bytes bytes(folder + "/0-" + std::to_string(number) + "-0");
    const int32_t count = bytes.integer();
    const std::vector<float> mean = bytes.floats(static_cast<size_t>(count));
    std::memcpy(model.patchMeans.data() + static_cast<size_t>(number - 1) * kMeanFloats,
                mean.data(), mean.size() * sizeof(float));
    model.nets.push_back(readNet(folder, number));
  }
  model.featureMean = Bytes(folder + "/6-0").floats(kJoinedFloats);
  model.selfColumns = columnsOf(Bytes(folder + "/6-1").floats(kProjections * kJoinedFloats).data());
  model.crossColumns =
      columnsOf(Bytes(folder + "/6-2").floats(kProjections * kJoinedFloats).data());
  return model;
}

}  // namespace reference
