#include "polynomial/Polynome3Variables.h"

#include <cmath>

#include "polynomial/PolynomialKernels.h"
#include "runtime/CheckedMath.h"

namespace tavric {

Array1<double> CoefficientTriple(double x, double y, double z) {
  Array1<double> triple(1, 3);
  triple.Unchecked(1) = x;
  triple.Unchecked(2) = y;
  triple.Unchecked(3) = z;
  return triple;
}

Polynome3Variables::Polynome3Variables() {
  Byte n = 1;
  INIT(n);
}

void Polynome3Variables::INIT(Byte& n) {
  order_ = n;
  // (n+2)(n+1), then (n+3), in 16-bit arithmetic: orders above 30 overflow.
  const Int16 a = CheckedMul<Int16>(static_cast<Int16>(n + 2), static_cast<Int16>(n + 1));
  const Int16 b = CheckedMul<Int16>(a, static_cast<Int16>(n + 3));
  number_of_coeff_ = CInt(static_cast<double>(b) / 6.0);

  coeff_.ReDim(1, 3, 1, number_of_coeff_);
  power_.ReDim(1, 3, 1, number_of_coeff_);
  Int32 t = 1;
  for (int i = 0; i <= n; ++i)
    for (int j = 0; j <= n - i; ++j)
      for (int k = 0; k <= n - i - j; ++k) {
        power_.Unchecked(1, t) = static_cast<Int16>(i);
        power_.Unchecked(2, t) = static_cast<Int16>(j);
        power_.Unchecked(3, t) = static_cast<Int16>(k);
        ++t;
      }
}

void Polynome3Variables::Order(Byte n) {
  order_ = n;
  Byte stored = Order();
  INIT(stored);
}

Byte Polynome3Variables::Number_of_coeff() const { return Narrow<Byte>(number_of_coeff_); }

namespace {

// The number of terms the evaluation loops visit for order n. It equals the
// stored term count except after an INIT that failed on an order above 30,
// which stores the order but keeps the previous tables; the loops would then
// run past the tables, so they raise 9 as every access outside a table does.
Int32 TermsOfOrder(int n) noexcept { return (n + 1) * (n + 2) * (n + 3) / 6; }

}  // namespace

// Value and Power walk the terms in their fixed order with one running
// product m: within the R loop m is multiplied by R after each term; after
// the R loop m restarts from the value it had before it, times Q; after the Q
// loop likewise times P. No power is formed by exponentiation, and this
// product order is part of the numerical result.
void Polynome3Variables::Value(double P, double Q, double R, double& X, double& Y,
                               double& Z) const {
  const int n = order_;
  const Int32 terms = TermsOfOrder(n);
  coeff_.CheckRange(1, 3, 1, terms);
  // Column t of the table starts at c + stride * (t - 1), whatever its bounds.
  const double* c = &coeff_.Unchecked(1, 1);
  const std::size_t stride = static_cast<std::size_t>(coeff_.Extent1());
  double x = 0.0, y = 0.0, z = 0.0;
  double m = 1.0;
  std::size_t col = 0;
  for (int i = 0; i <= n; ++i) {
    const double mP = m;
    for (int j = 0; j <= n - i; ++j) {
      const double mPQ = m;
      for (int k = 0; k <= n - i - j; ++k) {
        x += m * c[col];
        y += m * c[col + 1];
        z += m * c[col + 2];
        m *= R;
        col += stride;
      }
      m = mPQ * Q;
    }
    m = mP * P;
  }
  fp::Check();
  // Infinite readings or coefficients propagate without raising a flag.
  X = fp::RequireFinite(x);
  Y = fp::RequireFinite(y);
  Z = fp::RequireFinite(z);
}

void Polynome3Variables::PowerInto(double P, double Q, double R, Array1<double>& out) const {
  out.CheckRange(1, TermsOfOrder(order_));
  fp::RequireFinite(P);
  fp::RequireFinite(Q);
  fp::RequireFinite(R);
  Monomials(P, Q, R, &out.Unchecked(1));
  fp::Check();
}

void Polynome3Variables::Monomials(double P, double Q, double R, double* out) const noexcept {
#define TAVRIC_CALL(O) kernels::RunningMonomials<O>(order_, P, Q, R, out)
  TAVRIC_FOR_ORDER(order_, TAVRIC_CALL);
#undef TAVRIC_CALL
}

bool Polynome3Variables::ValuesAt(const double* readings, std::size_t count, const double shift[3],
                                  double* out) const {
  const Int32 terms = TermsOfOrder(order_);
  if (fp::FaultPending() || !coeff_.Allocated() || coeff_.LBound(1) != 1 || coeff_.UBound(1) != 3 ||
      coeff_.LBound(2) != 1 || coeff_.UBound(2) < terms)
    return false;
  for (std::size_t i = 0; i < 3 * count; ++i)
    if (!std::isfinite(readings[i])) return false;
  kernels::PolynomialValues(simd::Active(), order_, coeff_.Data(), readings, shift, count, out);
  if (!fp::FaultPending()) return true;
  fp::ClearFaults();
  return false;
}

Array1<double> Polynome3Variables::Power(double P, double Q, double R) const {
  Array1<double> out(1, number_of_coeff_);
  PowerInto(P, Q, R, out);
  return out;
}

// Add and PolyScale stop at the first faulting operation and leave the
// element it would have written unchanged, as checked arithmetic does.
std::string Polynome3Variables::Add(const Polynome3Variables& other) {
  if (other.Order() != order_) return "Orders mismatch";
  const Array2<double> theirs = other.Coeff();
  for (Int32 t = 1; t <= number_of_coeff_; ++t)
    for (Int32 axis = 1; axis <= 3; ++axis) {
      const double sum = coeff_(axis, t) + theirs(axis, t);
      fp::Check();
      coeff_(axis, t) = sum;
    }
  return "OK";
}

void Polynome3Variables::PolyScale(double s) {
  for (Int32 t = 1; t <= number_of_coeff_; ++t) {
    const Int16 d = CheckedAdd<Int16>(CheckedAdd<Int16>(power_(1, t), power_(2, t)), power_(3, t));
    const double f = fp::Power(s, d);
    for (Int32 axis = 1; axis <= 3; ++axis) {
      const double scaled = coeff_(axis, t) / f;
      fp::Check();
      coeff_(axis, t) = scaled;
    }
  }
}

void Polynome3Variables::Coeff(const Array2<double>& table) { coeff_ = table; }

Array1<double> Polynome3Variables::theCoeff_i(Int16 i) const {
  Array1<double> triple(1, 3);
  for (Int32 axis = 1; axis <= 3; ++axis) triple(axis) = coeff_(axis, i);
  return triple;
}

void Polynome3Variables::theCoeff_i(Int16 i, const Array1<double>& triple) {
  for (Int32 axis = 1; axis <= 3; ++axis) coeff_(axis, i) = triple(axis);
}

Array1<double> Polynome3Variables::TheCoeff(Int16 PowerP, Int16 powerQ, Int16 powerR) const {
  Array1<double> triple(1, 3);
  for (Int32 t = 1; t <= number_of_coeff_; ++t)
    if (power_(1, t) == PowerP && power_(2, t) == powerQ && power_(3, t) == powerR)
      for (Int32 axis = 1; axis <= 3; ++axis) triple(axis) = coeff_(axis, t);
  return triple;
}

void Polynome3Variables::TheCoeff(Int16 PowerP, Int16 powerQ, Int16 powerR,
                                  const Array1<double>& triple) {
  for (Int32 t = 1; t <= number_of_coeff_; ++t)
    if (power_(1, t) == PowerP && power_(2, t) == powerQ && power_(3, t) == powerR)
      for (Int32 axis = 1; axis <= 3; ++axis) coeff_(axis, t) = triple(axis);
}

}  // namespace tavric
