#include "report/Svg.h"

#include <gtest/gtest.h>

#include <limits>

#include "TestSupport.h"

namespace tavric::report {
namespace {

TEST(EscapeXml, ReplacesTheFiveSpecialCharacters) {
  EXPECT_EQ(EscapeXml("a<b & \"c\" 'd'>"), "a&lt;b &amp; &quot;c&quot; &#39;d&#39;&gt;");
}

TEST(EscapeXml, KeepsUtf8AndLineBreaksButReplacesControlCharacters) {
  EXPECT_EQ(EscapeXml("\xC2\xB5m\tx\ny"), "\xC2\xB5m\tx\ny");
  EXPECT_EQ(EscapeXml(std::string("a\x01"
                                  "b\x7f",
                                  4)),
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD");
}

TEST(SvgNumber, RoundsToTwoDecimalsWithoutTrailingZerosOrNegativeZero) {
  EXPECT_EQ(SvgNumber(12.5), "12.5");
  EXPECT_EQ(SvgNumber(-3.0), "-3");
  EXPECT_EQ(SvgNumber(100.0), "100");
  EXPECT_EQ(SvgNumber(1.239), "1.24");
  EXPECT_EQ(SvgNumber(-0.001), "0");
  EXPECT_EQ(SvgNumber(0.0), "0");
}

TEST(SvgNumber, RefusesNumbersThatAreNotFinite) {
  EXPECT_RUNTIME_ERROR(SvgNumber(std::numeric_limits<double>::infinity()), err::kInternalError);
  EXPECT_RUNTIME_ERROR(SvgNumber(std::numeric_limits<double>::quiet_NaN()), err::kInternalError);
}

TEST(PointList, WritesCommaSeparatedPairsSeparatedByBlanks) {
  EXPECT_EQ(PointList({{1.0, 2.5}, {3.25, -4.0}}), "1,2.5 3.25,-4");
  EXPECT_EQ(PointList({}), "");
}

TEST(SvgDocument, EscapesTextAndAttributesAndClosesOpenElements) {
  SvgDocument svg(200, 100, "Fit & residuals");
  svg.Open("g", {{"fill", "#222222"}});
  svg.TextElement("text", {{"x", 1.5}, {"data-note", "a\"b"}}, "x < y");
  svg.Element("rect", {{"width", 10.0}, {"height", 20.0}});
  const std::string markup = svg.Finish();
  EXPECT_EQ(markup,
            "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 200 100\" width=\"200\" "
            "height=\"100\" role=\"img\" aria-label=\"Fit &amp; residuals\"><title>Fit &amp; "
            "residuals</title><g fill=\"#222222\"><text x=\"1.5\" data-note=\"a&quot;b\">x &lt; "
            "y</text><rect width=\"10\" height=\"20\"/></g></svg>");
}

TEST(SvgDocument, ClosingWhatWasNeverOpenedIsADefect) {
  SvgDocument svg(10, 10, "empty");
  EXPECT_RUNTIME_ERROR(svg.Close(), err::kInternalError);
}

}  // namespace
}  // namespace tavric::report
