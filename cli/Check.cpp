// tavric check: reports what a calibration would find in a data file: its
// layout and samples, the sphere fitted to the machine positions, the scan
// planes, and the calibration's fit, uncertainty and warnings (nothing is
// written).
#include <memory>
#include <optional>

#include "Commands.h"
#include "FitOptions.h"
#include "OutputFiles.h"
#include "Results.h"
#include "tavric/Calibration.h"
#include "tavric/DataCheck.h"
#include "tavric/DataFile.h"
#include "tavric/ReadDiagnostic.h"

namespace tavric::cli {
namespace {

struct CheckOptions {
  std::string data;
  bool json = false;
  bool strict = false;
  FitOptions fit;
};

// Variances in mm^2 to um^2.
double SquareMicrometres(double mm2) { return mm2 * 1.0e6; }

constexpr const char* kNotAccepted =
    "no: a calibration needs at least three planes scanned in both senses";

// The calibration the data give, or the library's failure text.
struct Fit {
  std::optional<Calibration> calibration;
  std::string failure;
  std::optional<ErrorCode> code;
  std::shared_ptr<const ReadDiagnostic> diagnostic;
};

Fit RunFit(const std::string& data, const Options& options) {
  Fit fit;
  try {
    fit.calibration = calibrate_file(data, options);
  } catch (const Error& e) {
    fit.failure = e.text();
    fit.code = e.code();
    if (e.diagnostic() != nullptr)
      fit.diagnostic = std::make_shared<ReadDiagnostic>(*e.diagnostic());
  }
  return fit;
}

Json CheckJson(const CheckOptions& o, const Options& options, const DataCheckReport& r,
               const std::optional<Fit>& fit, const ReadDiagnostic* why) {
  const bool fitted = r.result == "OK" && r.sphere_result == "OK";
  Json j = JsonHead("check", o.data, nullptr, FitOptions::SettingsJson(options));
  j["result"] = r.result;
  j["diagnostic"] = DiagnosticJson(why);
  j["file"] = o.data;
  j["layout"] = r.layout.empty() ? Json(nullptr) : Json(r.layout);
  j["samples"] = r.result == "OK" ? Json(r.samples) : Json(nullptr);
  j["sphere_result"] = r.result == "OK" ? Json(r.sphere_result) : Json(nullptr);
  if (fitted) {
    j["sphere"] = {{"centre", r.centre},
                   {"radius", r.radius},
                   {"deviation_min_um", Micrometres(r.deviation_min)},
                   {"deviation_max_um", Micrometres(r.deviation_max)},
                   {"deviation_variance_um2", SquareMicrometres(r.deviation_variance)}};
    j["scans"] = r.scans;
    j["planes"] = r.planes;
    j["bidirectional_planes"] = r.bidirectional_planes;
  } else {
    for (const char* key : {"sphere", "scans", "planes", "bidirectional_planes"}) j[key] = nullptr;
  }
  j["accepted"] = r.accepted && fit && fit->calibration;
  if (fit && fit->calibration) {
    Json f = {{"result", "OK"}, {"error_code", nullptr}};
    Append(f, FitJson(*fit->calibration));
    j["fit"] = f;
    j["warnings"] = f["warnings"];
  } else if (fit) {
    j["fit"] = {{"result", fit->failure},
                {"error_code", to_string(*fit->code)},
                {"diagnostic", DiagnosticJson(fit->diagnostic.get())}};
    j["warnings"] = Json::array();
  } else {
    j["fit"] = nullptr;
    j["warnings"] = Json::array();
  }
  return j;
}

void PrintCheck(const CheckOptions& o, const DataCheckReport& r) {
  PrintField("Data", o.data + " (" + r.layout + " layout)");
  PrintField("Samples", std::to_string(r.samples));
  PrintField("Sphere fit", r.sphere_result);
  if (r.sphere_result != "OK") return;
  PrintField("Sphere centre", FormatTriple("%.6f", r.centre) + " mm");
  PrintField("Sphere radius", Format("%.6f", r.radius) + " mm");
  PrintField("Deviation", "min " + Format("%.4f", Micrometres(r.deviation_min)) + " \u00b5m, max " +
                              Format("%.4f", Micrometres(r.deviation_max)) + " \u00b5m, variance " +
                              Format("%.4f", SquareMicrometres(r.deviation_variance)) +
                              " \u00b5m\u00b2");
  PrintField("Scans", std::to_string(r.scans));
  PrintField("Planes", std::to_string(r.planes) + " (" + std::to_string(r.bidirectional_planes) +
                           " scanned in both senses)");
}

int RunCheck(const CheckOptions& o) {
  const Options options = o.fit.Resolve();
  options.validate();
  const std::string path = InputPath(o.data);
  const DataCheckReport r = CheckCalibrationDataFile(path);
  // The calibration runs whenever the data could be read, so that check
  // refuses exactly what calibrate refuses.
  std::optional<Fit> fit;
  // Why the file could not be read (read again, only when it failed).
  std::optional<ReadDiagnostic> why;
  if (r.result == "OK") {
    fit = RunFit(path, options);
  } else {
    DataArray data;
    why.emplace();
    ReadCalibrationDataFile(path, data, nullptr, &*why);
  }

  if (o.json) PrintJson(CheckJson(o, options, r, fit, why ? &*why : nullptr));
  if (r.result != "OK") return Fail(r.result, why ? &*why : nullptr);
  if (!o.json) {
    PrintCheck(o, r);
    if (r.sphere_result == "OK") {
      PrintField("Accepted", !r.accepted ? kNotAccepted : fit->calibration ? "yes" : "no");
    }
  }
  if (!fit->calibration) return Fail(fit->failure, fit->diagnostic.get());
  if (!o.json) {
    const Calibration& cal = *fit->calibration;
    PrintField("Fit", "OK, order " + std::to_string(cal.order()) + ", FitRMS " +
                          Format("%.4f", Micrometres(cal.statistics().rms)) + " \u00b5m, " +
                          ToString(cal.run_report().stop_reason) + " after " +
                          std::to_string(cal.run_report().outer_iterations) + " iterations");
    PrintField("Uncertainty", UncertaintyLine(cal.uncertainty()));
    PrintWarnings(cal.warnings());
  }
  return FitStatus(*fit->calibration, o.strict);
}

}  // namespace

Command AddCheck(CLI::App& app) {
  auto o = std::make_shared<CheckOptions>();
  CLI::App* sub = app.add_subcommand(
      "check",
      "Check a data file: layout, samples, fitted sphere, scan planes, and what a calibration "
      "of it would give (uncertainty, warnings); writes nothing");
  sub->add_option("DATA", o->data, "Calibration data file (- for standard input)")
      ->required()
      ->check(ExistingFileOrStdin());
  o->fit.Add(*sub);
  sub->add_flag("--json", o->json, "Print the report as one JSON object");
  AddDecimalCommaOption(*sub);
  sub->add_flag("--strict", o->strict, "Exit with status 3 when the calibration raises a warning");
  return {sub, [o] { return RunCheck(*o); }};
}

}  // namespace tavric::cli
