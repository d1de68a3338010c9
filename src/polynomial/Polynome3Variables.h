// Polynome3Variables: the calibration function, three polynomials of one total
// order n in the probe readings P, Q, R, one per output axis X, Y, Z.
//
// Terms are numbered 1..N, N = (n+1)(n+2)(n+3)/6, in one fixed order: the
// power i of P runs 0..n (outermost), then the power j of Q 0..n-i, then the
// power k of R 0..n-i-j (innermost). Order 1: (0,0,0), (0,0,1), (0,1,0),
// (1,0,0). Term 1 is the constant term, whose negated triple is the probe
// offsets. The coefficient table is (1 To 3, 1 To N): axis x term.
#pragma once

#include <string>

#include "runtime/Narrow.h"
#include "tavric/BoundedArray.h"

namespace tavric {

class TextFile;

// A coefficient triple: the X, Y and Z coefficients of one term, bounds 1 to 3.
Array1<double> CoefficientTriple(double x, double y, double z);

class Polynome3Variables {
 public:
  // Order 1, four zero terms, file name "c:\SPCalFile.txt".
  Polynome3Variables();

  // Sets the order, re-dimensions and zeroes the coefficients and fills the
  // power table. Orders above 30 raise 6 (the term count is 16-bit).
  void INIT(Byte& n);

  // Setting the order always re-initialises (clearing every coefficient).
  Byte Order() const noexcept { return order_; }
  void Order(Byte n);

  // N as an 8-bit value: raises 6 from order 10 on (N >= 286).
  Byte Number_of_coeff() const;
  // N without the narrowing (for loops over the terms).
  Int16 TermCount() const noexcept { return number_of_coeff_; }

  // Evaluates the three polynomials at (P, Q, R) by running products. A
  // floating-point overflow (or an infinite reading or coefficient) raises 6
  // instead of returning an infinity.
  void Value(double P, double Q, double R, double& X, double& Y, double& Z) const;
  // The N monomial values in term order (1 To N).
  Array1<double> Power(double P, double Q, double R) const;
  // Writes the N monomial values into `out` (which must hold 1..N); the
  // allocation-free form of Power for the hot loops.
  void PowerInto(double P, double Q, double R, Array1<double>& out) const;
  // The same values into out[0..N-1] with no check at all: a fault is left
  // in the floating-point flags (see runtime/CheckedMath.h).
  void Monomials(double P, double Q, double R, double* out) const noexcept;
  // Value at many readings: out[3 i .. 3 i + 2] = X, Y, Z at (readings[3 i]
  // + shift[0], readings[3 i + 1] + shift[1], readings[3 i + 2] + shift[2]),
  // the same bits as Value, several readings at once in vector lanes.
  // Returns false when a reading is not finite or a value faults (the flags
  // are then left as they were); the caller then runs Value reading by
  // reading, which raises what it raises.
  bool ValuesAt(const double* readings, std::size_t count, const double shift[3],
                double* out) const;

  // Adds another polynomial's coefficients; "Orders mismatch" when the orders
  // differ (nothing changes), else "OK".
  std::string Add(const Polynome3Variables& other);
  // Divides the coefficients of every term of total degree d by s^d, so the
  // polynomial gives the same outputs for inputs multiplied by s. s = 0
  // raises 11 (or 6 for a zero coefficient of a term of degree >= 1).
  void PolyScale(double s);

  Array2<double> Coeff() const { return coeff_; }
  void Coeff(const Array2<double>& table);

  // Term number i (1..N): its triple (1 To 3); 9 outside the table.
  Array1<double> theCoeff_i(Int16 i) const;
  void theCoeff_i(Int16 i, const Array1<double>& triple);

  // The term addressed by its powers; a triple that is not a term reads
  // (0,0,0) and is silently ignored when set.
  Array1<double> TheCoeff(Int16 PowerP, Int16 powerQ, Int16 powerR) const;
  void TheCoeff(Int16 PowerP, Int16 powerQ, Int16 powerR, const Array1<double>& triple);

  const std::string& CalibrationFileName() const noexcept { return file_name_; }
  void CalibrationFileName(std::string name) { file_name_ = std::move(name); }

  // The parameter section of a calibration file (see docs/file-formats.md),
  // read up to the end of the file or written at the current position.
  // Result "OK", or "Polynome object ReadFile(<stage>) Error n°<number>
  // <description>" / "Polynome object WriteFile Error n°<number> <description>".
  std::string ReadFile(TextFile& file);
  std::string WriteFile(TextFile& file) const;

  // Read-only views for the hot loops and the file section.
  const Array2<double>& CoeffTable() const noexcept { return coeff_; }
  const Array2<Int16>& PowerTable() const noexcept { return power_; }

 private:
  Array2<double> coeff_;
  Array2<Int16> power_;
  Byte order_ = 1;
  std::string file_name_ = "c:\\SPCalFile.txt";
  Int16 number_of_coeff_ = 0;
};

}  // namespace tavric
