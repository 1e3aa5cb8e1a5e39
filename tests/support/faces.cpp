#include "support/faces.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

#include "support/reference_head_pose.h"

namespace facefeature_test {
namespace {

// A point in the middle of the model's landmarks, in model units.
constexpr double kMiddle[3] = {0.0, 0.0, 8.0};

double radians(float degrees) { return static_cast<double>(degrees) * 3.14159265358979 / 180.0; }

// Three landmarks get ids that the model does not have, and two of the dropped ones are removed.
void useOtherIds(Random& random, FaceRecord& face) {
  face.withId(45).id = random.integer(46, 199);
  face.withId(300).id = random.integer(242, 299);
  face.withId(314).id = 317;
  const auto isDropped = [](const Landmark& entry) { return entry.id == 240 || entry.id == 316; };
  face.entries.erase(std::remove_if(face.entries.begin(), face.entries.end(), isDropped),
                     face.entries.end());
}

float* anyCoordinate(Random& random, FaceRecord& face) {
  const int32_t last = static_cast<int32_t>(face.entries.size()) - 1;
  Landmark& entry = face.entries[static_cast<size_t>(random.integer(0, last))];
  return random.chance(50) ? &entry.x : &entry.y;
}

void moveOutside(FaceRecord& face, FaceKind kind, float width, float height) {
  switch (kind) {
    case FaceKind::kLeftOfPicture:
      return face.moveBy(-width, 0.0f);
    case FaceKind::kRightOfPicture:
      return face.moveBy(width, 0.0f);
    case FaceKind::kAbovePicture:
      return face.moveBy(0.0f, -height);
    case FaceKind::kBelowPicture:
      return face.moveBy(0.0f, height);
    default:
      return face.moveBy(70000.0f, -4000.0f);
  }
}

void spoil(Random& random, FaceKind kind, FaceRecord& face) {
  switch (kind) {
    case FaceKind::kCoincidentAnchors:
      face.withId(10).x = face.withId(6).x;
      face.withId(10).y = face.withId(6).y;
      break;
    case FaceKind::kOnePoint:
      for (Landmark& entry : face.entries) {
        entry.x = face.entries[0].x;
        entry.y = face.entries[0].y;
      }
      break;
    case FaceKind::kNotANumber:
      *anyCoordinate(random, face) = std::numeric_limits<float>::quiet_NaN();
      break;
    case FaceKind::kInfinite:
      *anyCoordinate(random, face) =
          std::copysign(std::numeric_limits<float>::infinity(), random.normal());
      break;
    default:
      for (Landmark& entry : face.entries) entry.x *= 1e25f;
      break;
  }
}

}  // namespace

const LandmarkSet* FaceRecord::set() {
  const int32_t count = static_cast<int32_t>(entries.size());
  const uint32_t reserved = 0xDEADBEEFu;  // nothing may depend on it
  packed_.assign(8 + 12 * entries.size(), 0);
  packed_.shrink_to_fit();
  std::memcpy(packed_.data(), &count, sizeof count);
  std::memcpy(packed_.data() + 4, &reserved, sizeof reserved);
  if (!entries.empty()) std::memcpy(packed_.data() + 8, entries.data(), 12 * entries.size());
  return reinterpret_cast<const LandmarkSet*>(packed_.data());
}

Landmark& FaceRecord::withId(int32_t id) {
  const auto found = std::find_if(entries.begin(), entries.end(),
                                  [id](const Landmark& entry) { return entry.id == id; });
  if (found == entries.end()) throw std::out_of_range("no landmark with this id");
  return *found;
}

void FaceRecord::shuffle(Random& random) {
  for (size_t left = entries.size(); left > 1; --left) {
    const int32_t other = random.integer(0, static_cast<int32_t>(left) - 1);
    std::swap(entries[left - 1], entries[static_cast<size_t>(other)]);
  }
}

void FaceRecord::moveBy(float x, float y) {
  for (Landmark& entry : entries) {
    entry.x += x;
    entry.y += y;
  }
}

FaceRecord projectedFace(const FacePose& pose) {
  const double cy = std::cos(radians(pose.yaw)), sy = std::sin(radians(pose.yaw));
  const double cp = std::cos(radians(pose.pitch)), sp = std::sin(radians(pose.pitch));
  const double cr = std::cos(radians(pose.roll)), sr = std::sin(radians(pose.roll));
  const double scale = static_cast<double>(pose.scale);
  FaceRecord face;
  for (const reference::ModelRow& row : reference::modelRows()) {
    const double x = static_cast<double>(row.x) - kMiddle[0];
    const double y = static_cast<double>(row.y) - kMiddle[1];
    const double z = static_cast<double>(row.z) - kMiddle[2];
    const double turnedX = cy * x + sy * z;
    const double turnedZ = cy * z - sy * x;
    const double noddedY = cp * y - sp * turnedZ;
    const double imageX = static_cast<double>(pose.x) + scale * (cr * turnedX - sr * noddedY);
    const double imageY = static_cast<double>(pose.y) + scale * (sr * turnedX + cr * noddedY);
    face.entries.push_back({row.id, static_cast<float>(imageX), static_cast<float>(imageY)});
  }
  return face;
}

FacePose randomPose(Random& random, int32_t width, int32_t height) {
  const float w = static_cast<float>(width);
  const float h = static_cast<float>(height);
  FacePose pose;
  pose.yaw = random.between(-60.0f, 60.0f);
  pose.pitch = random.between(-40.0f, 40.0f);
  pose.roll = random.between(-180.0f, 180.0f);
  pose.scale = std::min(w, h) / 20.0f * random.between(0.3f, 1.2f);
  pose.x = w * random.between(0.3f, 0.7f);
  pose.y = h * random.between(0.3f, 0.7f);
  return pose;
}

std::string nameOf(FaceKind kind) {
  static const char* const kNames[kFaceKinds] = {"upright",
                                                 "turned",
                                                 "noisy",
                                                 "tiny",
                                                 "large",
                                                 "left of picture",
                                                 "right of picture",
                                                 "above picture",
                                                 "below picture",
                                                 "far away",
                                                 "other ids",
                                                 "coincident anchors",
                                                 "one point",
                                                 "not a number",
                                                 "infinite",
                                                 "enormous"};
  return kNames[static_cast<int32_t>(kind)];
}

FaceRecord faceOfKind(Random& random, FaceKind kind, int32_t width, int32_t height) {
  FacePose pose = randomPose(random, width, height);
  if (kind == FaceKind::kUpright) pose.yaw = pose.pitch = pose.roll = 0.0f;
  if (kind == FaceKind::kTiny) pose.scale = random.between(0.05f, 0.5f);
  if (kind == FaceKind::kLarge) pose.scale *= 20.0f;
  FaceRecord face = projectedFace(pose);
  if (kind == FaceKind::kUpright || kind == FaceKind::kTurned) return face;

  for (Landmark& entry : face.entries) {
    entry.x += 0.3f * pose.scale * random.normal();
    entry.y += 0.3f * pose.scale * random.normal();
  }
  if (kind == FaceKind::kOtherIds) useOtherIds(random, face);
  if (kind >= FaceKind::kLeftOfPicture && kind <= FaceKind::kFarAway) {
    moveOutside(face, kind, static_cast<float>(width), static_cast<float>(height));
  }
  if (kind >= FaceKind::kCoincidentAnchors) spoil(random, kind, face);
  face.shuffle(random);
  return face;
}

}  // namespace facefeature_test
