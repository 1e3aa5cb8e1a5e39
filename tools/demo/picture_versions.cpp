#include "picture_versions.h"

#include <cmath>
#include <cstdint>

namespace facefeature_tools {
namespace {

constexpr double kGray = 128.0;

// Interpolates between the four pixels around (x, y); gray outside the photograph.
double sampleAt(const Photo& photo, double x, double y, int channel) {
  const double left = std::floor(x);
  const double top = std::floor(y);
  const auto pixel = [&](double column, double row) {
    if (column < 0 || row < 0 || column >= photo.width || row >= photo.height) return kGray;
    const size_t index = (static_cast<size_t>(row) * static_cast<size_t>(photo.width) +
                          static_cast<size_t>(column)) *
                             3 +
                         static_cast<size_t>(channel);
    return static_cast<double>(photo.pixels[index]);
  };
  const double right = x - left;
  const double below = y - top;
  const double upper = pixel(left, top) * (1 - right) + pixel(left + 1, top) * right;
  const double lower = pixel(left, top + 1) * (1 - right) + pixel(left + 1, top + 1) * right;
  return upper * (1 - below) + lower * below;
}

// x' = a x - b y + tx, y' = b x + a y + ty. a and b are the cosine and sine of the angle, both
// times the factor.
struct Similarity {
  double a;
  double b;
  double tx;
  double ty;
};

FacePicture moved(const FacePicture& picture, const Similarity& to, uint64_t width,
                  uint64_t height) {
  FacePicture result;
  result.photo = makePhoto(width, height);
  const double square = to.a * to.a + to.b * to.b;
  size_t index = 0;
  for (int32_t row = 0; row < result.photo.height; ++row) {
    for (int32_t column = 0; column < result.photo.width; ++column) {
      const double dx = column - to.tx;
      const double dy = row - to.ty;
      const double x = (to.a * dx + to.b * dy) / square;
      const double y = (to.a * dy - to.b * dx) / square;
      for (int channel = 0; channel < 3; ++channel) {
        const double sample = sampleAt(picture.photo, x, y, channel);
        result.photo.pixels[index++] = static_cast<uint8_t>(std::lround(sample));
      }
    }
  }
  for (const Landmark& landmark : picture.landmarks) {
    result.landmarks.push_back({landmark.id,
                                static_cast<float>(to.a * landmark.x - to.b * landmark.y + to.tx),
                                static_cast<float>(to.b * landmark.x + to.a * landmark.y + to.ty)});
  }
  return result;
}

}  // namespace

FacePicture turned(const FacePicture& picture, double degrees) {
  const double radians = degrees * 3.14159265358979323846 / 180.0;
  const double cosine = std::cos(radians);
  const double sine = std::sin(radians);
  const double width = picture.photo.width;
  const double height = picture.photo.height;
  const double newWidth = std::ceil(width * std::fabs(cosine) + height * std::fabs(sine));
  const double newHeight = std::ceil(width * std::fabs(sine) + height * std::fabs(cosine));
  // The middle goes to the middle. Rows run downward, so a positive angle is clockwise.
  const double x = (width - 1) / 2;
  const double y = (height - 1) / 2;
  const Similarity to = {cosine, sine, (newWidth - 1) / 2 - (cosine * x - sine * y),
                         (newHeight - 1) / 2 - (sine * x + cosine * y)};
  return moved(picture, to, static_cast<uint64_t>(newWidth), static_cast<uint64_t>(newHeight));
}

FacePicture scaled(const FacePicture& picture, double factor) {
  const double newWidth = std::floor(picture.photo.width * factor);
  const double newHeight = std::floor(picture.photo.height * factor);
  return moved(picture, {factor, 0, 0, 0}, static_cast<uint64_t>(newWidth),
               static_cast<uint64_t>(newHeight));
}

FacePicture darkened(const FacePicture& picture, double factor) {
  FacePicture result = picture;
  for (uint8_t& sample : result.photo.pixels) {
    sample = static_cast<uint8_t>(std::lround(sample * factor));
  }
  return result;
}

}  // namespace facefeature_tools
