// Line charts and histograms as inline SVG.
#ifndef FACEFEATURE_TOOLS_PAGE_SVG_CHART_H
#define FACEFEATURE_TOOLS_PAGE_SVG_CHART_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace facefeature_tools {

enum class AxisScale {
  kLinear,
  kLogarithmic,  // for values above 0
  kProbit        // a rate above 0 and below 1, by the inverse of the normal distribution
};

struct ChartAxis {
  std::string title;
  AxisScale scale = AxisScale::kLinear;
  double from = 0.0;  // at the left or at the bottom
  double to = 1.0;
  bool isRate = false;  // labels as percentages
};

struct ChartPoint {
  double x, y;
};

class SvgChart {
 public:
  // Screen readers read label instead of the chart.
  SvgChart(const std::string& label, const ChartAxis& x, const ChartAxis& y);

  // Points in the order of the line. Points outside the axes are moved to the nearest end, so a
  // rate of 0 is drawn at the edge of a logarithmic axis.
  void line(const std::vector<ChartPoint>& points, const std::string& colour,
            const std::string& name);
  // Draws each value as a bar between two neighbouring edges, from the lower end of the y axis up.
  void bars(const std::vector<float>& edges, const std::vector<double>& values,
            const std::string& colour, const std::string& name);
  void dot(const ChartPoint& point, const std::string& colour);
  // Draws an interval of y as a bar.
  void interval(double x, double low, double high, const std::string& colour);
  // Draws a vertical line over the whole height.
  void mark(double x, const std::string& colour, const std::string& name);
  // Draws the diagonal x = y as a thin line.
  void diagonal();

  std::string svg() const;

 private:
  double xOf(double x) const;
  double yOf(double y) const;
  void legend(const std::string& colour, const std::string& name);

  std::string label_;
  ChartAxis x_;
  ChartAxis y_;
  std::string content_;
  std::vector<std::pair<std::string, std::string>> legend_;  // colour and name
};

}  // namespace facefeature_tools

#endif
