#include "bench_model.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "bench_common.h"
#include "support/private_temp_folder.h"
#include "support/synthetic_folder.h"

namespace facefeature_bench {
namespace {

constexpr uint32_t kModelSeed = 1;

// An upright face in a 640 x 480 picture.
constexpr int32_t kFaceHeight = 480;
const Landmark kFace[] = {
    {0, 223, 191},   {1, 306, 188},   {2, 190, 182},   {3, 237, 166},   {4, 288, 163},
    {5, 337, 175},   {6, 265, 190},   {9, 269, 236},   {10, 266, 273},  {11, 268, 290},
    {12, 231, 278},  {13, 303, 276},  {43, 291, 241},  {44, 244, 241},  {45, 267, 279},
    {200, 268, 252}, {221, 238, 193}, {222, 223, 198}, {223, 209, 194}, {225, 319, 190},
    {226, 306, 194}, {227, 290, 192}, {240, 180, 244}, {241, 352, 238}, {300, 211, 160},
    {302, 314, 155}, {314, 270, 319}, {315, 193, 287}, {316, 342, 283}};

std::vector<int32_t> faceRecord(int32_t height) {
  const float scale = static_cast<float>(height) / static_cast<float>(kFaceHeight);
  std::vector<int32_t> record = {static_cast<int32_t>(std::size(kFace)), 0};
  for (const Landmark& entry : kFace) {
    const float position[2] = {entry.x * scale, entry.y * scale};
    int32_t bits[2];
    std::memcpy(bits, position, sizeof bits);
    record.insert(record.end(), {entry.id, bits[0], bits[1]});
  }
  return record;
}

Picture madePicture(int32_t width, int32_t height) {
  Picture picture = {width, height, {}, faceRecord(height)};
  picture.pixels.resize(static_cast<size_t>(width) * static_cast<size_t>(height) * 3);
  uint32_t noise = 1;
  size_t at = 0;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      for (int32_t channel = 0; channel < 3; ++channel) {
        noise = noise * 1664525u + 1013904223u;
        const int32_t slope = 40 + 20 * channel + 70 * x / width + 60 * y / height;
        picture.pixels[at++] = static_cast<uint8_t>(slope + static_cast<int32_t>(noise >> 27));
      }
    }
  }
  return picture;
}

std::string modelFolder() { return facefeature_test::privateTempFolder() + "/~kwplugintmp~"; }

// A reference, so that destroySharedEngine can reset it.
FeatureEngine*& sharedEnginePointer() {
  static FeatureEngine* engine = nullptr;
  return engine;
}

}  // namespace

const Picture& smallPicture() {
  static const Picture picture = madePicture(640, 480);
  return picture;
}

const Picture& largePicture() {
  static const Picture picture = madePicture(4000, 3000);
  return picture;
}

void haveModelFiles() {
  static const bool written = [] {
    std::filesystem::create_directories(modelFolder());
    facefeature_test::writeSyntheticModel(modelFolder(), kModelSeed);
    return true;
  }();
  static_cast<void>(written);
}

const std::vector<std::string>& modelFilePaths() {
  static const std::vector<std::string> paths = [] {
    std::vector<std::string> all;
    for (const facefeature_test::ModelFile& file : facefeature_test::modelFiles()) {
      all.push_back(modelFolder() + "/" + file.name);
    }
    return all;
  }();
  return paths;
}

int64_t modelFileBytes() {
  haveModelFiles();
  int64_t bytes = 0;
  for (const std::string& path : modelFilePaths()) {
    bytes += static_cast<int64_t>(std::filesystem::file_size(path));
  }
  return bytes;
}

FeatureEngine* sharedEngine() {
  FeatureEngine*& engine = sharedEnginePointer();
  if (engine != nullptr) return engine;
  haveModelFiles();
  engine = facefeature::CreateFeatureEngine();
  if (engine == nullptr) {
    std::fprintf(stderr, "facefeature_bench: no model in %s\n", modelFolder().c_str());
    std::exit(4);
  }
  return engine;
}

void destroySharedEngine() {
  facefeature::DestroyFeatureEngine(sharedEnginePointer());
  sharedEnginePointer() = nullptr;
}

void extract(FeatureEngine* engine, const Picture& picture, float* feature) {
  facefeature::ExtractFeature(engine, picture.pixels.data(), picture.width, picture.height,
                              picture.stride(), picture.face(), feature, activePlan());
}

}  // namespace facefeature_bench
