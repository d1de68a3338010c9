#include "tavric/RunReport.h"

#include <string>

#include "runtime/NumberText.h"

namespace tavric {

const char* ToString(StopReason reason) {
  switch (reason) {
    case StopReason::kNotRun:
      return "not run";
    case StopReason::kConverged:
      return "converged";
    case StopReason::kIterationLimit:
      return "iteration limit";
    case StopReason::kFailed:
      return "failed";
  }
  return "unknown";
}

std::string RunReport::ToString() const {
  std::string text;
  text += "samples: " + std::to_string(samples) + "\n";
  text += "order: " + std::to_string(order) + "\n";
  text += "result: " + result + "\n";
  text += std::string("stop reason: ") + tavric::ToString(stop_reason) + "\n";
  text += "outer iterations: " + std::to_string(outer_iterations) + "\n";
  text += "rejected trials: " + std::to_string(rejected_trials) + "\n";
  text += "initial S: " + FormatRecordNumber(initial_S) + "\n";
  text += "final Mu: " + FormatRecordNumber(final_mu) + "\n";
  for (const IterationRecord& it : iterations) {
    text += "iteration " + std::to_string(it.iteration) + ": S=" + FormatRecordNumber(it.S) +
            " RMS=" + FormatRecordNumber(it.FitRMS) + " Min=" + FormatRecordNumber(it.FitMin) +
            " Max=" + FormatRecordNumber(it.FitMax) + " Mu=" + FormatRecordNumber(it.Mu) +
            " rejected=" + std::to_string(it.rejected_trials) + "\n";
  }
  return text;
}

}  // namespace tavric
