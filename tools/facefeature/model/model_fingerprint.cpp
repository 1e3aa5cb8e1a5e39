#include "model/model_fingerprint.h"

#include <array>
#include <filesystem>
#include <vector>

#include "base/failure.h"
#include "base/little_endian.h"
#include "base/whole_file.h"
#include "model/model_files.h"

namespace facefeature_tools {
namespace {

constexpr char kRemedy[] = "Copy the model again from its source";
// The largest file of a good model has 16 MB.
constexpr size_t kLimit = size_t{1} << 30;

std::vector<uint8_t> readModelFile(const std::string& path) {
  try {
    return readWholeFile(path, kLimit, kRemedy);
  } catch (const Failure& failure) {
    throw Failure(kBadModel, failure);
  }
}

}  // namespace

Digest modelFingerprint(const std::string& folder) {
  Sha256 hash;
  for (const ModelFile& file : modelFiles()) {
    const std::vector<uint8_t> bytes =
        readModelFile((std::filesystem::path(folder) / file.name).string());
    std::array<uint8_t, 8> length;
    putLongWord(bytes.size(), length.data());
    hash.add(file.name.c_str(), file.name.size() + 1);
    hash.add(length.data(), length.size());
    hash.add(bytes.data(), bytes.size());
  }
  return hash.digest();
}

std::string hexText(const Digest& digest) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const uint8_t byte : digest) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

}  // namespace facefeature_tools
