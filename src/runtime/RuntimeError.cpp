#include "tavric/RuntimeError.h"

#include <cstddef>

#include "tavric/BoundedArray.h"

namespace tavric {

std::string ErrorDescription(int number) {
  switch (number) {
    case err::kInvalidCall:
      return "Invalid procedure call or argument";
    case err::kOverflow:
      return "Overflow";
    case err::kOutOfMemory:
      return "Out of memory";
    case err::kSubscriptOutOfRange:
      return "Subscript out of range";
    case err::kDivisionByZero:
      return "Division by zero";
    case err::kTypeMismatch:
      return "Type mismatch";
    case err::kInternalError:
      return "Internal error";
    case err::kFileNotFound:
      return "File not found";
    case err::kDeviceIO:
      return "Device I/O error";
    case err::kDiskFull:
      return "Disk full";
    case err::kInputPastEnd:
      return "Input past end of file";
    case err::kPermissionDenied:
      return "Permission denied";
    case err::kPathFileAccess:
      return "Path/File access error";
    case err::kPathNotFound:
      return "Path not found";
    case err::kObjectNotSet:
      return "Object variable or With block variable not set";
    case err::kDuplicateKey:
      return "This key is already associated with an element of this collection";
    default:
      return "Application-defined or object-defined error";
  }
}

RuntimeError::RuntimeError(int number) : RuntimeError(number, ErrorDescription(number)) {}

RuntimeError::RuntimeError(int number, std::string description)
    : std::runtime_error(std::to_string(number) + " : " + description),
      number_(number),
      description_(std::move(description)) {}

void Raise(int number) { throw RuntimeError(number); }

namespace detail {

std::size_t ExtentOf(std::int32_t lower, std::int32_t upper) {
  const std::int64_t n = static_cast<std::int64_t>(upper) - lower + 1;
  if (n < 0) Raise(err::kSubscriptOutOfRange);
  return static_cast<std::size_t>(n);
}

std::size_t CheckedProduct(std::size_t a, std::size_t b, std::size_t element_size) {
  // Arrays are limited to what a 32-bit process could ever address.
  constexpr std::size_t kMaxBytes = std::size_t{1} << 31;
  if (a != 0 && b > kMaxBytes / a) Raise(err::kOutOfMemory);
  const std::size_t n = a * b;
  if (element_size != 0 && n > kMaxBytes / element_size) Raise(err::kOutOfMemory);
  return n;
}

}  // namespace detail
}  // namespace tavric
