// The options of a fit, shared by the subcommands that calibrate (calibrate,
// check): the polynomial's order, every tuning setting of the optimiser, the
// head orientation, the probe offsets, a known sphere radius and the warning
// thresholds. Their defaults are those of tavric::Options.
#pragma once

#include "Commands.h"
#include "tavric/Calibration.h"

namespace tavric::cli {

class FitOptions {
 public:
  // Registers the options on `sub`.
  void Add(CLI::App& sub);
  // The options in effect (validated by the library when used).
  Options Resolve() const;
  // The settings in effect, for the JSON output.
  static Json SettingsJson(const Options& options);

 private:
  Options options_;
  std::string convergence_ = "both";
  double radius_ = 0.0;
  double max_normal_um_ = 0.0;
  double max_across_um_ = 0.0;
  CLI::Option* radius_option_ = nullptr;
};

// "gradient", "parameters" or "both".
const char* ConvergenceName(ConvergenceTest test);

}  // namespace tavric::cli
