#include "face/landmark_file.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "base/failure.h"
#include "base/whole_file.h"

namespace facefeature_tools {
namespace {

using nlohmann::json;

constexpr int32_t kFullIds[] = {0,   1,   2,   3,   4,   5,   6,   9,   10,  11,
                                12,  13,  43,  44,  45,  200, 221, 222, 223, 225,
                                226, 227, 240, 241, 300, 302, 314, 315, 316};
constexpr int32_t kLastId = 317;
constexpr int kAlignedLandmarks = 25;

// The four at the sides of the head take part in the head fit, not in the alignment.
bool isSideOfHead(int32_t id) { return id == 240 || id == 241 || id == 315 || id == 316; }

int32_t landmarkId(const json& entry, const std::string& entryName) {
  const auto id = entry.find("id");
  if (id == entry.end() || !id->is_number_integer()) {
    throw std::runtime_error("has no whole number \"id\" in " + entryName);
  }
  // A number above the signed 64-bit range is stored unsigned; it must not turn into a small one.
  const bool huge = id->is_number_unsigned() && id->get<uint64_t>() > uint64_t{kLastId};
  if (huge || id->get<int64_t>() < 0 || id->get<int64_t>() > kLastId) {
    throw std::runtime_error("has the id " + id->dump() + " in " + entryName + ", not 0 to 317");
  }
  return id->get<int32_t>();
}

float coordinate(const json& entry, const char* key, const std::string& entryName) {
  const auto value = entry.find(key);
  if (value == entry.end() || !value->is_number()) {
    throw std::runtime_error("has no number \"" + std::string(key) + "\" in " + entryName);
  }
  const double wide = value->get<double>();
  if (!(std::fabs(wide) <= static_cast<double>(std::numeric_limits<float>::max()))) {
    throw std::runtime_error("has a coordinate out of range in " + entryName);
  }
  return static_cast<float>(wide);
}

std::optional<int64_t> optionalSize(const json& document, const char* key) {
  const auto value = document.find(key);
  if (value == document.end()) return std::nullopt;
  if (!value->is_number_integer()) {
    throw std::runtime_error("has a \"" + std::string(key) + "\" that is not a whole number");
  }
  // As with an id: an unsigned value may exceed the signed 64-bit range.
  constexpr uint64_t kMost = std::numeric_limits<int64_t>::max();
  if (value->is_number_unsigned() && value->get<uint64_t>() > kMost) {
    throw std::runtime_error("has a \"" + std::string(key) + "\" out of range");
  }
  return value->get<int64_t>();
}

std::string recordWarning(const std::vector<Landmark>& landmarks) {
  std::string warning;
  for (const int32_t id : kFullIds) {
    const auto count = std::count_if(landmarks.begin(), landmarks.end(),
                                     [id](const Landmark& landmark) { return landmark.id == id; });
    if (count == 1) continue;
    warning += (warning.empty() ? "" : ", ") + std::string("id ") + std::to_string(id) +
               (count == 0 ? " is missing" : " appears more than once");
  }
  for (const Landmark& landmark : landmarks) {
    if (std::find(std::begin(kFullIds), std::end(kFullIds), landmark.id) != std::end(kFullIds)) {
      continue;
    }
    warning += (warning.empty() ? "" : ", ") + std::string("id ") + std::to_string(landmark.id) +
               " is not one of the 29";
  }
  return warning;
}

}  // namespace

LandmarkFile parseLandmarks(const std::string& text) {
  json document;
  try {
    document = json::parse(text);
  } catch (const json::exception& error) {
    throw std::runtime_error(std::string("is not JSON (") + error.what() + ")");
  }
  const bool hasList = document.is_object() && document.contains("landmarks");
  if (!hasList || !document["landmarks"].is_array()) {
    throw std::runtime_error("has no list \"landmarks\"");
  }

  LandmarkFile file;
  file.width = optionalSize(document, "width");
  file.height = optionalSize(document, "height");
  int aligned = 0;
  for (const json& entry : document["landmarks"]) {
    const std::string entryName =
        "entry " + std::to_string(file.landmarks.size()) + " of its landmarks";
    if (!entry.is_object()) throw std::runtime_error("has no object in " + entryName);
    const int32_t id = landmarkId(entry, entryName);
    file.landmarks.push_back(
        {id, coordinate(entry, "x", entryName), coordinate(entry, "y", entryName)});
    if (!isSideOfHead(id)) ++aligned;
  }
  if (aligned != kAlignedLandmarks) {
    throw std::runtime_error("has " + std::to_string(aligned) +
                             " landmarks besides 240, 241, 315 and 316, not exactly 25");
  }
  file.warning = recordWarning(file.landmarks);
  return file;
}

LandmarkFile readLandmarkFile(const std::string& path) {
  constexpr size_t kMaxFileBytes = size_t{16} << 20;
  const std::string remedy =
      "Give a JSON file with the 29 landmarks of one face, each with id, x, y";
  const std::vector<uint8_t> bytes = readWholeFile(path, kMaxFileBytes, remedy);
  try {
    return parseLandmarks(std::string(bytes.begin(), bytes.end()));
  } catch (const std::runtime_error& error) {
    throw Failure(kBadInput, path, error.what(), remedy);
  }
}

std::string landmarkText(const std::string& image, int32_t width, int32_t height,
                         const std::vector<Landmark>& landmarks) {
  json list = json::array();
  for (const Landmark& landmark : landmarks) {
    list.push_back({{"id", landmark.id}, {"x", landmark.x}, {"y", landmark.y}});
  }
  const json document = {
      {"image", image}, {"width", width}, {"height", height}, {"landmarks", list}};
  // A file name need not be UTF-8, but JSON must be.
  return document.dump(1, ' ', false, json::error_handler_t::replace) + "\n";
}

LandmarkRecord makeRecord(const std::vector<Landmark>& landmarks) {
  // The type declares one entry; a record has count of them.
  const size_t entryBytes = landmarks.size() * sizeof(Landmark);
  const size_t bytes = std::max(sizeof(LandmarkSet), offsetof(LandmarkSet, entries) + entryBytes);
  LandmarkRecord record(static_cast<LandmarkSet*>(std::calloc(1, bytes)));
  if (!record) throw std::bad_alloc();
  record->count = static_cast<int32_t>(landmarks.size());
  if (entryBytes > 0) {
    uint8_t* entries = reinterpret_cast<uint8_t*>(record.get()) + offsetof(LandmarkSet, entries);
    std::memcpy(entries, landmarks.data(), entryBytes);
  }
  return record;
}

}  // namespace facefeature_tools
