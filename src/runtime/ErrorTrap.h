// Error traps: the public operations catch every exception and report it as
// a result text built from an error number and its description.
#pragma once

#include <string>

namespace tavric {

struct ErrorInfo {
  int number;
  std::string description;
};

// Classifies the exception being handled; call it only inside a catch block.
// RuntimeError keeps its number; std::bad_alloc and std::length_error become
// 7 "Out of memory"; anything else is 51 "Internal error".
ErrorInfo CurrentErrorInfo();

// "prefix" + number + separator + description, the shape of every trap's text.
std::string TrapText(const std::string& prefix, const ErrorInfo& info,
                     const std::string& separator);

}  // namespace tavric
