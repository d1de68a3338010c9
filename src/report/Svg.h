// SVG pictures for the report page, written as text.
//
// The plotting module (this folder) draws every picture of the calibration
// report with the standard library only:
//   Svg.h        this writer: elements, attributes, escaping, number text;
//   Axis.h       linear and logarithmic scales with round ticks;
//   Colour.h     the viridis colour scale and a palette for categories;
//   Decimate.h   thinning of long series and dense point sets for drawing;
//   Chart.h      x-y charts: lines, markers, bars, vertical lines, legend;
//   Histogram.h  binning and the histogram chart with its normal curve;
//   SphereMap.h  equal-area maps of unit vectors, one disc per hemisphere;
//   HtmlPage.h   the self-contained HTML page with its sections and tables.
// Statistics are always computed on all the data; only what is drawn is
// thinned.
//
// Example:
//   SvgDocument svg(200, 100, "A red square");
//   svg.Element("rect", {{"x", 10.0}, {"y", 10.0}, {"width", 50.0},
//                        {"height", 50.0}, {"fill", "#d55e00"}});
//   std::string markup = svg.Finish();   // "<svg ...><title>A red square</title><rect .../></svg>"
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavric::report {

// A point in data or picture coordinates.
struct Point {
  double x = 0.0;
  double y = 0.0;
};

// `text` with &, <, >, " and ' replaced by their character references, so it
// can stand in element content and in attribute values. Control characters
// other than tab, line feed and carriage return (not allowed in XML) become
// U+FFFD. Other bytes are kept as they are (the page is UTF-8).
std::string EscapeXml(std::string_view text);

// A coordinate or length as SVG text: rounded to two decimals, without
// trailing zeros or a negative zero ("12.5", "-3", "0"). Two decimals are a
// hundredth of a pixel at the pictures' size.
std::string SvgNumber(double value);

// "x1,y1 x2,y2 ..." for a polyline's points attribute.
std::string PointList(const std::vector<Point>& points);

// One attribute; a number value is written with SvgNumber.
struct Attribute {
  Attribute(std::string_view attribute_name, std::string attribute_value)
      : name(attribute_name), value(std::move(attribute_value)) {}
  Attribute(std::string_view attribute_name, const char* attribute_value)
      : name(attribute_name), value(attribute_value) {}
  Attribute(std::string_view attribute_name, double number)
      : name(attribute_name), value(SvgNumber(number)) {}

  std::string_view name;
  std::string value;
};

// An <svg> element of width x height user units that scales to the width of
// its container and keeps its aspect ratio.
class SvgDocument {
 public:
  // `label` names the picture for screen readers and as its tooltip.
  SvgDocument(double width, double height, std::string_view label);

  // <tag a="v" .../>; attribute values are escaped.
  void Element(std::string_view tag, std::initializer_list<Attribute> attributes);
  // <tag ...>text</tag>, the text escaped.
  void TextElement(std::string_view tag, std::initializer_list<Attribute> attributes,
                   std::string_view text);
  // <tag ...>, closed by the matching Close().
  void Open(std::string_view tag, std::initializer_list<Attribute> attributes);
  void Close();

  // Closes every open element and the document; returns the markup. The
  // document is empty afterwards.
  std::string Finish();

 private:
  void StartTag(std::string_view tag, std::initializer_list<Attribute> attributes);

  std::string text_;
  std::vector<std::string> open_;
};

}  // namespace tavric::report
