#include "host/probe_request.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

#include "host/probe_photograph.h"

namespace facefeature_test {
namespace {

constexpr size_t kGuardFloats = 8;
constexpr uint32_t kUnwritten = 0x4BADF00Du;  // a finite float that no extraction produces

struct Request {
  std::vector<uint8_t> pixels;
  std::vector<Landmark> face{kPhotographFace, kPhotographFace + kFaceLandmarks};
  int32_t width = kPhotographWidth;
  int32_t height = kPhotographHeight;
  int32_t count = 0;
  bool nullEngine = false, nullPixels = false, nullLandmarks = false, nullFeature = false;
  bool unwrittenPixels = false;
};

void tilt(std::vector<Landmark>& face) {
  for (Landmark& entry : face) {
    const float x = entry.x, y = entry.y;
    entry.x = 1.25f * x - 0.25f * y + 14.0f;
    entry.y = 0.25f * x + 1.25f * y - 30.0f;
  }
}

Request requestOf(const std::string& variant) {
  Request request;
  request.pixels.resize(kPhotographBytes);
  paintPhotograph(request.pixels.data());
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
  return {request.pixels, request.width, request.height, kPhotographStride, packed(request)};
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
      request.nullEngine ? nullptr : engine, photograph, request.width, request.height,
      kPhotographStride,
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
