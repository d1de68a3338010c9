// Arrays with explicit bounds.
//
// Array1<T> and Array2<T> are the library's one- and two-dimensional arrays.
// Each dimension has its own lower and upper bound (any integers, upper >=
// lower - 1, so an empty dimension is allowed); an array that was never
// dimensioned is "unallocated" and every access to it fails.
//
// Element access with operator() is checked: an index outside the bounds
// raises RuntimeError 9 ("Subscript out of range"). Hot loops check their
// range once up front (CheckRange / the bound queries) and then use
// Unchecked(), which only asserts in debug builds.
//
// Array2 stores its elements with the first index running fastest (like an
// automation SAFEARRAY), so growing the last dimension with ReDimPreserve
// keeps every element in place.
//
// Example:
//   tavric::Array2<double> data(1, 6, 1, 100);   // fields x samples
//   data(4, 1) = 12.5;                            // X of sample 1
//   data.ReDimPreserve(101);                      // one more sample
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "tavric/RuntimeError.h"

namespace tavric {

namespace detail {
// Number of elements of a dimension [lower, upper]; raises 9 for upper < lower - 1.
std::size_t ExtentOf(std::int32_t lower, std::int32_t upper);
// Product of two extents; raises 7 ("Out of memory") when it cannot be held.
std::size_t CheckedProduct(std::size_t a, std::size_t b, std::size_t element_size);
}  // namespace detail

template <class T>
class Array1 {
 public:
  Array1() = default;
  Array1(std::int32_t lower, std::int32_t upper) { ReDim(lower, upper); }

  bool Allocated() const noexcept { return allocated_; }
  std::int32_t LBound() const {
    RequireAllocated();
    return lower_;
  }
  std::int32_t UBound() const {
    RequireAllocated();
    return upper_;
  }
  // Number of elements (0 for an unallocated array).
  std::int32_t Count() const noexcept { return static_cast<std::int32_t>(data_.size()); }

  T& operator()(std::int32_t i) { return data_[Offset(i)]; }
  const T& operator()(std::int32_t i) const { return data_[Offset(i)]; }

  // Element access without the bounds check; the caller checked the range.
  T& Unchecked(std::int32_t i) noexcept {
    assert(allocated_ && i >= lower_ && i <= upper_);
    return data_[static_cast<std::size_t>(i - lower_)];
  }
  const T& Unchecked(std::int32_t i) const noexcept {
    assert(allocated_ && i >= lower_ && i <= upper_);
    return data_[static_cast<std::size_t>(i - lower_)];
  }

  // Raises 9 unless every index of [first, last] is inside the bounds
  // (an empty range, last < first, always passes on an allocated array).
  void CheckRange(std::int32_t first, std::int32_t last) const {
    RequireAllocated();
    if (last >= first && (first < lower_ || last > upper_)) Raise(err::kSubscriptOutOfRange);
  }

  // Re-dimensions to [lower, upper]; every element becomes T{}. The memory
  // is reused when it is large enough.
  void ReDim(std::int32_t lower, std::int32_t upper) {
    const std::size_t n = detail::ExtentOf(lower, upper);
    detail::CheckedProduct(n, 1, sizeof(T));
    data_.assign(n, T{});
    lower_ = lower;
    upper_ = upper;
    allocated_ = true;
  }
  // Changes the upper bound and keeps the elements that remain inside.
  void ReDimPreserve(std::int32_t upper) {
    RequireAllocated();
    const std::size_t n = detail::ExtentOf(lower_, upper);
    detail::CheckedProduct(n, 1, sizeof(T));
    data_.resize(n);
    upper_ = upper;
  }
  // Back to the unallocated state.
  void Erase() noexcept {
    std::vector<T>().swap(data_);
    allocated_ = false;
    lower_ = 0;
    upper_ = -1;
  }

  T* Data() noexcept { return data_.data(); }
  const T* Data() const noexcept { return data_.data(); }

  friend bool operator==(const Array1& a, const Array1& b) {
    return a.allocated_ == b.allocated_ && a.lower_ == b.lower_ && a.upper_ == b.upper_ &&
           a.data_ == b.data_;
  }

 private:
  void RequireAllocated() const {
    if (!allocated_) Raise(err::kSubscriptOutOfRange);
  }
  std::size_t Offset(std::int32_t i) const {
    if (!allocated_ || i < lower_ || i > upper_) Raise(err::kSubscriptOutOfRange);
    return static_cast<std::size_t>(i - lower_);
  }

  std::vector<T> data_;
  std::int32_t lower_ = 0;
  std::int32_t upper_ = -1;
  bool allocated_ = false;
};

template <class T>
class Array2 {
 public:
  Array2() = default;
  Array2(std::int32_t lower1, std::int32_t upper1, std::int32_t lower2, std::int32_t upper2) {
    ReDim(lower1, upper1, lower2, upper2);
  }

  bool Allocated() const noexcept { return allocated_; }
  // Bounds of dimension 1 or 2; any other dimension raises 9.
  std::int32_t LBound(int dimension) const {
    RequireAllocated();
    if (dimension == 1) return lower1_;
    if (dimension == 2) return lower2_;
    Raise(err::kSubscriptOutOfRange);
  }
  std::int32_t UBound(int dimension) const {
    RequireAllocated();
    if (dimension == 1) return upper1_;
    if (dimension == 2) return upper2_;
    Raise(err::kSubscriptOutOfRange);
  }
  std::int32_t Extent1() const noexcept { return static_cast<std::int32_t>(extent1_); }
  std::int32_t Extent2() const noexcept {
    return static_cast<std::int32_t>(static_cast<std::int64_t>(upper2_) - lower2_ + 1);
  }

  T& operator()(std::int32_t i, std::int32_t j) { return data_[Offset(i, j)]; }
  const T& operator()(std::int32_t i, std::int32_t j) const { return data_[Offset(i, j)]; }

  T& Unchecked(std::int32_t i, std::int32_t j) noexcept {
    assert(allocated_ && i >= lower1_ && i <= upper1_ && j >= lower2_ && j <= upper2_);
    return data_[static_cast<std::size_t>(i - lower1_) +
                 extent1_ * static_cast<std::size_t>(j - lower2_)];
  }
  const T& Unchecked(std::int32_t i, std::int32_t j) const noexcept {
    assert(allocated_ && i >= lower1_ && i <= upper1_ && j >= lower2_ && j <= upper2_);
    return data_[static_cast<std::size_t>(i - lower1_) +
                 extent1_ * static_cast<std::size_t>(j - lower2_)];
  }

  // Raises 9 unless [first1, last1] x [first2, last2] lies inside the bounds.
  void CheckRange(std::int32_t first1, std::int32_t last1, std::int32_t first2,
                  std::int32_t last2) const {
    RequireAllocated();
    if (last1 >= first1 && (first1 < lower1_ || last1 > upper1_)) Raise(err::kSubscriptOutOfRange);
    if (last2 >= first2 && (first2 < lower2_ || last2 > upper2_)) Raise(err::kSubscriptOutOfRange);
  }

  // Re-dimensions; every element becomes T{}. The memory is reused when it is
  // large enough.
  void ReDim(std::int32_t lower1, std::int32_t upper1, std::int32_t lower2, std::int32_t upper2) {
    const std::size_t n1 = detail::ExtentOf(lower1, upper1);
    const std::size_t n2 = detail::ExtentOf(lower2, upper2);
    data_.assign(detail::CheckedProduct(n1, n2, sizeof(T)), T{});
    lower1_ = lower1;
    upper1_ = upper1;
    lower2_ = lower2;
    upper2_ = upper2;
    extent1_ = n1;
    allocated_ = true;
  }
  // Changes the upper bound of the last dimension, keeping the contents;
  // new elements are T{}.
  void ReDimPreserve(std::int32_t upper2) {
    RequireAllocated();
    const std::size_t n2 = detail::ExtentOf(lower2_, upper2);
    data_.resize(detail::CheckedProduct(extent1_, n2, sizeof(T)));
    upper2_ = upper2;
  }
  void Erase() noexcept {
    std::vector<T>().swap(data_);
    allocated_ = false;
    lower1_ = lower2_ = 0;
    upper1_ = upper2_ = -1;
    extent1_ = 0;
  }

  // Column j (all first-dimension elements of it) is contiguous.
  T* Data() noexcept { return data_.data(); }
  const T* Data() const noexcept { return data_.data(); }

  friend bool operator==(const Array2& a, const Array2& b) {
    return a.allocated_ == b.allocated_ && a.lower1_ == b.lower1_ && a.upper1_ == b.upper1_ &&
           a.lower2_ == b.lower2_ && a.upper2_ == b.upper2_ && a.data_ == b.data_;
  }

 private:
  void RequireAllocated() const {
    if (!allocated_) Raise(err::kSubscriptOutOfRange);
  }
  std::size_t Offset(std::int32_t i, std::int32_t j) const {
    if (!allocated_ || i < lower1_ || i > upper1_ || j < lower2_ || j > upper2_)
      Raise(err::kSubscriptOutOfRange);
    return static_cast<std::size_t>(i - lower1_) + extent1_ * static_cast<std::size_t>(j - lower2_);
  }

  std::vector<T> data_;
  std::int32_t lower1_ = 0, upper1_ = -1, lower2_ = 0, upper2_ = -1;
  std::size_t extent1_ = 0;
  bool allocated_ = false;
};

// The calibration data array of the public interface: fields x samples.
using DataArray = Array2<double>;

}  // namespace tavric
