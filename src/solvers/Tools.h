// Tools: statistics over one-dimensional arrays of double, shared by the
// optimiser and the sphere fit. Each honours the array's own bounds and loops
// with 16-bit indices (bounds outside that range raise 6); an unallocated
// array raises 9. None keeps state.
#pragma once

#include "runtime/Narrow.h"
#include "tavric/BoundedArray.h"

namespace tavric::Tools {

// sqrt(sum of v(i)^2) over all elements.
double Norm(const Array1<double>& v);
// Positions of the largest and the smallest element (strict comparisons, so
// the first occurrence wins a tie; one element gives its lower bound for
// both). An empty array raises 9.
void ExtremeIndices(const Array1<double>& v, Int16& index_max, Int16& index_min);
// Sum of v(i) / count.
double Mean(const Array1<double>& v);
// Sum of (v(i) - mean)^2.
double SumSquaredDeviations(const Array1<double>& v);
// Sample variance: SumSquaredDeviations / (count - 1); no square root. A
// one-element array divides by zero (error 6, 0/0).
double Variance(const Array1<double>& v);

}  // namespace tavric::Tools
