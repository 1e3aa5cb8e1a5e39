#include "verbs/verb_draw.h"

#include "draw/face_picture.h"

namespace facefeature_tools {

ExitCode runDraw(const DrawRequest& request) {
  requireDrawing();
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
