// Conversions between numbers and text.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tavric {

// A number as written in a delimited record: up to 15 significant digits, no
// trailing zeros, no blank before it, a minus sign only when negative (so -0
// is written 0), a zero before the point of numbers below 1 (0.5), plain
// decimal when 1E-04 <= |x| < 1E+15 and otherwise mantissa, "E", sign and at
// least two exponent digits (1E-05, 6.15834180863661E-05, 2.5E+20).
std::string FormatRecordNumber(double value);

// Parses a number in invariant form, as written in records: optional blanks,
// an optional sign, digits with an optional period (a zero before the point
// is optional), an optional exponent ("E" or "e", optional sign, digits),
// optional blanks. "nan", "inf", hexadecimal forms, empty text and trailing
// garbage are not numbers. Returns nothing when the text is not a number;
// raises 6 when the number is too large for a double (underflow gives 0).
std::optional<double> TryParseInvariant(std::string_view text);

// The same, with the decimal separator in force (tavric/DecimalSeparator.h:
// the user's locale): with a decimal comma, "1,5" is 1.5 and "1.5" is not a
// number.
std::optional<double> TryParseLocale(std::string_view text);

// Locale-aware text to double; raises 13 "Type mismatch" when the text is not
// a number.
double CDbl(std::string_view text);

// TryParseLocale and CDbl with the decimal separator of the locale as it was
// when the object was made: for the many numbers of one file, without
// asking the locale for every one.
class LocaleNumbers {
 public:
  LocaleNumbers();
  std::optional<double> TryParse(std::string_view text) const;
  double CDbl(std::string_view text) const;

 private:
  std::string point_;
};

// Fixed-point patterns "#0.00", "#0.0000", "#0.00000": at least one integer
// digit, exactly `decimals` decimals after the decimal separator in force
// (the user's locale), rounded half away from zero on the exact value of the
// double, no grouping. A result that rounds to zero has no sign.
std::string FormatFixed(double value, int decimals);
// The same with the given decimal separator, whatever the one in force.
std::string FormatFixed(double value, int decimals, std::string_view separator);

// Removes leading and trailing spaces (only the blank character, like the
// host runtime's Trim).
std::string Trim(std::string_view text);

// Upper-cases ASCII letters; other bytes (UTF-8 sequences) are kept.
std::string UCase(std::string_view text);

}  // namespace tavric
