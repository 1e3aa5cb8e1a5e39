// The 25 patches side by side.
#ifndef FACEFEATURE_TOOLS_DRAW_PATCH_SHEET_H
#define FACEFEATURE_TOOLS_DRAW_PATCH_SHEET_H

#include <vector>

#include "draw/canvas.h"
#include "face/face_patches.h"

namespace facefeature_tools {

constexpr double kPatchSheetHeight = 640.0;

// Draws the patches into an area of this height and of at least 1750 pixels' width, at its top left
// corner.
void drawPatchSheet(Canvas& canvas, ImagePoint corner, const std::vector<FacePatch>& patches);

}  // namespace facefeature_tools

#endif
