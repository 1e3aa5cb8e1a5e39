#include "draw/patch_sheet.h"

#include <algorithm>

namespace facefeature_tools {
namespace {

constexpr size_t kColumns = 7;
constexpr double kCellWidth = 250.0;
constexpr double kCellHeight = 160.0;
constexpr double kPixel = 2.0;  // width of a patch's pixel in pixels of the sheet
constexpr double kGap = 6.0;
constexpr double kTextHeight = 42.0;
constexpr double kRows = 4.0;                             // of seven cells each, for 25 nets
constexpr double kPatchRoom = kCellHeight - kTextHeight;  // for the patches of each additional face

uint8_t byteOf(float value) { return static_cast<uint8_t>(std::clamp(value, 0.0f, 255.0f)); }

Photo photoOf(const FacePatch& patch, const std::vector<float>& sample) {
  Photo photo = makePhoto(static_cast<uint64_t>(patch.side), static_cast<uint64_t>(patch.side));
  const size_t pixels = static_cast<size_t>(patch.side) * static_cast<size_t>(patch.side);
  for (size_t i = 0; i < pixels; ++i) {
    for (size_t channel = 0; channel < 3; ++channel) {
      // In a patch the red plane is first, in a photograph the blue byte of a pixel.
      const size_t plane = patch.planes == 3 ? 2 - channel : 0;
      photo.pixels[3 * i + channel] = byteOf(sample[plane * pixels + i]);
    }
  }
  return photo;
}

// Margins are not part of the face, so they have the colour of the panel.
void coverMargins(Canvas& canvas, const Area& area, const FacePatch& patch) {
  const double columns = patch.columnMargin * kPixel;
  const double rows = patch.rowMargin * kPixel;
  canvas.fill({area.x, area.y, columns, area.height}, kPanel);
  canvas.fill({area.x + area.width - columns, area.y, columns, area.height}, kPanel);
  canvas.fill({area.x, area.y, area.width, rows}, kPanel);
  canvas.fill({area.x, area.y + area.height - rows, area.width, rows}, kPanel);
}

void drawSample(Canvas& canvas, ImagePoint corner, const FacePatch& patch,
                const std::vector<float>& sample) {
  const Canvas::Surface surface = Canvas::surfaceOf(photoOf(patch, sample), "a patch");
  const double side = patch.side * kPixel;
  canvas.picture(surface.get(), {corner.x + kPixel / 2.0, corner.y + kPixel / 2.0}, kPixel, true);
  coverMargins(canvas, {corner.x, corner.y, side, side}, patch);
}

std::string idsOf(const FacePatch& patch) {
  std::string ids = "id " + std::to_string(patch.directId);
  if (patch.mirrorId != patch.directId) ids += " | " + std::to_string(patch.mirrorId);
  return ids;
}

}  // namespace

double patchSheetHeight(size_t faces) {
  return kPatchSheetHeight + kRows * static_cast<double>(faces - 1) * kPatchRoom;
}

void drawPatchSheet(Canvas& canvas, ImagePoint corner, const std::vector<FacePatch>& patches) {
  drawPatchSheets(canvas, corner, {patches});
}

void drawPatchSheets(Canvas& canvas, ImagePoint corner,
                     const std::vector<std::vector<FacePatch>>& faces) {
  const double height = kCellHeight + static_cast<double>(faces.size() - 1) * kPatchRoom;
  for (size_t i = 0; i < faces.front().size(); ++i) {
    const FacePatch& patch = faces.front()[i];
    const double x = corner.x + static_cast<double>(i % kColumns) * kCellWidth;
    const double y = corner.y + static_cast<double>(i / kColumns) * height;
    const double side = patch.side * kPixel;
    canvas.fill({x, y, kCellWidth - kGap, height - kGap}, kPanel);
    canvas.text({x + 8.0, y + 14.0}, "net " + std::to_string(i), 15.0, kInk);
    canvas.text({x + 70.0, y + 14.0}, patch.planes == 3 ? "colour" : "gray", 14.0, kFaintInk);
    canvas.text({x + 8.0, y + 33.0}, idsOf(patch) + ", span " + std::to_string(patch.span), 13.0,
                kFaintInk);
    const double left = x + (kCellWidth - kGap - 2.0 * side - kGap) / 2.0;
    for (size_t face = 0; face < faces.size(); ++face) {
      const double top = y + kTextHeight + (kCellHeight - kGap - kTextHeight - side) / 2.0 - 1.0 +
                         static_cast<double>(face) * kPatchRoom;
      drawSample(canvas, {left, top}, faces[face][i], faces[face][i].direct);
      drawSample(canvas, {left + side + kGap, top}, faces[face][i], faces[face][i].mirrored);
    }
  }
}

}  // namespace facefeature_tools
