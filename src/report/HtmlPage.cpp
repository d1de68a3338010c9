#include "report/HtmlPage.h"

#include <algorithm>

#include "report/Svg.h"
#include "runtime/NumberText.h"
#include "tavric/RuntimeError.h"

namespace tavric::report {
namespace {

// Screen and A4 print. Sections stay whole on a page where they fit; colours
// print as they show (the warnings box keeps its background).
constexpr const char* kStyle = R"css(
* { box-sizing: border-box; }
body { margin: 0; background: #ffffff; color: #1a1a1a;
  font: 14px/1.45 "DejaVu Sans", "Liberation Sans", Arial, sans-serif;
  -webkit-print-color-adjust: exact; print-color-adjust: exact; }
main { max-width: 186mm; margin: 0 auto; padding: 16px 12px 32px; }
h1 { font-size: 22px; margin: 0 0 8px; }
h2 { font-size: 17px; margin: 0 0 8px; padding-bottom: 3px; border-bottom: 1px solid #c8c8c8;
  break-after: avoid; page-break-after: avoid; }
section { margin: 0 0 22px; break-inside: avoid; page-break-inside: avoid; }
svg { display: block; width: 100%; height: auto; margin: 4px 0; }
.pair { display: grid; grid-template-columns: 1fr 1fr; gap: 12px; }
table { border-collapse: collapse; margin: 6px 0 10px; font-size: 13px; }
caption { text-align: left; font-weight: bold; padding: 2px 0 4px; }
th, td { padding: 2px 12px 2px 0; text-align: left; vertical-align: top;
  border-bottom: 1px solid #e6e6e6; }
thead th { border-bottom: 1px solid #888888; }
.num { text-align: right; font-variant-numeric: tabular-nums; }
table.fields th { font-weight: normal; color: #444444; padding-right: 20px; }
tr { break-inside: avoid; page-break-inside: avoid; }
p { margin: 4px 0 8px; }
.caption { font-size: 12px; color: #444444; }
.empty { color: #555555; font-style: italic; }
.warnings { border: 3px solid #d55e00; background: #fff1e6; padding: 8px 12px; border-radius: 4px; }
.warnings p { font-weight: bold; margin: 0; }
.warnings ul { margin: 4px 0 0; padding-left: 20px; }
.no-warnings { border: 1px solid #9a9a9a; padding: 6px 12px; border-radius: 4px; }
@page { size: A4; margin: 12mm; }
@media print {
  main { max-width: none; padding: 0; }
  section { margin-bottom: 14px; }
}
)css";

bool IsNumber(const std::string& text) {
  try {
    return TryParseInvariant(text).has_value();
  } catch (const RuntimeError&) {
    return true;  // a number too large for a double is still a number
  }
}

}  // namespace

void HtmlPage::AddSection(std::string_view id, std::string_view heading, std::string_view body,
                          int heading_level) {
  const std::string h = heading_level == 1 ? "h1" : "h2";
  sections_ +=
      "<section id=\"" + EscapeXml(id) + "\">\n<" + h + '>' + EscapeXml(heading) + "</" + h + ">\n";
  sections_ += body;
  sections_ += "\n</section>\n";
}

std::string HtmlPage::Html() const {
  std::string out = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n";
  out += "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n";
  out += "<title>" + EscapeXml(title_) + "</title>\n<style>" + kStyle + "</style>\n</head>\n";
  out += "<body>\n<main>\n";
  out += sections_;
  out += "</main>\n</body>\n</html>\n";
  return out;
}

std::string ParagraphHtml(std::string_view text, std::string_view css_class) {
  const std::string open = css_class.empty() ? "<p>" : "<p class=\"" + EscapeXml(css_class) + "\">";
  return open + EscapeXml(text) + "</p>\n";
}

std::string FieldsHtml(const std::vector<ReportField>& fields) {
  if (fields.empty()) return {};
  std::string out = "<table class=\"fields\">\n";
  for (const ReportField& f : fields)
    out += "<tr><th scope=\"row\">" + EscapeXml(f.label) + "</th><td>" + EscapeXml(f.value) +
           "</td></tr>\n";
  return out + "</table>\n";
}

std::string TableHtml(const ReportTable& table) {
  std::size_t width = table.columns.size();
  for (const auto& row : table.rows) width = std::max(width, row.size());
  // A column is numeric when every non-empty cell of it is a number.
  std::vector<bool> numeric(width, true);
  for (const auto& row : table.rows)
    for (std::size_t c = 0; c < row.size(); ++c)
      if (!row[c].empty() && !IsNumber(row[c])) numeric[c] = false;
  const auto cell_class = [&](std::size_t c) {
    return numeric[c] && !table.rows.empty() ? std::string(" class=\"num\"") : std::string();
  };

  std::string out = "<table>\n";
  if (!table.caption.empty()) out += "<caption>" + EscapeXml(table.caption) + "</caption>\n";
  if (!table.columns.empty()) {
    out += "<thead><tr>";
    for (std::size_t c = 0; c < width; ++c)
      out += "<th scope=\"col\"" + cell_class(c) + '>' +
             (c < table.columns.size() ? EscapeXml(table.columns[c]) : std::string()) + "</th>";
    out += "</tr></thead>\n";
  }
  out += "<tbody>\n";
  for (const auto& row : table.rows) {
    out += "<tr>";
    for (std::size_t c = 0; c < width; ++c)
      out += "<td" + cell_class(c) + '>' + (c < row.size() ? EscapeXml(row[c]) : std::string()) +
             "</td>";
    out += "</tr>\n";
  }
  return out + "</tbody>\n</table>\n";
}

std::string ListHtml(const std::vector<std::string>& items) {
  std::string out = "<ul>\n";
  for (const std::string& item : items) out += "<li>" + EscapeXml(item) + "</li>\n";
  return out + "</ul>\n";
}

}  // namespace tavric::report
