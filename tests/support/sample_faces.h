// The landmarks of real photographs, where a checkout has the folder of samples beside it.
#ifndef FACEFEATURE_TESTS_SUPPORT_SAMPLE_FACES_H
#define FACEFEATURE_TESTS_SUPPORT_SAMPLE_FACES_H

#include <cstdint>
#include <string>
#include <vector>

#include "support/faces.h"

namespace facefeature_test {

// The folder of samples, or an empty text where there is none; tests then say so and skip.
std::string samplesFolder();

struct SampleFace {
  std::string name;       // of the landmark file, without its ending
  std::string imageFile;  // in the same folder
  int32_t width, height;
  FaceRecord face;
};

// By rising name.
std::vector<SampleFace> sampleFaces(const std::string& folder);

}  // namespace facefeature_test

#endif
