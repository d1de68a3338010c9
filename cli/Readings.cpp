#include "Readings.h"

#include <charconv>
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

// "P,Q,R" (blanks around the numbers allowed, numbers with a period).
std::optional<Triple> ParseReading(std::string_view line) {
  Triple values{};
  for (std::size_t i = 0; i < 3; ++i) {
    const auto comma = line.find(',');
    if ((comma == std::string_view::npos) != (i == 2)) return std::nullopt;
    const std::string_view field = TrimBlanks(line.substr(0, comma));
    const char* end = field.data() + field.size();
    const auto [ptr, ec] = std::from_chars(field.data(), end, values[i]);
    if (field.empty() || ec != std::errc() || ptr != end) return std::nullopt;
    if (comma != std::string_view::npos) line.remove_prefix(comma + 1);
  }
  return values;
}

}  // namespace

std::string ReadReadings(std::istream& in, const std::string& name, std::vector<Triple>& out) {
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    const std::string_view text = TrimBlanks(line);
    if (text.empty() || text.front() == '#') continue;
    const std::optional<Triple> reading = ParseReading(text);
    if (!reading) {
      return name + ":" + std::to_string(number) + ": expected P,Q,R but read \"" +
             std::string(text) + "\"";
    }
    out.push_back(*reading);
  }
  return {};
}

}  // namespace tavric::cli
