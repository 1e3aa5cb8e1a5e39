#include "face/landmark_scheme.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <vector>

#include "support/sample_faces.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature_tools::ImagePoint;
using facefeature_tools::landmarksFrom68;
using facefeature_tools::SchemePoints;

ImagePoint operator+(ImagePoint a, ImagePoint b) { return {a.x + b.x, a.y + b.y}; }
ImagePoint operator-(ImagePoint a, ImagePoint b) { return {a.x - b.x, a.y - b.y}; }
ImagePoint operator*(double t, ImagePoint a) { return {t * a.x, t * a.y}; }

// The mapping as documented in docs/landmarks.md: means, points on lines and points beyond them.
std::map<int32_t, ImagePoint> mappedByWords(const SchemePoints& p) {
  const auto mean = [&p](std::vector<size_t> points) {
    ImagePoint sum = {0.0, 0.0};
    for (const size_t point : points) sum = sum + p[point];
    return (1.0 / static_cast<double>(points.size())) * sum;
  };
  const auto between = [&p](size_t a, size_t b, double t) { return p[a] + t * (p[b] - p[a]); };
  const ImagePoint leftUpper = mean({37, 38}), leftLower = mean({40, 41});
  const ImagePoint rightUpper = mean({43, 44}), rightLower = mean({46, 47});
  return {{0, mean({37, 38, 40, 41})},
          {1, mean({43, 44, 46, 47})},
          {2, p[17]},
          {3, between(21, 20, 0.35)},
          {4, between(22, 23, 0.35)},
          {5, p[26]},
          {6, between(27, 28, 0.15)},
          {9, p[30]},
          {10, p[51]},
          {11, p[57]},
          {12, p[48]},
          {13, p[54]},
          {43, p[35] + 0.1 * (p[35] - p[33]) + 0.2 * (p[30] - p[33])},
          {44, p[31] + 0.1 * (p[31] - p[33]) + 0.2 * (p[30] - p[33])},
          {45, mean({62, 66})},
          {200, p[33]},
          {221, p[39]},
          {222, leftLower + 0.25 * (leftLower - leftUpper)},
          {223, p[36]},
          {225, p[45]},
          {226, rightLower + 0.25 * (rightLower - rightUpper)},
          {227, p[42]},
          {240, p[2] + 0.035 * (p[2] - p[14])},
          {241, p[14] + 0.035 * (p[14] - p[2])},
          {300, p[19]},
          {302, p[24]},
          {314, between(57, 8, 0.72)},
          {315, p[4] + 0.035 * (p[4] - p[12])},
          {316, p[12] + 0.035 * (p[12] - p[4])}};
}

TEST(LandmarkScheme, MapsEachOfThe29IdsInAscendingOrderOfId) {
  SeededRandom random;
  for (int round = 0; round < 20; ++round) {
    SchemePoints points;
    for (ImagePoint& point : points) {
      point = {static_cast<double>(random.between(-10.0f, 4000.0f)),
               static_cast<double>(random.between(-10.0f, 4000.0f))};
    }
    const std::map<int32_t, ImagePoint> wanted = mappedByWords(points);
    const std::vector<Landmark> got = landmarksFrom68(points);
    ASSERT_EQ(wanted.size(), got.size());
    size_t i = 0;
    for (const auto& [id, index] : wanted) {
      EXPECT_EQ(id, got[i].id);
      // Rounded to hundredths: half of a hundredth, plus the rounding of a float of this size.
      EXPECT_NEAR(index.x, static_cast<double>(got[i].x), 0.0053);
      EXPECT_NEAR(index.y, static_cast<double>(got[i].y), 0.0053);
      ++i;
    }
  }
}

TEST(LandmarkScheme, RoundsToTheHundredthsThatAFileHolds) {
  SchemePoints points = {};
  points[30] = {12.344999, -7.005001};
  for (const Landmark& landmark : landmarksFrom68(points)) {
    if (landmark.id != 9) continue;
    EXPECT_EQ(12.34f, landmark.x);
    EXPECT_EQ(-7.01f, landmark.y);
  }
}

TEST(LandmarkScheme, GivesTheLandmarksOfTheSamplesFromTheirOwnPoints) {
  const std::string folder = samplesFolder();
  if (folder.empty()) GTEST_SKIP() << "no folder of samples";
  for (const SampleFace& sample : sampleFaces(folder)) {
    std::ifstream stream(folder + "/" + sample.name + ".json");
    const nlohmann::json document = nlohmann::json::parse(stream);
    const auto list = document.find("points68");
    if (list == document.end()) continue;
    SchemePoints points;
    ASSERT_EQ(points.size(), list->size());
    for (size_t i = 0; i < points.size(); ++i) points[i] = {(*list)[i][0], (*list)[i][1]};
    const std::vector<Landmark> got = landmarksFrom68(points);
    ASSERT_EQ(got.size(), sample.face.entries.size());
    for (size_t i = 0; i < got.size(); ++i) {
      const Landmark& wanted = sample.face.entries[i];
      EXPECT_EQ(wanted.id, got[i].id);
      // Points and landmarks are both rounded to hundredths, and the absolute weights of a point
      // add up to at most 1.6.
      EXPECT_NEAR(wanted.x, got[i].x, 0.0131f) << sample.name << " id " << wanted.id;
      EXPECT_NEAR(wanted.y, got[i].y, 0.0131f) << sample.name << " id " << wanted.id;
    }
  }
}

}  // namespace
}  // namespace facefeature_test
