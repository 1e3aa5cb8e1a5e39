// The 29 model points as a picture, for people who map the points of another detector.
#include <vector>

#include "draw/canvas.h"
#include "draw/face_picture.h"
#include "draw/landmark_marks.h"
#include "face/head_fit.h"
#include "geometry/model_points.h"

namespace facefeature_tools {
namespace {

constexpr double kWidth = 1760.0;
constexpr double kHeight = 940.0;
constexpr double kPixels = 54.0;   // for a model unit
constexpr double kTop = 400.0;     // where Y is 0
constexpr double kFrontX = 480.0;  // where X is 0 in the view from the front
constexpr double kSideX = 960.0;   // where Z is 0 in the view from the side

// The ids that have a point of their own.
std::vector<int32_t> pointIds() {
  std::vector<int32_t> ids;
  for (int32_t id = 0; id < facefeature::kLandmarkIds; ++id) {
    if (id == 0 || facefeature::ModelPointIndex[id] != 0) ids.push_back(id);
  }
  return ids;
}

// In the side view, the points of an eye and of a brow are close together.
ImagePoint sideLabelDirection(int32_t id) {
  const bool isOuter = id == 5 || id == 13 || id == 43 || id == 225;
  if (isOuter) return {-1.0, 0.0};
  const bool isInner = id == 4 || id == 227;
  return isInner ? ImagePoint{1.0, 0.0} : labelDirection(id);
}

}  // namespace

void writeModelPointsPicture(const std::string& path) {
  Canvas canvas(static_cast<int>(kWidth), static_cast<int>(kHeight));
  std::vector<int32_t> sideIds;
  std::vector<ImagePoint> front, side;
  const std::vector<int32_t> ids = pointIds();
  for (const int32_t id : ids) {
    const float* point = modelPointOf(id);
    const double y = kTop + kPixels * static_cast<double>(point[1]);
    front.push_back({kFrontX + kPixels * static_cast<double>(point[0]), y});
    // In the side view, the two points of a pair would hide each other.
    if (point[0] < -1.0f) continue;
    sideIds.push_back(id);
    side.push_back({kSideX + kPixels * static_cast<double>(point[2]), y});
  }
  drawFaceLines(canvas, ids, front, 1.5);
  drawFaceLines(canvas, sideIds, side, 1.5);
  for (size_t i = 0; i < ids.size(); ++i) {
    drawMark(canvas, ids[i], front[i], labelDirection(ids[i]), 20.0);
  }
  for (size_t i = 0; i < sideIds.size(); ++i) {
    drawMark(canvas, sideIds[i], side[i], sideLabelDirection(sideIds[i]), 20.0);
  }
  const double low = kHeight - 90.0;
  canvas.text({kFrontX, low}, "from the front: X to the right, Y down", 18.0, kInk,
              TextAnchor::kMiddle);
  canvas.text({1350.0, low}, "from the side: Z out of the face", 18.0, kInk, TextAnchor::kMiddle);
  canvas.text({kFrontX - 250.0, low + 32.0}, "left of the picture", 16.0, kLeftSide,
              TextAnchor::kMiddle);
  canvas.text({kFrontX, low + 32.0}, "middle", 16.0, kMiddle, TextAnchor::kMiddle);
  canvas.text({kFrontX + 250.0, low + 32.0}, "right of the picture", 16.0, kRightSide,
              TextAnchor::kMiddle);
  canvas.write(path);
}

}  // namespace facefeature_tools
