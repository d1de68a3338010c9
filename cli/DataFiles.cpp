// What the subcommands that read data files share: the --decimal-comma
// option and the hint printed under a reading failure of the generic layout.
#include <string>
#include <string_view>

#include "Commands.h"
#include "tavric/DecimalSeparator.h"

namespace tavric::cli {

void AddDecimalCommaOption(CLI::App& command) {
  command.add_flag_callback(
      "--decimal-comma", [] { SetDecimalSeparatorSource([]() -> std::string { return ","; }); },
      "Read the data file's numbers with a decimal comma (files written under such a locale); "
      "a period is then not a decimal point");
}

std::string DataFileHint(const std::string& failure) {
  constexpr std::string_view kGeneric = "File reading(Generic) error ";
  const std::string_view text(failure);
  if (!text.starts_with(kGeneric)) return {};
  const std::string_view number = text.substr(kGeneric.size());
  const std::string lines =
      "hint: in the generic layout every line after the header is data except the file's last "
      "line; a footer or blank line followed by another line (a trailing blank line too) is "
      "read as data";
  if (number.starts_with("9 ")) return lines;
  if (number.starts_with("13 "))
    return lines + "; numbers with a decimal comma need --decimal-comma";
  return {};
}

}  // namespace tavric::cli
