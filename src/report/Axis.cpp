#include "report/Axis.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "tavric/RuntimeError.h"

namespace tavric::report {
namespace {

constexpr const char* kMinus = "\xE2\x88\x92";  // U+2212 MINUS SIGN

// 10^k for k >= 0 by repeated multiplication: exact up to 10^22.
double PowerOfTen(int k) {
  double p = 1.0;
  for (int i = 0; i < k; ++i) p *= 10.0;
  return p;
}

// The next round step: 1 -> 2 -> 5 -> 10.
RoundStep NextStep(RoundStep s) {
  if (s.mantissa == 1) return {2, s.exponent};
  if (s.mantissa == 2) return {5, s.exponent};
  return {1, s.exponent + 1};
}

// The exponent e with 10^e <= v < 10^(e+1), for finite v > 0.
int DecadeOf(double v) {
  int e = static_cast<int>(std::floor(std::log10(v)));
  // log10 may be off by one next to a power of ten; settle it exactly.
  while (DecimalValue(1, e) > v) --e;
  while (DecimalValue(1, e + 1) <= v) ++e;
  return e;
}

// The largest 1-2-5 value <= v (v > 0).
RoundStep Floor125(double v) {
  const int e = DecadeOf(v);
  if (DecimalValue(5, e) <= v) return {5, e};
  if (DecimalValue(2, e) <= v) return {2, e};
  return {1, e};
}

// The smallest 1-2-5 value >= v (v > 0).
RoundStep Ceil125(double v) {
  const RoundStep f = Floor125(v);
  return f.Value() == v ? f : NextStep(f);
}

std::string Superscript(int exponent) {
  static const char* const kDigits[] = {
      "\xE2\x81\xB0", "\xC2\xB9",     "\xC2\xB2",     "\xC2\xB3",     "\xE2\x81\xB4",
      "\xE2\x81\xB5", "\xE2\x81\xB6", "\xE2\x81\xB7", "\xE2\x81\xB8", "\xE2\x81\xB9"};
  std::string out = exponent < 0 ? "\xE2\x81\xBB" : "";  // U+207B SUPERSCRIPT MINUS
  for (const char c : std::to_string(std::abs(exponent))) out += kDigits[c - '0'];
  return out;
}

}  // namespace

double RoundStep::Value() const { return DecimalValue(mantissa, exponent); }

double DecimalValue(long long n, int exponent) {
  const double m = static_cast<double>(n);
  if (exponent >= 0) return m * PowerOfTen(exponent);
  // Dividing by an exact power of ten gives the double nearest the decimal
  // number; very small exponents divide in two exact stages.
  const int k = -exponent;
  if (k <= 300) return m / PowerOfTen(k);
  return m / PowerOfTen(300) / PowerOfTen(k - 300);
}

RoundStep NiceStep(double span, int max_intervals) {
  if (!(span > 0.0) || !std::isfinite(span) || max_intervals < 1) Raise(err::kInternalError);
  const double raw = span / max_intervals;
  RoundStep step{1, DecadeOf(raw)};
  while (step.Value() < raw) step = NextStep(step);
  return step;
}

std::string DecimalLabel(long long n, int exponent) {
  const std::string sign = n < 0 ? kMinus : "";
  std::string digits = std::to_string(n < 0 ? -static_cast<unsigned long long>(n)
                                            : static_cast<unsigned long long>(n));
  const int value_exponent = exponent + static_cast<int>(digits.size()) - 1;
  if (n == 0 || (exponent >= -4 && value_exponent < 7)) {
    if (n == 0 && exponent >= 0) return "0";
    if (exponent >= 0) return sign + digits + std::string(static_cast<std::size_t>(exponent), '0');
    const std::size_t decimals = static_cast<std::size_t>(-exponent);
    if (digits.size() <= decimals) digits.insert(0, decimals + 1 - digits.size(), '0');
    digits.insert(digits.size() - decimals, 1, '.');
    return sign + digits;
  }
  while (digits.size() > 1 && digits.back() == '0') digits.pop_back();
  std::string mantissa = digits.substr(0, 1);
  if (digits.size() > 1) mantissa += "." + digits.substr(1);
  const std::string power = "10" + Superscript(value_exponent);
  return sign + (mantissa == "1" ? power : mantissa + "\xC3\x97" + power);  // U+00D7 ×
}

Scale Scale::Linear(double lo, double hi, int max_intervals, bool integers, Ends ends) {
  if (!std::isfinite(lo) || !std::isfinite(hi)) Raise(err::kInternalError);
  if (lo > hi) std::swap(lo, hi);
  if (lo == hi) {
    const double widen = lo != 0.0 ? std::abs(lo) * 0.1 : 1.0;
    lo -= widen;
    hi += widen;
  }
  const double span = hi - lo;
  if (!std::isfinite(span)) Raise(err::kOverflow);
  // A span below 1e-12 of the values' size cannot be told apart in a
  // double's digits; it is drawn as that much.
  RoundStep step =
      NiceStep(std::max(span, std::max(std::abs(lo), std::abs(hi)) * 1e-12), max_intervals);
  if (integers && step.exponent < 0) step = {1, 0};
  const bool round_ends = ends == Ends::kRound;
  long long first = 0, last = 0;
  for (;;) {
    const double s = step.Value();
    const auto value = [&](long long k) { return DecimalValue(k * step.mantissa, step.exponent); };
    // The quotients are rounded; settle the first and last multiples exactly:
    // enclosing [lo, hi] for round ends, inside it for the data's ends.
    first = std::llround(std::floor(lo / s));
    last = std::llround(std::ceil(hi / s));
    while (value(first) > lo) --first;
    while (value(last) < hi) ++last;
    if (!round_ends) {
      if (value(first) < lo) ++first;
      if (value(last) > hi) --last;
    }
    if (last - first <= max_intervals) break;
    step = NextStep(step);
  }
  Scale scale;
  for (long long k = first; k <= last; ++k)
    scale.ticks_.push_back({DecimalValue(k * step.mantissa, step.exponent),
                            DecimalLabel(k * step.mantissa, step.exponent)});
  scale.min_ = round_ends ? scale.ticks_.front().value : lo;
  scale.max_ = round_ends ? scale.ticks_.back().value : hi;
  return scale;
}

Scale Scale::Log(double lo, double hi) {
  if (lo > hi) std::swap(lo, hi);
  if (!(lo > 0.0) || !std::isfinite(hi)) Raise(err::kInternalError);
  RoundStep first = Floor125(lo);
  RoundStep last = Ceil125(hi);
  if (last.Value() == first.Value()) last = NextStep(last);
  if (last.exponent - first.exponent > 2) {
    // Many decades: the axis ends on powers of ten, which carry the labels.
    first.mantissa = 1;
    if (last.mantissa != 1) last = {1, last.exponent + 1};
  }

  Scale scale;
  scale.log_ = true;
  scale.min_ = first.Value();
  scale.max_ = last.Value();
  const int decades = last.exponent - first.exponent;
  if (decades <= 2) {
    // Few decades: every 1-2-5 value is a tick.
    for (RoundStep s = first; s.Value() <= scale.max_; s = NextStep(s))
      scale.ticks_.push_back({s.Value(), DecimalLabel(s.mantissa, s.exponent)});
  } else {
    // Powers of ten, every `stride`-th one so that at most about eight show.
    const int stride = (decades + 7) / 8;
    for (int e = first.exponent; e <= last.exponent; ++e) {
      const double v = DecimalValue(1, e);
      if (v < scale.min_ || v > scale.max_ || e % stride != 0) continue;
      scale.ticks_.push_back({v, DecimalLabel(1, e)});
    }
  }
  return scale;
}

void Scale::Place(double pixel_lo, double pixel_hi) {
  pixel_lo_ = pixel_lo;
  pixel_hi_ = pixel_hi;
}

double Scale::Transform(double value) const { return log_ ? std::log10(value) : value; }

double Scale::Pixel(double value) const {
  if (!Shows(value)) Raise(err::kInternalError);
  const double t0 = Transform(min_), t1 = Transform(max_);
  // Far outside the axis a value is only clipped away; keeping it within a
  // hundred axis lengths keeps its pixel finite.
  const double t = std::clamp(Transform(value), t0 - 100.0 * (t1 - t0), t1 + 100.0 * (t1 - t0));
  return pixel_lo_ + (t - t0) / (t1 - t0) * (pixel_hi_ - pixel_lo_);
}

bool Scale::Shows(double value) const { return std::isfinite(value) && (!log_ || value > 0.0); }

}  // namespace tavric::report
