#include "support/reference_patches.h"

#include <algorithm>

#include "support/reference_head_pose.h"
#include "support/reference_single_steps.h"

namespace reference {
namespace {

int32_t limited(int32_t value, int32_t highest) {
  if (value < 0) value = 0;
  return value > highest ? highest : value;
}

// The position of a canonical pixel in the picture: its upper left neighbour and the four weights.
struct Footprint {
  int32_t x, y;
  Single w00, w10, w01, w11;
};

Footprint footprintOf(int32_t row, int32_t column, const PictureView& picture,
                      const Similarity& s) {
  const Single i = fromInteger(row);
  const Single j = fromInteger(column);
  const Single sx = (j * Single(s.a) - i * Single(s.b)) + Single(s.tx);
  const Single sy = (j * Single(s.b) + i * Single(s.a)) + Single(s.ty);
  const int32_t ix = truncated(sx.value);
  const int32_t iy = truncated(sy.value);
  const Single fx = sx - fromInteger(ix);
  const Single fy = sy - fromInteger(iy);
  const Single one(1.0f);
  Footprint print;
  print.x = limited(ix, picture.width - 2);
  print.y = limited(iy, picture.height - 2);
  print.w00 = (one - fx) * (one - fy);
  print.w10 = (one - fy) * fx;
  print.w01 = (one - fx) * fy;
  print.w11 = fy * fx;
  return print;
}

bool isBlank(const PatchRow& row, int32_t y, int32_t x) {
  const auto inBorder = [&row](int32_t index, int32_t margin) {
    return index < margin || index >= row.side - margin;
  };
  if (row.columnMargin > 0) return inBorder(x, row.columnMargin);
  return row.rowMargin > 0 && inBorder(y, row.rowMargin);
}

}  // namespace

const PatchRow& patchRow(int32_t patch) {
  constexpr float kThird = 0.3333f;
  static const PatchRow rows[kPatches] = {
      {55, 12, 0.0f, 4, 0, 6, 6, true},     // 0
      {55, 18, 0.0f, 4, 0, 6, 6, true},     // 1
      {47, 33, 0.0f, 0, 0, 2, 5, true},     // 2
      {47, 18, 0.0f, 0, 0, 10, 11, false},  // 3
      {47, 27, kThird, 0, 0, 6, 6, true},   // 4
      {47, 33, 0.0f, 0, 0, 9, 9, false},    // 5
      {47, 33, 0.0f, 0, 0, 18, 19, false},  // 6
      {47, 30, 0.0f, 0, 0, 13, 12, true},   // 7
      {47, 33, 0.0f, 0, 0, 0, 1, false},    // 8
      {47, 30, 0.0f, 0, 0, 10, 11, false},  // 9
      {47, 12, 0.0f, 0, 3, 15, 15, true},   // 10
      {47, 33, 0.0f, 0, 0, 15, 15, false},  // 11
      {47, 15, kThird, 0, 6, 6, 6, false},  // 12
      {47, 30, 0.0f, 0, 0, 13, 12, true},   // 13
      {47, 15, -1.0f, 0, 3, 6, 6, false},   // 14
      {47, 24, 0.0f, 0, 0, 15, 15, false},  // 15
      {47, 18, 0.0f, 0, 0, 14, 14, true},   // 16
      {47, 30, 0.0f, 0, 0, 3, 4, false},    // 17
      {47, 33, 0.0f, 0, 0, 7, 7, true},     // 18
      {47, 21, kThird, 0, 0, 6, 6, false},  // 19
      {47, 33, 0.0f, 0, 0, 0, 1, true},     // 20
      {47, 18, 0.0f, 0, 0, 22, 23, false},  // 21
      {47, 33, 0.0f, 0, 0, 10, 11, true},   // 22
      {47, 18, 0.0f, 0, 0, 15, 15, false},  // 23
      {47, 33, 0.0f, 0, 0, 3, 4, true},     // 24
  };
  return rows[patch];
}

size_t sampleLength(int32_t patch) {
  const PatchRow& row = patchRow(patch);
  const size_t plane = static_cast<size_t>(row.side) * static_cast<size_t>(row.side);
  return row.colour ? 3 * plane : plane;
}

int32_t truncated(float value) {
  // Both limits are floats: the result is the lower one for every value outside them.
  const bool fits = value > -2147483648.0f && value < 2147483648.0f;
  return fits ? static_cast<int32_t>(value) : INT32_MIN;
}

std::vector<Landmark> sortedSlots(const LandmarkSet& landmarks) {
  std::vector<Landmark> slots;
  const Landmark* entries = landmarks.entries;
  for (int32_t i = 0; i < landmarks.count; ++i) {
    const Landmark entry = entries[i];
    if (entry.id == 240 || entry.id == 241 || entry.id == 315 || entry.id == 316) continue;
    // Insertion from the back: after the last entry that is not greater.
    size_t index = slots.size();
    while (index > 0 && slots[index - 1].id > entry.id) --index;
    slots.insert(slots.begin() + static_cast<std::ptrdiff_t>(index), entry);
  }
  return slots;
}

float anchorDistance(const std::vector<Landmark>& slots) {
  const Single dx = Single(slots[6].x) - Single(slots[8].x);
  const Single dy = Single(slots[6].y) - Single(slots[8].y);
  return squareRoot(dx * dx + dy * dy).value;
}

float lowerAnchorHeight(int32_t patch, float distance, float referenceLength) {
  const Single span = fromInteger(patchRow(patch).span);
  return ((span * Single(distance)) / Single(referenceLength) + Single(60.0f)).value;
}

Similarity fitToCanonical(Point upper, Point lower, float height) {
  const Single x6(upper.x), y6(upper.y), x8(lower.x), y8(lower.y), h(height);
  const Single c60(60.0f), c80(80.0f), two(2.0f);
  const Single Sx = x8 + x6;
  const Single Sy = y8 + y6;
  const Single Su(160.0f);
  const Single Sv = c60 + h;
  const Single Q = (y8 * y8 + x8 * x8) + (y6 * y6 + x6 * x6);
  const Single A = (y8 * h + x8 * c80) + (y6 * c60 + x6 * c80);
  const Single B = (x8 * h - y8 * c80) + (x6 * c60 - y6 * c80);
  const Single D = (Q * two - Sx * Sx) - Sy * Sy;
  const Single a = (A * two - (Sy * Sv + Sx * Su)) / D;
  const Single b = ((Sy * Su - Sx * Sv) + B * two) / D;
  const Single tx = ((Q * Su - A * Sx) + B * Sy) / D;
  const Single ty = ((Q * Sv - A * Sy) - B * Sx) / D;
  return {a.value, b.value, tx.value, ty.value};
}

Similarity fitToImage(Point upper, Point lower, float height) {
  const Single x6(upper.x), y6(upper.y), x8(lower.x), y8(lower.y), h(height);
  const Single c60(60.0f), c80(80.0f), two(2.0f);
  const Single Sx = x8 + x6;
  const Single Sy = y8 + y6;
  const Single Su(160.0f);
  const Single Sv = c60 + h;
  const Single A = (y8 * h + x8 * c80) + (y6 * c60 + x6 * c80);
  const Single T = (h * h + Single(6400.0f)) + Single(10000.0f);
  const Single B2 = (y8 * c80 - x8 * h) + (y6 * c80 - x6 * c60);
  const Single D2 = (T * two - Su * Su) - Sv * Sv;
  const Single a = (A * two - (Sv * Sy + Su * Sx)) / D2;
  const Single b = ((Sv * Sx - Su * Sy) + B2 * two) / D2;
  const Single tx = ((T * Sx - A * Su) + B2 * Sv) / D2;
  const Single ty = ((T * Sy - A * Sv) - B2 * Su) / D2;
  return {a.value, b.value, tx.value, ty.value};
}

Point mapped(const Similarity& s, Point point) {
  const Single a(s.a), b(s.b), x(point.x), y(point.y);
  const Single u = (a * x - b * y) + Single(s.tx);
  const Single v = (a * y + b * x) + Single(s.ty);
  return {u.value, v.value};
}

std::vector<uint8_t> grayOf(const PictureView& picture) {
  std::vector<uint8_t> gray;
  for (int64_t pixel = 0; pixel < int64_t{picture.width} * picture.height; ++pixel) {
    const int64_t offset = pixel / picture.width * picture.stride + pixel % picture.width * 3;
    const uint8_t* bytes = picture.pixels + offset;
    const int32_t weighted = 117 * bytes[0] + 601 * bytes[1] + 306 * bytes[2];
    gray.push_back(static_cast<uint8_t>(weighted / 1024));
  }
  return gray;
}

std::vector<uint8_t> warped(const PictureView& picture, int32_t channels,
                            const Similarity& toImage) {
  const int32_t side = kFrameSide;
  std::vector<uint8_t> frame(static_cast<size_t>(side * side * channels));
  for (int32_t column = 0; column < side; ++column) {
    for (int32_t row = 0; row < side; ++row) {
      const Footprint print = footprintOf(row, column, picture, toImage);
      for (int32_t channel = 0; channel < channels; ++channel) {
        const auto pixel = [&](int32_t right, int32_t down) {
          const int64_t offset = int64_t{print.y + down} * picture.stride +
                                 int64_t{print.x + right} * channels + channel;
          return fromInteger(picture.pixels[offset]);
        };
        const Single v =
            (((print.w10 * pixel(1, 0) + print.w00 * pixel(0, 0)) + print.w01 * pixel(0, 1)) +
             print.w11 * pixel(1, 1)) +
            Single(0.5f);
        const size_t index = static_cast<size_t>((row * side + column) * channels + channel);
        frame[index] = static_cast<uint8_t>(static_cast<uint32_t>(truncated(v.value)) % 256u);
      }
    }
  }
  return frame;
}

std::vector<float> sample(const std::vector<uint8_t>& frame, Point centre, int32_t patch,
                          bool mirroredSample, const float* means) {
  const PatchRow& row = patchRow(patch);
  const int32_t side = row.side;
  const int32_t half = side / 2;
  const int32_t planes = row.colour ? 3 : 1;
  const Single rounding(0.5f);
  const Single offY = fromInteger(row.span) * Single(row.offsetFactor);
  std::vector<float> values;
  for (int32_t element = 0; element < planes * side * side; ++element) {
    const int32_t plane = element / (side * side);
    const int32_t i = element / side % side;
    const int32_t j = element % side;
    if (isBlank(row, i, j)) {
      values.push_back(0.0f);
      continue;
    }
    const Single dy = fromInteger(i - half);
    const Single dx = fromInteger(j - half);
    const Single y = ((dy + Single(centre.y)) + offY) + rounding;
    const Single across = mirroredSample ? Single(centre.x) - dx : dx + Single(centre.x);
    const int32_t Y = limited(truncated(y.value), kFrameSide - 1);
    const int32_t X = limited(truncated((across + rounding).value), kFrameSide - 1);
    // Plane 0 is the last byte of a colour pixel.
    const int32_t index = (Y * kFrameSide + X) * planes + (planes - 1 - plane);
    const Single byte = fromInteger(frame[static_cast<size_t>(index)]);
    values.push_back((byte - Single(means[element])).value);
  }
  return values;
}

PatchSet patchMatrices(const PictureView& picture, const LandmarkSet& landmarks,
                       const float* patchMeans) {
  const std::vector<uint8_t> grayBytes = grayOf(picture);
  const PictureView gray = {grayBytes.data(), picture.width, picture.height, picture.width};
  PatchSet set;
  set.referenceLength = headPose(landmarks).referenceLength;
  set.slots = sortedSlots(landmarks);
  set.anchorDistance = anchorDistance(set.slots);
  const Point upper = {set.slots[6].x, set.slots[6].y};
  const Point lower = {set.slots[8].x, set.slots[8].y};
  for (int32_t patch = 0; patch < kPatches; ++patch) {
    PatchSteps steps;
    steps.height = lowerAnchorHeight(patch, set.anchorDistance, set.referenceLength);
    steps.toCanonical = fitToCanonical(upper, lower, steps.height);
    steps.toImage = fitToImage(upper, lower, steps.height);
    for (size_t k = 0; k < set.slots.size() && k < steps.alignedPoints.size(); ++k) {
      steps.alignedPoints[k] = mapped(steps.toCanonical, {set.slots[k].x, set.slots[k].y});
    }
    const PatchRow& row = patchRow(patch);
    const std::vector<uint8_t> frame =
        row.colour ? warped(picture, 3, steps.toImage) : warped(gray, 1, steps.toImage);
    const float* means = patchMeans + static_cast<size_t>(patch) * kMeanFloats;
    const Point centre = steps.alignedPoints[static_cast<size_t>(row.centre)];
    const Point partner = steps.alignedPoints[static_cast<size_t>(row.mirror)];
    std::vector<float> matrix = sample(frame, centre, patch, false, means);
    const std::vector<float> second = sample(frame, partner, patch, true, means);
    matrix.insert(matrix.end(), second.begin(), second.end());

    (row.colour ? set.colorFace : set.grayFace) = frame;
    set.frames.push_back(frame);
    set.matrices.push_back(matrix);
    set.steps.push_back(steps);
  }
  return set;
}

}  // namespace reference
