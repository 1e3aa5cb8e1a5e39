#include "verbs/verb_landmarks.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "base/whole_file.h"
#include "face/face_input.h"
#include "face/face_photo.h"
#include "verbs/face_options.h"

namespace facefeature_tools {
namespace {

struct LandmarksRequest {
  std::string photo;
  std::string landmarks;  // file to write; empty: standard output
  ExifRule exif = ExifRule::kIgnore;
  size_t face = 0;  // as in ExtractRequest
  bool all = false;
};

double hundredths(double value) { return std::round(value * 100.0) / 100.0; }

void writeText(const std::string& path, const std::string& text) {
  writeWholeFile(path, reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

void printText(const std::string& text) {
  const bool whole = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (whole && std::fflush(stdout) == 0) return;
  throw Failure(kFailed, "standard output", "can't be written: " + systemMessage(errno),
                "Redirect it to a disk with free space");
}

}  // namespace

std::string numberedName(const std::string& path, size_t number) {
  const std::filesystem::path whole(path);
  std::filesystem::path name = whole.stem();
  name += "_" + std::to_string(number);
  name += whole.extension();
  return (whole.parent_path() / name).string();
}

std::string foundFaceText(const std::string& photoPath, const Photo& photo, const FoundFace& face) {
  // In this order, with one point per line, so that people can read it.
  nlohmann::ordered_json document;
  document["image"] = std::filesystem::path(photoPath).filename().string();
  document["width"] = photo.width;
  document["height"] = photo.height;
  document["detector"] = faceDetectorName();
  document["face"] = {hundredths(face.left), hundredths(face.top), hundredths(face.right),
                      hundredths(face.bottom)};
  const auto line = [](const nlohmann::ordered_json& value) {
    // A file name need not be UTF-8, but JSON must be.
    return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  };
  std::string text = line(document);
  text.pop_back();
  text += ",\n \"landmarks\": [";
  for (size_t i = 0; i < face.landmarks.size(); ++i) {
    const Landmark& landmark = face.landmarks[i];
    nlohmann::ordered_json entry;
    entry["id"] = landmark.id;
    entry["x"] = hundredths(static_cast<double>(landmark.x));
    entry["y"] = hundredths(static_cast<double>(landmark.y));
    text += (i == 0 ? "\n  " : ",\n  ") + line(entry);
  }
  nlohmann::ordered_json points = nlohmann::ordered_json::array();
  for (const ImagePoint& point : face.points) {
    points.push_back({hundredths(point.x), hundredths(point.y)});
  }
  return text + "\n ],\n \"points68\": " + line(points) + "}\n";
}

namespace {

ExitCode runLandmarks(const LandmarksRequest& request) {
  const FaceFinder finder;
  const Photo photo = readFacePhoto(kLandmarksVerb.name, request.photo, request.exif);
  const std::vector<FoundFace> found = finder.find(photo);
  const FoundFace& chosen =
      chosenFace(kLandmarksVerb.name, request.photo, found, request.all ? 1 : request.face);
  const std::vector<FoundFace> wanted = request.all ? found : std::vector<FoundFace>{chosen};
  for (size_t i = 0; i < wanted.size(); ++i) {
    const std::string text = foundFaceText(request.photo, photo, wanted[i]);
    const FaceLandmarks landmarks = landmarksOfFound(wanted[i], request.photo, photo);
    printWarnings(kLandmarksVerb.name, request.photo, landmarks.warnings);
    if (request.landmarks.empty()) {
      printText(text);
    } else {
      writeText(request.all ? numberedName(request.landmarks, i + 1) : request.landmarks, text);
    }
  }
  return kDone;
}

VerbRun define(Options& options) {
  auto request = std::make_shared<LandmarksRequest>();
  options.add("PHOTO", request->photo, "JPEG, PNG or PPM file").required();
  options.add("-o,--output", request->landmarks, "JSON file to write; without it, standard output")
      .valueName("FILE");
  addExif(options, request->exif);
  options
      .addFlag("--all", request->all,
               "Every face that is found, largest first: FILE_1.json, FILE_2.json, ...")
      .excludes(addFace(options, request->face));
  return [request] { return runLandmarks(*request); };
}

}  // namespace

const Verb kLandmarksVerb = {"landmarks", "Find the landmarks of a face in a photograph", define};

}  // namespace facefeature_tools
