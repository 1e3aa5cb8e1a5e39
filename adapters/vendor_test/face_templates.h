// Templates of faces: the features of what the detector finds in images.
//
// A template is one feature or more, 2008 bytes each: 502 floats, least significant byte first. The
// empty template is that of images without a face.
#ifndef FACEFEATURE_ADAPTERS_VENDOR_TEST_FACE_TEMPLATES_H
#define FACEFEATURE_ADAPTERS_VENDOR_TEST_FACE_TEMPLATES_H

#include <facefeature/facefeature.h>
#include <frvt_structs.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "face/face_finder.h"
#include "model/library_loader.h"
#include "model/model_session.h"
#include "photo/photo.h"

namespace facefeature_adapter {

using Template = std::vector<uint8_t>;

// Runs a step of the interface. An exception becomes its status.
FRVT::ReturnStatus statusOf(const std::function<FRVT::ReturnStatus()>& step);

// The features of a template. Returns false if it is empty or its size is not a multiple of 2008.
bool featuresOf(const Template& templ, std::vector<FeatureVector>& features);

// The highest score of a feature of a with a feature of b. REQUIRES: neither is empty.
double similarityOf(const facefeature_tools::LoadedLibrary& library,
                    const std::vector<FeatureVector>& a, const std::vector<FeatureVector>& b);

// The model and the detector. One object a process: the library takes the folder of its model when
// it is loaded. For one thread.
class TemplateMaker {
 public:
  // configDir is the folder of a model. It may also have the shape model of the detector,
  // shape_predictor_68_face_landmarks.dat. Everything is read here, and no thread is started, so a
  // host may fork afterwards. Throws Failure.
  explicit TemplateMaker(const std::string& configDir);

  // The features of the largest face of each image. Fails if there is none in any image.
  FRVT::ReturnStatus create(const std::vector<FRVT::Image>& faces, Template& templ,
                            std::vector<FRVT::EyePair>& eyes) const;

  // A template of each face.
  FRVT::ReturnStatus createAll(const FRVT::Image& image, std::vector<Template>& templates,
                               std::vector<FRVT::EyePair>& eyes) const;

  const facefeature_tools::LoadedLibrary& library() const { return session_.library(); }

 private:
  void append(const facefeature_tools::Photo& photo, const facefeature_tools::FoundFace& face,
              Template& templ) const;

  facefeature_tools::ModelSession session_;
  facefeature_tools::FaceFinder finder_;
};

}  // namespace facefeature_adapter

#endif
