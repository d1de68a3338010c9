// How the subcommands that calibrate (calibrate, check) show a calibration:
// the fit, its uncertainty in one line, its warnings, and the same as JSON.
#pragma once

#include <vector>

#include "Commands.h"
#include "tavric/Calibration.h"

namespace tavric::cli {

// "deflection (95 %) normal ±0.31 µm, across ±63 µm; radius ±0.25 µm".
std::string UncertaintyLine(const FitUncertainty& u);

// The fields of a successful fit, from "Samples" to "Uncertainty".
void PrintFit(const Calibration& cal);

// "Warnings : none", or their number and one indented line each.
void PrintWarnings(const std::vector<Warning>& warnings);

// The JSON of a successful fit: statistics, sphere, optimiser, uncertainty,
// warnings and history (the keys after "result").
Json FitJson(const Calibration& cal);
Json UncertaintyJson(const FitUncertainty& u);
Json WarningsJson(const std::vector<Warning>& warnings);

// The exit status of a successful fit: kExitWarnings under --strict when
// there is a warning, else kExitOk.
int FitStatus(const Calibration& cal, bool strict);

}  // namespace tavric::cli
