#include "geometry/face_similarity.h"

#include "kernels/rounded_math.h"

namespace facefeature {
namespace {

// Both fits minimise the squared distance of a x - b y + tx, b x + a y + ty from the targets; the
// closed form follows from setting the four derivatives to zero, with n = 2 points. The order of
// operations defines the feature: every parenthesis is a rounding, and a better-conditioned form
// would give another feature. The digits lost far from the origin (about 0.04 pixel at 1000) are
// part of the definition.

// y of the upper anchor in the canonical frame.
constexpr float kUpperX = 80.0f;
constexpr float kUpperY = 60.0f;
constexpr float kSumU = 160.0f;  // sum of the x of both anchors in the frame

// The terms that both fits share.
struct Sums {
  float Sx, Sy;  // of the anchors in the photograph
  float Q;       // of their squares
  float Sv;      // y of both anchors in the frame
  float A;       // sums of products across: x with x and y with y
};

Sums sumsOf(const FaceAnchors& p, float h) {
  Sums s;
  s.Sx = p.x8 + p.x6;
  s.Sy = p.y8 + p.y6;
  s.Q = (p.y8 * p.y8 + p.x8 * p.x8) + (p.y6 * p.y6 + p.x6 * p.x6);
  s.Sv = kUpperY + h;
  s.A = (p.y8 * h + p.x8 * kUpperX) + (p.y6 * kUpperY + p.x6 * kUpperX);
  return s;
}

}  // namespace

FaceAnchors anchorsOf(const Landmark slots[kSlotCount]) {
  // Anchors are positions in the sorted order, not ids. In a complete record slots 6 and 8 hold ids
  // 6 and 10. If a lower id is missing, its neighbours shift into them and the frame moves.
  const Landmark& upper = slots[6];
  const Landmark& lower = slots[8];
  FaceAnchors anchors = {upper.x, upper.y, lower.x, lower.y, 0.0f};
  const float dx = upper.x - lower.x;
  const float dy = upper.y - lower.y;
  anchors.distance = roundedSqrt(dx * dx + dy * dy);
  return anchors;
}

float lowerAnchorHeight(int32_t referenceSpan, const FaceAnchors& anchors, float referenceLength) {
  return (static_cast<float>(referenceSpan) * anchors.distance) / referenceLength + kUpperY;
}

FaceSimilarity fitToCanonical(const FaceAnchors& p, float h) {
  const Sums s = sumsOf(p, h);
  const float B = (p.x8 * h - p.y8 * kUpperX) + (p.x6 * kUpperY - p.y6 * kUpperX);
  const float D = (s.Q * 2.0f - s.Sx * s.Sx) - s.Sy * s.Sy;
  FaceSimilarity fit;
  fit.a = (s.A * 2.0f - (s.Sy * s.Sv + s.Sx * kSumU)) / D;
  fit.b = ((s.Sy * kSumU - s.Sx * s.Sv) + B * 2.0f) / D;
  fit.tx = ((s.Q * kSumU - s.A * s.Sx) + B * s.Sy) / D;
  fit.ty = ((s.Q * s.Sv - s.A * s.Sy) - B * s.Sx) / D;
  return fit;
}

FaceSimilarity fitToImage(const FaceAnchors& p, float h) {
  const Sums s = sumsOf(p, h);
  // The sum of the squares of the anchors in the frame: of 80, 60, 80 and h.
  const float T = (h * h + 6400.0f) + 10000.0f;
  const float B2 = (p.y8 * kUpperX - p.x8 * h) + (p.y6 * kUpperX - p.x6 * kUpperY);
  const float D2 = (T * 2.0f - kSumU * kSumU) - s.Sv * s.Sv;
  FaceSimilarity fit;
  fit.a = (s.A * 2.0f - (s.Sv * s.Sy + kSumU * s.Sx)) / D2;
  fit.b = ((s.Sv * s.Sx - kSumU * s.Sy) + B2 * 2.0f) / D2;
  fit.tx = ((T * s.Sx - s.A * kSumU) + B2 * s.Sv) / D2;
  fit.ty = ((T * s.Sy - s.A * s.Sv) - B2 * kSumU) / D2;
  return fit;
}

void alignSlots(const FaceSimilarity& toCanonical, const Landmark slots[kSlotCount],
                float aligned[2 * kSlotCount]) {
  const FaceSimilarity& t = toCanonical;
  for (int32_t k = 0; k < kSlotCount; ++k) {
    const float x = slots[k].x;
    const float y = slots[k].y;
    aligned[2 * k] = (t.a * x - t.b * y) + t.tx;
    aligned[2 * k + 1] = (t.a * y + t.b * x) + t.ty;
  }
}

}  // namespace facefeature
