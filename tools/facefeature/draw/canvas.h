// A picture to draw on: cairo with the few shapes that the program's pictures use.
#ifndef FACEFEATURE_TOOLS_DRAW_CANVAS_H
#define FACEFEATURE_TOOLS_DRAW_CANVAS_H

#include <cairo.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "face/landmark_scheme.h"
#include "photo/photo.h"

namespace facefeature_tools {

struct Colour {
  double red, green, blue;  // 0 to 1
};

constexpr Colour kBackground = {0.11, 0.12, 0.14};
constexpr Colour kPanel = {0.17, 0.18, 0.21};
constexpr Colour kInk = {0.93, 0.93, 0.93};
constexpr Colour kFaintInk = {0.62, 0.64, 0.68};
constexpr Colour kWarning = {1.0, 0.42, 0.36};

struct Area {
  double x, y, width, height;
};

// The position of a text relative to its point.
enum class TextAnchor { kLeft, kMiddle };

class Canvas {
 public:
  // Filled with the background. Throws std::bad_alloc.
  Canvas(int width, int height);

  // The pixels of a photograph as cairo has them. Throws Failure (kBadInput) for a photograph that
  // is too wide or too high to be drawn; path is the subject of the message.
  struct SurfaceFreer {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  };
  using Surface = std::unique_ptr<cairo_surface_t, SurfaceFreer>;
  static Surface surfaceOf(const Photo& photo, const std::string& path);

  void fill(const Area& area, Colour colour);
  void line(ImagePoint from, ImagePoint to, Colour colour, double width);
  // Closed.
  void outline(const std::vector<ImagePoint>& corners, Colour colour, double width);
  void disc(ImagePoint centre, double radius, Colour colour);
  void ring(ImagePoint centre, double radius, Colour colour, double width);

  // point is at half the height of the text. A dark rim keeps it legible on any picture.
  void text(ImagePoint point, const std::string& label, double size, Colour colour,
            TextAnchor anchor = TextAnchor::kLeft);
  double textWidth(const std::string& label, double size);

  // Draws the surface with its pixel (0, 0), by its centre, at origin, each pixel scale wide.
  // sharp shows pixels as squares; otherwise they are interpolated, or averaged when they shrink.
  void picture(cairo_surface_t* surface, ImagePoint origin, double scale, bool sharp);

  // Clips what is drawn between the two calls to the area.
  void clip(const Area& area);
  void unclip();

  // The bytes of a PNG file. Throws Failure (kFailed); path is the subject of the message.
  std::vector<uint8_t> png(const std::string& path) const;

  // Writes a PNG file. Throws Failure (kFailed).
  void write(const std::string& path) const;

 private:
  struct ContextFreer {
    void operator()(cairo_t* context) const { cairo_destroy(context); }
  };

  void colour(Colour colour);

  Surface surface_;
  std::unique_ptr<cairo_t, ContextFreer> context_;
};

}  // namespace facefeature_tools

#endif
