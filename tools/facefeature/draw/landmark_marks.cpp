#include "draw/landmark_marks.h"

#include <algorithm>
#include <cmath>

#include "face/head_fit.h"

namespace facefeature_tools {
namespace {

constexpr double kPi = 3.14159265358979323846;

// The direction of a label from its point in an upright face: degrees clockwise from the right of
// the picture.
struct LabelPosition {
  int32_t id;
  double degrees;
};

constexpr LabelPosition kLabels[] = {
    {0, 270},   {1, 270},   {2, 200},   {3, 300},   {4, 240},  {5, 340},   {6, 90},    {9, 0},
    {10, 270},  {11, 90},   {12, 180},  {13, 0},    {43, 0},   {44, 180},  {45, 0},    {200, 0},
    {221, 35},  {222, 90},  {223, 180}, {225, 0},   {226, 90}, {227, 145}, {240, 180}, {241, 0},
    {300, 270}, {302, 270}, {314, 90},  {315, 180}, {316, 0},
};

struct FaceLine {
  int32_t from;
  int32_t to;
};

constexpr FaceLine kLines[] = {
    {2, 300},   {300, 3},   {4, 302},   {302, 5},                         // brows
    {223, 0},   {0, 221},   {223, 222}, {222, 221},                       // left eye
    {227, 1},   {1, 225},   {227, 226}, {226, 225},                       // right eye
    {6, 9},     {44, 9},    {9, 43},    {44, 200},  {200, 43},            // nose
    {12, 10},   {10, 13},   {12, 11},   {11, 13},   {12, 45},  {45, 13},  // mouth
    {240, 315}, {315, 314}, {314, 316}, {316, 241},                       // jaw
};

}  // namespace

Colour colourOfId(int32_t id) {
  const float x = modelPointOf(id)[0];
  return x < -1.0f ? kLeftSide : x > 1.0f ? kRightSide : kMiddle;
}

ImagePoint labelDirection(int32_t id) {
  double degrees = 270.0;
  for (const LabelPosition& label : kLabels) {
    if (label.id == id) degrees = label.degrees;
  }
  const double angle = degrees * kPi / 180.0;
  return {std::cos(angle), std::sin(angle)};
}

void drawMark(Canvas& canvas, int32_t id, ImagePoint position, ImagePoint direction,
              double textSize) {
  const Colour colour = colourOfId(id);
  const double radius = textSize * 0.22;
  canvas.disc(position, radius + 1.2, kBackground);
  canvas.disc(position, radius, colour);
  const std::string number = std::to_string(id);
  const double reach = radius + 3.0;
  const double halfWidth = canvas.textWidth(number, textSize) / 2.0;
  const ImagePoint middle = {position.x + direction.x * (reach + halfWidth),
                             position.y + direction.y * (reach + textSize * 0.4)};
  canvas.text(middle, number, textSize, colour, TextAnchor::kMiddle);
}

void drawFaceLines(Canvas& canvas, const std::vector<int32_t>& ids,
                   const std::vector<ImagePoint>& positions, double width) {
  const auto indexOf = [&ids](int32_t id) {
    return static_cast<size_t>(std::find(ids.begin(), ids.end(), id) - ids.begin());
  };
  for (const FaceLine& line : kLines) {
    const size_t from = indexOf(line.from);
    const size_t to = indexOf(line.to);
    if (from == ids.size() || to == ids.size()) continue;
    canvas.line(positions[from], positions[to], kFaintInk, width);
  }
}

}  // namespace facefeature_tools
