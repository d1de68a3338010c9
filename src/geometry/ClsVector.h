// ClsVector: a 3-vector of doubles (C1, C2, C3), zero when created.
//
// Operations that combine vectors return new objects and leave their operands
// unchanged; only SetVal, the component setters and Normer modify the
// receiver. Arithmetic faults raise the run-time errors of CheckedMath.h.
#pragma once

#include <memory>

#include "runtime/Narrow.h"
#include "runtime/ObjectRef.h"

namespace tavric {

class ClsVector {
 public:
  ClsVector() = default;
  ClsVector(double c1, double c2, double c3) : c1_(c1), c2_(c2), c3_(c3) {}

  // Dot product, summed as (V.C2*C2 + V.C1*C1) + V.C3*C3.
  double Scal(const ClsVector& v) const;
  // this + k * V (k = -1 gives a difference).
  Ref<ClsVector> Add(const ClsVector& v, double k) const;
  // this x V.
  Ref<ClsVector> Cross(const ClsVector& v) const;
  // Copies V's components into this vector.
  void SetVal(const ClsVector& v);
  // Component i (1, 2, 3); other indices read 0 and are ignored when set.
  double C(Byte i) const;
  void C(Byte i, double value);
  // Normalises in place (each component divided by the same length); false
  // (and no change) when the length is zero or not a number. The cached
  // length keeps the length from before the division.
  bool Normer();
  // (k*C1, k*C2, k*C3).
  Ref<ClsVector> Fois(double k) const;
  // Euclidean length, recomputed at every read (and cached).
  double Norme();

  double C1() const noexcept { return c1_; }
  double C2() const noexcept { return c2_; }
  double C3() const noexcept { return c3_; }
  void C1(double value) noexcept { c1_ = value; }
  void C2(double value) noexcept { c2_ = value; }
  void C3(double value) noexcept { c3_ = value; }

  // The length cached by the last Norme read or Normer call (0 before any).
  double CachedLength() const noexcept { return cached_length_; }

 private:
  double Length();

  double c1_ = 0.0;
  double c2_ = 0.0;
  double c3_ = 0.0;
  double cached_length_ = 0.0;
};

// A new zero vector (or one with the given components) held by reference.
inline Ref<ClsVector> NewVector(double c1 = 0.0, double c2 = 0.0, double c3 = 0.0) {
  return std::make_shared<ClsVector>(c1, c2, c3);
}

}  // namespace tavric
