#include "draw/pair_picture.h"

#include <algorithm>

#include "draw/canvas.h"
#include "draw/patch_sheet.h"
#include "face/face_patches.h"

namespace facefeature_tools {
namespace {

constexpr double kRim = 16.0;
constexpr double kWidth = 1750.0 + 2.0 * kRim;
constexpr double kLine = 34.0;
constexpr double kPhotoHeight = 620.0;
constexpr char kSubject[] = "the picture of two faces";

// Canvas draws ASCII only, but a file name may have any bytes.
std::string printable(std::string text) {
  for (char& sign : text) {
    if (sign < ' ' || sign > '~') sign = '?';
  }
  return text;
}

void drawPhoto(Canvas& canvas, const Area& area, const PictureFace& face) {
  const Canvas::Surface surface = Canvas::surfaceOf(face.photo, face.path);
  const double scale =
      std::min(area.width / face.photo.width, (area.height - kLine) / face.photo.height);
  const double left = area.x + (area.width - scale * face.photo.width) / 2.0;
  // The centre of the first pixel is at the origin.
  canvas.picture(surface.get(), {left + scale / 2.0, area.y + scale / 2.0}, scale, false);
  const std::string name = face.path.substr(face.path.find_last_of("/\\") + 1);
  canvas.text({area.x + area.width / 2.0, area.y + area.height - kLine / 2.0}, printable(name),
              16.0, kFaintInk, TextAnchor::kMiddle);
}

void drawPatches(Canvas& canvas, double top, const PictureFace& first, const PictureFace& second) {
  drawPatchSheets(
      canvas, {kRim, top},
      {facePatches(first.photo, first.landmarks), facePatches(second.photo, second.landmarks)});
}

}  // namespace

std::vector<uint8_t> patchPairPicture(const PictureFace& first, const PictureFace& second) {
  Canvas canvas(static_cast<int>(kWidth), static_cast<int>(patchSheetHeight(2) + 2.0 * kRim));
  drawPatches(canvas, kRim, first, second);
  return canvas.png(kSubject);
}

std::vector<uint8_t> pairPicture(const PictureFace& first, const PictureFace& second,
                                 const std::string& text) {
  const double photosTop = kRim + kLine;
  const double sheetTop = photosTop + kPhotoHeight + kRim;
  Canvas canvas(static_cast<int>(kWidth), static_cast<int>(sheetTop + patchSheetHeight(2) + kRim));
  canvas.text({kRim, kRim + kLine / 2.0 - 4.0}, printable(text), 20.0, kInk);
  const double half = (kWidth - 3.0 * kRim) / 2.0;
  drawPhoto(canvas, {kRim, photosTop, half, kPhotoHeight}, first);
  drawPhoto(canvas, {2.0 * kRim + half, photosTop, half, kPhotoHeight}, second);
  drawPatches(canvas, sheetTop, first, second);
  return canvas.png(kSubject);
}

}  // namespace facefeature_tools
