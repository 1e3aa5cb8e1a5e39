#include "geometry/landmark_set.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <tuple>
#include <vector>

#include "support/faces.h"
#include "support/reference_geometry.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature;

const int32_t kIdsInSlots[kSlotCount] = {0,   1,   2,   3,   4,   5,   6,   9,   10,
                                         11,  12,  13,  43,  44,  45,  200, 221, 222,
                                         223, 225, 226, 227, 300, 302, 314};

FaceRecord anyFace(Random& random) { return faceOfKind(random, FaceKind::kNoisy, 400, 300); }

std::vector<Landmark> slotsOf(FaceRecord& face) {
  std::vector<Landmark> slots(kSlotCount);
  sortLandmarks(face.set(), slots.data());
  return slots;
}

auto fieldsOf(const Landmark& entry) { return std::make_tuple(entry.id, entry.x, entry.y); }

TEST(CompareLandmarks, AnswersOneMinusOneAndZero) {
  const Landmark three = {3, 9.0f, 9.0f};
  const Landmark four = {4, 1.0f, 1.0f};
  const Landmark otherFour = {4, 5.0f, 6.0f};
  EXPECT_EQ(-1, compareLandmarks(&three, &four));
  EXPECT_EQ(1, compareLandmarks(&four, &three));
  EXPECT_EQ(0, compareLandmarks(&four, &otherFour));
}

TEST(CompareLandmarks, ComparesSignedIdsWithoutOverflow) {
  const Landmark lowest = {std::numeric_limits<int32_t>::min(), 0.0f, 0.0f};
  const Landmark highest = {std::numeric_limits<int32_t>::max(), 0.0f, 0.0f};
  const Landmark minusOne = {-1, 0.0f, 0.0f};
  EXPECT_EQ(-1, compareLandmarks(&lowest, &highest));
  EXPECT_EQ(1, compareLandmarks(&highest, &lowest));
  EXPECT_EQ(1, compareLandmarks(&highest, &minusOne));
  EXPECT_EQ(-1, compareLandmarks(&lowest, &minusOne));
}

TEST(IsDroppedFromAlignment, HoldsForTheFourSidesAlone) {
  for (int32_t id = -5; id < 330; ++id) {
    const bool wanted = id == 240 || id == 241 || id == 315 || id == 316;
    EXPECT_EQ(wanted, isDroppedFromAlignment(id)) << "id " << id;
  }
}

TEST(SortLandmarks, AFullRecordFillsTheSlotsInTheOrderOfTheModelWhateverTheOrderOfEntries) {
  SeededRandom random;
  FaceRecord face = anyFace(random);
  for (int i = 0; i < 300; ++i) {
    face.shuffle(random);
    const std::vector<Landmark> slots = slotsOf(face);
    for (size_t k = 0; k < slots.size(); ++k) {
      ASSERT_EQ(kIdsInSlots[k], slots[k].id) << "slot " << k;
      ASSERT_EQ(fieldsOf(face.withId(slots[k].id)), fieldsOf(slots[k])) << "slot " << k;
    }
  }
}

TEST(SortLandmarks, EntriesInDescendingOrderOfIdAreSortedToo) {
  SeededRandom random;
  FaceRecord face = anyFace(random);
  std::sort(face.entries.begin(), face.entries.end(),
            [](const Landmark& a, const Landmark& b) { return a.id > b.id; });
  const std::vector<Landmark> slots = slotsOf(face);
  for (size_t k = 0; k < slots.size(); ++k) EXPECT_EQ(kIdsInSlots[k], slots[k].id);
}

TEST(SortLandmarks, ARecordWithoutAnIdBelowTenMovesOthersIntoTheAnchorSlots) {
  SeededRandom random;
  FaceRecord face = anyFace(random);
  face.withId(4).id = 317;
  const std::vector<Landmark> slots = slotsOf(face);
  EXPECT_EQ(9, slots[6].id);
  EXPECT_EQ(11, slots[8].id);
  EXPECT_EQ(317, slots[24].id);
}

TEST(SortLandmarks, ARecordWithAnExtraIdBelowTenMovesOthersIntoTheAnchorSlots) {
  SeededRandom random;
  FaceRecord face = anyFace(random);
  face.withId(314).id = 7;
  const std::vector<Landmark> slots = slotsOf(face);
  EXPECT_EQ(6, slots[6].id);
  EXPECT_EQ(7, slots[7].id);
  EXPECT_EQ(9, slots[8].id);
}

TEST(SortLandmarks, TwoEntriesWithOneIdAreBothKept) {
  SeededRandom random;
  FaceRecord face = anyFace(random);
  face.withId(200).id = 45;
  face.withId(1).id = 0;
  std::vector<Landmark> slots = slotsOf(face);
  std::vector<Landmark> wanted = reference::sortedSlots(*face.set());
  EXPECT_TRUE(std::is_sorted(slots.begin(), slots.end(),
                             [](const Landmark& a, const Landmark& b) { return a.id < b.id; }));
  const auto byFields = [](const Landmark& a, const Landmark& b) {
    return fieldsOf(a) < fieldsOf(b);
  };
  std::sort(slots.begin(), slots.end(), byFields);
  std::sort(wanted.begin(), wanted.end(), byFields);
  ASSERT_EQ(wanted.size(), slots.size());
  for (size_t k = 0; k < slots.size(); ++k) EXPECT_EQ(fieldsOf(wanted[k]), fieldsOf(slots[k]));
}

TEST(SortLandmarks, CoordinatesPassThroughBitByBit) {
  SeededRandom random;
  for (int i = 0; i < 50; ++i) {
    FaceRecord face = anyFace(random);
    for (Landmark& entry : face.entries) {
      entry.x = random.special();
      entry.y = random.special();
    }
    const std::vector<Landmark> slots = slotsOf(face);
    const std::vector<Landmark> wanted = reference::sortedSlots(*face.set());
    ASSERT_EQ(wanted.size(), slots.size());
    EXPECT_EQ(0, std::memcmp(wanted.data(), slots.data(), slots.size() * sizeof(Landmark)));
  }
}

TEST(SortLandmarks, TheRecordIsOnlyRead) {
  SeededRandom random;
  FaceRecord face = anyFace(random);
  const LandmarkSet* set = face.set();
  const size_t bytes = 8 + 12 * face.entries.size();
  std::vector<unsigned char> before(bytes);
  std::memcpy(before.data(), set, bytes);
  Landmark slots[kSlotCount];
  sortLandmarks(set, slots);
  EXPECT_EQ(0, std::memcmp(before.data(), set, bytes));
}

}  // namespace
}  // namespace facefeature_test
