#include "CoverageStudy.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tavric/Calibration.h"
#include "tavric/Verification.h"

namespace tavric::validation {
namespace {

constexpr double kLargeError = 0.005;  // 5 um

std::vector<Sample> Samples(const DataArray& data) {
  std::vector<Sample> out;
  for (std::int32_t k = data.LBound(2); k <= data.UBound(2); ++k)
    out.push_back({data(1, k), data(2, k), data(3, k), data(4, k), data(5, k), data(6, k)});
  return out;
}

std::string Fixed(const char* format, double value) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, format, value);
  return buffer;
}

}  // namespace

std::vector<Design> StudyDesigns(int samples, Noise noise, int order) {
  const auto base = [&] {
    sim::Scenario s;
    s.calibration.order = order;
    s.plan.total_samples = samples;
    s.noise.counts_sigma = noise.counts;
    s.noise.position_sigma_um = noise.position_um;
    return s;
  };
  std::vector<Design> designs;
  designs.push_back({"five planes", base(), order, true});
  Design three{"three planes", base(), order, true};
  three.scenario.plan.planes = 2;
  designs.push_back(three);
  Design no_equator{"no equator", base(), order, true};
  no_equator.scenario.plan.include_equator = false;
  designs.push_back(no_equator);
  Design one_side{"one side", base(), order, true};
  one_side.scenario.plan.arc_deg = 100.0;
  one_side.scenario.plan.arc_centre_elevation_deg = 45.0;
  designs.push_back(one_side);
  Design constant{"constant deflection", base(), order, false};
  constant.scenario.deflection.variation = 0.0;
  designs.push_back(constant);
  for (Design& d : designs) {
    d.name += ", order " + std::to_string(order) + ", noise " + Fixed("%g", noise.counts) +
              " counts / " + Fixed("%g", noise.position_um) + " \u00b5m";
  }
  return designs;
}

DesignResult RunDesign(const Design& design, int seeds, std::uint64_t first_seed) {
  DesignResult r;
  r.design = design;
  double normal_in = 0.0, across_in = 0.0, axis_in = 0.0, points = 0.0;
  int radius_in = 0;
  r.min_across_u95 = INFINITY;
  for (int i = 0; i < seeds; ++i) {
    sim::Scenario scenario = design.scenario;
    scenario.noise.seed = first_seed + static_cast<std::uint64_t>(i);
    const sim::SimulatedData s = sim::Simulate(scenario);
    const std::vector<Sample> samples = Samples(s.data);
    Options options;
    options.order = design.order;
    options.max_iterations = 60;
    options.bootstrap_fits = design.bootstrap;
    std::optional<Calibration> cal;
    try {
      cal = calibrate(samples, options);
    } catch (const Error&) {
      ++r.refused;
      continue;
    }
    ++r.fits;
    const VerificationReport v = verify(*cal, s.truth, samples);
    const double n = v.points;
    points += n;
    normal_in += v.normal_coverage.value_or(0.0) * n;
    across_in += v.across_coverage.value_or(0.0) * n;
    const Vec3 axes = v.axis_coverage.value_or(Vec3{});
    axis_in += (axes[0] + axes[1] + axes[2]) / 3.0 * n;
    if (v.radius_covered.value_or(false)) ++radius_in;
    r.max_normal_error = std::max(r.max_normal_error, v.normal.max);
    r.max_across_error = std::max(r.max_across_error, v.across.max);
    const FitUncertainty& u = cal->uncertainty();
    r.max_normal_u95 = std::max(r.max_normal_u95, 2.0 * u.at_samples.normal.p95);
    r.max_across_u95 = std::max(r.max_across_u95, 2.0 * u.at_samples.across.p95);
    r.min_across_u95 = std::min(r.min_across_u95, 2.0 * u.at_samples.across.p95);
    const bool warned = !cal->warnings().empty();
    if (warned) ++r.warned;
    for (const Warning& w : cal->warnings())
      if (std::find(r.codes.begin(), r.codes.end(), w.code) == r.codes.end())
        r.codes.push_back(w.code);
    if (v.normal.max > kLargeError) {
      ++r.large_error_fits;
      if (!warned) ++r.large_error_unwarned;
    }
  }
  if (points > 0.0) {
    r.normal_coverage = normal_in / points;
    r.across_coverage = across_in / points;
    r.axis_coverage = axis_in / points;
  }
  if (r.fits > 0) r.radius_coverage = static_cast<double>(radius_in) / r.fits;
  if (r.fits == 0) r.min_across_u95 = 0.0;
  return r;
}

std::string Table(const std::vector<DesignResult>& results) {
  std::string t =
      "| design | fits | normal | across | axes | radius | max normal error | max across error | "
      "2u normal (p95, max) | 2u across (p95, min-max) | warned | warnings |\n"
      "|---|---|---|---|---|---|---|---|---|---|---|---|\n";
  for (const DesignResult& r : results) {
    std::string codes;
    for (const std::string& c : r.codes) codes += (codes.empty() ? "" : ", ") + c;
    t += "| " + r.design.name +
         (r.design.bootstrap > 0 ? ", bootstrap " + std::to_string(r.design.bootstrap) : "") +
         (r.design.identifiable ? "" : " (not identifiable)") + " | " + std::to_string(r.fits) +
         (r.refused ? " (+" + std::to_string(r.refused) + " refused)" : "") + " | " +
         Fixed("%.1f %%", 100.0 * r.normal_coverage) + " | " +
         Fixed("%.1f %%", 100.0 * r.across_coverage) + " | " +
         Fixed("%.1f %%", 100.0 * r.axis_coverage) + " | " +
         Fixed("%.0f %%", 100.0 * r.radius_coverage) + " | " +
         Fixed("%.2f \u00b5m", 1000.0 * r.max_normal_error) + " | " +
         Fixed("%.0f \u00b5m", 1000.0 * r.max_across_error) + " | " +
         Fixed("%.2f \u00b5m", 1000.0 * r.max_normal_u95) + " | " +
         Fixed("%.0f", 1000.0 * r.min_across_u95) + "-" +
         Fixed("%.0f \u00b5m", 1000.0 * r.max_across_u95) + " | " + std::to_string(r.warned) + "/" +
         std::to_string(r.fits) + " | " + (codes.empty() ? "-" : codes) + " |\n";
  }
  return t;
}

}  // namespace tavric::validation
