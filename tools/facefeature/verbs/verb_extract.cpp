#include "verbs/verb_extract.h"

#include <cmath>
#include <memory>
#include <utility>

#include "face/face_input.h"
#include "gallery/feature_file.h"
#include "model/default_model.h"
#include "verbs/extract_list_options.h"
#include "verbs/face_options.h"

namespace facefeature_tools {

FaceInput readFaceInput(const ExtractRequest& request) {
  Photo photo = readFacePhoto(kExtractVerb.name, request.photo, request.exif);
  FaceLandmarks face =
      readFaceLandmarks(kExtractVerb.name, request.photo, photo, request.landmarks, request.face);
  return {std::move(photo), std::move(face.file)};
}

void requireNumbers(const FeatureVector& feature, const std::string& model) {
  if (!std::isnan(feature.values[kFeatureFloats - 1])) return;
  throw Failure(kBadModel, model, "the feature is not a number",
                "Check the numbers of the model with \"facefeature model check\"");
}

FeatureVector featureOf(const FaceInput& face, const ModelSession& session) {
  const LandmarkRecord record = makeRecord(face.landmarks.landmarks);
  FeatureVector feature;
  session.library().extractFeature(session.engine().get(), face.photo.pixels.data(),
                                   face.photo.width, face.photo.height, face.photo.stride(),
                                   record.get(), feature.values);
  requireNumbers(feature, session.folder());
  return feature;
}

namespace {

ExitCode runExtract(const ExtractRequest& request) {
  const FaceInput face = readFaceInput(request);
  const ModelSession session(chosenModelFolder(request.model));
  writeFeatureFile(request.feature, featureOf(face, session));
  return kDone;
}

VerbRun define(Options& options) {
  auto request = std::make_shared<ExtractRequest>();
  options.add("PHOTO", request->photo, "JPEG, PNG or PPM file").required();
  addLandmarks(options, request->landmarks);
  options.add("-o,--output", request->feature, "Feature file to write, 2008 bytes (required)")
      .required()
      .valueName("FEATURE");
  options.add("--model", request->model, kModelFolderHelp).valueName("DIR");
  addExif(options, request->exif);
  addFace(options, request->face).excludes(options.named("LANDMARKS"));
  const auto list = std::make_shared<ExtractListOptions>(options);
  return [request, list] { return list->given() ? list->run(*request) : runExtract(*request); };
}

}  // namespace

const Verb kExtractVerb = {"extract", "Extract the feature of a face, or with --list those of many",
                           define};

}  // namespace facefeature_tools
