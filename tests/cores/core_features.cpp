// core_features FILE
//
// Extracts from the same photographs each time and writes the features to the file, one after the
// other, as they lie in memory. Prints the core that the package for matrices works on and a line
// for each photograph. Which core that is, the environment says (OPENBLAS_CORETYPE); a core that
// this processor has no instructions for ends the process by a signal.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "engine/feature_engine.h"
#include "kernels/blas.h"
#include "support/faces.h"
#include "support/pictures.h"
#include "support/random.h"
#include "support/sample_faces.h"
#include "support/sample_pictures.h"
#include "support/test_engine.h"

namespace facefeature_test {
namespace {

constexpr int32_t kPicturesOfAKind = 6;
constexpr FaceKind kKinds[] = {FaceKind::kUpright, FaceKind::kTurned, FaceKind::kNoisy,
                               FaceKind::kLarge};

void append(std::ofstream& file, const std::string& name, const std::vector<float>& feature) {
  file.write(reinterpret_cast<const char*>(feature.data()),
             static_cast<std::streamsize>(feature.size() * sizeof(float)));
  std::printf("%s\n", name.c_str());
}

void addGenerated(FeatureEngine* engine, std::ofstream& file) {
  Random random = seededRandom();
  for (const FaceKind kind : kKinds) {
    for (int32_t i = 0; i < kPicturesOfAKind; ++i) {
      Request request = randomRequest(random, kind);
      append(file, nameOf(kind) + " " + std::to_string(i), extracted(engine, request));
    }
  }
}

void addSamples(FeatureEngine* engine, std::ofstream& file) {
  const std::string folder = kReadsPhotographs ? samplesFolder() : "";
  if (folder.empty()) return;
  for (SampleFace& sample : sampleFaces(folder)) {
    const Picture picture = samplePicture(folder + "/" + sample.imageFile);
    append(file, sample.name, extracted(engine, picture, sample.face));
  }
}

}  // namespace
}  // namespace facefeature_test

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "core_features FILE\n");
    return 2;
  }
  std::printf("%s\n", openblas_get_corename());
  std::ofstream file(argv[1], std::ios::binary | std::ios::trunc);
  const facefeature_test::OwnEngine engine;
  if (engine.get() == nullptr) return 1;
  facefeature_test::addGenerated(engine.get(), file);
  facefeature_test::addSamples(engine.get(), file);
  file.close();
  return file ? 0 : 1;
}
