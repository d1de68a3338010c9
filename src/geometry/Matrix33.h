// Matrix33: a 3x3 matrix of doubles held as three row vectors.
//
// Row i is a ClsVector whose C1, C2, C3 are the elements (i,1), (i,2), (i,3),
// and all arithmetic goes through the vector operations. A row slot that holds
// no vector gets a new zero vector the first time it is touched, so a matrix
// never exposes an empty row. Rows may be shared: L(i, v) stores v itself and
// L(i) hands out the row object itself, so changes through either reference
// show in the matrix; Ligne and Column always give new vectors.
//
// A row index outside 1..3 raises 9 (subscript out of range); a column index
// outside 1..3 reads 0 and is ignored when set.
#pragma once

#include <array>

#include "geometry/ClsVector.h"
#include "runtime/Narrow.h"
#include "runtime/ObjectRef.h"

namespace tavric {

class Matrix33 {
 public:
  // The zero matrix.
  Matrix33();

  // Element (Lin, Col), read and written through row Lin's C(Col).
  double Mij(Byte Lin, Byte Col) const;
  void Mij(Byte Lin, Byte Col, double vData);

  // this * M33, built column by column as this * (column i of M33).
  Ref<Matrix33> TimesM33(const Matrix33& M33) const;
  // this * V: each row dotted with V (ClsVector::Scal), rows 1, 2, 3.
  Ref<ClsVector> TimesV(const ClsVector& V) const;

  // A copy of row i.
  Ref<ClsVector> Ligne(Byte i) const;
  // A new vector (element (1,i), element (2,i), element (3,i)).
  Ref<ClsVector> Column(Byte i) const;
  // Elements (1,i), (2,i), (3,i) := V.C1, V.C2, V.C3.
  void Column(Byte i, const ClsVector& V);

  // The row object itself (created first if the slot is empty).
  Ref<ClsVector> L(Byte i) const;
  // Row slot i now refers to vData itself (an empty reference leaves the
  // slot to be refilled with a zero vector on its next use).
  void L(Byte i, Ref<ClsVector> vData);

  // The inverse by Gauss-Jordan elimination without row exchange; no object
  // when a pivot is exactly zero (or not a number), even for a regular matrix
  // that would need a row exchange. The receiver is never changed.
  Ref<Matrix33> Invert() const;

  // Resets every current row object to (0, 0, 0), creating empty rows.
  void SetZero();

 private:
  // Row slot i (checked against 1..3, filled with a zero vector if empty).
  ClsVector& Row(Byte i) const;

  mutable std::array<Ref<ClsVector>, 3> rows_;
};

// A new zero matrix held by reference.
inline Ref<Matrix33> NewMatrix33() { return std::make_shared<Matrix33>(); }

}  // namespace tavric
