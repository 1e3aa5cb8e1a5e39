// Options that several verbs for photographs share.
#ifndef FACEFEATURE_TOOLS_VERBS_FACE_OPTIONS_H
#define FACEFEATURE_TOOLS_VERBS_FACE_OPTIONS_H

#include <cstddef>
#include <string>

#include "face/face_photo.h"
#include "verbs/options.h"

namespace facefeature_tools {

// Each function adds its option to a verb. The target must outlive the parse and keeps its value if
// the option is not given.
void addExif(Options& options, ExifRule& rule);
Option addFace(Options& options, size_t& face);
// LANDMARKS, which is required if this program was built without a detector.
void addLandmarks(Options& options, std::string& landmarks);

}  // namespace facefeature_tools

#endif
