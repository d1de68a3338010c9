// Reading a calibration file for the subcommands that use one (show,
// transform, verify).
#pragma once

#include <optional>
#include <string>

#include "Commands.h"
#include "tavric/Calibration.h"

namespace tavric::cli {

// Loads the calibration, or writes why it cannot on standard error (the
// library's text on its own line, then what the file seems to be) and
// returns nothing; a run of `command` asked for JSON (`json`) also prints
// its failure object, with `input` and `settings`, on standard output.
std::optional<Calibration> LoadOrExplain(const std::string& path, bool json, const char* command,
                                         const Json& input, const Json& settings);

}  // namespace tavric::cli
