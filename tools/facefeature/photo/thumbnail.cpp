#include "photo/thumbnail.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "photo/photo_orientation.h"

namespace facefeature_tools {
namespace {

// The pixels of one axis that a reduced pixel covers, with their weights.
struct Cover {
  int32_t first;
  std::vector<double> shares;
};

std::vector<Cover> coversOf(int32_t from, int32_t to) {
  std::vector<Cover> covers;
  const double width = static_cast<double>(from) / to;
  for (int32_t i = 0; i < to; ++i) {
    const double begin = i * width;
    const double end = std::min<double>(begin + width, from);
    Cover cover = {static_cast<int32_t>(begin), {}};
    for (int32_t k = cover.first; k < end; ++k) {
      cover.shares.push_back((std::min<double>(end, k + 1) - std::max<double>(begin, k)) / width);
    }
    covers.push_back(std::move(cover));
  }
  return covers;
}

uint8_t byteOf(double value) {
  return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

}  // namespace

Photo reducedPhoto(const Photo& photo, int32_t side) {
  const int32_t longest = std::max(photo.width, photo.height);
  if (longest <= side) return photo;
  const auto reduced = [&](int32_t length) {
    return std::max(1, static_cast<int32_t>(int64_t{length} * side / longest));
  };
  Photo small = makePhoto(static_cast<uint64_t>(reduced(photo.width)),
                          static_cast<uint64_t>(reduced(photo.height)));
  const std::vector<Cover> columns = coversOf(photo.width, small.width);
  const std::vector<Cover> rows = coversOf(photo.height, small.height);
  std::vector<double> line(static_cast<size_t>(photo.stride()));
  size_t target = 0;
  for (const Cover& row : rows) {
    std::fill(line.begin(), line.end(), 0.0);
    for (size_t k = 0; k < row.shares.size(); ++k) {
      const size_t start = (static_cast<size_t>(row.first) + k) * line.size();
      for (size_t i = 0; i < line.size(); ++i) line[i] += row.shares[k] * photo.pixels[start + i];
    }
    for (const Cover& column : columns) {
      std::array<double, 3> sums = {};
      for (size_t k = 0; k < column.shares.size(); ++k) {
        for (size_t channel = 0; channel < 3; ++channel) {
          sums[channel] +=
              column.shares[k] * line[3 * (static_cast<size_t>(column.first) + k) + channel];
        }
      }
      for (const double sum : sums) small.pixels[target++] = byteOf(sum);
    }
  }
  return small;
}

std::vector<uint8_t> thumbnailOf(const std::string& path, int32_t side) {
  constexpr int kQuality = 85;
  const std::vector<uint8_t> bytes = readPhotoBytes(path);
  const Photo photo = reducedPhoto(decodePhotoFile(path, bytes), side);
  return encodeJpeg(turnedPhoto(photo, exifOrientation(bytes)), kQuality);
}

}  // namespace facefeature_tools
