#include "support/sample_faces.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

namespace facefeature_test {

std::string samplesFolder() {
  const std::filesystem::path folder =
      std::filesystem::path(FACEFEATURE_SOURCE_DIR) / ".." / "shared" / "samples";
  std::error_code ignored;
  return std::filesystem::is_directory(folder, ignored) ? folder.lexically_normal().string() : "";
}

std::vector<SampleFace> sampleFaces(const std::string& folder) {
  std::vector<SampleFace> samples;
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    if (file.path().extension() != ".json") continue;
    std::ifstream stream(file.path());
    const nlohmann::json document = nlohmann::json::parse(stream);
    SampleFace sample;
    sample.name = file.path().stem().string();
    sample.imageFile = document.at("image").get<std::string>();
    sample.width = document.at("width").get<int32_t>();
    sample.height = document.at("height").get<int32_t>();
    for (const auto& point : document.at("landmarks")) {
      sample.face.entries.push_back(
          {point.at("id").get<int32_t>(), point.at("x").get<float>(), point.at("y").get<float>()});
    }
    samples.push_back(sample);
  }
  std::sort(samples.begin(), samples.end(),
            [](const SampleFace& a, const SampleFace& b) { return a.name < b.name; });
  return samples;
}

}  // namespace facefeature_test
