#ifndef FACEFEATURE_TOOLS_VERBS_VERB_LANDMARKS_H
#define FACEFEATURE_TOOLS_VERBS_VERB_LANDMARKS_H

#include <cstddef>
#include <string>

#include "face/face_finder.h"
#include "photo/photo.h"
#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature landmarks": finds the landmarks of a face. With all faces, each has a file of its
// own, FILE_1.json, FILE_2.json and so on for FILE.json, or they are written to standard output one
// after the other.
extern const Verb kLandmarksVerb;

// The name of the file for one of several faces, counted from 1.
std::string numberedName(const std::string& path, size_t number);

// The text of a landmark file for a detected face: that of landmarkText, and the detector, its box
// and its own points. The photograph is named without its folder.
std::string foundFaceText(const std::string& photoPath, const Photo& photo, const FoundFace& face);

}  // namespace facefeature_tools

#endif
