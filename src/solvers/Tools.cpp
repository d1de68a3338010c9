#include "solvers/Tools.h"

#include "runtime/CheckedMath.h"

namespace tavric::Tools {

double Norm(const Array1<double>& v) {
  const Int16 lo = Narrow<Int16>(v.LBound());
  const Int16 hi = Narrow<Int16>(v.UBound());
  double s = 0.0;
  for (Int32 i = lo; i <= hi; ++i) s += fp::Square(v.Unchecked(i));
  fp::Check();
  return fp::Sqr(s);
}

void ExtremeIndices(const Array1<double>& v, Int16& index_max, Int16& index_min) {
  const Int16 lo = Narrow<Int16>(v.LBound());
  const Int16 hi = Narrow<Int16>(v.UBound());
  index_max = index_min = lo;
  double running_max = v(lo);
  double running_min = running_max;
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
  const Int16 lo = Narrow<Int16>(v.LBound());
  const Int16 hi = Narrow<Int16>(v.UBound());
  double s = 0.0;
  for (Int32 i = lo; i <= hi; ++i) s += v.Unchecked(i);
  const double mean = s / static_cast<double>(hi - lo + 1);
  fp::Check();
  return mean;
}

double SumSquaredDeviations(const Array1<double>& v) {
  const double m = Mean(v);
  double s = 0.0;
  for (Int32 i = v.LBound(); i <= v.UBound(); ++i) s += fp::Square(v.Unchecked(i) - m);
  fp::Check();
  return s;
}

double Variance(const Array1<double>& v) {
  const double s = SumSquaredDeviations(v);
  const double var = s / static_cast<double>(v.UBound() - v.LBound());
  fp::Check();
  return var;
}

}  // namespace tavric::Tools
