// BON: the small linear least-squares kit of the sphere fit.
//
// BuildBON turns the n rows of V (vectors of dimension m, V(i, k)) into
// mutually orthogonal rows W by classical, unnormalised Gram-Schmidt and keeps
// the projection coefficients in the strictly lower part of R and the squared
// lengths |w_i|^2 on its diagonal. SolveBON then uses that basis to find the
// coefficients x whose combination of the rows of V is closest, in the
// sum-of-squares sense, to a right-hand vector b.
//
// Both long operations yield to the host's message loop (DoEvents) after
// each vector or coefficient, so a user interface stays responsive.
#pragma once

#include <string>

#include "runtime/Narrow.h"
#include "tavric/BoundedArray.h"

namespace tavric::BON {

// Sum over k = 1..m of A(i, k) * B(j, k), added in increasing k; 0 for m < 1.
double ProdScal2(Int16 i, Int16 j, Int16 m, const Array2<double>& A, const Array2<double>& B);
// Sum over k = 1..m of A(i, k) * A(j, k), added in increasing k; 0 for m < 1.
double ProdScal(Int16 i, Int16 j, Int16 m, const Array2<double>& A);

// Orthogonalises rows 1..n of V (dimension m) into W (1 To n, 1 To m); R
// becomes (1 To n, 1 To n) with R(i, j) (j < i) the coefficient of row i on
// w_j and R(i, i) = |w_i|^2. Returns "OK", or:
//   "Le vecteur n°<i> est nul"          row i of V is exactly zero (all rows
//                                        are checked before any other work);
//   "Le vecteur n°<i> est dépendant !"  row i lies in the span of the rows
//                                        before it (see BON.cpp for the
//                                        rounding allowance);
//   "Arret par l'utilisateur"           StopRequested was set;
//   the description of any run-time error raised while working.
// After a message other than "OK", W and R must not be used.
std::string BuildBON(Int16 n, Int16 m, const Array2<double>& V, Array2<double>& W,
                     Array2<double>& R);

// Least squares through the basis that BuildBON returned "OK" for (same n,
// m and V): x (1 To n) are the coefficients, y (1 To n) the scalar products
// w_i . b. Returns the residual sum of squares of b - sum x(i) V(i). Traps
// nothing.
double SolveBON(Int16 n, Int16 m, const Array1<double>& b, const Array2<double>& V,
                const Array2<double>& W, const Array2<double>& R, Array1<double>& x,
                Array1<double>& y);

// Interrupt request for BuildBON, tested once per vector and cleared when
// BuildBON starts or stops on it. Nothing in the library sets it.
bool StopRequested() noexcept;
void StopRequested(bool value) noexcept;

}  // namespace tavric::BON
