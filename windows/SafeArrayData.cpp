#include "SafeArrayData.h"

#include <oleauto.h>

#include <cstdint>
#include <cstring>
#include <limits>

namespace tavric::com {
namespace {

// Bounds of dimension `dimension` (1 = leftmost) as [lower, upper].
void Bounds(SAFEARRAY* array, UINT dimension, std::int32_t& lower, std::int32_t& upper) {
  LONG l = 0;
  if (FAILED(SafeArrayGetLBound(array, dimension, &l))) Raise(err::kSubscriptOutOfRange);
  // The descriptor holds dimensions in reverse order.
  const ULONG count = array->rgsabound[array->cDims - dimension].cElements;
  const std::int64_t u = static_cast<std::int64_t>(l) + static_cast<std::int64_t>(count) - 1;
  if (u > std::numeric_limits<std::int32_t>::max()) Raise(err::kOverflow);
  lower = static_cast<std::int32_t>(l);
  upper = static_cast<std::int32_t>(u);
}

}  // namespace

HRESULT CheckDoubleElements(SAFEARRAY* array) noexcept {
  if (array == nullptr) return S_OK;
  VARTYPE vt = VT_EMPTY;
  if (SUCCEEDED(SafeArrayGetVartype(array, &vt))) {
    return vt == VT_R8 ? S_OK : DISP_E_TYPEMISMATCH;
  }
  // No recorded element type: accept plain 8-byte elements only.
  constexpr USHORT kTyped = FADF_BSTR | FADF_UNKNOWN | FADF_DISPATCH | FADF_VARIANT | FADF_RECORD;
  return (array->cbElements == sizeof(double) && (array->fFeatures & kTyped) == 0)
             ? S_OK
             : DISP_E_TYPEMISMATCH;
}

DataArray ToDataArray(SAFEARRAY* array) {
  if (array == nullptr || SafeArrayGetDim(array) != 2) Raise(err::kSubscriptOutOfRange);
  std::int32_t lower1 = 0, upper1 = 0, lower2 = 0, upper2 = 0;
  Bounds(array, 1, lower1, upper1);
  Bounds(array, 2, lower2, upper2);
  DataArray data(lower1, upper1, lower2, upper2);
  const std::size_t count =
      static_cast<std::size_t>(data.Extent1()) * static_cast<std::size_t>(data.Extent2());
  if (count == 0) return data;
  void* elements = nullptr;
  if (FAILED(SafeArrayAccessData(array, &elements))) Raise(err::kSubscriptOutOfRange);
  if (elements == nullptr) {
    SafeArrayUnaccessData(array);
    Raise(err::kSubscriptOutOfRange);
  }
  std::memcpy(data.Data(), elements, count * sizeof(double));
  SafeArrayUnaccessData(array);
  return data;
}

}  // namespace tavric::com
