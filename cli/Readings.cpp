#include "Readings.h"

#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

namespace tavric::cli {
namespace {

std::string_view TrimBlanks(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of(" \t\r");
  return text.substr(first, last - first + 1);
}

// The fields of a line of readings: separated by commas, or by spaces and
// tabs, blanks around a comma allowed.
std::vector<std::string_view> Fields(std::string_view line) {
  std::vector<std::string_view> fields;
  const bool commas = line.find(',') != std::string_view::npos;
  while (true) {
    const std::size_t end = commas ? line.find(',') : line.find_first_of(" \t");
    fields.push_back(TrimBlanks(line.substr(0, end)));
    if (end == std::string_view::npos) break;
    line.remove_prefix(end + 1);
    if (!commas) line = TrimBlanks(line);
  }
  return fields;
}

bool ParseNumber(std::string_view field, double& value) {
  const char* end = field.data() + field.size();
  const auto [ptr, ec] = std::from_chars(field.data(), end, value);
  return !field.empty() && ec == std::errc() && ptr == end && std::isfinite(value);
}

// Three numbers with a period (see Fields for the separators).
std::optional<Triple> ParseReading(std::string_view line) {
  const std::vector<std::string_view> fields = Fields(line);
  if (fields.size() != 3) return std::nullopt;
  Triple values{};
  for (std::size_t i = 0; i < 3; ++i)
    if (!ParseNumber(fields[i], values[i])) return std::nullopt;
  return values;
}

// A header line: three fields none of which is a number ("P,Q,R").
bool IsHeader(std::string_view line) {
  const std::vector<std::string_view> fields = Fields(line);
  if (fields.size() != 3) return false;
  double ignored = 0.0;
  for (std::string_view field : fields)
    if (field.empty() || ParseNumber(field, ignored)) return false;
  return true;
}

}  // namespace

std::string ReadReadings(std::istream& in, const std::string& name, std::vector<Triple>& out) {
  std::string line;
  bool header = false;
  for (int number = 1; std::getline(in, line); ++number) {
    const std::string_view text = TrimBlanks(line);
    if (text.empty() || text.front() == '#') continue;
    const std::optional<Triple> reading = ParseReading(text);
    if (!reading) {
      if (out.empty() && !header && IsHeader(text)) {
        header = true;
        continue;
      }
      return name + ":" + std::to_string(number) +
             ": expected P,Q,R (three numbers, separated by commas, spaces or tabs) but read \"" +
             std::string(text) + "\"";
    }
    out.push_back(*reading);
  }
  return {};
}

}  // namespace tavric::cli
