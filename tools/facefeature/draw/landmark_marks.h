// How landmarks are drawn: each with its number, and the two sides of the face in two colours.
#ifndef FACEFEATURE_TOOLS_DRAW_LANDMARK_MARKS_H
#define FACEFEATURE_TOOLS_DRAW_LANDMARK_MARKS_H

#include <vector>

#include "draw/canvas.h"
#include "face/landmark_scheme.h"

namespace facefeature_tools {

constexpr Colour kLeftSide = {0.35, 0.85, 1.0};
constexpr Colour kMiddle = {1.0, 0.95, 0.55};
constexpr Colour kRightSide = {1.0, 0.62, 0.25};

// The colour of the side that the id belongs to, wherever the point is: where the two are
// exchanged, the colours are.
Colour colourOfId(int32_t id);

// Where the label of an id stands to its point in an upright face, so that it hides no other: a
// direction of unit length.
ImagePoint labelDirection(int32_t id);

// Draws one point with its number beside it, in this direction.
void drawMark(Canvas& canvas, int32_t id, ImagePoint place, ImagePoint direction, double textSize);

// Lines that make a face of the points: brows, eyes, nose, mouth, jaw. places has one entry for
// each id of ids; a line with an end that is missing is left out.
void drawFaceLines(Canvas& canvas, const std::vector<int32_t>& ids,
                   const std::vector<ImagePoint>& places, double width);

}  // namespace facefeature_tools

#endif
