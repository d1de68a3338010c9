#include "runtime/CheckedMath.h"

#include <cmath>

#if defined(__MINGW32__) && defined(__SSE__)
#include <xmmintrin.h>
#endif

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

namespace {

// Gives the watched flags the values saved in `saved`.
void RestoreFaults(const std::fexcept_t& saved) noexcept {
#if defined(__MINGW32__) && defined(__SSE__)
  // mingw-w64's fesetexceptflag writes the SSE part of the flags into the
  // exception-mask bits of MXCSR (it unmasks the exceptions it should clear,
  // so the next overflow traps). Its x87 part is right; the SSE flags are set
  // here, with the masks kept as they were. The FE_ values are the MXCSR flag
  // bits.
  const unsigned int csr = _mm_getcsr();
  std::fesetexceptflag(&saved, kWatched);
  const auto watched = static_cast<unsigned int>(kWatched);
  _mm_setcsr((csr & ~watched) | (static_cast<unsigned int>(saved) & watched));
#else
  std::fesetexceptflag(&saved, kWatched);
#endif
}

}  // namespace

Boundary::~Boundary() {
  ClearFaults();
  RestoreFaults(saved_);
}

}  // namespace tavric::fp
