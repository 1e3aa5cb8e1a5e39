#include "face/face_checks.h"

#include <cmath>
#include <cstdio>
#include <optional>

#include "face/head_fit.h"

namespace facefeature_tools {
namespace {

// Truncates a long list to a helpful length.
constexpr size_t kIdsNamed = 5;

std::string withDigits(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string sizeWarning(const LandmarkFile& file, const std::string& photo, int32_t width,
                        int32_t height) {
  const bool sameWidth = !file.width || *file.width == width;
  const bool sameHeight = !file.height || *file.height == height;
  if (sameWidth && sameHeight) return "";
  const auto text = [](const std::optional<int64_t>& side) {
    return side ? std::to_string(*side) : std::string("?");
  };
  return "the landmarks are for a picture of " + text(file.width) + " x " + text(file.height) +
         " pixels, but " + photo + " has " + std::to_string(width) + " x " +
         std::to_string(height) +
         ". Use the landmarks of this file; the orientation in its Exif data is applied only with "
         "--exif apply.";
}

// A pixel extends half a pixel around its centre.
bool isInside(const Landmark& landmark, int32_t width, int32_t height) {
  return landmark.x >= -0.5f && landmark.y >= -0.5f &&
         static_cast<double>(landmark.x) <= width - 0.5 &&
         static_cast<double>(landmark.y) <= height - 0.5;
}

std::string positionWarning(const std::vector<Landmark>& landmarks, int32_t width, int32_t height) {
  std::string ids;
  size_t outside = 0;
  for (const Landmark& landmark : landmarks) {
    if (isInside(landmark, width, height)) continue;
    if (outside < kIdsNamed) ids += (outside == 0 ? "" : ", ") + std::to_string(landmark.id);
    if (outside == kIdsNamed) ids += ", ...";
    ++outside;
  }
  if (outside == 0) return "";
  return std::to_string(outside) + " of " + std::to_string(landmarks.size()) +
         " landmarks are outside the picture (id " + ids +
         "). They may belong to another picture, or to another size of it.";
}

std::string poseWarning(const HeadFit& fit) {
  if (!fit.facesCamera()) {
    // The second row of the rotation gives the direction of the chin.
    const bool chinUp = fit.rotation[4] < 0.0f;
    return std::string("the face is mirrored: ") +
           (chinUp ? "y seems to run up instead of down."
                   : "left and right of the landmarks seem to be swapped. Left is the left side "
                     "of the picture.");
  }
  if (std::fabs(fit.roll) > 90.0f) {
    return "the head is upside down, rotated by " +
           withDigits("%.0f", static_cast<double>(fit.roll)) +
           " degrees. Check that the photograph really is.";
  }
  return "";
}

std::string fitWarning(const HeadFit& fit) {
  if (fit.residual <= kLargestResidual) return "";
  return "the landmarks are on average " + withDigits("%.2f", fit.residual) +
         " units off the shape of a head, and good ones less than " +
         withDigits("%.1f", kLargestResidual) +
         " (the eyes are 6.3 apart). Ids may be mixed up, or one of the coordinates stretched.";
}

}  // namespace

std::vector<std::string> faceWarnings(const LandmarkFile& file, const std::string& photo,
                                      int32_t width, int32_t height) {
  std::vector<std::string> warnings;
  const auto add = [&warnings](const std::string& warning) {
    if (!warning.empty()) warnings.push_back(warning);
  };
  if (!file.warning.empty()) {
    add("not a full record of 29 landmarks: " + file.warning +
        ". Compare the feature only with features of such records.");
  }
  add(sizeWarning(file, photo, width, height));
  add(positionWarning(file.landmarks, width, height));
  const HeadFit fit = fitHead(file.landmarks);
  if (fit.isGood) {
    add(poseWarning(fit));
    add(fitWarning(fit));
  } else {
    add("no head can be fitted to the landmarks. Are all of them at one point, or on one line?");
  }
  return warnings;
}

}  // namespace facefeature_tools
