#include "runtime/NumberText.h"

#include <atomic>
#include <cctype>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <string>
#include <system_error>

#include "tavric/DecimalSeparator.h"
#include "tavric/RuntimeError.h"

namespace tavric {

std::string FormatRecordNumber(double value) {
  if (!std::isfinite(value)) Raise(err::kOverflow);
  if (value == 0.0) return "0";  // also -0
  // Round to 15 significant digits: d.dddddddddddddde[+-]XX
  char buf[64];
  const auto res =
      std::to_chars(buf, buf + sizeof buf, std::fabs(value), std::chars_format::scientific, 14);
  const std::string sci(buf, res.ptr);
  const auto e_pos = sci.find('e');
  std::string digits = sci.substr(0, 1) + sci.substr(2, e_pos - 2);
  const int exponent = std::stoi(sci.substr(e_pos + 1));
  while (digits.size() > 1 && digits.back() == '0') digits.pop_back();

  std::string out = value < 0.0 ? "-" : "";
  if (exponent >= -4 && exponent <= 14) {
    if (exponent >= 0) {
      const std::size_t int_len = static_cast<std::size_t>(exponent) + 1;
      if (digits.size() <= int_len) {
        out += digits + std::string(int_len - digits.size(), '0');
      } else {
        out += digits.substr(0, int_len) + "." + digits.substr(int_len);
      }
    } else {
      out += "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
    }
    return out;
  }
  out += digits.substr(0, 1);
  if (digits.size() > 1) out += "." + digits.substr(1);
  out += exponent < 0 ? "E-" : "E+";
  const std::string e = std::to_string(std::abs(exponent));
  out += (e.size() < 2 ? "0" : "") + e;
  return out;
}

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t'; }
// The decimal digits (what std::isdigit accepts in every locale).
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Parses the invariant grammar; `text` uses '.' as decimal point.
std::optional<double> ParseNormalized(std::string_view text) {
  std::size_t b = 0, e = text.size();
  while (b < e && IsBlank(text[b])) ++b;
  while (e > b && IsBlank(text[e - 1])) --e;
  std::string_view t = text.substr(b, e - b);
  if (t.empty()) return std::nullopt;

  // Validate the grammar: [sign] digits [. digits] [(e|E) [sign] digits]
  std::size_t i = 0;
  bool negative = false;
  if (t[i] == '+' || t[i] == '-') {
    negative = t[i] == '-';
    ++i;
  }
  const std::size_t mantissa_start = i;
  std::size_t digit_count = 0;
  while (i < t.size() && IsDigit(t[i])) ++i, ++digit_count;
  if (i < t.size() && t[i] == '.') {
    ++i;
    while (i < t.size() && IsDigit(t[i])) ++i, ++digit_count;
  }
  if (digit_count == 0) return std::nullopt;
  if (i < t.size() && (t[i] == 'e' || t[i] == 'E')) {
    ++i;
    if (i < t.size() && (t[i] == '+' || t[i] == '-')) ++i;
    std::size_t exp_digits = 0;
    while (i < t.size() && IsDigit(t[i])) ++i, ++exp_digits;
    if (exp_digits == 0) return std::nullopt;
  }
  if (i != t.size()) return std::nullopt;

  std::string_view body = t.substr(mantissa_start);
  // from_chars does not take a '+' in the exponent-less leading position; the
  // sign was stripped above and is applied afterwards.
  double value = 0.0;
  const auto res =
      std::from_chars(body.data(), body.data() + body.size(), value, std::chars_format::general);
  if (res.ec == std::errc::result_out_of_range) {
    // Decide between overflow and underflow from the decimal exponent.
    const std::string copy(body);
    const double approx = std::strtod(copy.c_str(), nullptr);
    if (std::fabs(approx) >= 1.0) Raise(err::kOverflow);
    return negative ? -0.0 : 0.0;
  }
  if (res.ec != std::errc() || res.ptr != body.data() + body.size()) return std::nullopt;
  return negative ? -value : value;
}

}  // namespace

std::optional<double> TryParseInvariant(std::string_view text) { return ParseNormalized(text); }

namespace {

std::atomic<DecimalSeparatorSource> g_separator_source{nullptr};

std::string ProcessLocaleSeparator() {
  const char* dp = std::localeconv()->decimal_point;
  return (dp != nullptr && *dp != '\0') ? dp : ".";
}

std::optional<double> ParseWithPoint(std::string_view text, const std::string& point) {
  if (point == ".") return ParseNormalized(text);
  // A period is not a decimal point in this locale.
  if (text.find('.') != std::string_view::npos) return std::nullopt;
  std::string normalized(text);
  for (std::size_t pos = normalized.find(point); pos != std::string::npos;
       pos = normalized.find(point, pos + 1))
    normalized.replace(pos, point.size(), ".");
  return ParseNormalized(normalized);
}

double RequireNumber(const std::optional<double>& v) {
  if (!v) Raise(err::kTypeMismatch);
  return *v;
}

}  // namespace

DecimalSeparatorSource SetDecimalSeparatorSource(DecimalSeparatorSource source) noexcept {
  return g_separator_source.exchange(source);
}

std::string DecimalSeparator() {
  const DecimalSeparatorSource source = g_separator_source.load();
  if (source == nullptr) return ProcessLocaleSeparator();
  std::string separator = source();
  return separator.empty() ? "." : separator;
}

std::optional<double> TryParseLocale(std::string_view text) {
  return ParseWithPoint(text, DecimalSeparator());
}

double CDbl(std::string_view text) { return RequireNumber(TryParseLocale(text)); }

LocaleNumbers::LocaleNumbers() : point_(DecimalSeparator()) {}

std::optional<double> LocaleNumbers::TryParse(std::string_view text) const {
  return ParseWithPoint(text, point_);
}

double LocaleNumbers::CDbl(std::string_view text) const { return RequireNumber(TryParse(text)); }

std::string FormatFixed(double value, int decimals) {
  return FormatFixed(value, decimals, DecimalSeparator());
}

std::string FormatFixed(double value, int decimals, std::string_view separator) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value < 0 ? "-Infinity" : "Infinity";
  // The exact decimal expansion of a double has at most 1074 fraction digits
  // and 309 integer digits; print it exactly, then round half away from zero.
  static thread_local std::string buf(1500, '\0');
  const auto res = std::to_chars(buf.data(), buf.data() + buf.size(), std::fabs(value),
                                 std::chars_format::fixed, 1074);
  std::string exact(buf.data(), res.ptr);
  const auto point = exact.find('.');
  std::string int_part = exact.substr(0, point);
  std::string frac = exact.substr(point + 1);
  const bool round_up = frac[static_cast<std::size_t>(decimals)] >= '5';
  std::string kept = int_part + frac.substr(0, static_cast<std::size_t>(decimals));
  if (round_up) {
    int i = static_cast<int>(kept.size()) - 1;
    while (i >= 0 && kept[static_cast<std::size_t>(i)] == '9')
      kept[static_cast<std::size_t>(i--)] = '0';
    if (i < 0) {
      kept.insert(kept.begin(), '1');
    } else {
      ++kept[static_cast<std::size_t>(i)];
    }
  }
  const std::size_t int_len = kept.size() - static_cast<std::size_t>(decimals);
  std::string out = kept.substr(0, int_len);
  const auto first = out.find_first_not_of('0');
  out = first == std::string::npos ? "0" : out.substr(first);
  if (decimals > 0) out += std::string(separator) + kept.substr(int_len);
  const bool all_zero = kept.find_first_not_of('0') == std::string::npos;
  if (value < 0.0 && !all_zero) out.insert(out.begin(), '-');
  return out;
}

std::string Trim(std::string_view text) {
  std::size_t b = 0, e = text.size();
  while (b < e && text[b] == ' ') ++b;
  while (e > b && text[e - 1] == ' ') --e;
  return std::string(text.substr(b, e - b));
}

std::string UCase(std::string_view text) {
  std::string out(text);
  for (char& c : out)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return out;
}

}  // namespace tavric
