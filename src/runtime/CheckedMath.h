// Checked floating-point arithmetic.
//
// No infinity or NaN may leave a library operation. Rather than testing every
// result, the numerical routines rely on the IEEE sticky exception flags:
// they run their arithmetic and call fp::Check() at the end of each loop or
// procedure, which raises the matching run-time error if a fault happened:
//   division of a non-zero number by zero -> 11 "Division by zero"
//   overflow, or an invalid operation such as 0/0 -> 6 "Overflow"
// Domain errors of functions (square root of a negative number) are tested
// explicitly and raise 5 "Invalid procedure call or argument".
//
// Every public entry point of the library opens an fp::Boundary, which starts
// from clear flags and gives the host its own flags back on exit.
#pragma once

#include <cfenv>

namespace tavric::fp {

inline constexpr int kWatched = FE_DIVBYZERO | FE_INVALID | FE_OVERFLOW;

// Forgets any fault seen so far on this thread.
inline void ClearFaults() noexcept { std::feclearexcept(kWatched); }

// True when a fault was seen since the flags were last cleared. The vector
// kernels run unchecked and test this at their end: when a fault shows, they
// clear it and leave the work to the plain loop, whose checks raise exactly
// the error it always raised, at the same point.
inline bool FaultPending() noexcept { return std::fetestexcept(kWatched) != 0; }

// Raises the run-time error of the fault seen since the flags were last
// cleared, if any (clearing them first, so the error is reported once).
void Check();

// Raises 6 unless x is finite; for values that enter from outside the
// library's arithmetic (host arguments, parsed text).
double RequireFinite(double x);

// Square root; raises 5 for a negative argument.
double Sqr(double x);

// x squared, computed as x * x (correctly rounded on every platform).
inline double Square(double x) noexcept { return x * x; }

// General exponentiation base^exponent. Whole-number exponents (|n| <= 64)
// are evaluated by repeated multiplication, left to right, so the result is
// the same on every platform; others use std::pow. A negative base with a
// fractional exponent raises 5; zero to a negative power raises 11.
double Power(double base, double exponent);

// Scope guard for public entry points.
class Boundary {
 public:
  Boundary() noexcept;
  ~Boundary();
  Boundary(const Boundary&) = delete;
  Boundary& operator=(const Boundary&) = delete;

 private:
  std::fexcept_t saved_{};
};

}  // namespace tavric::fp
