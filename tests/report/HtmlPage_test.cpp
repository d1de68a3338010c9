#include "report/HtmlPage.h"

#include <gtest/gtest.h>

#include <string>

#include "Markup.h"

namespace tavric::report {
namespace {

using testing::CountOf;

TEST(HtmlPage, IsOneSelfContainedDocument) {
  HtmlPage page("Report <1>");
  page.AddSection("panel-a", "A & B", "<p>body</p>");
  const std::string html = page.Html();
  EXPECT_EQ(html.rfind("<!DOCTYPE html>\n<html lang=\"en\">", 0), 0u);
  EXPECT_NE(html.find("<meta charset=\"utf-8\">"), std::string::npos);
  EXPECT_NE(html.find("<title>Report &lt;1&gt;</title>"), std::string::npos);
  EXPECT_NE(html.find("<style>"), std::string::npos);
  // Nothing is loaded from elsewhere and nothing runs.
  for (const char* outside : {"<script", "<link", "src=", "href=", "@import", "url(", "http"})
    EXPECT_EQ(html.find(outside), std::string::npos) << outside;
  EXPECT_EQ(html.substr(html.size() - 8), "</html>\n");
}

TEST(HtmlPage, GivesEachSectionItsIdAndEscapedHeading) {
  HtmlPage page("t");
  page.AddSection("panel-header", "Title", "x", 1);
  page.AddSection("panel-fit", "Fit & sphere", "<table></table>");
  const std::string html = page.Html();
  EXPECT_NE(html.find("<section id=\"panel-header\">\n<h1>Title</h1>\nx\n</section>"),
            std::string::npos);
  EXPECT_NE(html.find("<section id=\"panel-fit\">\n<h2>Fit &amp; sphere</h2>\n<table></table>"),
            std::string::npos);
  EXPECT_LT(html.find("panel-header"), html.find("panel-fit"));
}

TEST(HtmlPage, PrintsOnA4KeepingSectionsWhole) {
  const std::string html = HtmlPage("t").Html();
  EXPECT_NE(html.find("@page { size: A4;"), std::string::npos);
  EXPECT_NE(html.find("section { margin: 0 0 22px; break-inside: avoid;"), std::string::npos);
  EXPECT_NE(html.find("print-color-adjust: exact"), std::string::npos);
}

TEST(TableHtml, AlignsColumnsOfNumbersRightAndEscapesCells) {
  const ReportTable table{"Sphere <mm>",
                          {"", "X", "note"},
                          {{"fitted", "150.000015", "a & b"}, {"true", "-1E-05", ""}, {"short"}}};
  const std::string html = TableHtml(table);
  EXPECT_NE(html.find("<caption>Sphere &lt;mm&gt;</caption>"), std::string::npos);
  EXPECT_NE(html.find("<th scope=\"col\"></th><th scope=\"col\" class=\"num\">X</th>"
                      "<th scope=\"col\">note</th>"),
            std::string::npos);
  EXPECT_NE(
      html.find("<tr><td>fitted</td><td class=\"num\">150.000015</td><td>a &amp; b</td></tr>"),
      std::string::npos);
  EXPECT_NE(html.find("<tr><td>true</td><td class=\"num\">-1E-05</td><td></td></tr>"),
            std::string::npos);
  // A short row is padded to the table's width.
  EXPECT_NE(html.find("<tr><td>short</td><td class=\"num\"></td><td></td></tr>"),
            std::string::npos);
}

TEST(FieldsHtml, ListsLabelsAndValuesEscaped) {
  const std::string html = FieldsHtml({{"Data", "a<b>.txt"}, {"Samples", "4000"}});
  EXPECT_EQ(CountOf(html, "<tr>"), 2u);
  EXPECT_NE(html.find("<th scope=\"row\">Data</th><td>a&lt;b&gt;.txt</td>"), std::string::npos);
  EXPECT_EQ(FieldsHtml({}), "");
}

TEST(ParagraphHtml, EscapesItsTextAndTakesAClass) {
  EXPECT_EQ(ParagraphHtml("1 < 2"), "<p>1 &lt; 2</p>\n");
  EXPECT_EQ(ParagraphHtml("none", "empty"), "<p class=\"empty\">none</p>\n");
}

TEST(ListHtml, MakesOneItemPerText) {
  EXPECT_EQ(ListHtml({"a", "b&c"}), "<ul>\n<li>a</li>\n<li>b&amp;c</li>\n</ul>\n");
}

}  // namespace
}  // namespace tavric::report
