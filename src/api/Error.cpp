#include "tavric/Error.h"

#include <utility>

namespace tavric {

const char* to_string(ErrorCode code) noexcept {
  switch (code) {
    case ErrorCode::kInvalidOption:
      return "invalid-option";
    case ErrorCode::kReadFailed:
      return "read-failed";
    case ErrorCode::kInvalidData:
      return "invalid-data";
    case ErrorCode::kSphereFitFailed:
      return "sphere-fit-failed";
    case ErrorCode::kScanPathRejected:
      return "scan-path-rejected";
    case ErrorCode::kModelInitFailed:
      return "model-init-failed";
    case ErrorCode::kOptimiserFailed:
      return "optimiser-failed";
    case ErrorCode::kSaveFailed:
      return "save-failed";
    case ErrorCode::kLoadFailed:
      return "load-failed";
    case ErrorCode::kNotACalibration:
      return "not-a-calibration";
    case ErrorCode::kNoUncertainty:
      return "no-uncertainty";
  }
  return "unknown";
}

Error::Error(ErrorCode code, std::string text, std::shared_ptr<const RunReport> report,
             std::shared_ptr<const ReadDiagnostic> diagnostic)
    : std::runtime_error(text),
      code_(code),
      text_(std::move(text)),
      report_(std::move(report)),
      diagnostic_(std::move(diagnostic)) {}

}  // namespace tavric
