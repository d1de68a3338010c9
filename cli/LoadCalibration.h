// Reading a calibration file for the subcommands that use one (show,
// transform, verify).
#pragma once

#include <optional>
#include <string>

#include "tavric/Calibration.h"

namespace tavric::cli {

// Loads the calibration, or writes why it cannot on standard error (the
// library's text on its own line, then what the file seems to be) and
// returns nothing.
std::optional<Calibration> LoadOrExplain(const std::string& path);

}  // namespace tavric::cli
