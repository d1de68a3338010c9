// Run-time errors of the Tavric library.
//
// Every failure inside the library is a RuntimeError carrying an error number
// and its description. The public operations that return a result text turn
// these into their text ("Optimise Error 6 : Overflow", ...); the accessors of
// ClsProbeCalibration let them propagate to the caller.
#pragma once

#include <stdexcept>
#include <string>

namespace tavric {

// Error numbers and their descriptions.
namespace err {
inline constexpr int kInvalidCall = 5;          // "Invalid procedure call or argument"
inline constexpr int kOverflow = 6;             // "Overflow"
inline constexpr int kOutOfMemory = 7;          // "Out of memory"
inline constexpr int kSubscriptOutOfRange = 9;  // "Subscript out of range"
inline constexpr int kDivisionByZero = 11;      // "Division by zero"
inline constexpr int kTypeMismatch = 13;        // "Type mismatch"
inline constexpr int kInternalError = 51;       // "Internal error" (a defect, never expected)
inline constexpr int kFileNotFound = 53;        // "File not found"
inline constexpr int kDeviceIO = 57;            // "Device I/O error"
inline constexpr int kDiskFull = 61;            // "Disk full"
inline constexpr int kInputPastEnd = 62;        // "Input past end of file"
inline constexpr int kPermissionDenied = 70;    // "Permission denied"
inline constexpr int kPathFileAccess = 75;      // "Path/File access error"
inline constexpr int kPathNotFound = 76;        // "Path not found"
inline constexpr int kObjectNotSet = 91;        // "Object variable or With block variable not set"
inline constexpr int kDuplicateKey = 457;  // "This key is already associated with an element ..."
}  // namespace err

// The standard description of an error number ("Overflow" for 6, ...).
// Unknown numbers give "Application-defined or object-defined error".
std::string ErrorDescription(int number);

class RuntimeError : public std::runtime_error {
 public:
  explicit RuntimeError(int number);
  RuntimeError(int number, std::string description);

  int Number() const noexcept { return number_; }
  const std::string& Description() const noexcept { return description_; }

 private:
  int number_;
  std::string description_;
};

// Throws RuntimeError(number) with the standard description.
[[noreturn]] void Raise(int number);

}  // namespace tavric
