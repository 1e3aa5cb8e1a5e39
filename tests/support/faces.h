// Landmark records for tests: projections of the rigid face model, from everyday faces to records
// that only a careless host would send.
#ifndef FACEFEATURE_TESTS_SUPPORT_FACES_H
#define FACEFEATURE_TESTS_SUPPORT_FACES_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "facefeature/facefeature.h"
#include "support/random.h"

namespace facefeature_test {

// A record in memory of its own, exactly as long as its entries need, so that a memory checker
// detects a read past the last one.
class FaceRecord {
 public:
  FaceRecord() = default;
  explicit FaceRecord(std::vector<Landmark> list) : entries(std::move(list)) {}

  // Packs the current entries. Valid until the next call or the end of the record.
  const LandmarkSet* set();

  // The entry with this id; the record must have one.
  Landmark& withId(int32_t id);

  void shuffle(Random& random);
  void moveBy(float x, float y);

  std::vector<Landmark> entries;

 private:
  std::vector<unsigned char> packed_;
};

// Position and pose of a head. Angles in degrees; scale in pixels per model unit, where the eyes of
// the model are 6.28 units apart.
struct FacePose {
  float yaw, pitch, roll;
  float scale;
  float x, y;  // position of the middle of the model's face
};

// The 29 landmarks in ascending order of id.
FaceRecord projectedFace(const FacePose& pose);

// A head that is mostly inside a picture of this size, with arbitrary pose.
FacePose randomPose(Random& random, int32_t width, int32_t height);

enum class FaceKind {
  kUpright,        // upright, looks into the camera
  kTurned,         // any pose, exact
  kNoisy,          // any pose, a detector's errors, entries in any order
  kTiny,           // a few pixels wide
  kLarge,          // larger than the picture
  kLeftOfPicture,  // frames reach outside on one side
  kRightOfPicture,
  kAbovePicture,
  kBelowPicture,
  kFarAway,            // coordinates of many thousands
  kOtherIds,           // 25 kept entries, some with ids that are not in the model
  kCoincidentAnchors,  // landmarks 6 and 10 coincide
  kOnePoint,           // all landmarks coincide
  kNotANumber,         // a coordinate is NaN
  kInfinite,           // a coordinate is infinite
  kEnormous,           // products of coordinates overflow
};
constexpr int32_t kFaceKinds = 16;

std::string nameOf(FaceKind kind);

// A record of this kind with 25 entries for the alignment, with distinct ids.
FaceRecord faceOfKind(Random& random, FaceKind kind, int32_t width, int32_t height);

}  // namespace facefeature_test

#endif
