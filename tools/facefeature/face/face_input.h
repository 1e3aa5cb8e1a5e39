// The landmarks of a face, from a file or from the detector.
#ifndef FACEFEATURE_TOOLS_FACE_FACE_INPUT_H
#define FACEFEATURE_TOOLS_FACE_FACE_INPUT_H

#include <cstddef>
#include <string>
#include <vector>

#include "face/face_finder.h"
#include "face/landmark_file.h"
#include "photo/photo.h"

namespace facefeature_tools {

// The option that selects a face. It is also passed to worker processes.
constexpr char kFaceOption[] = "--face";

// The face with this number (1 is the largest) among those found. Without a number, the largest,
// with a message if there are others. Throws Failure (kBadInput) if there is none.
const FoundFace& chosenFace(const std::string& verb, const std::string& photo,
                            const std::vector<FoundFace>& faces, size_t number);

// The landmarks of a face, and the warnings about them.
struct FaceLandmarks {
  LandmarkFile file;
  std::vector<std::string> warnings;
};

// The landmarks in a file or, if its name is empty, of the chosen face that the detector finds.
// Prints the warnings about them, naming the file or the photograph.
FaceLandmarks readFaceLandmarks(const std::string& verb, const std::string& photoPath,
                                const Photo& photo, const std::string& landmarksPath, size_t face);

// The landmarks of a found face as if they had been read from a file, with the warnings that apply
// to any face and those about the detector.
FaceLandmarks landmarksOfFound(const FoundFace& face, const std::string& photoPath,
                               const Photo& photo);

// Prints each text as a warning about the file with this path.
void printWarnings(const std::string& verb, const std::string& path,
                   const std::vector<std::string>& warnings);

}  // namespace facefeature_tools

#endif
