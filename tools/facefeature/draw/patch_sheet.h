// The 25 patches side by side, of one face or of several.
#ifndef FACEFEATURE_TOOLS_DRAW_PATCH_SHEET_H
#define FACEFEATURE_TOOLS_DRAW_PATCH_SHEET_H

#include <cstddef>
#include <vector>

#include "draw/canvas.h"
#include "face/face_patches.h"

namespace facefeature_tools {

// The height of the sheet of one face.
constexpr double kPatchSheetHeight = 640.0;
double patchSheetHeight(size_t faces);

// Draws the patches into an area of this height and of at least 1750 pixels' width, at its top left
// corner.
void drawPatchSheet(Canvas& canvas, ImagePoint corner, const std::vector<FacePatch>& patches);

// Draws the patches of several faces; for each net, those of one face are above those of the next.
// REQUIRES: one face or more.
void drawPatchSheets(Canvas& canvas, ImagePoint corner,
                     const std::vector<std::vector<FacePatch>>& faces);

}  // namespace facefeature_tools

#endif
