// tavric::Error: the one exception type of the modern API (Calibration.h).
//
// text() is the library's failure text, exactly as ClsProbeCalibration
// returns it (hosts and scripts match on it), e.g.
// "Bi-directionnal scans detection error." or "Optimise Error 6 : Overflow";
// failures that only the modern API knows (an option out of range, a file
// that holds no calibration) have texts of their own. code() says which kind
// of failure it was, with a number and a name that never change.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

namespace tavric {

struct RunReport;
struct ReadDiagnostic;

enum class ErrorCode : int {
  kInvalidOption = 1,     // a setting out of its documented range
  kReadFailed = 2,        // the data file could not be read as either layout
  kInvalidData = 3,       // the data themselves (shape, more than 32,767 samples, values)
  kSphereFitFailed = 4,   // the sphere fit to the machine positions failed
  kScanPathRejected = 5,  // fewer than three planes scanned in both senses
  kModelInitFailed = 6,   // the calibration model could not be set up
  kOptimiserFailed = 7,   // the Levenberg-Marquardt optimisation failed
  kSaveFailed = 8,        // the calibration file could not be written
  kLoadFailed = 9,        // the calibration file could not be read
  kNotACalibration = 10,  // the file holds no calibration
  kNoUncertainty = 11,    // the calibration carries no uncertainty
};

// "invalid-option", "read-failed", ... (stable names).
const char* to_string(ErrorCode code) noexcept;

class Error : public std::runtime_error {
 public:
  Error(ErrorCode code, std::string text, std::shared_ptr<const RunReport> report = nullptr,
        std::shared_ptr<const ReadDiagnostic> diagnostic = nullptr);

  ErrorCode code() const noexcept { return code_; }
  const std::string& text() const noexcept { return text_; }
  // How the failed calibration run went (samples, stage, ...), when the
  // failure came from one; null otherwise.
  const RunReport* report() const noexcept { return report_.get(); }
  // Where and why reading a file stopped, with a hint in plain words
  // (tavric/ReadDiagnostic.h), when the failure came from a file; null
  // otherwise.
  const ReadDiagnostic* diagnostic() const noexcept { return diagnostic_.get(); }

 private:
  ErrorCode code_;
  std::string text_;
  std::shared_ptr<const RunReport> report_;
  std::shared_ptr<const ReadDiagnostic> diagnostic_;
};

}  // namespace tavric
