// ModCholesky: damped root-free Cholesky factorisation and triangular solves.
//
// Factorise writes A + mu*I = L*D*L^T for a symmetric A (1 To n, 1 To n),
// reading only its diagonal and lower triangle; L is unit lower triangular and
// D holds the pivots on its diagonal. Solve applies L or L^T. The optimiser
// solves its damped normal equations with the three steps
//   Solve("L", L, y, b);  y(i) = y(i) / D(i, i);  Solve("U", L, x, y);
// which together solve (A + mu*I) x = b.
#pragma once

#include <string>

#include "tavric/BoundedArray.h"

namespace tavric::ModCholesky {

// Factorises A + mu*I. Returns "OK", "A has different Dimensions" when A is
// not square, or "D(i,i)=0" (i in decimal) when pivot i is exactly zero; in
// that case L and D are left half-built. A negative pivot is accepted. L and D
// are re-dimensioned to (1 To n, 1 To n). Other failures (unallocated A, a
// floating-point fault) raise run-time errors.
std::string Factorise(const Array2<double>& A, const double& mu, Array2<double>& L,
                      Array2<double>& D);

// which = "L": forward substitution M*x = b. which = "U": back substitution
// M^T*x = b, reading M's lower triangle in place of its transpose. Any other
// text (the comparison is case-sensitive) leaves x untouched. n is the upper
// bound of M's first dimension; x and b must hold indices 1 to n.
void Solve(const std::string& which, const Array2<double>& M, Array1<double>& x,
           const Array1<double>& b);

}  // namespace tavric::ModCholesky
