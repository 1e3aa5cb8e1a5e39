#include "draw/face_picture.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "draw/canvas.h"
#include "draw/landmark_marks.h"
#include "draw/patch_sheet.h"
#include "face/face_patches.h"
#include "face/head_fit.h"

namespace facefeature_tools {
namespace {

constexpr double kRim = 24.0;
constexpr double kWidth = 1800.0;
constexpr double kPanelHeight = 760.0;
constexpr double kLineHeight = 26.0;
constexpr double kCaption = 40.0;

constexpr Colour kAxisX = {1.0, 0.3, 0.3};
constexpr Colour kAxisY = {0.35, 0.9, 0.35};
constexpr Colour kAxisZ = {0.45, 0.6, 1.0};
constexpr Colour kFrame = {0.95, 0.35, 0.85};
constexpr Colour kHead = {0.6, 1.0, 0.6};

// A part of the plane of the photograph, in its pixels, and the panel that shows it.
class View {
 public:
  View(const Area& panel, const Area& shown) : panel_(panel) {
    scale_ = std::min(panel.width / shown.width, panel.height / shown.height);
    origin_ = {panel.x + panel.width / 2.0 - scale_ * (shown.x + shown.width / 2.0),
               panel.y + panel.height / 2.0 - scale_ * (shown.y + shown.height / 2.0)};
  }

  const Area& panel() const { return panel_; }
  double scale() const { return scale_; }
  ImagePoint origin() const { return origin_; }
  ImagePoint at(ImagePoint point) const {
    return {drawable(origin_.x + scale_ * point.x), drawable(origin_.y + scale_ * point.y)};
  }

 private:
  // cairo has 24-bit coordinates. Wild landmarks exceed them, and frames of coincident anchors are
  // NaN.
  static double drawable(double position) {
    constexpr double kFarAway = 1e6;
    return position > -kFarAway ? std::min(position, kFarAway) : -kFarAway;
  }

  Area panel_;
  double scale_;
  ImagePoint origin_;
};

struct Scene {
  const Photo& photo;
  cairo_surface_t* surface;
  const std::vector<Landmark>& landmarks;
  HeadFit fit;
};

// The smallest rectangle around the landmarks that are near the picture: far outside of it, neither
// would be visible.
Area aroundLandmarks(const Scene& scene) {
  const double width = scene.photo.width;
  const double height = scene.photo.height;
  double left = 2.0 * width, right = -width, top = 2.0 * height, bottom = -height;
  for (const Landmark& landmark : scene.landmarks) {
    const double x = std::clamp(static_cast<double>(landmark.x), -width, 2.0 * width);
    const double y = std::clamp(static_cast<double>(landmark.y), -height, 2.0 * height);
    left = std::min(left, x);
    right = std::max(right, x);
    top = std::min(top, y);
    bottom = std::max(bottom, y);
  }
  return {left, top, right - left, bottom - top};
}

// The whole photograph, and landmarks next to it.
Area overviewOf(const Scene& scene) {
  const Area face = aroundLandmarks(scene);
  const double left = std::min(-0.5, face.x);
  const double top = std::min(-0.5, face.y);
  const double right = std::max(scene.photo.width - 0.5, face.x + face.width);
  const double bottom = std::max(scene.photo.height - 0.5, face.y + face.height);
  return {left, top, right - left, bottom - top};
}

Area closeUpOf(const Scene& scene) {
  const Area face = aroundLandmarks(scene);
  const double side = std::max({face.width, face.height, 1.0});
  const double margin = 0.17 * side;
  return {face.x - margin, face.y - margin, face.width + 2.0 * margin, face.height + 2.0 * margin};
}

void drawPhoto(Canvas& canvas, const View& view, const Scene& scene) {
  canvas.fill(view.panel(), kPanel);
  canvas.clip(view.panel());
  // At this magnification interpolation would only hide how few pixels the face has.
  constexpr double kSharpFrom = 4.0;
  canvas.picture(scene.surface, view.origin(), view.scale(), view.scale() >= kSharpFrom);
  canvas.unclip();
}

void drawFrames(Canvas& canvas, const View& view, const std::vector<FaceFrame>& frames) {
  for (const FaceFrame& frame : frames) {
    std::vector<ImagePoint> corners;
    for (const ImagePoint& corner : frame.corners) corners.push_back(view.at(corner));
    canvas.outline(corners, kFrame, 1.6);
    // At the corner that is the lower left one of an upright face.
    const ImagePoint label = {corners[3].x + 6.0, corners[3].y - 11.0};
    canvas.text(label, std::to_string(frame.span), 14.0, kFrame);
  }
}

void drawOverview(Canvas& canvas, const View& view, const Scene& scene) {
  drawPhoto(canvas, view, scene);
  canvas.clip(view.panel());
  if (scene.fit.isGood) drawFrames(canvas, view, faceFrames(scene.landmarks));
  for (const Landmark& landmark : scene.landmarks) {
    canvas.disc(view.at({landmark.x, landmark.y}), 2.4, kBackground);
  }
  for (const Landmark& landmark : scene.landmarks) {
    canvas.disc(view.at({landmark.x, landmark.y}), 1.7, colourOfId(landmark.id));
  }
  canvas.unclip();
}

void drawAxis(Canvas& canvas, const View& view, const HeadFit& fit, const float* origin,
              const double (&direction)[3], const char* name, Colour colour) {
  constexpr double kUnits = 6.3;  // as long as the distance of the eyes
  const ImagePoint from = view.at(fit.project(origin[0], origin[1], origin[2]));
  const ImagePoint to =
      view.at(fit.project(origin[0] + kUnits * direction[0], origin[1] + kUnits * direction[1],
                          origin[2] + kUnits * direction[2]));
  canvas.line(from, to, kBackground, 5.0);
  canvas.line(from, to, colour, 3.0);
  canvas.disc(to, 4.0, colour);
  canvas.text({to.x + 9.0, to.y - 9.0}, name, 16.0, colour);
}

// The fitted head: its points, each connected to its landmark, and its axes from the tip of the
// nose.
void drawHead(Canvas& canvas, const View& view, const Scene& scene) {
  for (const Landmark& landmark : scene.landmarks) {
    const float* model = modelPointOf(landmark.id);
    const ImagePoint position = view.at(scene.fit.project(model[0], model[1], model[2]));
    canvas.line(position, view.at({landmark.x, landmark.y}), kHead, 1.5);
    canvas.ring(position, 4.5, kHead, 1.5);
  }
  const float* nose = modelPointOf(9);
  drawAxis(canvas, view, scene.fit, nose, {1.0, 0.0, 0.0}, "X", kAxisX);
  drawAxis(canvas, view, scene.fit, nose, {0.0, 1.0, 0.0}, "Y", kAxisY);
  drawAxis(canvas, view, scene.fit, nose, {0.0, 0.0, 1.0}, "Z", kAxisZ);
}

// Labels turn with the head, since those of a tilted one would overlap.
ImagePoint labelSide(const HeadFit& fit, int32_t id) {
  const ImagePoint upright = labelDirection(id);
  if (!fit.isGood) return upright;
  const float* r = fit.rotation;
  return {r[0] * upright.x + r[1] * upright.y, r[3] * upright.x + r[4] * upright.y};
}

void drawCloseUp(Canvas& canvas, const View& view, const Scene& scene) {
  drawPhoto(canvas, view, scene);
  canvas.clip(view.panel());
  if (scene.fit.isGood) drawHead(canvas, view, scene);
  for (const Landmark& landmark : scene.landmarks) {
    drawMark(canvas, landmark.id, view.at({landmark.x, landmark.y}),
             labelSide(scene.fit, landmark.id), 17.0);
  }
  canvas.unclip();
}

std::string headText(const HeadFit& fit) {
  if (!fit.isGood) return "No head can be fitted to the landmarks.";
  // Adding 0 removes the sign of a value that is rounded to -0.
  const auto whole = [](float degrees) { return std::round(static_cast<double>(degrees)) + 0.0; };
  char text[256];
  std::snprintf(text, sizeof text,
                "Head: roll %.0f, yaw %.0f, pitch %.0f degrees; eyes %.1f pixels apart; residual "
                "%.2f units (the eyes are 6.3 apart).",
                whole(fit.roll), whole(fit.yaw), whole(fit.pitch),
                static_cast<double>(fit.referenceLength), fit.residual);
  return text;
}

// Truncated at its end if it is wider than the picture.
void drawLine(Canvas& canvas, double y, const std::string& text, double size, Colour colour) {
  std::string shown = text;
  while (canvas.textWidth(shown, size) > kWidth - 2.0 * kRim) {
    shown = shown.substr(0, shown.size() - 4) + "...";
  }
  canvas.text({kRim, y}, shown, size, colour);
}

// A file name need not be drawable text.
std::string printable(std::string text) {
  for (char& byte : text) {
    if (byte < ' ' || byte > '~') byte = '?';
  }
  return text;
}

std::string nameOf(const std::string& path) { return path.substr(path.find_last_of("/\\") + 1); }

void drawCaptions(Canvas& canvas, double y, double second) {
  double x = kRim;
  const auto add = [&canvas, &x, y](const std::string& text, Colour colour) {
    canvas.text({x, y}, text, 15.0, colour);
    x += canvas.textWidth(text, 15.0) + 14.0;
  };
  add("The frames that the patches are cut from, by their spans", kFrame);
  x = second;
  add("Landmarks of the left", kLeftSide);
  add("middle", kMiddle);
  add("right of the picture;", kRightSide);
  add("points and axes of the fitted head", kHead);
}

}  // namespace

bool facesCanBeDrawn() { return true; }

void requireDrawing() {}

void writeFacePicture(const std::string& path, const std::string& photoPath, const Photo& photo,
                      const LandmarkFile& file, const std::vector<std::string>& warnings) {
  const Canvas::Surface surface = Canvas::surfaceOf(photo, photoPath);
  const Scene scene = {photo, surface.get(), file.landmarks, fitHead(file.landmarks)};

  const double lines = 2.0 + static_cast<double>(warnings.size());
  const double panelTop = kRim + kLineHeight * lines + 4.0;
  const double sheetTop = panelTop + kPanelHeight + kCaption + kLineHeight;
  const double height = sheetTop + (scene.fit.isGood ? kPatchSheetHeight : 0.0) + kRim;
  Canvas canvas(static_cast<int>(kWidth), static_cast<int>(height));

  drawLine(canvas, kRim + 4.0,
           printable(nameOf(photoPath)) + ", " + std::to_string(photo.width) + " x " +
               std::to_string(photo.height) + " pixels, " + std::to_string(file.landmarks.size()) +
               " landmarks",
           20.0, kInk);
  drawLine(canvas, kRim + 4.0 + kLineHeight, headText(scene.fit), 16.0, kFaintInk);
  for (size_t i = 0; i < warnings.size(); ++i) {
    drawLine(canvas, kRim + 4.0 + kLineHeight * (2.0 + static_cast<double>(i)),
             "Warning: " + printable(warnings[i]), 16.0, kWarning);
  }

  const double panelWidth = (kWidth - 3.0 * kRim) / 2.0;
  const double second = 2.0 * kRim + panelWidth;
  drawOverview(canvas, View({kRim, panelTop, panelWidth, kPanelHeight}, overviewOf(scene)), scene);
  drawCloseUp(canvas, View({second, panelTop, panelWidth, kPanelHeight}, closeUpOf(scene)), scene);
  drawCaptions(canvas, panelTop + kPanelHeight + 17.0, second);
  if (scene.fit.isGood) {
    canvas.text(
        {kRim, sheetTop - 14.0},
        "The input of the 25 nets, direct and mirrored, before the mean is subtracted. Margins "
        "are blank for the net.",
        15.0, kFaintInk);
    drawPatchSheet(canvas, {kRim, sheetTop}, facePatches(photo, file.landmarks));
  }
  canvas.write(path);
}

}  // namespace facefeature_tools
