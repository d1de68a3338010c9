#include "geometry/Matrix33.h"

#include <cmath>
#include <memory>
#include <utility>

#include "runtime/CheckedMath.h"
#include "tavric/RuntimeError.h"

namespace tavric {

namespace {

void CheckRow(Byte i) {
  if (i < 1 || i > 3) Raise(err::kSubscriptOutOfRange);
}

}  // namespace

Matrix33::Matrix33() { SetZero(); }

ClsVector& Matrix33::Row(Byte i) const {
  CheckRow(i);
  Ref<ClsVector>& slot = rows_[i - 1];
  if (!slot) slot = NewVector();
  return *slot;
}

double Matrix33::Mij(Byte Lin, Byte Col) const { return Row(Lin).C(Col); }

void Matrix33::Mij(Byte Lin, Byte Col, double vData) { Row(Lin).C(Col, vData); }

Ref<ClsVector> Matrix33::TimesV(const ClsVector& V) const {
  auto r = NewVector();
  r->C1(Row(1).Scal(V));
  r->C2(Row(2).Scal(V));
  r->C3(Row(3).Scal(V));
  return r;
}

Ref<Matrix33> Matrix33::TimesM33(const Matrix33& M33) const {
  auto r = NewMatrix33();
  for (Byte i = 1; i <= 3; ++i) r->Column(i, *TimesV(*M33.Column(i)));
  return r;
}

Ref<ClsVector> Matrix33::Ligne(Byte i) const {
  const ClsVector& row = Row(i);
  auto r = NewVector();
  r->SetVal(row);
  return r;
}

Ref<ClsVector> Matrix33::Column(Byte i) const {
  auto r = NewVector();
  r->C1(Mij(1, i));
  r->C2(Mij(2, i));
  r->C3(Mij(3, i));
  return r;
}

void Matrix33::Column(Byte i, const ClsVector& V) {
  Mij(1, i, V.C1());
  Mij(2, i, V.C2());
  Mij(3, i, V.C3());
}

Ref<ClsVector> Matrix33::L(Byte i) const {
  Row(i);
  return rows_[i - 1];
}

void Matrix33::L(Byte i, Ref<ClsVector> vData) {
  CheckRow(i);
  rows_[i - 1] = std::move(vData);
}

Ref<Matrix33> Matrix33::Invert() const {
  // R starts as the identity and receives every row operation done on A.
  auto r = NewMatrix33();
  r->SetZero();
  r->Mij(1, 1, 1.0);
  r->Mij(2, 2, 1.0);
  r->Mij(3, 3, 1.0);

  // A is a working copy: this matrix is left as it is.
  auto a = NewMatrix33();
  for (Byte i = 1; i <= 3; ++i) {
    for (Byte j = 1; j <= 3; ++j) a->Mij(i, j, Mij(i, j));
  }

  for (Byte k = 1; k <= 3; ++k) {
    const double p = a->Mij(k, k);
    // No row exchange: a zero pivot ends the inversion without a result.
    if (p == 0.0 || std::isnan(p)) return nullptr;
    a->L(k, a->L(k)->Fois(1.0 / p));
    r->L(k, r->L(k)->Fois(1.0 / p));
    for (Byte j = 1; j <= 3; ++j) {
      if (j == k) continue;
      const double f = -a->Mij(j, k);
      a->L(j, a->L(j)->Add(*a->L(k), f));
      r->L(j, r->L(j)->Add(*r->L(k), f));
    }
  }
  fp::Check();
  return r;
}

void Matrix33::SetZero() {
  for (Byte i = 1; i <= 3; ++i) Row(i).SetVal(ClsVector());
}

}  // namespace tavric
