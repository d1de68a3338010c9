#include "geometry/ClsQuaternion.h"

#include <cmath>

#include "runtime/CheckedMath.h"

namespace tavric {

namespace {

// The value of an arithmetic step, once it is known to be free of faults.
double Checked(double x) {
  fp::Check();
  return x;
}

}  // namespace

void ClsQuaternion::From_u(double angle, const ClsVector& axis) {
  a_ = Checked(std::cos(angle / 2.0));
  b_ = Checked(std::sin(angle / 2.0) * axis.C1());
  c_ = Checked(std::sin(angle / 2.0) * axis.C2());
  d_ = Checked(std::sin(angle / 2.0) * axis.C3());
}

Ref<Matrix33> ClsQuaternion::Rotate_Matrix() const {
  const double a2 = fp::Square(a_);
  const double b2 = fp::Square(b_);
  const double c2 = fp::Square(c_);
  const double d2 = fp::Square(d_);
  auto m = NewMatrix33();
  m->Mij(1, 1, a2 + b2 - c2 - d2);
  m->Mij(2, 2, a2 - b2 + c2 - d2);
  m->Mij(3, 3, a2 - b2 - c2 + d2);
  // Each off-diagonal pair is formed once and doubled by adding it to itself.
  double t = b_ * c_ - a_ * d_;
  m->Mij(1, 2, t + t);
  t = b_ * c_ + a_ * d_;
  m->Mij(2, 1, t + t);
  t = b_ * d_ + a_ * c_;
  m->Mij(1, 3, t + t);
  t = b_ * d_ - a_ * c_;
  m->Mij(3, 1, t + t);
  t = c_ * d_ - a_ * b_;
  m->Mij(2, 3, t + t);
  t = c_ * d_ + a_ * b_;
  m->Mij(3, 2, t + t);
  fp::Check();
  return m;
}

void ClsQuaternion::From_M33(const Matrix33& m) {
  // Trace formula only: A >= 0, and the matrix is taken to be a rotation of
  // less than half a turn. Each part is stored as soon as it is computed, so
  // a fault in a later part leaves the earlier ones set.
  const double sum = Checked(m.Mij(1, 1) + 1.0 + m.Mij(2, 2) + m.Mij(3, 3));
  a_ = Checked(fp::Sqr(sum) / 2.0);
  const double s = Checked(a_ * -4.0);
  b_ = Checked((m.Mij(2, 3) - m.Mij(3, 2)) / s);
  c_ = Checked((m.Mij(3, 1) - m.Mij(1, 3)) / s);
  d_ = Checked((m.Mij(1, 2) - m.Mij(2, 1)) / s);
}

Ref<ClsQuaternion> ClsQuaternion::Scal(double k) {
  a_ = Checked(a_ * k);
  b_ = Checked(b_ * k);
  c_ = Checked(c_ * k);
  d_ = Checked(d_ * k);
  return nullptr;
}

Ref<ClsQuaternion> ClsQuaternion::Add(const ClsQuaternion& Q) const {
  auto r = NewQuaternion(Q.A() + a_, Q.B() + b_, Q.C() + c_, Q.D() + d_);
  fp::Check();
  return r;
}

Ref<ClsQuaternion> ClsQuaternion::Mul(const ClsQuaternion& Q) const {
  const double a1 = a_, b1 = b_, c1 = c_, d1 = d_;
  auto r = NewQuaternion();
  r->B(Q.A() * b1 + Q.D() * c1 - Q.C() * d1 + Q.B() * a1);
  r->C(a1 * Q.C() - b1 * Q.D() + c1 * Q.A() + d1 * Q.B());
  r->D(a1 * Q.D() + b1 * Q.C() - c1 * Q.B() + d1 * Q.A());
  r->A(a1 * Q.A() - b1 * Q.B() - c1 * Q.C() - d1 * Q.D());
  fp::Check();
  return r;
}

Ref<ClsVector> ClsQuaternion::Rotate(const ClsVector& V) const {
  // p = this * (0, V): the product above with Q = (0, V.C1, V.C2, V.C3).
  const double a1 = a_, b1 = b_, c1 = c_, d1 = d_;
  auto p = NewQuaternion();
  p->B(0.0 * b1 + V.C3() * c1 - V.C2() * d1 + V.C1() * a1);
  p->C(a1 * V.C2() - b1 * V.C3() + c1 * 0.0 + d1 * V.C1());
  p->D(a1 * V.C3() + b1 * V.C2() - c1 * V.C1() + d1 * 0.0);
  p->A(a1 * 0.0 - b1 * V.C1() - c1 * V.C2() - d1 * V.C3());
  fp::Check();
  const auto r = p->Mul(*Conjugate());
  return NewVector(r->B(), r->C(), r->D());
}

void ClsQuaternion::Normalize() {
  const double n = Norm();
  a_ = Checked(a_ / n);
  b_ = Checked(b_ / n);
  c_ = Checked(c_ / n);
  d_ = Checked(d_ / n);
}

double ClsQuaternion::Norm() const {
  const double s = Checked(fp::Square(a_) + fp::Square(b_) + fp::Square(c_) + fp::Square(d_));
  return fp::Sqr(s);
}

Ref<ClsQuaternion> ClsQuaternion::Conjugate() const { return NewQuaternion(a_, -b_, -c_, -d_); }

}  // namespace tavric
