// Finds faces and their landmarks in a photograph: an optional part of the program.
#ifndef FACEFEATURE_TOOLS_FACE_FACE_FINDER_H
#define FACEFEATURE_TOOLS_FACE_FACE_FINDER_H

#include <facefeature/facefeature.h>

#include <memory>
#include <string>
#include <vector>

#include "face/landmark_scheme.h"
#include "photo/photo.h"

namespace facefeature_tools {

struct FoundFace {
  double left, top, right, bottom;  // the detector's box, in pixels of the photograph
  SchemePoints points;              // the detector's points
  std::vector<Landmark> landmarks;  // the 29 landmarks derived from them
};

// Whether this program was built with a detector. Without one, constructing a FaceFinder fails.
bool facesCanBeFound();

// The name of the detector in landmark files; empty if there is none.
std::string faceDetectorName();

class FaceFinder {
 public:
  // Loads the shape model, about 100 MB, from the file that the environment variable
  // FACEFEATURE_SHAPE_MODEL names, or else from its path at build time. Throws Failure (kFailed) if
  // it can't be read or there is no detector.
  FaceFinder();
  ~FaceFinder();
  FaceFinder(const FaceFinder&) = delete;
  FaceFinder& operator=(const FaceFinder&) = delete;

  // The faces in descending order of box size; of two equal ones, the upper and then the left one
  // comes first. The detector is made for upright faces that look into the camera, and finds those
  // whose box is at least a tenth (800 pixels or less) to a twentieth (1600 or more) of the longer
  // side of the photograph. The list is empty if there is no face.
  std::vector<FoundFace> find(const Photo& photo) const;

 private:
  struct Models;
  std::unique_ptr<Models> models_;
};

}  // namespace facefeature_tools

#endif
