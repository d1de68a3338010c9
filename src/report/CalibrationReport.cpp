// The report page's content from a calibration and its data: the facts of
// the run, the fit, the residuals by scan, the sample directions, the
// optimiser's history, the deflection uncertainty over the probe's
// directions and the warnings.
#include "tavric/CalibrationReport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numbers>
#include <optional>

namespace tavric {
namespace {

constexpr const char* kMicro = "\xC2\xB5m";
// Cosine of the largest turn of a scan's plane normal within one scan.
constexpr double kSamePlane = 0.95;
// A step between samples this many times the median step is a jump to
// another scan.
constexpr double kJumpSteps = 5.0;
// Directions of the uncertainty map, spread evenly over the sphere.
constexpr int kMapDirections = 1200;

std::string Fixed(double value, int decimals) {
  if (value == 0.0) value = 0.0;  // a negated zero reads as 0, not -0
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
  return buffer;
}

// 15 significant digits, as the tool shows coefficients.
std::string Full(double value) {
  if (value == 0.0) value = 0.0;
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.15g", value);
  return buffer;
}

std::string Um(double mm, int decimals) { return Fixed(mm * 1000.0, decimals) + " " + kMicro; }

Vec3 Minus(const Vec3& a, const Vec3& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
Vec3 Cross(const Vec3& a, const Vec3& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
double Dot(const Vec3& a, const Vec3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
double Norm(const Vec3& a) { return std::sqrt(Dot(a, a)); }
Vec3 Position(const Sample& s) { return {s.X, s.Y, s.Z}; }

[[noreturn]] void InvalidSample(std::size_t k, const std::string& what) {
  throw Error(ErrorCode::kInvalidData, "Sample " + std::to_string(k + 1) + ": " + what);
}

// The tip centres (machine position plus deflection) relative to the
// sphere centre.
std::vector<Vec3> TipsFromCentre(const Calibration& cal, std::span<const Sample> samples) {
  std::vector<Vec3> readings(samples.size());
  for (std::size_t k = 0; k < samples.size(); ++k)
    readings[k] = {samples[k].P, samples[k].Q, samples[k].R};
  std::vector<Vec3> tips(samples.size());
  cal.deflections(readings, tips);
  const Vec3& c = cal.sphere().centre;
  for (std::size_t k = 0; k < samples.size(); ++k) {
    const Sample& s = samples[k];
    tips[k] = {s.X + tips[k][0] - c[0], s.Y + tips[k][1] - c[1], s.Z + tips[k][2] - c[2]};
  }
  return tips;
}

// The first-order matrix (mm per count): row X, Y, Z; column P, Q, R.
std::array<Vec3, 3> FirstOrder(const Calibration& cal) {
  std::array<Vec3, 3> m{};
  for (const Term& t : cal.terms()) {
    if (t.p + t.q + t.r != 1) continue;
    const std::size_t column = t.p == 1 ? 0 : t.q == 1 ? 1 : 2;
    for (std::size_t row = 0; row < 3; ++row) m[row][column] = t.coefficients[row];
  }
  return m;
}

// The inverse of a 3 x 3 matrix, or nothing when it is singular.
std::optional<std::array<Vec3, 3>> Inverse(const std::array<Vec3, 3>& m) {
  const Vec3 c0 = Cross(m[1], m[2]), c1 = Cross(m[2], m[0]), c2 = Cross(m[0], m[1]);
  const double det = Dot(m[0], c0);
  if (!std::isfinite(det) || det == 0.0) return std::nullopt;
  // The rows of the cofactor matrix are the columns of the inverse.
  std::array<Vec3, 3> inv{};
  for (std::size_t i = 0; i < 3; ++i) {
    inv[i][0] = c0[i] / det;
    inv[i][1] = c1[i] / det;
    inv[i][2] = c2[i] / det;
  }
  return inv;
}

// `count` directions spread evenly over the sphere (a Fibonacci lattice).
std::vector<Vec3> SphereDirections(int count) {
  std::vector<Vec3> out;
  const double golden = std::numbers::pi * (3.0 - std::sqrt(5.0));
  for (int i = 0; i < count; ++i) {
    const double z = 1.0 - (2.0 * i + 1.0) / count;
    const double r = std::sqrt(1.0 - z * z);
    out.push_back({r * std::cos(golden * i), r * std::sin(golden * i), z});
  }
  return out;
}

std::string Settings(const std::vector<ReportField>& settings) {
  if (settings.empty()) return "defaults";
  std::string text;
  for (const ReportField& f : settings)
    text += (text.empty() ? "" : ", ") + f.label + " " + f.value;
  return text;
}

void AddHeader(ReportContent& c, const Calibration& cal, std::size_t samples,
               const ReportFacts& facts) {
  const RunReport& run = cal.run_report();
  const bool loaded = !facts.calibration_file.empty();
  c.header.push_back({"Data file", facts.data_file});
  c.header.push_back(
      {"Calibration", loaded ? "read from " + facts.calibration_file : "fitted to the data"});
  c.header.push_back({"Samples", std::to_string(samples)});
  c.header.push_back({"Order", std::to_string(cal.order())});
  if (!loaded) {
    c.header.push_back({"Settings not at their default", Settings(facts.settings)});
    c.header.push_back({"Result", run.result});
    c.header.push_back({"Optimiser", std::string(ToString(run.stop_reason)) + " after " +
                                         std::to_string(run.outer_iterations) + " iterations"});
  }
  c.header.push_back({"Date", facts.date});
  c.header.push_back({"Tool version", facts.tool_version});
}

void AddFit(ReportContent& c, const Calibration& cal, const ReportFacts& facts) {
  const FitStatistics& s = cal.statistics();
  const bool loaded = !facts.calibration_file.empty();
  const std::string of = loaded ? " (of the fit, as the file holds it)" : "";
  c.fit.push_back({"FitRMS" + of, Um(s.rms, 4)});
  c.fit.push_back({"FitMin" + of, Um(s.min, 4)});
  c.fit.push_back({"FitMax" + of, Um(s.max, 4)});
  if (loaded && !c.residuals_um.empty()) {
    double sum = 0.0;
    for (const double r : c.residuals_um) sum += r * r;
    const auto [lo, hi] = std::minmax_element(c.residuals_um.begin(), c.residuals_um.end());
    const double rms = std::sqrt(sum / static_cast<double>(c.residuals_um.size()));
    c.fit.push_back({"RMS of this data", Fixed(rms, 4) + " " + kMicro});
    c.fit.push_back({"Min of this data", Fixed(*lo, 4) + " " + kMicro});
    c.fit.push_back({"Max of this data", Fixed(*hi, 4) + " " + kMicro});
  }
  const Vec3& o = cal.probe_offsets();
  c.fit.push_back(
      {"Probe offsets", Full(o[0]) + ", " + Full(o[1]) + ", " + Full(o[2]) + " counts"});

  // The sphere with its standard and expanded uncertainties.
  const FitUncertainty& u = cal.uncertainty();
  const bool held = cal.run_report().radius_held;
  ReportTable sphere{"Sphere (mm)", {"", "value"}, {}};
  if (u.available) {
    sphere.caption += "; uncertainties in " + std::string(kMicro);
    sphere.columns.insert(sphere.columns.end(), {"u (k = 1)", "U (k = 2)"});
  }
  const auto row = [&](const char* name, double value, std::optional<double> standard) {
    if (!u.available || !standard) {
      sphere.rows.push_back({name, Fixed(value, 6)});
    } else {
      sphere.rows.push_back({name, Fixed(value, 6), Fixed(*standard * 1000.0, 4),
                             Fixed(2.0 * *standard * 1000.0, 4)});
    }
  };
  const Vec3& centre = cal.sphere().centre;
  for (std::size_t i = 0; i < 3; ++i)
    row(i == 0 ? "centre X" : i == 1 ? "centre Y" : "centre Z", centre[i], u.centre_u[i]);
  row(held ? "radius (held)" : "radius", cal.sphere().radius,
      held ? std::nullopt : std::optional<double>(u.radius_u));
  c.fit_tables.push_back(std::move(sphere));

  const std::array<Vec3, 3> m = FirstOrder(cal);
  ReportTable linear{"First-order matrix (deflection in mm per count)", {"", "P", "Q", "R"}, {}};
  for (std::size_t r = 0; r < 3; ++r)
    linear.rows.push_back({std::string(1, "XYZ"[r]), Full(m[r][0]), Full(m[r][1]), Full(m[r][2])});
  c.fit_tables.push_back(std::move(linear));
}

ReportTable UncertaintyTable(const char* caption, const DeflectionUncertainty& d) {
  const auto cells = [](const char* name, const Spread& s) {
    return std::vector<std::string>{name, Fixed(s.max * 1000.0, 4), Fixed(s.p95 * 1000.0, 4),
                                    Fixed(s.median * 1000.0, 4)};
  };
  return {caption,
          {"", "max", "95 %", "median"},
          {cells("along the normal", d.normal), cells("across the normal", d.across)}};
}

// The predicted uncertainty of the deflection in every direction of the
// probe, at readings whose first-order deflection has the scan's mean size
// in that direction.
void AddUncertaintyMap(ReportContent& c, const Calibration& cal) {
  const FitUncertainty& u = cal.uncertainty();
  const std::optional<std::array<Vec3, 3>> inverse = Inverse(FirstOrder(cal));
  const double size = u.deflection_mean;
  if (!inverse || !(size > 0.0) || !std::isfinite(size)) return;
  const Vec3& o = cal.probe_offsets();
  for (const Vec3& d : SphereDirections(kMapDirections)) {
    const Vec3 deflection = {size * d[0], size * d[1], size * d[2]};
    const Vec3 readings = {o[0] + Dot((*inverse)[0], deflection),
                           o[1] + Dot((*inverse)[1], deflection),
                           o[2] + Dot((*inverse)[2], deflection)};
    // No map rather than a broken one.
    double trace = std::numeric_limits<double>::quiet_NaN();
    try {
      const std::array<Vec3, 3> cov = cal.deflection_covariance(readings);
      trace = cov[0][0] + cov[1][1] + cov[2][2];
    } catch (const Error&) {
    }
    if (!std::isfinite(trace)) {
      c.uncertainty = {};
      return;
    }
    const double total = std::sqrt(std::max(0.0, trace));
    c.uncertainty.directions.push_back(d);
    c.uncertainty.values.push_back(total * 1000.0);
  }
  c.uncertainty.value_title = "standard uncertainty of the deflection (" + std::string(kMicro) +
                              ") at " + Fixed(size * 1000.0, 0) + " " + kMicro + " of deflection";
}

void AddIdentifiability(ReportContent& c, const Calibration& cal, bool loaded) {
  const FitUncertainty& u = cal.uncertainty();
  if (!u.available) {
    c.identifiability_note =
        loaded ? "A calibration file keeps no uncertainty: the identifiability analysis comes "
                 "from a fit. Make the report of the data without a calibration file to see "
                 "it."
               : "No uncertainty: " + u.note + ".";
    return;
  }
  AddUncertaintyMap(c, cal);
  for (const WeakDirection& w : u.weakest) c.weakest_directions.push_back(w.description);
  c.identifiability_tables.push_back(UncertaintyTable(
      "Deflection uncertainty at the scan's readings (\xC2\xB5m, k = 1)", u.at_samples));
  c.identifiability_tables.push_back(UncertaintyTable(
      "Deflection uncertainty through the probe's range (\xC2\xB5m, k = 1)", u.over_range));
}

// The first sample of the new scan when the plane through samples k - s, k
// and k + s has turned away: the sample b near k where the path turns most,
// from the chord of s steps that ends at b - 1 to the one that starts at b
// (a reversal turns it by 180 degrees, a corner by the corner's angle).
std::size_t SharpestTurn(std::span<const Sample> samples, std::size_t start, std::size_t k,
                         std::size_t s) {
  const std::size_t last = samples.size() - 1;
  std::size_t best = k;
  double best_cos = 2.0;
  for (std::size_t b = std::max(start + 1, k - s + 1); b <= std::min(last, k + s); ++b) {
    const Vec3 before =
        Minus(Position(samples[b - 1]), Position(samples[b - 1 - std::min(s, b - 1 - start)]));
    const Vec3 after = Minus(Position(samples[std::min(last, b + s)]), Position(samples[b]));
    const double size = Norm(before) * Norm(after);
    if (!(size > 0.0)) continue;
    const double cos = Dot(before, after) / size;
    if (cos < best_cos) {
      best_cos = cos;
      best = b;
    }
  }
  return best;
}

}  // namespace

std::vector<double> sample_residuals(const Calibration& calibration,
                                     std::span<const Sample> samples) {
  const std::vector<Vec3> tips = TipsFromCentre(calibration, samples);
  std::vector<double> residuals(tips.size());
  for (std::size_t k = 0; k < tips.size(); ++k) {
    residuals[k] = Norm(tips[k]) - calibration.sphere().radius;
    if (!std::isfinite(residuals[k])) InvalidSample(k, "its residual is not a finite number");
  }
  return residuals;
}

std::vector<int> detect_scans(std::span<const Sample> samples) {
  const std::size_t n = samples.size();
  std::vector<int> scans(n, 1);
  if (n < 3) return scans;

  // Jumps: steps far longer than the usual one.
  std::vector<double> steps(n - 1);
  for (std::size_t k = 0; k + 1 < n; ++k)
    steps[k] = Norm(Minus(Position(samples[k + 1]), Position(samples[k])));
  std::vector<double> sorted = steps;
  std::nth_element(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2),
                   sorted.end());
  const double median = sorted[sorted.size() / 2];
  std::vector<bool> starts(n, false);  // a scan starts at sample k
  if (median > 0.0) {
    for (std::size_t k = 0; k + 1 < n; ++k)
      if (steps[k] > kJumpSteps * median) starts[k + 1] = true;
  }

  // Turns of the plane: the normal of the plane through samples k - s, k and
  // k + s (a stride long enough that the noise does not turn it) against the
  // one at the scan's start. The first such triple holds the turn.
  const std::size_t s = std::max<std::size_t>(1, n / 400);
  std::size_t start = 0;
  // The normal at the scan's start, once one is known.
  bool have_reference = false;
  Vec3 reference{0.0, 0.0, 0.0};
  for (std::size_t k = s; k + s < n; ++k) {
    if (starts[k - s]) {  // the scan after a jump starts here
      start = k - s;
      have_reference = false;
    }
    if (k - s < start) continue;
    bool crosses_jump = false;
    for (std::size_t j = k - s + 1; j <= k + s && !crosses_jump; ++j) crosses_jump = starts[j];
    if (crosses_jump) continue;
    const Vec3 a = Minus(Position(samples[k]), Position(samples[k - s]));
    const Vec3 b = Minus(Position(samples[k + s]), Position(samples[k]));
    const Vec3 m = Cross(a, b);
    const double size = Norm(m);
    if (!(size > 1e-6 * Norm(a) * Norm(b))) continue;  // straight: no plane
    const Vec3 normal = {m[0] / size, m[1] / size, m[2] / size};
    if (!have_reference) {
      reference = normal;
      have_reference = true;
    } else if (Dot(reference, normal) < kSamePlane) {
      start = SharpestTurn(samples, start, k, s);
      starts[start] = true;
      have_reference = false;
    }
  }
  int scan = 1;
  for (std::size_t k = 1; k < n; ++k) {
    if (starts[k]) ++scan;
    scans[k] = scan;
  }
  return scans;
}

ReportContent CalibrationReportContent(const Calibration& calibration,
                                       std::span<const Sample> samples, const ReportFacts& facts) {
  const bool loaded = !facts.calibration_file.empty();
  const std::span<const double> fitted = calibration.residuals();
  if (!loaded && fitted.size() != samples.size())
    throw Error(ErrorCode::kInvalidData,
                "The calibration was fitted to " + std::to_string(fitted.size()) +
                    " samples; the report was given " + std::to_string(samples.size()));

  ReportContent c;
  c.title = "Calibration report: " + facts.data_file;
  const std::vector<Vec3> tips = TipsFromCentre(calibration, samples);
  const std::vector<double> residuals =
      loaded ? sample_residuals(calibration, samples) : std::vector<double>();
  const std::span<const double> mm = loaded ? std::span<const double>(residuals) : fitted;
  c.residuals_um.reserve(mm.size());
  for (const double r : mm) c.residuals_um.push_back(r * 1000.0);
  c.sample_directions.reserve(tips.size());
  for (std::size_t k = 0; k < tips.size(); ++k) {
    const double size = Norm(tips[k]);
    if (!(size > 0.0) || !std::isfinite(size))
      InvalidSample(k, "its tip centre has no direction from the sphere centre");
    c.sample_directions.push_back({tips[k][0] / size, tips[k][1] / size, tips[k][2] / size});
  }
  c.scan_numbers = detect_scans(samples);

  AddHeader(c, calibration, samples.size(), facts);
  AddFit(c, calibration, facts);

  const RunReport& run = calibration.run_report();
  if (loaded) {
    c.convergence_note =
        "A calibration file keeps no optimiser history: the convergence comes from a fit. Make "
        "the report of the data without a calibration file to see it.";
    c.warnings_note =
        "A calibration file keeps no warnings: they come from a fit's uncertainty. Make the "
        "report of the data without a calibration file to see them.";
  } else {
    c.initial_sum_of_squares = run.initial_S;
    for (const IterationRecord& it : run.iterations)
      c.iterations.push_back({it.iteration, it.S, it.Mu, it.rejected_trials});
    for (const Warning& w : calibration.warnings()) c.warnings.push_back({w.code, w.text});
  }
  AddIdentifiability(c, calibration, loaded);
  return c;
}

}  // namespace tavric
