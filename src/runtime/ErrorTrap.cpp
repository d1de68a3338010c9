#include "runtime/ErrorTrap.h"

#include <new>
#include <stdexcept>

#include "tavric/RuntimeError.h"

namespace tavric {

ErrorInfo CurrentErrorInfo() {
  try {
    throw;
  } catch (const RuntimeError& e) {
    return {e.Number(), e.Description()};
  } catch (const std::bad_alloc&) {
    return {err::kOutOfMemory, ErrorDescription(err::kOutOfMemory)};
  } catch (const std::length_error&) {
    return {err::kOutOfMemory, ErrorDescription(err::kOutOfMemory)};
  } catch (...) {
    return {err::kInternalError, ErrorDescription(err::kInternalError)};
  }
}

std::string TrapText(const std::string& prefix, const ErrorInfo& info,
                     const std::string& separator) {
  return prefix + std::to_string(info.number) + separator + info.description;
}

}  // namespace tavric
