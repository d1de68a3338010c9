#include "FitOptions.h"

namespace tavric::cli {

const char* ConvergenceName(ConvergenceTest test) {
  switch (test) {
    case ConvergenceTest::kGradient:
      return "gradient";
    case ConvergenceTest::kParameters:
      return "parameters";
    case ConvergenceTest::kBoth:
      break;
  }
  return "both";
}

void FitOptions::Add(CLI::App& sub) {
  Options& o = options_;
  max_normal_um_ = Micrometres(o.thresholds.normal_uncertainty);
  max_across_um_ = Micrometres(o.thresholds.across_uncertainty);
  sub.add_option("--order", o.order, "Order of the calibration polynomial")
      ->check(Within(1, 3))
      ->capture_default_str();
  sub.add_option("--gain", o.initial_probe_gain, "Initial probe gain, mm per count")
      ->capture_default_str();
  sub.add_option("--max-iterations", o.max_iterations,
                 "Iteration limit: at most this many + 1 outer iterations run (the optimiser "
                 "counts them in 8 bits, so at most 254)")
      ->check(Within(0, 254,
                     "the optimiser counts its iterations in 8 bits, so 255 would wrap "
                     "around to 0"))
      ->capture_default_str();
  sub.add_option("--convergence", convergence_,
                 "Stop test: gradient norm, parameter stability or both")
      ->check(CLI::IsMember({"gradient", "parameters", "both"}))
      ->capture_default_str();
  sub.add_option("--gradient-tol", o.gradient_tolerance, "Gradient norm counted as converged")
      ->capture_default_str();
  sub.add_option("--sphere-tol", o.sphere_tolerance, "Stable sphere step, mm")
      ->capture_default_str();
  sub.add_option("--poly-tol", o.polynomial_tolerance,
                 "Stable polynomial coefficient step (x 1000)")
      ->capture_default_str();
  sub.add_option("--mu", o.mu, "Levenberg-Marquardt damping Mu")->capture_default_str();
  sub.add_option("--nu", o.nu, "Levenberg-Marquardt damping factor nu")->capture_default_str();
  sub.add_option("--head-a", o.head.a_deg, "Initial head A angle, degrees")
      ->type_name("DEG")
      ->capture_default_str();
  sub.add_option("--head-b", o.head.b_deg, "Initial head B angle, degrees")
      ->type_name("DEG")
      ->capture_default_str();
  sub.add_option("--head-a-dir", o.head.a_axis, "Head A axis of rotation (at B = 0)")
      ->delimiter(',')
      ->type_name("I,J,K")
      ->capture_default_str();
  sub.add_option("--head-b-dir", o.head.b_axis, "Head B axis of rotation")
      ->delimiter(',')
      ->type_name("I,J,K")
      ->capture_default_str();
  sub.add_option("--offsets", o.probe_offsets, "Probe offsets, counts")
      ->delimiter(',')
      ->type_name("P,Q,R")
      ->capture_default_str();
  radius_option_ =
      sub.add_option("--radius", radius_,
                     "Known effective sphere radius (certified ball radius plus nominal tip "
                     "radius), mm: the fit holds it instead of fitting it")
          ->type_name("MM")
          ->check(MoreThan(0));
  sub.add_option("--max-normal-uncertainty", max_normal_um_,
                 "Warn when the deflection along the sphere's normal is uncertain by more than "
                 "this (95 %), micrometres")
      ->type_name("UM")
      ->check(AtLeast(0))
      ->capture_default_str();
  sub.add_option("--max-across-uncertainty", max_across_um_,
                 "Warn when the deflection across the sphere's normal is uncertain by more than "
                 "this (95 %), micrometres")
      ->type_name("UM")
      ->check(AtLeast(0))
      ->capture_default_str();
  sub.add_option("--bootstrap", o.bootstrap_fits,
                 "Also estimate the uncertainty from this many refits of replicas of the scan "
                 "(20 to 50; slower, but it takes in what the linear estimate leaves out)")
      ->type_name("N")
      ->check(Within(0, 1000))
      ->capture_default_str();
  sub.add_option("--bootstrap-seed", o.bootstrap_seed, "Seed of the bootstrap's noise")
      ->capture_default_str();
  sub.add_flag("--progress", o.show_progress, "Show the optimisation's progress on standard error");
}

Options FitOptions::Resolve() const {
  Options o = options_;
  o.convergence = convergence_ == "gradient"     ? ConvergenceTest::kGradient
                  : convergence_ == "parameters" ? ConvergenceTest::kParameters
                                                 : ConvergenceTest::kBoth;
  if (radius_option_->count() > 0) o.known_radius = radius_;
  o.thresholds.normal_uncertainty = max_normal_um_ / 1000.0;
  o.thresholds.across_uncertainty = max_across_um_ / 1000.0;
  return o;
}

Json FitOptions::SettingsJson(const Options& o) {
  return {{"order", o.order},
          {"gain", o.initial_probe_gain},
          {"max_iterations", o.max_iterations},
          {"convergence", ConvergenceName(o.convergence)},
          {"gradient_tol", o.gradient_tolerance},
          {"sphere_tol", o.sphere_tolerance},
          {"poly_tol", o.polynomial_tolerance},
          {"mu", o.mu},
          {"nu", o.nu},
          {"head_a", o.head.a_deg},
          {"head_b", o.head.b_deg},
          {"head_a_dir", o.head.a_axis},
          {"head_b_dir", o.head.b_axis},
          {"offsets", o.probe_offsets},
          {"radius", o.known_radius ? Json(*o.known_radius) : Json(nullptr)},
          {"max_normal_uncertainty_um", Micrometres(o.thresholds.normal_uncertainty)},
          {"max_across_uncertainty_um", Micrometres(o.thresholds.across_uncertainty)},
          {"bootstrap", o.bootstrap_fits},
          {"bootstrap_seed", o.bootstrap_seed}};
}

}  // namespace tavric::cli
