// SPDX-License-Identifier: Apache-2.0
#include "report/plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "peers/peers.h"

namespace dibkit::bench {
namespace {

constexpr double kPanelWidth = 360;
constexpr double kPanelHeight = 220;
constexpr double kMargin = 50;

struct Series {
  const char* contender;
  const char* color;
};

constexpr Series kSeries[] = {{kDibkitName, "#0b6e4f"}, {kOpenCvLinear, "#c8553d"}};

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.5g", value);
  return text;
}

// One diagram; x may be logarithmic, y begins at 0.
class Panel {
 public:
  Panel(const std::vector<GrowthResult>& points, double left, bool isLogarithmic)
      : points_(points), left_(left), isLogarithmic_(isLogarithmic) {
    for (const GrowthResult& point : points) {
      for (const Series& series : kSeries) {
        highest_ = std::max(highest_, Cost(point, series).value_or(0));
      }
    }
  }

  void Write(const char* axis, std::ostream& out) const {
    WriteFrame(axis, out);
    for (const Series& series : kSeries) {
      out << "<polyline fill=\"none\" stroke-width=\"2\" stroke=\"" << series.color
          << "\" points=\"";
      for (const GrowthResult& point : points_) {
        if (const std::optional<double> cost = Cost(point, series)) {
          out << Number(X(point.x)) << "," << Number(Y(*cost)) << " ";
        }
      }
      out << "\"/>\n";
    }
  }

 private:
  static std::optional<double> Cost(const GrowthResult& point, const Series& series) {
    const std::optional<double> time = TimeOf(point.medians, series.contender);
    if (!time) return std::nullopt;
    return *time / 1e6 / point.megapixels;
  }

  double X(double x) const {
    const auto scaled = [this](double value) { return isLogarithmic_ ? std::log(value) : value; };
    const double first = scaled(points_.front().x);
    const double last = scaled(points_.back().x);
    return left_ + (scaled(x) - first) / (last - first) * kPanelWidth;
  }

  double Y(double cost) const { return kMargin + kPanelHeight * (1 - cost / highest_); }

  void WriteText(double x, double y, const char* anchor, const std::string& text,
                 std::ostream& out) const {
    out << "<text x=\"" << Number(x) << "\" y=\"" << Number(y) << "\" text-anchor=\"" << anchor
        << "\">" << text << "</text>\n";
  }

  void WriteFrame(const char* axis, std::ostream& out) const {
    constexpr int kLines = 4;
    for (int i = 0; i <= kLines; ++i) {
      const double cost = highest_ * i / kLines;
      out << "<line stroke=\"#ccc\" x1=\"" << Number(left_) << "\" x2=\""
          << Number(left_ + kPanelWidth) << "\" y1=\"" << Number(Y(cost)) << "\" y2=\""
          << Number(Y(cost)) << "\"/>\n";
      WriteText(left_ - 6, Y(cost) + 4, "end", Number(std::round(cost * 100) / 100), out);
    }
    double lastLabel = left_ - kMargin;
    for (const GrowthResult& point : points_) {
      if (X(point.x) - lastLabel >= 26) {
        lastLabel = X(point.x);
        WriteText(lastLabel, kMargin + kPanelHeight + 18, "middle", Number(point.x), out);
      }
    }
    WriteText(left_ + kPanelWidth / 2, kMargin + kPanelHeight + 38, "middle", axis, out);
  }

  const std::vector<GrowthResult>& points_;
  double left_;
  bool isLogarithmic_;
  double highest_ = 1e-9;
};

void WriteLegend(std::ostream& out) {
  double x = kMargin;
  for (const Series& series : kSeries) {
    out << "<text x=\"" << x << "\" y=\"24\" font-weight=\"bold\" fill=\"" << series.color << "\">"
        << series.contender << "</text>\n";
    x += 80;
  }
  out << "<text x=\"" << x + 50 << "\" y=\"24\">CPU milliseconds a megapixel, 24 bits</text>\n";
}

}  // namespace

void WritePlot(const Results& results, std::ostream& out) {
  const double width = 2 * kPanelWidth + 3.5 * kMargin;
  const double height = kPanelHeight + 2 * kMargin;
  out << "<!-- SPDX-License-Identifier: Apache-2.0 -->\n"
         "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 "
      << width << " " << height
      << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
         "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
  WriteLegend(out);
  Panel(results.growth, kMargin, true).Write("megapixels of the source, 300→200", out);
  Panel(results.ratios, kPanelWidth + 2.5 * kMargin, false)
      .Write("dots per inch of the result, from 300", out);
  out << "</svg>\n";
}

}  // namespace dibkit::bench
