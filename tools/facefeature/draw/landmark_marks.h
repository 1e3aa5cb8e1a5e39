// Draws landmarks: each with its number, and the two sides of the face in two colours.
#ifndef FACEFEATURE_TOOLS_DRAW_LANDMARK_MARKS_H
#define FACEFEATURE_TOOLS_DRAW_LANDMARK_MARKS_H

#include <vector>

#include "draw/canvas.h"
#include "face/landmark_scheme.h"

namespace facefeature_tools {

constexpr Colour kLeftSide = {0.35, 0.85, 1.0};
constexpr Colour kMiddle = {1.0, 0.95, 0.55};
constexpr Colour kRightSide = {1.0, 0.62, 0.25};

// The colour of the side to which the id belongs, wherever the point is: if the sides are
// exchanged, so are the colours.
Colour colourOfId(int32_t id);

// The direction of an id's label from its point in an upright face, of unit length, chosen so that
// the label hides no other.
ImagePoint labelDirection(int32_t id);

// Draws one point with its number next to it, in this direction.
void drawMark(Canvas& canvas, int32_t id, ImagePoint position, ImagePoint direction,
              double textSize);

// Connects the points to a face: brows, eyes, nose, mouth, jaw. positions has one entry for each id
// of ids; a line with a missing end is left out.
void drawFaceLines(Canvas& canvas, const std::vector<int32_t>& ids,
                   const std::vector<ImagePoint>& positions, double width);

}  // namespace facefeature_tools

#endif
