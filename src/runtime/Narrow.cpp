#include "runtime/Narrow.h"

#include <cmath>

namespace tavric {
namespace {

// Round half to even (the default IEEE rounding mode), then range-check.
template <class T>
T RoundTo(double value) {
  if (!std::isfinite(value)) Raise(err::kOverflow);
  // Computed explicitly so that a host's rounding mode cannot change it.
  double r = std::floor(value);
  const double fraction = value - r;
  if (fraction > 0.5 || (fraction == 0.5 && std::fmod(r, 2.0) != 0.0)) r += 1.0;
  if (r < static_cast<double>(std::numeric_limits<T>::min()) ||
      r > static_cast<double>(std::numeric_limits<T>::max()))
    Raise(err::kOverflow);
  return static_cast<T>(r);
}

}  // namespace

Byte CByte(double value) { return RoundTo<Byte>(value); }
Int16 CInt(double value) { return RoundTo<Int16>(value); }
Int32 CLng(double value) { return RoundTo<Int32>(value); }

}  // namespace tavric
