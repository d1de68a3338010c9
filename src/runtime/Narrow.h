// Narrow integers: 8-bit unsigned ("byte") and 16-bit signed ("integer")
// values, whose ranges are hard limits of the library (orders, counts, term
// numbers, sample counts).
//
// Conversions from double round half to even (2.5 -> 2, 3.5 -> 4, -2.5 -> -2)
// and raise 6 "Overflow" when the rounded value is outside the target range
// (or the value is not finite). Integer arithmetic is overflow-checked the
// same way.
#pragma once

#include <cstdint>
#include <limits>

#include "tavric/RuntimeError.h"

namespace tavric {

using Byte = std::uint8_t;
using Int16 = std::int16_t;
using Int32 = std::int32_t;

// Rounds half to even and range-checks.
Byte CByte(double value);
Int16 CInt(double value);
Int32 CLng(double value);

// Range-checked conversion between integer types.
template <class To, class From>
To Narrow(From value) {
  static_assert(std::numeric_limits<To>::is_integer && std::numeric_limits<From>::is_integer);
  if constexpr (std::numeric_limits<From>::is_signed) {
    if (static_cast<long long>(value) < static_cast<long long>(std::numeric_limits<To>::min()) ||
        static_cast<long long>(value) > static_cast<long long>(std::numeric_limits<To>::max()))
      Raise(err::kOverflow);
  } else {
    if (static_cast<unsigned long long>(value) >
        static_cast<unsigned long long>(std::numeric_limits<To>::max()))
      Raise(err::kOverflow);
  }
  return static_cast<To>(value);
}

// Overflow-checked arithmetic, the result held in the narrow type T.
template <class T>
T CheckedAdd(T a, T b) {
  return Narrow<T>(static_cast<long long>(a) + static_cast<long long>(b));
}
template <class T>
T CheckedSub(T a, T b) {
  return Narrow<T>(static_cast<long long>(a) - static_cast<long long>(b));
}
template <class T>
T CheckedMul(T a, T b) {
  return Narrow<T>(static_cast<long long>(a) * static_cast<long long>(b));
}

}  // namespace tavric
