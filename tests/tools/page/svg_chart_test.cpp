#include "page/svg_chart.h"

#include <gtest/gtest.h>

#include <cmath>
#include <regex>

namespace facefeature_test {
namespace {

using namespace facefeature_tools;

// The points of a line of the chart, in pixels.
std::vector<ChartPoint> lineOf(const std::string& svg) {
  std::smatch match;
  EXPECT_TRUE(std::regex_search(svg, match, std::regex("points=\"([^\"]*)\"")));
  const std::string text = match[1];
  std::vector<ChartPoint> points;
  const std::regex pair("([-0-9.]+),([-0-9.]+)");
  for (std::sregex_iterator at(text.begin(), text.end(), pair), end; at != end; ++at) {
    points.push_back({std::stod((*at)[1]), std::stod((*at)[2])});
  }
  return points;
}

std::vector<ChartPoint> drawn(const ChartAxis& x, const ChartAxis& y,
                              const std::vector<ChartPoint>& points) {
  SvgChart chart("label", x, y);
  chart.line(points, "#123456", "");
  return lineOf(chart.svg());
}

TEST(SvgChart, LinearAxesPutTheMiddleInTheMiddleAndYUpwards) {
  const auto points =
      drawn({"x", AxisScale::kLinear, -1.0, 1.0, false},
            {"y", AxisScale::kLinear, 0.0, 10.0, false}, {{-1.0, 0.0}, {0.0, 5.0}, {1.0, 10.0}});
  ASSERT_EQ(3u, points.size());
  EXPECT_NEAR((points[0].x + points[2].x) / 2.0, points[1].x, 0.1);
  EXPECT_NEAR((points[0].y + points[2].y) / 2.0, points[1].y, 0.1);
  EXPECT_LT(points[0].x, points[2].x);
  EXPECT_GT(points[0].y, points[2].y);
}

TEST(SvgChart, LogarithmicAxisGivesEachPowerTheSameRoom) {
  const auto points = drawn({"x", AxisScale::kLogarithmic, 1e-4, 1.0, true}, {"y"},
                            {{1e-4, 0.0}, {1e-3, 0.0}, {1e-2, 0.0}, {1.0, 0.0}});
  ASSERT_EQ(4u, points.size());
  EXPECT_NEAR(points[1].x - points[0].x, points[2].x - points[1].x, 0.11);
  EXPECT_NEAR(2.0 * (points[1].x - points[0].x), points[3].x - points[2].x, 0.21);
}

TEST(SvgChart, ProbitAxisIsScaledByTheInverseOfTheNormalDistribution) {
  // The distribution function at whole standard deviations.
  std::vector<ChartPoint> rates;
  for (int deviations = -3; deviations <= 3; ++deviations) {
    rates.push_back({0.5 * std::erfc(-deviations / std::sqrt(2.0)), 0.0});
  }
  const auto points =
      drawn({"x", AxisScale::kProbit, rates.front().x, rates.back().x, true}, {"y"}, rates);
  ASSERT_EQ(7u, points.size());
  const double step = (points[6].x - points[0].x) / 6.0;
  for (size_t i = 0; i < 7; ++i) {
    EXPECT_NEAR(points[0].x + static_cast<double>(i) * step, points[i].x, 0.11);
  }
}

TEST(SvgChart, PointsOutsideAreMovedToTheEndsOfTheAxes) {
  const auto points = drawn({"x", AxisScale::kLogarithmic, 1e-2, 1.0, true}, {"y"},
                            {{0.0, -5.0}, {1e-2, 0.0}, {1.0, 1.0}, {7.0, 2.0}});
  // Points on the same pixel are drawn once.
  ASSERT_EQ(2u, points.size());
}

TEST(SvgChart, TitlesAndNamesAreText) {
  SvgChart chart("a<b", {"x & y"}, {"y"});
  chart.mark(0.5, "#000000", "<name>");
  const std::string svg = chart.svg();
  EXPECT_NE(std::string::npos, svg.find("a&lt;b"));
  EXPECT_NE(std::string::npos, svg.find("x &amp; y"));
  EXPECT_NE(std::string::npos, svg.find("&lt;name&gt;"));
}

}  // namespace
}  // namespace facefeature_test
