#include "engine/model_files.h"

#include <algorithm>

#include "engine/model_state.h"
#include "platform/model_directory.h"
#include "platform/platform.h"

namespace facefeature {
namespace {

// Reads the count and that many floats. A count that is missing is treated as 0.
void readCountedFloats(std::ifstream& stream, int32_t n) {
  int32_t count = 0;
  stream.read(reinterpret_cast<char*>(&count), sizeof count);
  if (stream.fail()) return;
  const int64_t room = static_cast<int64_t>(kPatchCount - (n - 1)) * kLargestSample;
  const int64_t floats = std::clamp<int64_t>(count, 0, room);
  // Counted from the start of all slots, since a large count continues into the next ones.
  stream.read(
      reinterpret_cast<char*>(patchMeans) + static_cast<size_t>(n - 1) * sizeof patchMeans[0],
      static_cast<std::streamsize>(floats * static_cast<int64_t>(sizeof(float))));
}

}  // namespace

std::string engineFilePath(const std::string& name) {
  // ModelDirectory already ends in a separator. The file system treats two as one; the paths of the
  // layers' files have a single one, and both are visible to a host.
  const std::string path = ModelDirectory + kPathSeparator + name;
  if (path.size() > kLongestEngineFilePath) abortOnFailedCheck();
  return path;
}

bool readPatchMean(std::ifstream& stream, int32_t n) {
  if (!openSharedForReading(stream, engineFilePath("0-" + std::to_string(n) + "-0"))) return false;
  readCountedFloats(stream, n);
  stream.close();
  return true;
}

bool readRawFloats(std::ifstream& stream, const std::string& name, float* buffer, int32_t count) {
  if (!openSharedForReading(stream, engineFilePath(name))) return false;
  std::fill(buffer, buffer + count, 0.0f);
  stream.read(reinterpret_cast<char*>(buffer),
              static_cast<std::streamsize>(count * static_cast<int64_t>(sizeof(float))));
  stream.close();
  return true;
}

}  // namespace facefeature
