#include "geometry/model_points.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/bits.h"
#include "support/reference_geometry.h"

namespace facefeature_test {
namespace {

using namespace facefeature;

TEST(ModelPoints, EveryCoordinateIsTheNearestFloat) {
  ASSERT_EQ(29u, reference::modelRows().size());
  for (size_t i = 0; i < reference::modelRows().size(); ++i) {
    const reference::ModelRow& row = reference::modelRows()[i];
    EXPECT_SAME_FLOAT(row.x, ModelPoints[i][0]) << "id " << row.id;
    EXPECT_SAME_FLOAT(row.y, ModelPoints[i][1]) << "id " << row.id;
    EXPECT_SAME_FLOAT(row.z, ModelPoints[i][2]) << "id " << row.id;
  }
}

TEST(ModelPoints, ColumnsAddUpToTheirSumsOfDecimals) {
  // In units of 1/100000: a check of the digits that is independent of both tables.
  const int64_t wanted[3] = {-120432, -2889553, 26517700};
  for (size_t axis = 0; axis < 3; ++axis) {
    int64_t sum = 0;
    for (const auto& point : ModelPoints) {
      sum += std::llround(static_cast<double>(point[axis]) * 100000.0);
    }
    EXPECT_EQ(wanted[axis], sum) << "axis " << axis;
  }
}

TEST(ModelPointIndex, NamesTheModelPointOfEachLandmark) {
  int32_t point = 0;
  for (int32_t id : {0,   1,   2,   3,   4,   5,   6,   9,   10,  11,  12,  13,  43,  44, 45,
                     200, 221, 222, 223, 225, 226, 227, 240, 241, 300, 302, 314, 315, 316}) {
    EXPECT_EQ(point, ModelPointIndex[id]) << "id " << id;
    ++point;
  }
}

TEST(ModelPointIndex, AnUnlistedIdTakesTheModelPointOfIdZero) {
  int32_t unlisted = 0;
  for (int32_t id = 0; id < kLandmarkIds; ++id) {
    EXPECT_EQ(reference::modelPointOf(id), ModelPointIndex[id]) << "id " << id;
    if (ModelPointIndex[id] == 0) ++unlisted;
  }
  EXPECT_EQ(318 - 28, unlisted);
}

}  // namespace
}  // namespace facefeature_test
