#include "verbs/verb_view.h"

#include <cmath>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/float_text.h"
#include "base/output_file.h"
#include "base/standard_output.h"
#include "draw/face_picture.h"
#include "draw/pair_picture.h"
#include "evaluation/report_numbers.h"
#include "evaluation/score_distributions.h"
#include "face/face_finder.h"
#include "face/face_input.h"
#include "model/default_model.h"
#include "model/model_fingerprint.h"
#include "page/html.h"
#include "photo/thumbnail.h"
#include "verbs/face_options.h"
#include "verbs/verb_extract.h"

namespace facefeature_tools {
namespace {

constexpr int32_t kPhotoSide = 900;

struct ViewRequest {
  std::string photos[2];
  std::string landmarks[2];  // empty: the detector finds the face
  std::string output;        // .html or .png; empty: a page on standard output
  std::string model;         // folder; empty: chosenModelFolder() decides
  std::string evaluation;    // JSON report, or empty
  ExifRule exif = ExifRule::kIgnore;
};

bool isPicture(const std::string& path) {
  return std::filesystem::path(path).extension() == ".png";
}

FaceInput readFace(const ViewRequest& request, size_t i) {
  Photo photo = readFacePhoto(kViewVerb.name, request.photos[i], request.exif);
  FaceLandmarks face =
      readFaceLandmarks(kViewVerb.name, request.photos[i], photo, request.landmarks[i], 0);
  return {std::move(photo), std::move(face.file)};
}

float scoreOf(const FaceInput& first, const FaceInput& second, const std::string& model) {
  const ModelSession session(model);
  const FeatureVector a = featureOf(first, session);
  const FeatureVector b = featureOf(second, session);
  return session.library().compareFeatures(&a, &b);
}

std::optional<ScoreDistributions> distributionsFor(const ViewRequest& request,
                                                   const std::string& model) {
  if (request.evaluation.empty()) return std::nullopt;
  ScoreDistributions distributions = readScoreDistributions(request.evaluation);
  const Digest fingerprint = modelFingerprint(model);
  if (distributions.model == fingerprint) return distributions;
  throw Failure(
      kBadModel, request.evaluation + ", " + model,
      "are of different models, " + hexText(distributions.model) + " and " + hexText(fingerprint),
      "Evaluate this model, or name the other with --model");
}

// The rates of an evaluation at a score.
std::string scoreMeaning(const ScoreDistributions& distributions, float score) {
  const OperatingPoint rates = ratesBelow(distributions, score);
  return "In the evaluation, at most " + percentText(rates.falsePositiveRate) +
         " of the comparisons of two people score as high, and at least " +
         percentText(rates.falseNegativeRate) + " of those of one person score lower.";
}

std::string pageOf(const ViewRequest& request, const PictureFace& first, const PictureFace& second,
                   float score, const std::optional<ScoreDistributions>& distributions) {
  const auto card = [](const PictureFace& face) {
    const std::string name = std::filesystem::path(face.path).filename().string();
    const std::vector<uint8_t> jpeg = encodeJpeg(reducedPhoto(face.photo, kPhotoSide), 88);
    return htmlFigure("<img class=\"half\" src=\"" + dataUri("image/jpeg", jpeg) + "\" alt=\"" +
                          htmlText(name) + "\">",
                      htmlText(name));
  };
  std::string html = "<p>Score <strong>" + htmlText(floatText(score)) + "</strong></p>\n";
  html += htmlCards({card(first), card(second)});
  if (distributions) {
    html +=
        htmlFigure(distributionsChart(*distributions, &score, "this score"),
                   htmlText(scoreMeaning(*distributions, score) + " (" +
                            std::filesystem::path(request.evaluation).filename().string() + ")"));
  }
  html +=
      "<h2>What the nets read</h2>\n<p>Each net reads a patch of the face, as it is and "
      "mirrored: above those of the first face, below those of the second. Margins are blank "
      "for the net.</p>\n";
  html += htmlFigure("<img class=\"wide\" src=\"" +
                         dataUri("image/png", patchPairPicture(first, second)) +
                         "\" alt=\"The patches of both faces\">",
                     "The patches of both faces, net by net.");
  return htmlPage("Two faces", html);
}

ExitCode runView(const ViewRequest& request) {
  requireDrawing();
  FaceInput faces[2] = {readFace(request, 0), readFace(request, 1)};
  const std::string model = chosenModelFolder(request.model);
  const auto distributions = distributionsFor(request, model);
  const float score = scoreOf(faces[0], faces[1], model);
  const PictureFace first = {request.photos[0], std::move(faces[0].photo),
                             faces[0].landmarks.landmarks};
  const PictureFace second = {request.photos[1], std::move(faces[1].photo),
                              faces[1].landmarks.landmarks};
  if (isPicture(request.output)) {
    const std::string text = "Score " + floatText(score) + ". " +
                             (distributions ? scoreMeaning(*distributions, score) : "");
    const std::vector<uint8_t> png = pairPicture(first, second, text);
    OutputFile file(request.output);
    file.write(png.data(), png.size());
    file.publish();
    return kDone;
  }
  const std::string page = pageOf(request, first, second, score, distributions);
  if (request.output.empty()) {
    printData(page);
    finishData();
    return kDone;
  }
  OutputFile file(request.output);
  file.write(page);
  file.publish();
  return kDone;
}

std::string outputName(const std::string& path) {
  const std::string ending = std::filesystem::path(path).extension().string();
  return ending == ".html" || ending == ".png" ? "" : path + " does not end in .html or .png";
}

VerbRun define(Options& options) {
  auto request = std::make_shared<ViewRequest>();
  const char* const photo = "JPEG, PNG or PPM file";
  options.add("A", request->photos[0], photo).required();
  options.add("B", request->photos[1], photo).required();
  const char* const names[2] = {"--landmarks-a", "--landmarks-b"};
  for (size_t i = 0; i < 2; ++i) {
    Option landmarks =
        options.add(names[i], request->landmarks[i],
                    facesCanBeFound() ? "JSON file with its landmarks; without it, they are found"
                                      : "JSON file with its landmarks (required)");
    landmarks.valueName("FILE.json");
    if (!facesCanBeFound()) landmarks.required();
  }
  options
      .add("-o,--output", request->output,
           "Page or picture to write; without it, a page on standard output")
      .check(outputName)
      .valueName("FILE.html|FILE.png");
  options.add("--model", request->model, kModelFolderHelp).valueName("DIR");
  options
      .add("--evaluation", request->evaluation,
           "JSON report of facefeature evaluate for this model: shows where the score is among its "
           "scores")
      .valueName("FILE.json");
  addExif(options, request->exif);
  return [request] { return runView(*request); };
}

}  // namespace

const Verb kViewVerb = {"view", "Show two faces, what the nets read of them, and their score",
                        define};

}  // namespace facefeature_tools
