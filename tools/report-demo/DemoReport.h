// The content of a demonstration report page, made from simulated scans: the
// scan simulator's data is calibrated with ClsProbeCalibration and the page
// shows that calibration as its run report gives it (facts, fit, residuals,
// sample directions, optimiser history, deflection uncertainty and weakest
// directions).
#pragma once

#include <cstdint>

#include "tavric/ReportPage.h"

namespace tavric::demo {

// Simulates `samples` samples (default scenario, 1.5 counts and 0.2 µm of
// noise with `seed`), calibrates them at order 3 and gathers the page's
// content. Throws std::runtime_error when the calibration fails.
ReportContent DemoReportContent(std::int32_t samples, std::uint64_t seed);

}  // namespace tavric::demo
