#include "host/probe_request.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

namespace facefeature_test {
namespace {

constexpr int32_t kWidth = 140;
constexpr int32_t kHeight = 150;
constexpr int32_t kStride = 3 * kWidth + 5;
constexpr size_t kGuardFloats = 8;
constexpr uint32_t kUnwritten = 0x4BADF00Du;  // a finite float that no extraction arrives at

// A face looking straight into the camera.
const std::vector<Landmark> kFace = {
    {0, 50.75f, 53.00f},   {1, 88.25f, 52.75f},   {2, 35.75f, 46.00f},    {3, 60.75f, 43.50f},
    {4, 79.75f, 43.25f},   {5, 104.25f, 45.75f},  {6, 70.00f, 52.75f},    {9, 70.00f, 72.50f},
    {10, 70.00f, 87.75f},  {11, 69.75f, 98.50f},  {12, 54.00f, 93.75f},   {13, 85.25f, 94.00f},
    {43, 80.00f, 76.25f},  {44, 59.50f, 75.75f},  {45, 70.50f, 92.50f},   {200, 70.00f, 80.25f},
    {221, 59.25f, 54.25f}, {222, 50.50f, 56.25f}, {223, 43.50f, 53.50f},  {225, 96.25f, 53.50f},
    {226, 88.25f, 56.25f}, {227, 79.75f, 53.75f}, {240, 25.75f, 74.25f},  {241, 114.25f, 74.25f},
    {300, 46.25f, 40.00f}, {302, 92.00f, 39.50f}, {314, 69.75f, 115.50f}, {315, 31.75f, 96.25f},
    {316, 107.50f, 96.50f}};

struct Request {
  std::vector<uint8_t> pixels;
  std::vector<Landmark> face = kFace;
  int32_t width = kWidth;
  int32_t height = kHeight;
  int32_t count = 0;
  bool nullEngine = false, nullPixels = false, nullLandmarks = false, nullFeature = false;
  bool unwrittenPixels = false;
};

// Slopes of brightness with a fine pattern on them, of another kind in each channel.
std::vector<uint8_t> photograph() {
  std::vector<uint8_t> pixels(static_cast<size_t>(kStride) * kHeight);
  for (int32_t y = 0; y < kHeight; ++y) {
    for (int32_t x = 0; x < kStride; ++x) {
      const int32_t column = x / 3, channel = x % 3;
      const int32_t slope = column + (channel + 1) * y / 2;
      const int32_t pattern = (column * column + 7 * channel * y + column * y / 3) % 61;
      pixels[static_cast<size_t>(y * kStride + x)] = static_cast<uint8_t>(slope / 2 + pattern);
    }
  }
  return pixels;
}

void tilt(std::vector<Landmark>& face) {
  for (Landmark& entry : face) {
    const float x = entry.x, y = entry.y;
    entry.x = 1.25f * x - 0.25f * y + 14.0f;
    entry.y = 0.25f * x + 1.25f * y - 30.0f;
  }
}

Request requestOf(const std::string& variant) {
  Request request;
  request.pixels = photograph();
  bool known = variant == "face" || variant == "count-negative" || variant == "count-zero";
  const auto is = [&](const char* name) {
    const bool same = variant == name;
    known = known || same;
    return same;
  };
  request.nullEngine = is("null-engine");
  request.nullPixels = is("null-pixels");
  request.nullLandmarks = is("null-landmarks");
  request.nullFeature = is("null-feature");
  request.unwrittenPixels = is("unwritten-photograph");
  if (is("width-1")) request.width = 1;
  if (is("height-1")) request.height = 1;
  if (is("other-face")) tilt(request.face);
  if (is("id-negative")) request.face[28].id = -1;
  if (is("id-318")) request.face[28].id = 318;
  if (is("id-huge")) request.face[0].id = 2147483647;
  if (is("one-too-few")) request.face.erase(request.face.begin());
  if (is("one-too-many")) request.face.push_back({100, 70.0f, 70.0f});
  if (!known) throw std::runtime_error("no such request: " + variant);
  request.count = static_cast<int32_t>(request.face.size());
  if (variant == "count-negative") request.count = -1;
  if (variant == "count-zero") request.count = 0;
  return request;
}

std::vector<uint8_t> packed(const Request& request) {
  std::vector<uint8_t> record(8 + sizeof(Landmark) * request.face.size());
  std::memcpy(record.data(), &request.count, sizeof request.count);
  std::memcpy(record.data() + 8, request.face.data(), record.size() - 8);
  return record;
}

std::string described(const uint32_t* bits) {
  std::string text = "feature";
  bool untouched = true, nan = true;
  for (int32_t i = 0; i < kFeatureFloats; ++i) {
    char word[16];
    std::snprintf(word, sizeof word, " %08x", bits[i]);
    text += word;
    untouched = untouched && bits[i] == kUnwritten;
    nan = nan && (bits[i] & 0x7FC00000u) == 0x7FC00000u;
  }
  return untouched ? "untouched" : nan ? "nan" : text;
}

}  // namespace

ProbeRequest probeRequest() {
  const Request request = requestOf("face");
  return {request.pixels, request.width, request.height, kStride, packed(request)};
}

std::string extractVariant(const ProbeLibrary& library, FeatureEngine* engine,
                           const std::string& variant, FeatureVector& feature) {
  const Request request = requestOf(variant);
  const std::vector<uint8_t> record = packed(request);
  const std::vector<uint8_t> pixels = request.pixels, landmarks = record;
  std::vector<uint32_t> room(kFeatureFloats + 2 * kGuardFloats, kUnwritten);
  uint32_t* const result = room.data() + kGuardFloats;
  const std::unique_ptr<uint8_t[]> unwritten(new uint8_t[pixels.size()]);
  const uint8_t* const photograph = request.nullPixels        ? nullptr
                                    : request.unwrittenPixels ? unwritten.get()
                                                              : request.pixels.data();

  library.extract(
      request.nullEngine ? nullptr : engine, photograph, request.width, request.height, kStride,
      request.nullLandmarks ? nullptr : reinterpret_cast<const LandmarkSet*>(record.data()),
      request.nullFeature ? nullptr : reinterpret_cast<float*>(result));

  if (request.pixels != pixels || record != landmarks) {
    throw std::runtime_error("the library wrote to its input");
  }
  const auto isGuard = [](uint32_t word) { return word == kUnwritten; };
  if (!std::all_of(room.data(), result, isGuard) ||
      !std::all_of(result + kFeatureFloats, room.data() + room.size(), isGuard)) {
    throw std::runtime_error("the library wrote outside the feature");
  }
  const std::string text = described(result);
  if (text != "untouched") std::memcpy(&feature, result, sizeof feature);
  return text;
}

}  // namespace facefeature_test
