#include "face/landmark_scheme.h"

#include <cmath>

namespace facefeature_tools {
namespace {

struct Share {
  int point;
  double weight;
};

constexpr int kMaxShares = 4;

// A landmark is a weighted sum of points. The weights of each row add up to 1, so that a landmark
// moves, turns and scales with its face.
struct SchemeRow {
  int32_t id;
  Share shares[kMaxShares];  // unused entries have the weight 0
};

// A landmark that is not a point of the scheme is on a line through such points: the bridge between
// the eyes, for example, is a little below point 27 on the way to point 28. The lower lids, the
// nostril wings and the sides of the head are outside of the points, so some weights are negative.
constexpr SchemeRow kRows[] = {
    {0, {{37, 0.25}, {38, 0.25}, {40, 0.25}, {41, 0.25}}},
    {1, {{43, 0.25}, {44, 0.25}, {46, 0.25}, {47, 0.25}}},
    {2, {{17, 1.0}}},
    {3, {{21, 0.65}, {20, 0.35}}},
    {4, {{22, 0.65}, {23, 0.35}}},
    {5, {{26, 1.0}}},
    {6, {{27, 0.85}, {28, 0.15}}},
    {9, {{30, 1.0}}},
    {10, {{51, 1.0}}},
    {11, {{57, 1.0}}},
    {12, {{48, 1.0}}},
    {13, {{54, 1.0}}},
    {43, {{35, 1.1}, {33, -0.3}, {30, 0.2}}},
    {44, {{31, 1.1}, {33, -0.3}, {30, 0.2}}},
    {45, {{62, 0.5}, {66, 0.5}}},
    {200, {{33, 1.0}}},
    {221, {{39, 1.0}}},
    {222, {{40, 0.625}, {41, 0.625}, {37, -0.125}, {38, -0.125}}},
    {223, {{36, 1.0}}},
    {225, {{45, 1.0}}},
    {226, {{46, 0.625}, {47, 0.625}, {43, -0.125}, {44, -0.125}}},
    {227, {{42, 1.0}}},
    {240, {{2, 1.035}, {14, -0.035}}},
    {241, {{14, 1.035}, {2, -0.035}}},
    {300, {{19, 1.0}}},
    {302, {{24, 1.0}}},
    {314, {{57, 0.28}, {8, 0.72}}},
    {315, {{4, 1.035}, {12, -0.035}}},
    {316, {{12, 1.035}, {4, -0.035}}},
};

float hundredths(double coordinate) {
  return static_cast<float>(std::round(coordinate * 100.0) / 100.0);
}

}  // namespace

std::vector<Landmark> landmarksFrom68(const SchemePoints& points) {
  std::vector<Landmark> landmarks;
  for (const SchemeRow& row : kRows) {
    ImagePoint sum = {0.0, 0.0};
    for (const Share& share : row.shares) {
      sum.x += share.weight * points[static_cast<size_t>(share.point)].x;
      sum.y += share.weight * points[static_cast<size_t>(share.point)].y;
    }
    landmarks.push_back({row.id, hundredths(sum.x), hundredths(sum.y)});
  }
  return landmarks;
}

}  // namespace facefeature_tools
