// The content of a demonstration report page, made from simulated scans: the
// scan simulator's data is calibrated at the default settings (order 3) and
// the page is the library's report of that calibration
// (tavric/CalibrationReport.h), with the true sphere beside the fitted one.
#pragma once

#include <cstdint>

#include "tavric/ReportPage.h"

namespace tavric::demo {

// Simulates `samples` samples (default scenario, 1.5 counts and 0.2 µm of
// noise with `seed`), calibrates them and gathers the page's content. Throws
// tavric::Error when the calibration fails.
ReportContent DemoReportContent(std::int32_t samples, std::uint64_t seed);

}  // namespace tavric::demo
