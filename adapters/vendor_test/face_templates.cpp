#include "face_templates.h"

#include <omp.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

#include "base/failure.h"
#include "base/little_endian.h"
#include "face/landmark_file.h"

namespace facefeature_adapter {

using namespace facefeature_tools;
using FRVT::ReturnCode;
using FRVT::ReturnStatus;

namespace {

constexpr size_t kFeatureBytes = 4 * kFeatureFloats;

// The detector's points of the eyes in the image, each from the left.
constexpr size_t kLeftInImage = 36;
constexpr size_t kRightInImage = 42;
constexpr size_t kEyePoints = 6;

// Makes the detector read the shape model in this folder, if it has one. Returns the folder.
const std::string& withShapeModel(const std::string& configDir) {
  const std::string file = configDir + "/shape_predictor_68_face_landmarks.dat";
  if (std::filesystem::exists(file)) setenv("FACEFEATURE_SHAPE_MODEL", file.c_str(), 1);
  return configDir;
}

void requireImage(const FRVT::Image& image) {
  if (image.data && image.width >= 2 && image.height >= 2 &&
      (image.depth == 8 || image.depth == 24)) {
    return;
  }
  throw std::invalid_argument("an image is not 2 x 2 pixels or more of 8 or 24 bits");
}

Photo photoOf(const FRVT::Image& image) {
  requireImage(image);
  Photo photo;
  photo.width = image.width;
  photo.height = image.height;
  const size_t pixels = size_t{image.width} * image.height;
  const bool isGray = image.depth == 8;
  const uint8_t* from = image.data.get();
  photo.pixels.reserve(3 * pixels);
  for (size_t i = 0; i < pixels; ++i, from += isGray ? 1 : 3) {
    for (int channel = 2; channel >= 0; --channel) {
      photo.pixels.push_back(isGray ? *from : from[channel]);
    }
  }
  return photo;
}

uint16_t pixelCoordinate(double value) {
  constexpr double kMax = std::numeric_limits<uint16_t>::max();
  return static_cast<uint16_t>(std::lround(std::min(std::max(value, 0.0), kMax)));
}

std::array<uint16_t, 2> centreOf(const SchemePoints& points, size_t first) {
  double x = 0, y = 0;
  for (size_t i = first; i < first + kEyePoints; ++i) {
    x += points[i].x / kEyePoints;
    y += points[i].y / kEyePoints;
  }
  return {pixelCoordinate(x), pixelCoordinate(y)};
}

FRVT::EyePair eyesOf(const FoundFace& face) {
  // The person's left eye is on the right in the image.
  const auto left = centreOf(face.points, kRightInImage);
  const auto right = centreOf(face.points, kLeftInImage);
  return FRVT::EyePair(true, true, left[0], left[1], right[0], right[1]);
}

}  // namespace

ReturnStatus statusOf(const std::function<ReturnStatus()>& step) {
  try {
    return step();
  } catch (const Failure& failure) {
    return {failure.code() == kBadModel ? ReturnCode::ConfigError : ReturnCode::VendorError,
            failure.what()};
  } catch (const std::invalid_argument& error) {
    return {ReturnCode::RefuseInput, error.what()};
  } catch (const std::bad_alloc&) {
    return {ReturnCode::MemoryError};
  } catch (const std::exception& error) {
    return {ReturnCode::UnknownError, error.what()};
  }
}

bool featuresOf(const Template& templ, std::vector<FeatureVector>& features) {
  features.clear();
  if (templ.empty() || templ.size() % kFeatureBytes != 0) return false;
  features.resize(templ.size() / kFeatureBytes);
  const uint8_t* bytes = templ.data();
  for (FeatureVector& feature : features) {
    for (float& value : feature.values) {
      value = getFloat(bytes);
      bytes += 4;
    }
  }
  return true;
}

double similarityOf(const LoadedLibrary& library, const std::vector<FeatureVector>& a,
                    const std::vector<FeatureVector>& b) {
  float best = -std::numeric_limits<float>::infinity();
  for (const FeatureVector& one : a) {
    for (const FeatureVector& other : b)
      best = std::max(best, library.compareFeatures(&one, &other));
  }
  return best;
}

TemplateMaker::TemplateMaker(const std::string& configDir) : session_(withShapeModel(configDir)) {}

ReturnStatus TemplateMaker::create(const std::vector<FRVT::Image>& faces, Template& templ,
                                   std::vector<FRVT::EyePair>& eyes) const {
  templ.clear();
  eyes.assign(faces.size(), FRVT::EyePair());
  std::for_each(faces.begin(), faces.end(), requireImage);
  Template features;
  for (size_t i = 0; i < faces.size(); ++i) {
    const Photo photo = photoOf(faces[i]);
    const std::vector<FoundFace> found = finder_.find(photo);
    if (found.empty()) continue;
    append(photo, found.front(), features);
    eyes[i] = eyesOf(found.front());
  }
  templ = std::move(features);
  return templ.empty() ? ReturnCode::FaceDetectionError : ReturnCode::Success;
}

ReturnStatus TemplateMaker::createAll(const FRVT::Image& image, std::vector<Template>& templates,
                                      std::vector<FRVT::EyePair>& eyes) const {
  templates.clear();
  eyes.clear();
  const Photo photo = photoOf(image);
  for (const FoundFace& face : finder_.find(photo)) {
    Template templ;
    append(photo, face, templ);
    templates.push_back(std::move(templ));
    eyes.push_back(eyesOf(face));
  }
  return templates.empty() ? ReturnCode::FaceDetectionError : ReturnCode::Success;
}

void TemplateMaker::append(const Photo& photo, const FoundFace& face, Template& templ) const {
  // The harness runs a process for each processor. The setting is the thread's.
  omp_set_num_threads(1);
  const LandmarkRecord record = makeRecord(face.landmarks);
  FeatureVector feature;
  library().extractFeature(session_.engine().get(), photo.pixels.data(), photo.width, photo.height,
                           photo.stride(), record.get(), feature.values);
  if (std::isnan(feature.values[kFeatureFloats - 1])) {
    throw std::runtime_error("the feature is not a number");
  }
  const size_t start = templ.size();
  templ.resize(start + kFeatureBytes);
  for (size_t i = 0; i < kFeatureFloats; ++i) {
    putFloat(feature.values[i], templ.data() + start + 4 * i);
  }
}

}  // namespace facefeature_adapter
