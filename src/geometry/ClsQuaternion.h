// ClsQuaternion: rotations in machine space as quaternions (A scalar part;
// B, C, D the vector part along X, Y, Z), the identity when created.
//
// A quaternion is built from an axis and an angle (From_u) or from a rotation
// matrix (From_M33), composes rotations by multiplication (Mul), rotates
// vectors (Rotate) and gives back its rotation matrix (Rotate_Matrix). Nothing
// keeps it at unit length except Normalize. Arithmetic faults raise the
// run-time errors of CheckedMath.h.
#pragma once

#include <memory>

#include "geometry/ClsVector.h"
#include "geometry/Matrix33.h"
#include "runtime/ObjectRef.h"

namespace tavric {

class ClsQuaternion {
 public:
  ClsQuaternion() = default;
  ClsQuaternion(double a, double b, double c, double d) : a_(a), b_(b), c_(c), d_(d) {}

  double A() const noexcept { return a_; }
  double B() const noexcept { return b_; }
  double C() const noexcept { return c_; }
  double D() const noexcept { return d_; }
  void A(double vData) noexcept { a_ = vData; }
  void B(double vData) noexcept { b_ = vData; }
  void C(double vData) noexcept { c_ = vData; }
  void D(double vData) noexcept { d_ = vData; }

  // Rotation by `angle` radians about `axis`: A = cos(angle/2),
  // (B, C, D) = sin(angle/2) * axis. The axis is used as given, not normalised.
  void From_u(double angle, const ClsVector& axis);

  // The rotation matrix: its TimesV equals Rotate for a unit quaternion.
  Ref<Matrix33> Rotate_Matrix() const;

  // Sets the quaternion from rotation matrix `m` by the trace formula alone
  // (A >= 0). A half-turn matrix (trace -1) divides by zero; a trace below -1
  // takes the square root of a negative number (error 5).
  void From_M33(const Matrix33& m);

  // Multiplies A, B, C, D in place by k. Returns no object: the result is the
  // receiver itself.
  Ref<ClsQuaternion> Scal(double k);

  // Component sums (Q.A + A, ...), a new quaternion.
  Ref<ClsQuaternion> Add(const ClsQuaternion& Q) const;

  // The Hamilton product this * Q (this on the left), a new quaternion.
  Ref<ClsQuaternion> Mul(const ClsQuaternion& Q) const;

  // The vector part of this * (0, V) * conjugate(this). Not normalised: for a
  // quaternion that is not of unit length the result is scaled by Norm^2.
  Ref<ClsVector> Rotate(const ClsVector& V) const;

  // Divides A, B, C, D by Norm (the zero quaternion raises an error).
  void Normalize();

  // sqrt(A^2 + B^2 + C^2 + D^2).
  double Norm() const;

  // (A, -B, -C, -D), a new quaternion.
  Ref<ClsQuaternion> Conjugate() const;

 private:
  double a_ = 1.0;
  double b_ = 0.0;
  double c_ = 0.0;
  double d_ = 0.0;
};

// A new quaternion (the identity unless parts are given) held by reference.
inline Ref<ClsQuaternion> NewQuaternion(double a = 1.0, double b = 0.0, double c = 0.0,
                                        double d = 0.0) {
  return std::make_shared<ClsQuaternion>(a, b, c, d);
}

}  // namespace tavric
