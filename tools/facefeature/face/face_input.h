// What the verbs take of a user: a photograph, and the landmarks of a face in it.
#ifndef FACEFEATURE_TOOLS_FACE_FACE_INPUT_H
#define FACEFEATURE_TOOLS_FACE_FACE_INPUT_H

#include <cstddef>
#include <string>
#include <vector>

#include "face/face_finder.h"
#include "face/landmark_file.h"
#include "photo/photo.h"

namespace facefeature_tools {

// What is done about an orientation that the Exif data of a photograph tell.
enum class ExifRule {
  kIgnore,  // pixels as they are stored; a warning where they ask for a turn
  kApply    // pixels as they are to be seen
};

// The options of the verbs, which are also given to worker processes, and the word for a rule.
constexpr char kExifOption[] = "--exif";
constexpr char kFaceOption[] = "--face";
const char* exifWord(ExifRule rule);

// Throws Failure (kWrongUsage) for kApply where Exif data are not read.
void requireExif(ExifRule rule);

// Reads a photograph of a face. Throws Failure: kBadInput, also for pictures below 2 x 2 pixels,
// which the library refuses; and what requireExif throws.
Photo readFacePhoto(const std::string& verb, const std::string& path, ExifRule rule);

// The face with this number (1 is the largest) among those found. Without a number, the largest,
// and words where there are others. Throws Failure (kBadInput) when there is none.
const FoundFace& chosenFace(const std::string& verb, const std::string& photo,
                            const std::vector<FoundFace>& faces, size_t number);

// The landmarks of a face, and what makes them doubtful.
struct FaceLandmarks {
  LandmarkFile file;
  std::vector<std::string> doubts;
};

// The landmarks in a file; or, where its name is empty, of the chosen face that the detector finds.
// Doubts are said here already, as warnings that name the file or the photograph.
FaceLandmarks readFaceLandmarks(const std::string& verb, const std::string& photoPath,
                                const Photo& photo, const std::string& landmarksPath, size_t face);

// The landmarks of a found face as if they had been read from a file, with doubts about any face
// and those that the detector gives rise to.
FaceLandmarks landmarksOfFound(const FoundFace& face, const std::string& photoPath,
                               const Photo& photo);

// Says each doubt as a warning about the file with this path.
void sayDoubts(const std::string& verb, const std::string& path,
               const std::vector<std::string>& doubts);

}  // namespace facefeature_tools

#endif
