#include "report/Svg.h"

#include <charconv>
#include <cmath>

#include "tavric/RuntimeError.h"

namespace tavric::report {

std::string EscapeXml(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      case '\t':
      case '\n':
      case '\r':
        out += c;
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
          out += "\xEF\xBF\xBD";  // U+FFFD REPLACEMENT CHARACTER
        else
          out += c;
    }
  }
  return out;
}

std::string SvgNumber(double value) {
  // Every coordinate comes from finite data through finite scales; anything
  // else is a defect of the plotting code, not of the data.
  if (!std::isfinite(value)) Raise(err::kInternalError);
  char buffer[48];
  const auto result =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 2);
  if (result.ec != std::errc()) Raise(err::kInternalError);
  std::string_view text(buffer, static_cast<std::size_t>(result.ptr - buffer));
  while (text.back() == '0') text.remove_suffix(1);
  if (text.back() == '.') text.remove_suffix(1);
  if (text == "-0") return "0";
  return std::string(text);
}

std::string PointList(const std::vector<Point>& points) {
  std::string out;
  out.reserve(points.size() * 14);
  for (const Point& p : points) {
    if (!out.empty()) out += ' ';
    out += SvgNumber(p.x);
    out += ',';
    out += SvgNumber(p.y);
  }
  return out;
}

SvgDocument::SvgDocument(double width, double height, std::string_view label) {
  const std::string w = SvgNumber(width), h = SvgNumber(height);
  text_ = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + w + ' ' + h + "\" width=\"" +
          w + "\" height=\"" + h + "\" role=\"img\" aria-label=\"" + EscapeXml(label) +
          "\"><title>" + EscapeXml(label) + "</title>";
}

void SvgDocument::StartTag(std::string_view tag, std::initializer_list<Attribute> attributes) {
  text_ += '<';
  text_ += tag;
  for (const Attribute& a : attributes) {
    text_ += ' ';
    text_ += a.name;
    text_ += "=\"";
    text_ += EscapeXml(a.value);
    text_ += '"';
  }
}

void SvgDocument::Element(std::string_view tag, std::initializer_list<Attribute> attributes) {
  StartTag(tag, attributes);
  text_ += "/>";
}

void SvgDocument::TextElement(std::string_view tag, std::initializer_list<Attribute> attributes,
                              std::string_view text) {
  StartTag(tag, attributes);
  text_ += '>';
  text_ += EscapeXml(text);
  text_ += "</";
  text_ += tag;
  text_ += '>';
}

void SvgDocument::Open(std::string_view tag, std::initializer_list<Attribute> attributes) {
  StartTag(tag, attributes);
  text_ += '>';
  open_.emplace_back(tag);
}

void SvgDocument::Close() {
  if (open_.empty()) Raise(err::kInternalError);
  text_ += "</" + open_.back() + '>';
  open_.pop_back();
}

std::string SvgDocument::Finish() {
  while (!open_.empty()) Close();
  text_ += "</svg>";
  return std::exchange(text_, std::string());
}

}  // namespace tavric::report
