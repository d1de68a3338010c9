#include "solvers/Tools.h"

#include "runtime/CheckedMath.h"

namespace tavric::Tools {

namespace {

// The bounds of v as the 16-bit loop limits the procedures use; raises 9 for
// an unallocated array and 6 for bounds outside the 16-bit range.
void LoopBounds(const Array1<double>& v, Int16& lo, Int16& hi) {
  lo = Narrow<Int16>(v.LBound());
  hi = Narrow<Int16>(v.UBound());
}

}  // namespace

double Norm(const Array1<double>& v) {
  Int16 lo = 0;
  Int16 hi = 0;
  LoopBounds(v, lo, hi);
  double s = 0.0;
  for (Int32 i = lo; i <= hi; ++i) s += fp::Square(v.Unchecked(i));
  fp::Check();
  return fp::Sqr(s);
}

void ExtremeIndices(const Array1<double>& v, Int16& index_max, Int16& index_min) {
  Int16 lo = 0;
  Int16 hi = 0;
  LoopBounds(v, lo, hi);
  // v(lo) is read checked: an empty array has no first element.
  double running_max = v(lo);
  double running_min = running_max;
  index_max = index_min = lo;
  for (Int32 i = lo + 1; i <= hi; ++i) {
    const double x = v.Unchecked(i);
    if (x > running_max) {
      index_max = static_cast<Int16>(i);
      running_max = x;
    }
    if (x < running_min) {
      index_min = static_cast<Int16>(i);
      running_min = x;
    }
  }
}

double Mean(const Array1<double>& v) {
  Int16 lo = 0;
  Int16 hi = 0;
  LoopBounds(v, lo, hi);
  double s = 0.0;
  for (Int32 i = lo; i <= hi; ++i) s += v.Unchecked(i);
  const double mean = s / static_cast<double>(hi - lo + 1);
  fp::Check();
  return mean;
}

double SumSquaredDeviations(const Array1<double>& v) {
  const double m = Mean(v);
  Int16 lo = 0;
  Int16 hi = 0;
  LoopBounds(v, lo, hi);
  double s = 0.0;
  for (Int32 i = lo; i <= hi; ++i) s += fp::Square(v.Unchecked(i) - m);
  fp::Check();
  return s;
}

double Variance(const Array1<double>& v) {
  const double s = SumSquaredDeviations(v);
  Int16 lo = 0;
  Int16 hi = 0;
  LoopBounds(v, lo, hi);
  const double var = s / static_cast<double>(hi - lo);
  fp::Check();
  return var;
}

}  // namespace tavric::Tools
