#include "geometry/ClsVector.h"

#include <cmath>

#include "runtime/CheckedMath.h"

namespace tavric {

double ClsVector::Scal(const ClsVector& v) const {
  const double s = (v.C2() * c2_ + v.C1() * c1_) + v.C3() * c3_;
  fp::Check();
  return s;
}

Ref<ClsVector> ClsVector::Add(const ClsVector& v, double k) const {
  auto r = NewVector();
  r->C1(c1_ + k * v.C1());
  r->C2(c2_ + k * v.C2());
  r->C3(c3_ + k * v.C3());
  fp::Check();
  return r;
}

Ref<ClsVector> ClsVector::Cross(const ClsVector& v) const {
  auto r = NewVector();
  r->C1(c2_ * v.C3() - c3_ * v.C2());
  r->C2(c3_ * v.C1() - c1_ * v.C3());
  r->C3(c1_ * v.C2() - c2_ * v.C1());
  fp::Check();
  return r;
}

void ClsVector::SetVal(const ClsVector& v) {
  c1_ = v.C1();
  c2_ = v.C2();
  c3_ = v.C3();
}

double ClsVector::C(Byte i) const {
  switch (i) {
    case 1:
      return c1_;
    case 2:
      return c2_;
    case 3:
      return c3_;
    default:
      return 0.0;
  }
}

void ClsVector::C(Byte i, double value) {
  switch (i) {
    case 1:
      c1_ = value;
      break;
    case 2:
      c2_ = value;
      break;
    case 3:
      c3_ = value;
      break;
    default:
      break;
  }
}

double ClsVector::Length() {
  // Squares of C2 and C1 first, then C3, as the length has always been summed.
  const double s = (fp::Square(c2_) + fp::Square(c1_)) + fp::Square(c3_);
  fp::Check();
  cached_length_ = fp::Sqr(s);
  return cached_length_;
}

bool ClsVector::Normer() {
  const double length = Length();
  // A length that is not a number counts as zero: the vector is left alone
  // rather than filled with NaN.
  if (length == 0.0 || std::isnan(length)) return false;
  c1_ /= length;
  c2_ /= length;
  c3_ /= length;
  fp::Check();
  return true;
}

Ref<ClsVector> ClsVector::Fois(double k) const {
  auto r = NewVector(k * c1_, k * c2_, k * c3_);
  fp::Check();
  return r;
}

double ClsVector::Norme() { return Length(); }

}  // namespace tavric
