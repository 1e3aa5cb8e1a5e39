// Prints a hash of the bits of everything that an extraction computes, stage by stage, for fixed
// faces. Two builds or systems that print the same lines give the same bits.
//
//     dump_bits [SET [FACES]]
//
// SET is the name of a kernel set; without it the library chooses. With FACES only so many
// synthetic faces are extracted, and no photographs: for an emulator. Exit status 9: there is no
// such set, or this processor can't run it.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "engine/build_patch_matrices.h"
#include "engine/face_batch.h"
#include "geometry/gray_image.h"
#include "geometry/head_pose.h"
#include "kernels/kernel_set.h"
#include "kernels/vector_math.h"
#include "net/conv_net.h"
#include "support/random.h"
#include "support/sample_faces.h"
#include "support/sample_pictures.h"
#include "support/test_engine.h"

namespace facefeature_test {
namespace {

constexpr uint64_t kSeed = 20;

// Layers that own their activations: filter banks, which their neurons rewrite, pools between them,
// and the last one. The activations of the first layer are the patches, which are freed after the
// call.
constexpr size_t kLayers[] = {1, 3, 4, 6, 7, 9, 10, 12};

// 64-bit FNV-1a.
uint64_t hashOf(const void* data, size_t bytes) {
  uint64_t hash = 14695981039346656037u;
  const auto* byte = static_cast<const uint8_t*>(data);
  for (size_t i = 0; i < bytes; ++i) hash = (hash ^ byte[i]) * 1099511628211u;
  return hash;
}

void print(const std::string& name, const void* data, size_t bytes) {
  std::printf("%s %016llx\n", name.c_str(), static_cast<unsigned long long>(hashOf(data, bytes)));
}

void print(const std::string& name, const std::vector<float>& values) {
  print(name, values.data(), values.size() * sizeof(float));
}

void print(const std::string& name, const facefeature::Matrix& matrix) {
  print(name, matrix.buffer, static_cast<size_t>(matrix.size) * sizeof(float));
}

// The functions of the system's mathematical library.
void printFunctions(size_t values) {
  Random random(kSeed);
  std::vector<float> x(values), y(x.size());
  for (float& value : x) value = random.between(-90.0f, 90.0f);
  const int32_t count = static_cast<int32_t>(x.size());
  facefeature::vsExp(count, x.data(), y.data());
  print("exp", y);
  facefeature::vsTanh(count, x.data(), y.data());
  print("tanh", y);
  for (float& value : x) value = std::abs(value);
  facefeature::vsLn(count, x.data(), y.data());
  print("ln", y);
}

void printGeometry(const std::string& name, FeatureEngine* engine, const Picture& picture,
                   FaceRecord& face) {
  print(name + " landmarks", face.entries.data(), face.entries.size() * sizeof(Landmark));
  const size_t pixels = static_cast<size_t>(picture.width) * static_cast<size_t>(picture.height);
  std::vector<uint8_t> gray(pixels);
  facefeature::ConvertToGray(picture.pixels(), picture.width, picture.height, picture.stride,
                             gray.data());
  print(name + " gray", gray.data(), gray.size());
  float angles[3] = {};
  const float length =
      facefeature::EstimateHeadPose(face.set(), &angles[0], &angles[1], &angles[2]);
  print(name + " length", &length, sizeof length);
  print(name + " angles", angles, sizeof angles);
  std::vector<facefeature::Matrix*>* const patches =
      facefeature::BuildPatchMatrices(engine, picture.pixels(), picture.width, picture.height,
                                      picture.stride, gray.data(), face.set());
  for (size_t i = 0; i < patches->size(); ++i) {
    print(name + " patch " + std::to_string(i), *(*patches)[i]);
  }
  facefeature::freePatchMatrices(patches);
  print(name + " gray frame", engine->grayFace, sizeof engine->grayFace);
  print(name + " colour frame", engine->colorFace, sizeof engine->colorFace);
}

void printExtraction(const std::string& name, FeatureEngine* engine, const Picture& picture,
                     FaceRecord& face) {
  const std::vector<float> feature = extracted(engine, picture, face);
  for (size_t net = 0; net < 25; ++net) {
    const auto& layers = engine->nets[net]->layers;
    for (const size_t layer : kLayers) {
      print(name + " net " + std::to_string(net) + " layer " + std::to_string(layer),
            *layers[layer]->getActivations());
    }
  }
  print(name + " feature", feature);
}

// The faces in passes over the model, as many in each as a batch has room for.
void printTogether(std::vector<Request>& requests) {
  const std::unique_ptr<FaceBatch> batch = facefeature::newFaceBatch();
  for (size_t first = 0; first < requests.size(); first += kFaceBatchFaces) {
    const size_t count = std::min<size_t>(kFaceBatchFaces, requests.size() - first);
    for (size_t i = 0; i < count; ++i) {
      Request& request = requests[first + i];
      const Picture& picture = request.picture;
      facefeature::samplePatches(*batch, static_cast<int32_t>(i), picture.pixels(), picture.width,
                                 picture.height, picture.stride, request.face.set());
    }
    std::vector<FeatureVector> features(count);
    facefeature::extractFaces(*batch, static_cast<int32_t>(count), features.data());
    for (size_t i = 0; i < count; ++i) {
      print("together " + std::to_string(first + i), features[i].values, sizeof features[i].values);
    }
  }
}

void printSynthetic(FeatureEngine* engine, int32_t faces) {
  Random random(kSeed);
  std::vector<Request> requests;
  for (int32_t i = 0; i < faces; ++i) {
    requests.push_back(randomRequest(random, static_cast<FaceKind>(i % kFaceKinds)));
    Request& request = requests.back();
    const std::string name = "synthetic " + std::to_string(i);
    printGeometry(name, engine, request.picture, request.face);
    printExtraction(name, engine, request.picture, request.face);
  }
  printTogether(requests);
}

void printAll() {
  printFunctions(400000);
  haveModel();
  const OwnEngine engine;
  printSynthetic(engine.get(), 12);
  if (samplesFolder().empty() || !kReadsPhotographs) {
    std::printf("no photographs\n");
    return;
  }
  for (SampleFace& sample : sampleFaces(samplesFolder())) {
    const Picture picture = samplePicture(samplesFolder() + "/" + sample.imageFile);
    print(sample.name + " pixels", picture.storage.data(), picture.storage.size());
    printGeometry(sample.name, engine.get(), picture, sample.face);
    printExtraction(sample.name, engine.get(), picture, sample.face);
  }
}

void printFew(int32_t faces) {
  printFunctions(20000);
  haveModel();
  const OwnEngine engine;
  printSynthetic(engine.get(), faces);
}

bool useSet(const std::string& name) {
  for (const facefeature::KernelSet& set : facefeature::kernelSets()) {
    if (set.name != name || !set.runsHere()) continue;
    facefeature::activeKernels = &set;
    return true;
  }
  return false;
}

}  // namespace
}  // namespace facefeature_test

int main(int argc, char** argv) {
  if (argc >= 2 && !facefeature_test::useSet(argv[1])) {
    std::fprintf(stderr, "dump_bits: %s does not run here\n", argv[1]);
    return 9;
  }
  if (argc == 3) {
    facefeature_test::printFew(std::atoi(argv[2]));
  } else {
    facefeature_test::printAll();
  }
  return 0;
}
