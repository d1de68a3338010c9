// The report's HTML page: one self-contained document (inline CSS, inline
// SVG, no script, nothing fetched), laid out for the screen and for A4 print,
// made of sections that each carry a stable element id.
//
// Example:
//   HtmlPage page("Calibration report");
//   page.AddSection("panel-fit", "Fit", FieldsHtml(fields) + TableHtml(table));
//   std::string html = page.Html();
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tavric/ReportPage.h"

namespace tavric::report {

class HtmlPage {
 public:
  explicit HtmlPage(std::string title) : title_(std::move(title)) {}

  // <section id="id"><hN>heading</hN>body</section>; `body` is markup and
  // is used as it is, the heading is escaped. `heading_level` is 1 or 2.
  void AddSection(std::string_view id, std::string_view heading, std::string_view body,
                  int heading_level = 2);

  // The whole document.
  std::string Html() const;

 private:
  std::string title_;
  std::string sections_;
};

// A paragraph of escaped text, with an optional class ("caption", "empty").
std::string ParagraphHtml(std::string_view text, std::string_view css_class = {});
// A two-column table of labels and values.
std::string FieldsHtml(const std::vector<ReportField>& fields);
// A table with its caption and header row; columns of numbers align right.
std::string TableHtml(const ReportTable& table);
// A bulleted list of escaped texts.
std::string ListHtml(const std::vector<std::string>& items);

}  // namespace tavric::report
