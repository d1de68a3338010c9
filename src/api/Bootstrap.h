// The bootstrap uncertainty of a calibration (see Bootstrap.cpp).
#pragma once

#include <functional>
#include <optional>

#include "tavric/BoundedArray.h"
#include "tavric/Calibration.h"

namespace tavric {

// Calibrates a replica of the data; nothing when the replica's fit fails.
using RefitFunction = std::function<std::optional<Calibration>(const DataArray&)>;

// Runs options.bootstrap_fits replicas of `data` around the calibration
// `fitted` (which must carry its linear uncertainty) through `refit`.
FitUncertainty::Bootstrap RunBootstrap(const DataArray& data, const Calibration& fitted,
                                       const Options& options, const RefitFunction& refit);

}  // namespace tavric
