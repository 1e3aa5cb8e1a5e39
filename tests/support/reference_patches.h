// Oracle of the path from a picture and landmarks to 25 patch matrices: slots, transforms, gray
// conversion, warps and samples, each in exact single steps and with a patch table of its own.
#ifndef FACEFEATURE_TESTS_SUPPORT_REFERENCE_PATCHES_H
#define FACEFEATURE_TESTS_SUPPORT_REFERENCE_PATCHES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "facefeature/facefeature.h"

namespace reference {

constexpr int32_t kPatches = 25;
constexpr int32_t kSlots = 25;
constexpr int32_t kFrameSide = 160;
constexpr size_t kMeanFloats = 9075;

struct PatchRow {
  int32_t side;
  int32_t span;
  float offsetFactor;
  int32_t columnMargin;
  int32_t rowMargin;
  int32_t centre;
  int32_t mirror;
  bool colour;
};

const PatchRow& patchRow(int32_t patch);

// Floats in one sample of the patch.
size_t sampleLength(int32_t patch);

// Toward zero; -2147483648 for NaN, infinities and values that a signed 32-bit integer can't hold.
int32_t truncated(float value);

struct Similarity {
  float a, b, tx, ty;
};

struct Point {
  float x, y;
};

// Kept entries in ascending order of id. Entries with the same id keep the order of the record.
std::vector<Landmark> sortedSlots(const LandmarkSet& landmarks);

float anchorDistance(const std::vector<Landmark>& slots);
float lowerAnchorHeight(int32_t patch, float anchorDistance, float referenceLength);
Similarity fitToCanonical(Point upper, Point lower, float height);
Similarity fitToImage(Point upper, Point lower, float height);
Point mapped(const Similarity& similarity, Point point);

// Rows of `stride` bytes; a negative stride walks back from the first row.
struct PictureView {
  const uint8_t* pixels;
  int32_t width, height, stride;
};

// height rows of width bytes.
std::vector<uint8_t> grayOf(const PictureView& colourPicture);

// One channel: 160 x 160 bytes. Three channels: 160 x 160 x 3 bytes.
std::vector<uint8_t> warped(const PictureView& picture, int32_t channels,
                            const Similarity& toImage);

// means has at least as many floats as the sample.
std::vector<float> sample(const std::vector<uint8_t>& frame, Point centre, int32_t patch,
                          bool mirroredSample, const float* means);

struct PatchSteps {
  float height;
  Similarity toCanonical;
  Similarity toImage;
  std::array<Point, kSlots> alignedPoints;
};

struct PatchSet {
  float referenceLength;
  float anchorDistance;
  std::vector<Landmark> slots;
  std::vector<PatchSteps> steps;
  // Both rows of each patch, one after the other.
  std::vector<std::vector<float>> matrices;
  // The frame of each patch, and the final contents of the two scratch faces.
  std::vector<std::vector<uint8_t>> frames;
  std::vector<uint8_t> grayFace;
  std::vector<uint8_t> colorFace;
};

// patchMeans: 25 slots of 9075 floats.
PatchSet patchMatrices(const PictureView& picture, const LandmarkSet& landmarks,
                       const float* patchMeans);

}  // namespace reference

#endif
