// Axes: linear and logarithmic scales with ticks at round numbers.
//
// A linear axis is cut by a round step (1, 2 or 5 times a power of ten) into
// at most a given number of intervals; its ends are moved out to multiples
// of that step (or stay at the data's ends), and every tick is a round
// number. A logarithmic axis ends on 1-2-5 values (..., 0.1, 0.2, 0.5, 1, 2,
// 5, 10, ...) and has a tick at every power of ten, and at the 2s and 5s
// between them when it spans at most two decades.
//
// Tick labels are exact decimal texts of the tick values: as many decimals as
// the step needs ("0.0", "0.5", "1.0"), a true minus sign (U+2212), and a
// power-of-ten form ("2.5×10⁻⁶", "10⁻⁸") for steps below 10⁻⁴ or
// values of ten million and more.
//
// Example:
//   Scale y = Scale::Linear(-0.83, 0.78, 6);   // -1.0 ... 1.0 in steps of 0.5
//   y.Place(250.0, 20.0);                      // bottom and top pixel rows
//   double row = y.Pixel(0.0);                 // 135
#pragma once

#include <string>
#include <vector>

namespace tavric::report {

// mantissa × 10^exponent with mantissa 1, 2 or 5.
struct RoundStep {
  int mantissa = 1;
  int exponent = 0;
  double Value() const;
};

// The smallest round step that cuts `span` (> 0, finite) into at most
// `max_intervals` (>= 1) intervals.
RoundStep NiceStep(double span, int max_intervals);

// n × 10^exponent, the double nearest that decimal number (exact for the
// powers of ten a double holds exactly).
double DecimalValue(long long n, int exponent);

// The label of the value n × 10^exponent, written with exactly
// max(0, -exponent) decimals, or in the power-of-ten form (see above) when
// exponent < -4 or the value is 10^7 or more in size.
std::string DecimalLabel(long long n, int exponent);

struct Tick {
  double value = 0.0;
  std::string label;
};

class Scale {
 public:
  // Where a linear axis ends: on the round ticks around the data, or at
  // the data's own ends (with the round ticks inside).
  enum class Ends { kRound, kData };

  // A linear scale covering [lo, hi] (finite; swapped if reversed) with
  // ticks at multiples of the smallest round step that gives at most
  // `max_intervals` intervals between ticks; with kRound ends the range is
  // widened to the first and last multiple. A single value lo == hi is
  // widened by 10 % of its size (by 1 when it is 0) first. With `integers`
  // the step is at least 1.
  static Scale Linear(double lo, double hi, int max_intervals, bool integers = false,
                      Ends ends = Ends::kRound);
  // A logarithmic scale covering [lo, hi] (both > 0 and finite), widened to
  // 1-2-5 values, or to powers of ten when it spans more than two decades;
  // a single value is widened to the next 1-2-5 value above.
  static Scale Log(double lo, double hi);

  // Maps Min() to pixel_lo and Max() to pixel_hi (either may be larger).
  void Place(double pixel_lo, double pixel_hi);
  // The pixel coordinate of `value`, which must satisfy Shows().
  double Pixel(double value) const;
  // Whether `value` can be placed: finite, and > 0 on a logarithmic scale.
  // Values outside [Min(), Max()] can (they fall outside the axis).
  bool Shows(double value) const;

  bool IsLog() const { return log_; }
  double Min() const { return min_; }
  double Max() const { return max_; }
  const std::vector<Tick>& Ticks() const { return ticks_; }

 private:
  Scale() = default;
  double Transform(double value) const;

  bool log_ = false;
  double min_ = 0.0, max_ = 1.0;
  double pixel_lo_ = 0.0, pixel_hi_ = 1.0;
  std::vector<Tick> ticks_;
};

}  // namespace tavric::report
