// Features of the same photographs from each core of the package for matrices.
#ifndef FACEFEATURE_TESTS_CORES_CORE_RUNS_H
#define FACEFEATURE_TESTS_CORES_CORE_RUNS_H

#include <string>
#include <vector>

#include "facefeature/facefeature.h"

namespace facefeature_test {

struct CoreRun {
  std::string core;
  std::vector<std::string> photographs;
  std::vector<FeatureVector> features;  // of each photograph
};

// One for each core that this processor can run, in about the order of their age. Runs at the first
// call, in processes of their own.
const std::vector<CoreRun>& coreRuns();

// The one that the package chooses where nobody names another.
std::string chosenCore();

// The largest difference of two runs over all photographs. An element is one of 0 to 499.
struct Distance {
  double element = 0.0;    // absolute
  double ofElement = 0.0;  // as a share of the larger of the two
  double ofFeature = 0.0;  // as a share of the feature's norm
  double squares = 0.0;    // of element 500, as a share
  double norm = 0.0;       // of element 501, as a share
  double score = 0.0;      // between any two photographs, absolute
  double ofScore = 0.0;    // as a share of the larger of the two
};
Distance distanceOf(const CoreRun& a, const CoreRun& b);

// Of each measure the larger one.
Distance largerOf(const Distance& a, const Distance& b);

bool sameFeatures(const CoreRun& a, const CoreRun& b);

}  // namespace facefeature_test

#endif
