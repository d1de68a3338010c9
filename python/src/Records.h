// The library's result records as Python values.
//
// Records that only hold figures (warnings, the uncertainty block, the run
// report, a verification) become plain dicts whose keys are the C++ field
// names, with numpy arrays for the vectors and matrices and None for what is
// absent; lengths stay in millimetres, as in the C++ API. Dicts print, compare
// and serialise without help, and a key never goes stale behind a class.
#pragma once

#include <pybind11/pybind11.h>

#include <vector>

#include "tavric/Calibration.h"
#include "tavric/Verification.h"

namespace tavric::python {

namespace py = pybind11;

// "none", "reading", "data", "sphere-fit", "scan-path", "model-init", "optimiser".
const char* StageName(RunStage stage);

py::dict StatisticsDict(const FitStatistics& s);
py::dict WarningDict(const Warning& warning);
py::list WarningList(const std::vector<Warning>& warnings);
py::dict UncertaintyDict(const FitUncertainty& u);
py::dict RunReportDict(const RunReport& report);
py::dict VerificationDict(const VerificationReport& v);

}  // namespace tavric::python
