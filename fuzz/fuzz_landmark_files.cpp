// Any text is either a record that the library accepts or an error message. Input: any bytes. They
// are read as a landmark file, and also turned into a document with about 25 entries whose numbers
// are written in every way that JSON has.
//
// A record that is read has known ids, 25 of them for the alignment, and finite coordinates. The
// picture's size is the one in the text. Reading from a file gives the same record, and so does
// reading a text that is written from it, to the same floats.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/failure.h"
#include "face/landmark_file.h"
#include "fuzz_input.h"
#include "same_results.h"
#include "support/private_temp_folder.h"
#include "written_file.h"

namespace {

using facefeature_fuzz::fail;
using facefeature_fuzz::Input;
using facefeature_tools::LandmarkFile;

struct Outcome {
  std::optional<LandmarkFile> file;
  std::string message;
};

Outcome parsed(const std::string& text) {
  try {
    return {facefeature_tools::parseLandmarks(text), ""};
  } catch (const std::runtime_error& error) {
    return {std::nullopt, error.what()};
  }
}

Outcome readBack(const std::string& path) {
  try {
    return {facefeature_tools::readLandmarkFile(path), ""};
  } catch (const facefeature_tools::Failure& failure) {
    if (failure.code() != facefeature_tools::kBadInput) fail("the code of a failure", 0);
    return {std::nullopt, failure.what()};
  }
}

void requireSameLandmarks(const char* what, const std::vector<Landmark>& wanted,
                          const std::vector<Landmark>& got) {
  if (wanted.size() != got.size()) fail(what, wanted.size());
  for (size_t i = 0; i < wanted.size(); ++i) {
    if (std::memcmp(&wanted[i], &got[i], sizeof(Landmark)) != 0) fail(what, i);
  }
}

void requireTakenByTheLibrary(const std::vector<Landmark>& landmarks) {
  size_t sides = 0;
  for (size_t i = 0; i < landmarks.size(); ++i) {
    const Landmark& landmark = landmarks[i];
    if (landmark.id < 0 || landmark.id > 317) fail("an id", i);
    if (!std::isfinite(landmark.x) || !std::isfinite(landmark.y)) fail("a coordinate", i);
    for (const int32_t side : {240, 241, 315, 316}) sides += landmark.id == side;
  }
  if (landmarks.size() - sides != 25) fail("the number of entries", landmarks.size());
}

// No warning for the 29 ids, each once; a warning for every other record.
void requireWarning(const LandmarkFile& file) {
  std::vector<int32_t> ids;
  for (const Landmark& landmark : file.landmarks) ids.push_back(landmark.id);
  std::sort(ids.begin(), ids.end());
  const std::vector<int32_t> full = {0,   1,   2,   3,   4,   5,   6,   9,   10,  11,
                                     12,  13,  43,  44,  45,  200, 221, 222, 223, 225,
                                     226, 227, 240, 241, 300, 302, 314, 315, 316};
  if (file.warning.empty() != (ids == full)) fail("the warning", ids.size());
}

void requireSizeOf(const nlohmann::json& document, const char* key,
                   const std::optional<int64_t>& side) {
  if (document.contains(key) != side.has_value()) fail("whether a side is told", 0);
  if (side && document[key].dump() != std::to_string(*side)) fail("a side", 0);
}

void requireRecord(const std::vector<Landmark>& landmarks) {
  const facefeature_tools::LandmarkRecord record = facefeature_tools::makeRecord(landmarks);
  if (record->count != static_cast<int32_t>(landmarks.size())) fail("the count of a record", 0);
  facefeature_fuzz::requireSameBytes(
      "the entries of a record", reinterpret_cast<const uint8_t*>(landmarks.data()),
      reinterpret_cast<const uint8_t*>(record.get()) + 8, landmarks.size() * sizeof(Landmark));
}

void requireSameFromFile(const std::string& text, const Outcome& outcome) {
  static const std::string path = facefeature_test::privateTempFolder() + "/landmarks";
  facefeature_fuzz::writeFile(path, text.data(), text.size());
  const Outcome fromFile = readBack(path);
  if (outcome.file.has_value() != fromFile.file.has_value()) fail("the ending", 0);
  if (outcome.file) {
    requireSameLandmarks("a record from a file", outcome.file->landmarks, fromFile.file->landmarks);
  } else if (fromFile.message.find(path + ": " + outcome.message + ". ") != 0) {
    fail("the message", 0);
  }
}

void checkText(const std::string& text) {
  const Outcome outcome = parsed(text);
  // Files are slow, so only some of the texts are tried as files.
  if (text.size() % 8 == 0) requireSameFromFile(text, outcome);
  if (!outcome.file) {
    if (outcome.message.empty()) fail("a failure without a message", 0);
    return;
  }
  const LandmarkFile& file = *outcome.file;
  requireTakenByTheLibrary(file.landmarks);
  requireWarning(file);
  const nlohmann::json document = nlohmann::json::parse(text);
  requireSizeOf(document, "width", file.width);
  requireSizeOf(document, "height", file.height);
  requireRecord(file.landmarks);

  const LandmarkFile again = facefeature_tools::parseLandmarks(
      facefeature_tools::landmarkText(text.substr(0, 20), 640, -480, file.landmarks));
  if (again.width != 640 || again.height != -480) fail("a side written and read", 0);
  requireSameLandmarks("a record written and read", file.landmarks, again.landmarks);
}

std::string anyNumber(Input& input) {
  static const char* const kNumbers[] = {"0",
                                         "-0.0",
                                         "317",
                                         "318",
                                         "-1",
                                         "9223372036854775808",
                                         "18446744073709551616",
                                         "3.4028235e38",
                                         "3.4028236e38",
                                         "1e-46",
                                         "-1e400",
                                         "true",
                                         "null",
                                         "\"1\"",
                                         "[]",
                                         "1E+2"};
  const std::string whole = std::to_string(input.integer(0, 4000) - 2000);
  switch (input.integer(0, 15)) {
    case 0:
      return kNumbers[input.integer(0, 15)];
    case 1:
      return whole + "e" + std::to_string(input.integer(0, 90) - 45);
    case 2:
      return nlohmann::json(input.anyFloat()).dump();
    default:
      return whole + "." + std::to_string(input.integer(0, 65535));
  }
}

// A document that is usually accepted. A key may occur twice or be missing.
std::string anyDocument(Input& input) {
  static const int32_t kIds[] = {0,   1,   2,   3,   4,   5,   6,   9,   10,  11,
                                 12,  13,  43,  44,  45,  200, 221, 222, 223, 225,
                                 226, 227, 300, 302, 314, 240, 241, 315, 316};
  std::string text = "{";
  for (const char* key : {"width", "height", "image"}) {
    const uint8_t way = input.byte();
    if (way % 4 == 0) text += "\"" + std::string(key) + "\": " + anyNumber(input) + ", ";
    if (way % 4 == 1) text += "\"" + std::string(key) + "\": 512, ";
  }
  text += "\"landmarks\": [";
  const int32_t count = input.byte() % 8 == 0 ? input.integer(20, 40) : 29;
  for (int32_t i = 0; i < count; ++i) {
    const bool isWild = input.byte() % 128 == 0;
    text += i == 0 ? "{" : ", {";
    text += "\"id\": " + (isWild ? anyNumber(input) : std::to_string(kIds[i % 29]));
    if (!isWild || input.flag()) text += ", \"x\": " + anyNumber(input);
    text += ", \"y\": " + anyNumber(input) + "}";
  }
  return text + "]}";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  checkText(std::string(data, data + size));
  Input input(data, size);
  checkText(anyDocument(input));
  return 0;
}
