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

// A record in memory of its own: exactly as long as its entries need, so that a checker of memory
// accesses sees a read behind the last one.
class FaceRecord {
 public:
  FaceRecord() = default;
  explicit FaceRecord(std::vector<Landmark> list) : entries(std::move(list)) {}

  // Packs the entries as they are now. Valid until the next call or the record's end.
  const LandmarkSet* set();

  // The entry with this id; the record must have one.
  Landmark& withId(int32_t id);

  void shuffle(Random& random);
  void moveBy(float x, float y);

  std::vector<Landmark> entries;

 private:
  std::vector<unsigned char> packed_;
};

// Where a head is and how it is held. Angles in degrees; scale in pixels per model unit, where the
// eyes of the model are 6.28 units apart.
struct FacePose {
  float yaw, pitch, roll;
  float scale;
  float x, y;  // where the middle of the model's face comes to lie
};

// The 29 landmarks by rising id.
FaceRecord projectedFace(const FacePose& pose);

// A head that mostly lies inside a picture of this size, turned and tilted at will.
FacePose randomPose(Random& random, int32_t width, int32_t height);

enum class FaceKind {
  kUpright,        // looks into the camera, held straight
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
  kCoincidentAnchors,  // the landmarks 6 and 10 at one place
  kOnePoint,           // all landmarks at one place
  kNotANumber,         // a coordinate is NaN
  kInfinite,           // a coordinate is infinite
  kEnormous,           // products of coordinates overflow
};
constexpr int32_t kFaceKinds = 16;

std::string nameOf(FaceKind kind);

// A record of this kind with 25 entries for the alignment, no two of them with one id.
FaceRecord faceOfKind(Random& random, FaceKind kind, int32_t width, int32_t height);

}  // namespace facefeature_test

#endif
