// Settings of the modern API: their ranges, and how they reach the engine.
#pragma once

#include "tavric/Calibration.h"

namespace tavric {

class ClsProbeCalibration;
struct ProjectState;

// The largest iteration limit: the optimiser's counter is 8 bits wide and
// runs one past the limit, so 255 would overflow it.
inline constexpr int kMaxIterations = 254;

// Sets every option on `cal` (whose context is `context`) through the same
// setters a host of ClsProbeCalibration uses. Zero probe offsets leave the
// constant term as a new calibration has it.
void ApplyOptions(const Options& options, ClsProbeCalibration& cal, ProjectState& context);

}  // namespace tavric
