// What the subcommands that read files share: the --decimal-comma option and
// the lines that explain a reading failure under the library's text.
#include <iostream>
#include <string>

#include "Commands.h"
#include "OutputFiles.h"
#include "tavric/DecimalSeparator.h"
#include "tavric/ReadDiagnostic.h"

namespace tavric::cli {

void AddDecimalCommaOption(CLI::App& command) {
  command.add_flag_callback(
      "--decimal-comma", [] { SetDecimalSeparatorSource([]() -> std::string { return ","; }); },
      "Read the data file's numbers with a decimal comma (files written under such a locale); "
      "a period is then not a decimal point");
}

std::vector<std::string> DiagnosticLines(const ReadDiagnostic& d) {
  std::vector<std::string> lines;
  std::string where = "file: " + InputName(d.file);
  if (d.line > 0) {
    where += d.at_end_of_file
                 ? ", at the end (line " + std::to_string(d.line) + ")"
                 : ", line " + std::to_string(d.line) + ", column " + std::to_string(d.column);
    if (!d.at_end_of_file) where += ": found \"" + d.found + "\"";
  } else if (!d.layout.empty() && d.samples >= 0) {
    where += " (" + d.layout + " layout, " + std::to_string(d.samples) +
             (d.samples == 1 ? " sample)" : " samples)");
  }
  lines.push_back(where);
  if (!d.tried.empty()) {
    std::string tried = "tried: ";
    for (std::size_t i = 0; i < d.tried.size(); ++i) tried += (i == 0 ? "" : "; ") + d.tried[i];
    lines.push_back(tried);
  }
  if (!d.hint.empty()) lines.push_back("hint: " + d.hint);
  return lines;
}

Json DiagnosticJson(const ReadDiagnostic* d) {
  if (d == nullptr) return nullptr;
  const auto text = [](const std::string& s) { return s.empty() ? Json(nullptr) : Json(s); };
  Json j;
  j["file"] = InputName(d->file);
  j["line"] = d->line > 0 ? Json(d->line) : Json(nullptr);
  j["column"] = d->line > 0 ? Json(d->column) : Json(nullptr);
  j["found"] = d->line > 0 && !d->at_end_of_file ? Json(d->found) : Json(nullptr);
  j["at_end_of_file"] = d->at_end_of_file;
  j["layout"] = text(d->layout);
  j["tried"] = d->tried;
  j["samples"] = d->samples >= 0 ? Json(d->samples) : Json(nullptr);
  j["hint"] = text(d->hint);
  return j;
}

}  // namespace tavric::cli
