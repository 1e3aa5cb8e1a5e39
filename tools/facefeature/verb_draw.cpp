#include "verb_draw.h"

#include "face_picture.h"

namespace facefeature_tools {

bool facesCanBeDrawn() { return true; }

ExitCode runDraw(const DrawRequest& request) {
  if (request.modelPoints) {
    writeModelPointsPicture(request.picture);
    return kDone;
  }
  if (request.photo.empty()) {
    throw Failure(kWrongUsage, "PHOTO", "is required",
                  "Give a photograph, or --model-points alone");
  }
  const Photo photo = readFacePhoto(kDrawVerb, request.photo, request.exif);
  const FaceLandmarks face =
      readFaceLandmarks(kDrawVerb, request.photo, photo, request.landmarks, request.face);
  writeFacePicture(request.picture, request.photo, photo, face.file, face.doubts);
  return kDone;
}

}  // namespace facefeature_tools
