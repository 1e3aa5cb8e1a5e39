// The landmarks of real photographs, if the checkout has the folder of samples beside it.
#ifndef FACEFEATURE_TESTS_SUPPORT_SAMPLE_FACES_H
#define FACEFEATURE_TESTS_SUPPORT_SAMPLE_FACES_H

#include <cstdint>
#include <string>
#include <vector>

#include "support/faces.h"

namespace facefeature_test {

// The folder of samples, or an empty string if it does not exist; tests then skip with a message.
std::string samplesFolder();

struct SampleFace {
  std::string name;       // of the landmark file, without its extension
  std::string imageFile;  // in the same folder
  int32_t width, height;
  FaceRecord face;
};

// In ascending order of name.
std::vector<SampleFace> sampleFaces(const std::string& folder);

}  // namespace facefeature_test

#endif
