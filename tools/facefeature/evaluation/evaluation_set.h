// The features that an evaluation compares, grouped by person.
#ifndef FACEFEATURE_TOOLS_EVALUATION_EVALUATION_SET_H
#define FACEFEATURE_TOOLS_EVALUATION_EVALUATION_SET_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "evaluation/people.h"
#include "gallery/gallery_file.h"

namespace facefeature_tools {

// An index of a feature in an EvaluationSet.
using FeatureIndex = uint32_t;

struct EvaluationSet {
  // One element per feature. The features of a person are contiguous, in the order of the gallery;
  // people are in the order of their first feature.
  std::vector<std::string> ids;
  std::vector<uint32_t> personOf;  // index into people
  std::vector<float> features;     // 502 floats each

  std::vector<std::string> people;
  size_t idsWithoutPerson = 0;   // rows of the gallery that the list does not mention; left out
  size_t idsWithoutFeature = 0;  // ids of the list that the gallery lacks: failures to acquire

  size_t count() const { return ids.size(); }
  const float* feature(size_t i) const { return &features[i * kFeatureFloats]; }
};

// Throws Failure (kBadInput) if fewer than two features have a person.
EvaluationSet makeEvaluationSet(const Gallery& gallery, const std::vector<PersonOfId>& people);

}  // namespace facefeature_tools

#endif
