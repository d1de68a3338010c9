#include "api/Options.h"

#include <cmath>
#include <string>

#include "interface/ProjectState.h"
#include "runtime/NumberText.h"
#include "tavric/ClsProbeCalibration.h"

namespace tavric {
namespace {

std::string Number(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value < 0.0 ? "-Infinity" : "Infinity";
  return FormatRecordNumber(value);
}

[[noreturn]] void Refuse(const std::string& name, const std::string& value,
                         const std::string& allowed) {
  throw Error(ErrorCode::kInvalidOption,
              "Invalid option " + name + " = " + value + ": " + allowed + ".");
}

void RequireFinite(const char* name, double value) {
  if (!std::isfinite(value)) Refuse(name, Number(value), "it must be a finite number");
}

void RequireAtLeast(const char* name, double value, double lowest) {
  RequireFinite(name, value);
  if (value < lowest) Refuse(name, Number(value), "it must be at least " + Number(lowest));
}

void RequireAbove(const char* name, double value, double bound) {
  RequireFinite(name, value);
  if (!(value > bound)) Refuse(name, Number(value), "it must be greater than " + Number(bound));
}

void RequireDirection(const char* name, const Vec3& v) {
  for (double c : v) RequireFinite(name, c);
  if (v[0] == 0.0 && v[1] == 0.0 && v[2] == 0.0)
    Refuse(name, "(0, 0, 0)", "an axis of rotation needs a direction");
}

}  // namespace

void Options::validate() const {
  if (order < 1 || order > 3)
    Refuse("order", std::to_string(order), "the polynomial's order is 1, 2 or 3");
  RequireFinite("initial_probe_gain", initial_probe_gain);
  if (initial_probe_gain == 0.0)
    Refuse("initial_probe_gain", "0", "a probe gain of 0 gives no starting deflection");
  if (max_iterations < 0 || max_iterations > kMaxIterations)
    Refuse("max_iterations", std::to_string(max_iterations),
           "the optimiser counts its iterations in 8 bits, so 0 to " +
               std::to_string(kMaxIterations) + " are allowed");
  const auto method = static_cast<int>(convergence);
  if (method < 1 || method > 3)
    Refuse("convergence", std::to_string(method), "it is kGradient, kParameters or kBoth");
  RequireAtLeast("gradient_tolerance", gradient_tolerance, 0.0);
  RequireAtLeast("sphere_tolerance", sphere_tolerance, 0.0);
  RequireAtLeast("polynomial_tolerance", polynomial_tolerance, 0.0);
  RequireAbove("mu", mu, 0.0);
  RequireAbove("nu", nu, 1.0);
  RequireFinite("head.a_deg", head.a_deg);
  RequireFinite("head.b_deg", head.b_deg);
  RequireDirection("head.a_axis", head.a_axis);
  RequireDirection("head.b_axis", head.b_axis);
  for (double offset : probe_offsets) RequireFinite("probe_offsets", offset);
  if (known_radius) RequireAbove("known_radius", *known_radius, 0.0);
  if (bootstrap_fits < 0 || bootstrap_fits > 1000)
    Refuse("bootstrap_fits", std::to_string(bootstrap_fits), "0 to 1000 refits are allowed");
  if (bootstrap_fits == 1) Refuse("bootstrap_fits", "1", "a spread needs at least 2 refits");
  if (bootstrap_threads < 0)
    Refuse("bootstrap_threads", std::to_string(bootstrap_threads), "it must be 0 or more");
  RequireAtLeast("thresholds.normal_uncertainty", thresholds.normal_uncertainty, 0.0);
  RequireAtLeast("thresholds.across_uncertainty", thresholds.across_uncertainty, 0.0);
  RequireAtLeast("thresholds.deflection_variation", thresholds.deflection_variation, 0.0);
  RequireAtLeast("thresholds.plane_spread", thresholds.plane_spread, 0.0);
  RequireAtLeast("thresholds.last_step_share", thresholds.last_step_share, 0.0);
  RequireAtLeast("thresholds.residual_autocorrelation", thresholds.residual_autocorrelation, 0.0);
  RequireAtLeast("thresholds.outlier_fraction", thresholds.outlier_fraction, 0.0);
}

void ApplyOptions(const Options& o, ClsProbeCalibration& cal, ProjectState& context) {
  cal.InitialProbeGain(o.initial_probe_gain);
  cal.IterationMaxNumber(static_cast<std::uint8_t>(o.max_iterations));
  cal.ConvergenceDetectionMethod(static_cast<std::int32_t>(o.convergence));
  cal.ConvergenceGradientNormValue(o.gradient_tolerance);
  cal.ConvergenceSphereValue(o.sphere_tolerance);
  cal.ConvergencePolyParamValue(o.polynomial_tolerance);
  cal.Mu(o.mu);
  cal.nu(o.nu);
  cal.InitialHX7a(o.head.a_deg);
  cal.InitialHX7b(o.head.b_deg);
  cal.LetHX7aDir(o.head.a_axis[0], o.head.a_axis[1], o.head.a_axis[2]);
  cal.LetHX7bDir(o.head.b_axis[0], o.head.b_axis[1], o.head.b_axis[2]);
  const Vec3& offsets = o.probe_offsets;
  if (offsets[0] != 0.0 || offsets[1] != 0.0 || offsets[2] != 0.0)
    cal.LetProbeOffsets(offsets[0], offsets[1], offsets[2]);
  cal.ProgressDisplay(o.show_progress);
  context.held_radius = o.known_radius;
}

}  // namespace tavric
