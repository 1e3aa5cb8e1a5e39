#include "verbs/verb_draw.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>

#include "draw/face_picture.h"
#include "face/face_input.h"
#include "face/face_photo.h"
#include "verbs/face_options.h"

namespace facefeature_tools {
namespace {

struct DrawRequest {
  std::string photo;      // empty if modelPoints is set
  std::string landmarks;  // empty: the detector finds the face
  std::string picture;    // PNG file to write
  ExifRule exif = ExifRule::kIgnore;
  size_t face = 0;  // as in ExtractRequest
  bool modelPoints = false;
};

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
  const Photo photo = readFacePhoto(kDrawVerb.name, request.photo, request.exif);
  const FaceLandmarks face =
      readFaceLandmarks(kDrawVerb.name, request.photo, photo, request.landmarks, request.face);
  writeFacePicture(request.picture, request.photo, photo, face.file, face.warnings);
  return kDone;
}

std::string pngName(const std::string& path) {
  return std::filesystem::path(path).extension() == ".png" ? "" : path + " does not end in .png";
}

VerbRun define(Options& options) {
  auto request = std::make_shared<DrawRequest>();
  options.add("PHOTO", request->photo, "JPEG, PNG or PPM file");
  options.add("LANDMARKS", request->landmarks, "JSON file with its landmarks");
  options.add("-o,--output", request->picture, "PNG file to write (required)")
      .check(pngName)
      .required()
      .valueName("FILE.png");
  addExif(options, request->exif);
  addFace(options, request->face).excludes(options.named("LANDMARKS"));
  options
      .addFlag("--model-points", request->modelPoints,
               "Draw the 29 points of the rigid head with their ids instead of a photograph")
      .excludes(options.named("PHOTO"));
  return [request] { return runDraw(*request); };
}

}  // namespace

const Verb kDrawVerb = {"draw", "Draw what the library sees of a face", define};

}  // namespace facefeature_tools
