#include "tavric/Calibration.h"

#include <limits>

#include "api/Bootstrap.h"
#include "api/CalibrationState.h"
#include "api/Options.h"
#include "data/ReadExplain.h"
#include "geometry/ClsVector.h"
#include "interface/CalibrationFile.h"
#include "interface/ProjectState.h"
#include "polynomial/Polynome3Variables.h"
#include "runtime/CheckedMath.h"
#include "runtime/ErrorTrap.h"
#include "sphere/ClsSphere.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/DataFile.h"
#include "tavric/ReadDiagnostic.h"

namespace tavric {
namespace {

// The most samples a calibration takes: its sample count is a 16-bit value.
constexpr int kMaxCalibrationSamples = 32767;

// What a file that holds no calibration seems to be.
std::string WhatTheFileSeemsToBe(const std::string& file) {
  DataArray data;
  std::string layout;
  if (ReadCalibrationDataFile(file, data, &layout) == "OK")
    return "this is a data file of scans (" + layout +
           " layout), not a calibration: calibrate it "
           "first";
  const std::string seems = ReadCalData::WhatTheFileSeemsToBe(file);
  return seems.empty() ? "the file is neither a calibration nor a data file of scans" : seems;
}

// A count with thousands separators: 40000 as "40,000".
std::string Thousands(int count) {
  std::string digits = std::to_string(count);
  for (auto i = static_cast<std::ptrdiff_t>(digits.size()) - 3; i > 0; i -= 3)
    digits.insert(static_cast<std::size_t>(i), ",");
  return digits;
}

// What usually makes the calibration of `samples` read from a file fail as
// `e` did; empty when nothing more can be said.
std::string CalibrationHint(const Error& e, int samples) {
  if (samples > kMaxCalibrationSamples)
    return "data files hold at most " + Thousands(kMaxCalibrationSamples) +
           " samples; this one has " + Thousands(samples);
  if (samples == 0) return "the file holds no samples";
  const RunReport* report = e.report();
  switch (e.code()) {
    case ErrorCode::kSphereFitFailed:
      return "the machine positions do not outline a sphere: fewer than four distinct positions, "
             "or all of them in one plane";
    case ErrorCode::kScanPathRejected:
      if (report == nullptr) break;
      return "a calibration needs at least three planes each scanned in both senses; this file "
             "has " +
             std::to_string(report->scans) + " scans in " + std::to_string(report->planes) +
             " planes, " + std::to_string(report->bidirectional_planes) +
             " of them scanned in both senses";
    default:
      break;
  }
  return {};
}

ErrorCode CodeOf(RunStage stage) {
  switch (stage) {
    case RunStage::kReading:
      return ErrorCode::kReadFailed;
    case RunStage::kSphereFit:
      return ErrorCode::kSphereFitFailed;
    case RunStage::kScanPath:
      return ErrorCode::kScanPathRejected;
    case RunStage::kModelInit:
      return ErrorCode::kModelInitFailed;
    case RunStage::kOptimiser:
      return ErrorCode::kOptimiserFailed;
    case RunStage::kNone:
    case RunStage::kData:
      break;
  }
  return ErrorCode::kInvalidData;
}

// The data array of `count` samples, field f of sample k from value(k, f).
template <typename Value>
DataArray ToDataArray(std::size_t count, Value value) {
  // Far more samples than a calibration takes still make an array, so that
  // the calibration reports its own overflow; beyond this it cannot be built.
  if (count > static_cast<std::size_t>(std::numeric_limits<Int32>::max() / 8))
    throw Error(ErrorCode::kInvalidData, "Optimise Error 6 : Overflow");
  DataArray data(1, 6, 1, static_cast<Int32>(count));
  for (std::size_t k = 0; k < count; ++k)
    for (Int32 f = 0; f < 6; ++f) data(f + 1, static_cast<Int32>(k + 1)) = value(k, f);
  return data;
}

// Calibrates `data`; with `analyse` false the fit is not followed by its
// uncertainty analysis (the bootstrap's refits need only the calibration).
std::shared_ptr<Calibration::State> Fit(const DataArray& data, const Options& options,
                                        bool analyse) {
  std::shared_ptr<Calibration::State> state;
  WithEngine([&](ProjectState& context, ClsProbeCalibration& cal) {
    ApplyOptions(options, cal, context);
    context.analyse_fit = analyse;
    auto order = static_cast<std::uint8_t>(options.order);
    const std::string result = cal.Optimise(data, order);
    if (result != "OK") {
      throw Error(CodeOf(context.run_report.failed_stage), result,
                  std::make_shared<RunReport>(context.run_report));
    }
    state = StateFrom(context, options.thresholds);
  });
  return state;
}

std::shared_ptr<const Calibration::State> Run(const DataArray& data, const Options& options) {
  std::shared_ptr<Calibration::State> state = Fit(data, options, true);
  if (options.bootstrap_fits > 0) {
    Options refit_options = options;
    refit_options.bootstrap_fits = 0;
    refit_options.show_progress = false;
    const RefitFunction refit = [&](const DataArray& replica) -> std::optional<Calibration> {
      try {
        return Calibration(Fit(replica, refit_options, false));
      } catch (const Error&) {
        return std::nullopt;
      }
    };
    state->report.uncertainty.bootstrap = RunBootstrap(data, Calibration(state), options, refit);
    state->warnings = diagnose(state->report, options.thresholds);
  }
  return state;
}

Vec3 ToVec3(const Array1<double>& triple) { return {triple(1), triple(2), triple(3)}; }

}  // namespace

// ---------------------------------------------------------------------------
// The engine behind the modern API.

void WithEngine(const std::function<void(ProjectState&, ClsProbeCalibration&)>& body) {
  ProjectState context;
  const ContextScope scope(context);
  ClsProbeCalibration cal;
  body(context, cal);
}

std::shared_ptr<Calibration::State> StateFrom(ProjectState& context,
                                              const WarningThresholds& thresholds) {
  auto state = std::make_shared<Calibration::State>();
  const Polynome3Variables& poly = Deref(context.polynomial);
  state->order = poly.Order();
  if (context.sphere) {
    const ClsVector& centre = Deref(context.sphere->Pt());
    state->sphere = {{centre.C1(), centre.C2(), centre.C3()}, context.sphere->R()};
  }
  state->statistics = {context.FitRMS, context.FitMin, context.FitMax};
  const Vec3 constant = ToVec3(poly.TheCoeff(0, 0, 0));
  // The offsets are the negated constant term (a zero reads as 0, not -0).
  state->offsets = {-constant[0] + 0.0, -constant[1] + 0.0, -constant[2] + 0.0};
  state->polynomial = std::make_shared<const Polynome3Variables>(poly);
  auto deflection = std::make_shared<Polynome3Variables>(poly);
  deflection->TheCoeff(0, 0, 0, CoefficientTriple(0.0, 0.0, 0.0));
  state->deflection_polynomial = std::move(deflection);
  state->report = context.run_report;
  state->warnings = diagnose(state->report, thresholds);

  const FitUncertainty& u = state->report.uncertainty;
  if (u.available) {
    uncertainty::CoefficientLayout layout;
    layout.first = u.radius_held ? 3 : 4;
    const Array2<Int16>& powers = poly.PowerTable();
    for (Int32 t = 1; t <= powers.UBound(2); ++t)
      layout.powers.push_back({powers(1, t), powers(2, t), powers(3, t)});
    const auto n = static_cast<Eigen::Index>(u.parameters);
    const Eigen::MatrixXd covariance = Eigen::Map<const Eigen::MatrixXd>(u.covariance.data(), n, n);
    state->covariance.emplace(covariance, layout);
  }
  return state;
}

void InstallState(const Calibration::State& state, ProjectState& context) {
  context.polynomial = std::make_shared<Polynome3Variables>(*state.polynomial);
  auto sphere = std::make_shared<ClsSphere>();
  ClsVector& centre = Deref(sphere->Pt());
  centre.C1(state.sphere.centre[0]);
  centre.C2(state.sphere.centre[1]);
  centre.C3(state.sphere.centre[2]);
  sphere->R(state.sphere.radius);
  context.sphere = std::move(sphere);
  context.FitRMS = state.statistics.rms;
  context.FitMin = state.statistics.min;
  context.FitMax = state.statistics.max;
}

void RethrowAsError(ErrorCode code) {
  throw Error(code, TrapText("Error ", CurrentErrorInfo(), " : "));
}

// ---------------------------------------------------------------------------
// Calibration

Calibration::Calibration() {
  WithEngine([&](ProjectState& context, ClsProbeCalibration&) {
    state_ = StateFrom(context, WarningThresholds{});
  });
}

Calibration::Calibration(std::shared_ptr<const State> state) : state_(std::move(state)) {}

int Calibration::order() const noexcept { return state_->order; }
const Sphere& Calibration::sphere() const noexcept { return state_->sphere; }
const FitStatistics& Calibration::statistics() const noexcept { return state_->statistics; }
const Vec3& Calibration::probe_offsets() const noexcept { return state_->offsets; }
const RunReport& Calibration::run_report() const noexcept { return state_->report; }
const FitUncertainty& Calibration::uncertainty() const noexcept {
  return state_->report.uncertainty;
}
const std::vector<Warning>& Calibration::warnings() const noexcept { return state_->warnings; }
std::span<const double> Calibration::residuals() const noexcept { return state_->report.residuals; }

std::vector<Term> Calibration::terms() const {
  const Polynome3Variables& poly = *state_->polynomial;
  const Array2<Int16>& powers = poly.PowerTable();
  const Array2<double>& coefficients = poly.CoeffTable();
  std::vector<Term> out;
  for (Int32 t = 2; t <= powers.UBound(2); ++t)
    out.push_back({powers(1, t),
                   powers(2, t),
                   powers(3, t),
                   {coefficients(1, t), coefficients(2, t), coefficients(3, t)}});
  return out;
}

Vec3 Calibration::deflection(const Vec3& readings) const {
  Vec3 out;
  deflections({&readings, 1}, {&out, 1});
  return out;
}

void Calibration::deflections(std::span<const Vec3> readings, std::span<Vec3> out) const {
  if (out.size() != readings.size())
    throw Error(ErrorCode::kInvalidData, "deflections: " + std::to_string(readings.size()) +
                                             " readings but room for " +
                                             std::to_string(out.size()) + " results");
  const fp::Boundary boundary;
  try {
    // The fit worked on the readings plus the constant term (the negated
    // offsets), with a polynomial whose constant term was 0.
    const Vec3 constant = {-state_->offsets[0], -state_->offsets[1], -state_->offsets[2]};
    const Polynome3Variables& poly = *state_->deflection_polynomial;
    // Many readings at once, unless one of them faults: then one by one,
    // which raises the fault at its reading.
    static_assert(sizeof(Vec3) == 3 * sizeof(double));
    if (readings.empty()) return;
    if (poly.ValuesAt(readings.data()->data(), readings.size(), constant.data(),
                      out.data()->data()))
      return;
    for (std::size_t i = 0; i < readings.size(); ++i) {
      const Vec3& r = readings[i];
      poly.Value(fp::RequireFinite(r[0]) + constant[0], fp::RequireFinite(r[1]) + constant[1],
                 fp::RequireFinite(r[2]) + constant[2], out[i][0], out[i][1], out[i][2]);
    }
    fp::Check();
  } catch (const Error&) {
    throw;
  } catch (...) {
    RethrowAsError(ErrorCode::kInvalidData);
  }
}

std::array<Vec3, 3> Calibration::deflection_covariance(const Vec3& readings) const {
  if (!state_->covariance)
    throw Error(ErrorCode::kNoUncertainty,
                "This calibration carries no uncertainty (" +
                    (uncertainty().note.empty() ? std::string("it was not fitted here")
                                                : uncertainty().note) +
                    ")");
  const fp::Boundary boundary;
  const Vec3& o = state_->offsets;
  try {
    const uncertainty::Mat3 c = state_->covariance->At(fp::RequireFinite(readings[0]) - o[0],
                                                       fp::RequireFinite(readings[1]) - o[1],
                                                       fp::RequireFinite(readings[2]) - o[2]);
    fp::Check();
    return c;
  } catch (...) {
    RethrowAsError(ErrorCode::kInvalidData);
  }
}

void Calibration::save(const std::filesystem::path& path) const {
  WithEngine([&](ProjectState& context, ClsProbeCalibration& cal) {
    InstallState(*state_, context);
    const std::string result = cal.SaveCalibrationFunctions(path.string());
    if (result != "OK") throw Error(ErrorCode::kSaveFailed, result);
  });
}

// ---------------------------------------------------------------------------
// Free functions

std::vector<Sample> samples_of(const DataArray& data) {
  std::vector<Sample> samples;
  for (Int32 k = data.LBound(2); k <= data.UBound(2); ++k)
    samples.push_back({data(1, k), data(2, k), data(3, k), data(4, k), data(5, k), data(6, k)});
  return samples;
}

Calibration calibrate(std::span<const Sample> samples, const Options& options) {
  options.validate();
  const DataArray data = ToDataArray(samples.size(), [&](std::size_t k, Int32 f) {
    const Sample& s = samples[k];
    const double fields[6] = {s.P, s.Q, s.R, s.X, s.Y, s.Z};
    return fields[f];
  });
  return Calibration(Run(data, options));
}

Calibration calibrate(std::span<const double> rows, const Options& options) {
  options.validate();
  if (rows.size() % 6 != 0)
    throw Error(ErrorCode::kInvalidData, "Rows of six values (P, Q, R, X, Y, Z) expected; got " +
                                             std::to_string(rows.size()) + " values");
  const DataArray data = ToDataArray(rows.size() / 6, [&](std::size_t k, Int32 f) {
    return rows[6 * k + static_cast<std::size_t>(f)];
  });
  return Calibration(Run(data, options));
}

Calibration calibrate_file(const std::filesystem::path& path, const Options& options) {
  options.validate();
  DataArray data;
  auto diagnostic = std::make_shared<ReadDiagnostic>();
  const std::string read = ReadCalibrationDataFile(path.string(), data, nullptr, diagnostic.get());
  if (read != "OK") {
    auto report = std::make_shared<RunReport>();
    report->result = read;
    report->failed_stage = RunStage::kReading;
    throw Error(ErrorCode::kReadFailed, read, std::move(report), std::move(diagnostic));
  }
  try {
    return Calibration(Run(data, options));
  } catch (const Error& e) {
    // The same failure, told with the file it came from.
    diagnostic->hint = CalibrationHint(e, diagnostic->samples);
    const RunReport* report = e.report();
    throw Error(e.code(), e.text(), report ? std::make_shared<RunReport>(*report) : nullptr,
                std::move(diagnostic));
  }
}

Calibration load(const std::filesystem::path& path) {
  std::shared_ptr<Calibration::State> state;
  WithEngine([&](ProjectState& context, ClsProbeCalibration&) {
    const std::string file = path.string();
    auto diagnostic = std::make_shared<ReadDiagnostic>();
    std::string result;
    {
      fp::Boundary boundary;
      result = LoadCalibrationFunctions(file, diagnostic.get());
    }
    if (result != "OK") throw Error(ErrorCode::kLoadFailed, result, nullptr, std::move(diagnostic));
    // Reading the polynomial section names the polynomial after the file.
    if (Deref(context.polynomial).CalibrationFileName() != file) {
      diagnostic->file = file;
      diagnostic->layout = "calibration";
      diagnostic->hint = WhatTheFileSeemsToBe(file);
      throw Error(
          ErrorCode::kNotACalibration,
          "No calibration found in " + file + " (no \"POLYNOMIAL CALIBRATION PARAMETERS\" record)",
          nullptr, std::move(diagnostic));
    }
    state = StateFrom(context, WarningThresholds{});
    state->report.uncertainty.note = "a calibration file does not hold the fit's uncertainty";
  });
  return Calibration(std::move(state));
}

}  // namespace tavric
