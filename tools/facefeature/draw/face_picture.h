// The picture that shows what the library sees of a face: an optional part of the program, drawn
// with cairo.
#ifndef FACEFEATURE_TOOLS_DRAW_FACE_PICTURE_H
#define FACEFEATURE_TOOLS_DRAW_FACE_PICTURE_H

#include <string>
#include <vector>

#include "face/landmark_file.h"
#include "photo/photo.h"

namespace facefeature_tools {

// Whether this program was built with cairo. Without it every function below throws
// Failure (kFailed).
bool facesCanBeDrawn();

// Returns if faces can be drawn. For callers that would otherwise do work before they learn that
// they can't.
void requireDrawing();

// Writes a PNG of the whole photograph with the frames of the patches, the face close up with the
// numbered landmarks and the fitted head, and the 25 patches, direct and mirrored. warnings are
// written on top. Throws Failure: kBadInput for a photograph that is too large to be drawn, kFailed
// when the file can't be written.
// REQUIRES: a photograph of at least 2 x 2 pixels.
void writeFacePicture(const std::string& path, const std::string& photoPath, const Photo& photo,
                      const LandmarkFile& file, const std::vector<std::string>& warnings);

// Writes a PNG of the 29 model points, from the front and from the side, each with its id. Throws
// Failure (kFailed).
void writeModelPointsPicture(const std::string& path);

}  // namespace facefeature_tools

#endif
