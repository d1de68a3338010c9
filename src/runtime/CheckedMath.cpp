#include "runtime/CheckedMath.h"

#include <cmath>

#include "tavric/RuntimeError.h"

namespace tavric::fp {

void Check() {
  const int raised = std::fetestexcept(kWatched);
  if (raised == 0) return;
  ClearFaults();
  if ((raised & FE_DIVBYZERO) != 0) Raise(err::kDivisionByZero);
  Raise(err::kOverflow);
}

double RequireFinite(double x) {
  if (!std::isfinite(x)) Raise(err::kOverflow);
  return x;
}

double Sqr(double x) {
  if (x < 0.0) Raise(err::kInvalidCall);
  return std::sqrt(x);
}

double Power(double base, double exponent) {
  if (std::isnan(base) || std::isnan(exponent)) Raise(err::kOverflow);
  const double whole = std::trunc(exponent);
  if (whole == exponent && std::fabs(exponent) <= 64.0) {
    const int n = static_cast<int>(std::fabs(exponent));
    if (exponent < 0.0 && base == 0.0) Raise(err::kDivisionByZero);
    double result = 1.0;
    for (int i = 0; i < n; ++i) result *= base;
    if (exponent < 0.0) result = 1.0 / result;
    Check();
    return RequireFinite(result);
  }
  if (base < 0.0) Raise(err::kInvalidCall);
  if (base == 0.0 && exponent < 0.0) Raise(err::kDivisionByZero);
  const double result = std::pow(base, exponent);
  Check();
  return RequireFinite(result);
}

Boundary::Boundary() noexcept {
  std::fegetexceptflag(&saved_, kWatched);
  ClearFaults();
}

Boundary::~Boundary() {
  ClearFaults();
  std::fesetexceptflag(&saved_, kWatched);
}

}  // namespace tavric::fp
