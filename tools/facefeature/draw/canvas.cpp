#include "draw/canvas.h"

#include <new>

#include "base/failure.h"
#include "base/whole_file.h"

namespace facefeature_tools {
namespace {

constexpr double kFullCircle = 6.283185307179586;
// The largest width of a cairo surface.
constexpr int32_t kLongestSurfaceSide = 32767;

cairo_status_t append(void* bytes, const unsigned char* data, unsigned length) {
  std::vector<uint8_t>* all = static_cast<std::vector<uint8_t>*>(bytes);
  try {
    all->insert(all->end(), data, data + length);
  } catch (const std::bad_alloc&) {
    // cairo is written in C, so no exception may pass through it.
    return CAIRO_STATUS_NO_MEMORY;
  }
  return CAIRO_STATUS_SUCCESS;
}

Canvas::Surface newSurface(int width, int height) {
  Canvas::Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
  if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) throw std::bad_alloc();
  return surface;
}

}  // namespace

Canvas::Canvas(int width, int height)
    : surface_(newSurface(width, height)), context_(cairo_create(surface_.get())) {
  cairo_select_font_face(context_.get(), "sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_line_join(context_.get(), CAIRO_LINE_JOIN_ROUND);
  cairo_set_line_cap(context_.get(), CAIRO_LINE_CAP_ROUND);
  colour(kBackground);
  cairo_paint(context_.get());
}

Canvas::Surface Canvas::surfaceOf(const Photo& photo, const std::string& path) {
  if (photo.width > kLongestSurfaceSide || photo.height > kLongestSurfaceSide) {
    throw Failure(kBadInput, path,
                  "is too large to be drawn, " + std::to_string(photo.width) + " x " +
                      std::to_string(photo.height) + " pixels",
                  "Scale the picture down, and the coordinates of its landmarks with it");
  }
  Surface surface = newSurface(photo.width, photo.height);
  uint8_t* data = cairo_image_surface_get_data(surface.get());
  const int stride = cairo_image_surface_get_stride(surface.get());
  for (int32_t y = 0; y < photo.height; ++y) {
    const uint8_t* source = photo.pixels.data() + static_cast<int64_t>(y) * photo.stride();
    // A pixel of this format is one number of 32 bits in the machine's byte order.
    uint32_t* target = reinterpret_cast<uint32_t*>(data + static_cast<int64_t>(y) * stride);
    for (int32_t x = 0; x < photo.width; ++x, source += 3) {
      target[x] = uint32_t{source[2]} << 16 | uint32_t{source[1]} << 8 | uint32_t{source[0]};
    }
  }
  cairo_surface_mark_dirty(surface.get());
  return surface;
}

void Canvas::colour(Colour colour) {
  cairo_set_source_rgb(context_.get(), colour.red, colour.green, colour.blue);
}

void Canvas::fill(const Area& area, Colour fillColour) {
  colour(fillColour);
  cairo_rectangle(context_.get(), area.x, area.y, area.width, area.height);
  cairo_fill(context_.get());
}

void Canvas::line(ImagePoint from, ImagePoint to, Colour lineColour, double width) {
  colour(lineColour);
  cairo_set_line_width(context_.get(), width);
  cairo_move_to(context_.get(), from.x, from.y);
  cairo_line_to(context_.get(), to.x, to.y);
  cairo_stroke(context_.get());
}

void Canvas::outline(const std::vector<ImagePoint>& corners, Colour lineColour, double width) {
  colour(lineColour);
  cairo_set_line_width(context_.get(), width);
  for (const ImagePoint& corner : corners) cairo_line_to(context_.get(), corner.x, corner.y);
  cairo_close_path(context_.get());
  cairo_stroke(context_.get());
}

void Canvas::disc(ImagePoint centre, double radius, Colour fillColour) {
  colour(fillColour);
  cairo_arc(context_.get(), centre.x, centre.y, radius, 0.0, kFullCircle);
  cairo_fill(context_.get());
}

void Canvas::ring(ImagePoint centre, double radius, Colour lineColour, double width) {
  colour(lineColour);
  cairo_set_line_width(context_.get(), width);
  cairo_new_sub_path(context_.get());
  cairo_arc(context_.get(), centre.x, centre.y, radius, 0.0, kFullCircle);
  cairo_stroke(context_.get());
}

double Canvas::textWidth(const std::string& label, double size) {
  cairo_set_font_size(context_.get(), size);
  cairo_text_extents_t extents;
  cairo_text_extents(context_.get(), label.c_str(), &extents);
  return extents.x_advance;
}

void Canvas::text(ImagePoint point, const std::string& label, double size, Colour textColour,
                  TextAnchor anchor) {
  const double width = textWidth(label, size);
  cairo_font_extents_t font;
  cairo_font_extents(context_.get(), &font);
  const double left = anchor == TextAnchor::kMiddle ? point.x - width / 2.0 : point.x;
  // Centres the digits and capitals, ignoring descenders.
  cairo_move_to(context_.get(), left, point.y + size * 0.36);
  cairo_text_path(context_.get(), label.c_str());
  colour(kBackground);
  cairo_set_line_width(context_.get(), size * 0.22);
  cairo_stroke_preserve(context_.get());
  colour(textColour);
  cairo_fill(context_.get());
}

void Canvas::picture(cairo_surface_t* surface, ImagePoint origin, double scale, bool sharp) {
  cairo_save(context_.get());
  cairo_translate(context_.get(), origin.x - scale / 2.0, origin.y - scale / 2.0);
  cairo_scale(context_.get(), scale, scale);
  cairo_set_source_surface(context_.get(), surface, 0.0, 0.0);
  cairo_pattern_t* pattern = cairo_get_source(context_.get());
  cairo_pattern_set_filter(pattern, sharp ? CAIRO_FILTER_NEAREST : CAIRO_FILTER_GOOD);
  cairo_rectangle(context_.get(), 0.0, 0.0, cairo_image_surface_get_width(surface),
                  cairo_image_surface_get_height(surface));
  cairo_clip(context_.get());
  // Otherwise the rim would fade into the background.
  cairo_pattern_set_extend(pattern, CAIRO_EXTEND_PAD);
  cairo_paint(context_.get());
  cairo_restore(context_.get());
}

void Canvas::clip(const Area& area) {
  cairo_save(context_.get());
  cairo_rectangle(context_.get(), area.x, area.y, area.width, area.height);
  cairo_clip(context_.get());
}

void Canvas::unclip() { cairo_restore(context_.get()); }

std::vector<uint8_t> Canvas::png(const std::string& path) const {
  if (cairo_status(context_.get()) != CAIRO_STATUS_SUCCESS) {
    throw Failure(kFailed, path,
                  std::string("can't be drawn (") +
                      cairo_status_to_string(cairo_status(context_.get())) + ")",
                  "Use a smaller picture, or free memory");
  }
  std::vector<uint8_t> png;
  if (cairo_surface_write_to_png_stream(surface_.get(), append, &png) != CAIRO_STATUS_SUCCESS) {
    throw std::bad_alloc();
  }
  return png;
}

void Canvas::write(const std::string& path) const {
  const std::vector<uint8_t> bytes = png(path);
  writeWholeFile(path, bytes.data(), bytes.size());
}

}  // namespace facefeature_tools
