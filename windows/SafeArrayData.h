// SafeArrayData: the calibration data array as an automation SAFEARRAY.
//
// Optimise receives the data as SAFEARRAY(double), fields x samples, with
// any lower bounds. Both a SAFEARRAY and a DataArray keep their elements
// with the first index running fastest, so the conversion is one copy that
// keeps the bounds.
#pragma once

// clang-format off
#include <windows.h>  // before every other Windows header
#include <oaidl.h>
// clang-format on

#include "tavric/BoundedArray.h"

namespace tavric::com {

// S_OK for a missing array or an array of doubles, DISP_E_TYPEMISMATCH for
// an array of any other element type.
HRESULT CheckDoubleElements(SAFEARRAY* array) noexcept;

// A copy of a two-dimensional array of doubles with the same bounds. A
// missing array, or one with another number of dimensions, raises 9
// ("Subscript out of range"), as reading the bounds of its second dimension
// would; bounds beyond 32-bit integers raise 6.
DataArray ToDataArray(SAFEARRAY* array);

}  // namespace tavric::com
