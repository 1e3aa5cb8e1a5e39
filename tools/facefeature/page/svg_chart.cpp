#include "page/svg_chart.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "page/html.h"

namespace facefeature_tools {
namespace {

// In pixels of the drawing, which browsers scale.
constexpr double kWidth = 560.0, kHeight = 440.0;
constexpr double kLeft = 70.0, kRight = 540.0, kTop = 16.0, kBottom = 365.0;

// The inverse of the normal distribution function, by bisection. That is fast enough for some
// hundred points, and the standard library has only the function itself.
double probit(double rate) {
  double low = -40.0, high = 40.0;
  for (int i = 0; i < 60; ++i) {
    const double middle = (low + high) / 2.0;
    (0.5 * std::erfc(-middle / std::sqrt(2.0)) < rate ? low : high) = middle;
  }
  return low;
}

double scaled(const ChartAxis& axis, double value) {
  switch (axis.scale) {
    case AxisScale::kLogarithmic:
      return std::log10(value);
    case AxisScale::kProbit:
      return probit(value);
    default:
      return value;
  }
}

// 0 at the start of the axis and 1 at its end.
double shareOf(const ChartAxis& axis, double value) {
  const double inside =
      std::clamp(value, std::min(axis.from, axis.to), std::max(axis.from, axis.to));
  const double from = scaled(axis, axis.from), to = scaled(axis, axis.to);
  return (scaled(axis, inside) - from) / (to - from);
}

std::string number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", value);
  return text;
}

std::string coordinate(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", value);
  return text;
}

// 1, 2 or 5 times a power of ten, for about six steps over a length.
double roundStep(double length) {
  const double power = std::pow(10.0, std::floor(std::log10(length / 6.0)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (length / (factor * power) <= 7.0) return factor * power;
  }
  return 10.0 * power;
}

std::vector<double> ticksOf(const ChartAxis& axis) {
  std::vector<double> ticks;
  if (axis.scale == AxisScale::kProbit) {
    for (const double rate : {1e-6, 1e-4, 1e-3, 0.01, 0.05, 0.2, 0.5, 0.8, 0.95, 0.99}) {
      if (rate >= axis.from && rate <= axis.to) ticks.push_back(rate);
    }
  } else if (axis.scale == AxisScale::kLogarithmic) {
    const int first = static_cast<int>(std::ceil(std::log10(axis.from) - 1e-9));
    const int last = static_cast<int>(std::floor(std::log10(axis.to) + 1e-9));
    for (int power = first; power <= last; ++power) ticks.push_back(std::pow(10.0, power));
  } else {
    const double step = roundStep(axis.to - axis.from);
    for (double k = std::ceil(axis.from / step - 1e-9); k * step <= axis.to + 1e-9 * step; ++k) {
      ticks.push_back(k * step);
    }
  }
  return ticks;
}

std::string tickLabel(const ChartAxis& axis, double value) {
  if (std::abs(value) < 1e-12) return axis.isRate ? "0 %" : "0";
  return axis.isRate ? number(100.0 * value) + " %" : number(value);
}

std::string text(double x, double y, const std::string& anchor, const std::string& content) {
  return "<text x=\"" + coordinate(x) + "\" y=\"" + coordinate(y) + "\" text-anchor=\"" + anchor +
         "\">" + htmlText(content) + "</text>";
}

std::string segment(double x1, double y1, double x2, double y2, const std::string& style) {
  return "<line x1=\"" + coordinate(x1) + "\" y1=\"" + coordinate(y1) + "\" x2=\"" +
         coordinate(x2) + "\" y2=\"" + coordinate(y2) + "\" " + style + "/>";
}

}  // namespace

SvgChart::SvgChart(const std::string& label, const ChartAxis& x, const ChartAxis& y)
    : label_(label), x_(x), y_(y) {}

double SvgChart::xOf(double x) const { return kLeft + shareOf(x_, x) * (kRight - kLeft); }
double SvgChart::yOf(double y) const { return kBottom - shareOf(y_, y) * (kBottom - kTop); }

void SvgChart::legend(const std::string& colour, const std::string& name) {
  if (!name.empty()) legend_.emplace_back(colour, name);
}

void SvgChart::line(const std::vector<ChartPoint>& points, const std::string& colour,
                    const std::string& name) {
  std::string path;
  std::string last;
  for (const ChartPoint& point : points) {
    const std::string here = coordinate(xOf(point.x)) + "," + coordinate(yOf(point.y));
    if (here == last) continue;
    path += (path.empty() ? "" : " ") + here;
    last = here;
  }
  content_ += "<polyline fill=\"none\" stroke=\"" + colour + "\" stroke-width=\"2\" points=\"" +
              path + "\"/>\n";
  legend(colour, name);
}

void SvgChart::bars(const std::vector<float>& edges, const std::vector<double>& values,
                    const std::string& colour, const std::string& name) {
  std::string path = "M" + coordinate(xOf(edges.front())) + "," + coordinate(kBottom);
  for (size_t i = 0; i < values.size(); ++i) {
    path += "V" + coordinate(yOf(values[i])) + "H" + coordinate(xOf(edges[i + 1]));
  }
  content_ += "<path fill=\"" + colour + "\" fill-opacity=\"0.35\" stroke=\"" + colour + "\" d=\"" +
              path + "V" + coordinate(kBottom) + "Z\"/>\n";
  legend(colour, name);
}

void SvgChart::dot(const ChartPoint& point, const std::string& colour) {
  content_ += "<circle cx=\"" + coordinate(xOf(point.x)) + "\" cy=\"" + coordinate(yOf(point.y)) +
              "\" r=\"4\" fill=\"" + colour + "\"/>\n";
}

void SvgChart::interval(double x, double low, double high, const std::string& colour) {
  content_ += segment(xOf(x), yOf(low), xOf(x), yOf(high),
                      "stroke=\"" + colour + "\" stroke-width=\"6\" stroke-opacity=\"0.35\"") +
              "\n";
}

void SvgChart::mark(double x, const std::string& colour, const std::string& name) {
  content_ += segment(xOf(x), kTop, xOf(x), kBottom,
                      "stroke=\"" + colour + "\" stroke-width=\"2\" stroke-dasharray=\"6 4\"") +
              "\n";
  legend(colour, name);
}

void SvgChart::diagonal() {
  const double from = std::max(x_.from, y_.from), to = std::min(x_.to, y_.to);
  content_ += segment(xOf(from), yOf(from), xOf(to), yOf(to),
                      "stroke=\"#9aa1ac\" stroke-dasharray=\"3 4\"") +
              "\n";
}

std::string SvgChart::svg() const {
  std::string svg = "<svg viewBox=\"0 0 " + coordinate(kWidth) + " " + coordinate(kHeight) +
                    "\" width=\"" + coordinate(kWidth) + "\" role=\"img\" aria-label=\"" +
                    htmlText(label_) +
                    "\" font-family=\"system-ui, DejaVu Sans, sans-serif\" font-size=\"12\" "
                    "fill=\"#3b414b\">\n";
  const std::string grid = "stroke=\"#e6e9ee\"";
  for (const double tick : ticksOf(x_)) {
    svg += segment(xOf(tick), kTop, xOf(tick), kBottom, grid) +
           text(xOf(tick), kBottom + 18.0, "middle", tickLabel(x_, tick)) + "\n";
  }
  for (const double tick : ticksOf(y_)) {
    svg += segment(kLeft, yOf(tick), kRight, yOf(tick), grid) +
           text(kLeft - 8.0, yOf(tick) + 4.0, "end", tickLabel(y_, tick)) + "\n";
  }
  svg += segment(kLeft, kBottom, kRight, kBottom, "stroke=\"#3b414b\"") +
         segment(kLeft, kTop, kLeft, kBottom, "stroke=\"#3b414b\"") + "\n" + content_;
  svg += text((kLeft + kRight) / 2.0, kBottom + 40.0, "middle", x_.title) + "\n";
  const double middle = (kTop + kBottom) / 2.0;
  svg += "<g transform=\"rotate(-90 14 " + coordinate(middle) + ")\">" +
         text(14.0, middle + 4.0, "middle", y_.title) + "</g>\n";
  double right = kRight;
  for (size_t i = legend_.size(); i-- > 0;) {
    // Six and a half pixels per character are enough for common fonts.
    right -= 6.5 * static_cast<double>(legend_[i].second.size()) + 30.0;
  }
  double x = std::max(kLeft, right);
  for (const auto& [colour, name] : legend_) {
    svg += "<rect x=\"" + coordinate(x) + "\" y=\"" + coordinate(kHeight - 13.0) +
           "\" width=\"12\" height=\"8\" fill=\"" + colour + "\"/>" +
           text(x + 17.0, kHeight - 5.0, "start", name);
    x += 6.5 * static_cast<double>(name.size()) + 30.0;
  }
  return svg + "</svg>";
}

}  // namespace facefeature_tools
