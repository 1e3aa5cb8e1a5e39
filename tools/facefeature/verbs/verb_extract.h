#ifndef FACEFEATURE_TOOLS_VERBS_VERB_EXTRACT_H
#define FACEFEATURE_TOOLS_VERBS_VERB_EXTRACT_H

#include <cstddef>
#include <string>

#include "face/face_photo.h"
#include "face/landmark_file.h"
#include "model/model_session.h"
#include "photo/photo.h"
#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature extract": computes the feature of a face from a photograph and its landmarks, or
// with --list a gallery from many photographs (see extract_list.h).
extern const Verb kExtractVerb;

struct ExtractRequest {
  std::string photo;
  std::string landmarks;  // empty: the detector finds the face
  std::string feature;
  std::string model;  // folder; empty: chosenModelFolder() decides
  ExifRule exif = ExifRule::kIgnore;
  size_t face = 0;  // of several detected ones: 1 is the largest; 0: the same, with a warning
};

struct FaceInput {
  Photo photo;
  LandmarkFile landmarks;
};

// Reads the files of a request, and prints warnings about them. Throws Failure (kBadInput).
FaceInput readFaceInput(const ExtractRequest& request);

// Throws Failure (kBadModel) if the feature contains NaNs. Messages use model as the name of the
// model folder.
void requireNumbers(const FeatureVector& feature, const std::string& model);

// The feature of a face. Throws Failure as requireNumbers does.
FeatureVector featureOf(const FaceInput& face, const ModelSession& session);

}  // namespace facefeature_tools

#endif
