// tavric calibrate: fits a calibration to data files and saves it; many files
// are calibrated on several threads at once.
#include <algorithm>
#include <atomic>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "Commands.h"
#include "FitOptions.h"
#include "OutputFiles.h"
#include "Results.h"
#include "tavric/Calibration.h"
#include "tavric/ReadDiagnostic.h"

namespace tavric::cli {
namespace {

namespace fs = std::filesystem;

struct CalibrateOptions {
  std::vector<std::string> data;
  std::string output;
  std::string output_dir;
  int jobs = 1;
  bool json = false;
  bool strict = false;
  bool force = false;
  FitOptions fit;
};

// What became of one data file.
struct Outcome {
  std::string data;
  std::string output;
  std::optional<Calibration> calibration;
  // The library's failure text and its code, when the fit failed.
  std::string failure;
  std::optional<ErrorCode> code;
  std::shared_ptr<const RunReport> failed_report;
  // Where and why reading the data file stopped, or what it held.
  std::shared_ptr<const ReadDiagnostic> diagnostic;
  // The save's failure text, when the fit succeeded but the file could not
  // be written.
  std::string save_failure;
};

std::string OutputFor(const CalibrateOptions& o, const std::string& data) {
  if (!o.output.empty()) return o.output;
  fs::path name = fs::path(data).filename().replace_extension(".cal");
  if (!o.output_dir.empty()) return (fs::path(o.output_dir) / name).string();
  return fs::path(data).replace_extension(".cal").string();
}

// Calibrates `data` and saves the calibration to `path` (the file named
// `output`, or the temporary file standing for standard output).
Outcome CalibrateOne(const std::string& data, const std::string& output, const std::string& path,
                     const Options& options) {
  Outcome outcome{data, output, std::nullopt, {}, std::nullopt, nullptr, nullptr, {}};
  try {
    outcome.calibration = calibrate_file(InputPath(data), options);
  } catch (const Error& e) {
    outcome.failure = e.text();
    outcome.code = e.code();
    outcome.failed_report =
        e.report() != nullptr ? std::make_shared<RunReport>(*e.report()) : nullptr;
    outcome.diagnostic =
        e.diagnostic() != nullptr ? std::make_shared<ReadDiagnostic>(*e.diagnostic()) : nullptr;
    return outcome;
  }
  try {
    outcome.calibration->save(path);
  } catch (const Error& e) {
    outcome.save_failure = e.text();
  }
  return outcome;
}

Json OutcomeJson(const Outcome& r, const Options& options) {
  Json j = JsonHead("calibrate", r.data, r.output, FitOptions::SettingsJson(options));
  if (r.calibration) {
    j["result"] = "OK";
    j["error_code"] = nullptr;
    j["diagnostic"] = nullptr;
    Append(j, FitJson(*r.calibration));
  } else {
    j["result"] = r.failure;
    j["error_code"] = to_string(*r.code);
    j["diagnostic"] = DiagnosticJson(r.diagnostic.get());
    const RunReport* report = r.failed_report.get();
    const ReadDiagnostic* read = r.diagnostic.get();
    j["samples"] = report != nullptr && report->samples > 0                  ? Json(report->samples)
                   : read != nullptr && read->samples > 0 && read->line == 0 ? Json(read->samples)
                                                                             : Json(nullptr);
    j["order"] = options.order;
    for (const char* key : {"fit_rms_um", "fit_min_um", "fit_max_um", "sphere", "iterations"})
      j[key] = nullptr;
    j["stop_reason"] = report != nullptr ? Json(ToString(report->stop_reason)) : Json(nullptr);
    for (const char* key : {"planes", "bidirectional_planes", "uncertainty"}) j[key] = nullptr;
    j["warnings"] = Json::array();
    j["history"] = Json::array();
  }
  j["file"] = r.calibration && r.save_failure.empty() ? Json(r.output) : Json(nullptr);
  j["save_error"] = r.save_failure.empty() ? Json(nullptr) : Json(r.save_failure);
  return j;
}

int OutcomeStatus(const Outcome& r, bool strict) {
  if (!r.calibration || !r.save_failure.empty()) return kExitFailure;
  return FitStatus(*r.calibration, strict);
}

// What the file system says about a calibration file that was not written.
std::unique_ptr<ReadDiagnostic> SaveDiagnostic(const Outcome& r) {
  auto d = std::make_unique<ReadDiagnostic>();
  d->file = r.output;
  d->hint = WhyNotWritten(r.output);
  return d;
}

int ReportOne(const Outcome& r, const CalibrateOptions& o, const Options& options) {
  if (o.json) PrintJson(OutcomeJson(r, options));
  if (!r.calibration) return Fail(r.failure, r.diagnostic.get());
  // With -o - the calibration file is the output: no report beside it.
  if (!o.json && o.output != kStandardStream) {
    PrintField("Result", "OK");
    PrintFit(*r.calibration);
    PrintField("Written", r.save_failure.empty() ? r.output : "no");
    PrintWarnings(r.calibration->warnings());
  }
  if (!r.save_failure.empty()) return Fail(r.save_failure, SaveDiagnostic(r).get());
  return OutcomeStatus(r, o.strict);
}

std::string Cell(std::string text, std::size_t width, bool right = true) {
  if (text.size() >= width) return text;
  const std::string pad(width - text.size(), ' ');
  return right ? pad + text : text + pad;
}

// One line per file: result, FitRMS, expanded uncertainties, warnings.
void PrintTable(const std::vector<Outcome>& outcomes) {
  std::size_t width = 4;
  for (const Outcome& r : outcomes) width = std::max(width, r.data.size());
  std::cout << Cell("file", width, false)
            << "  result  FitRMS/\u00b5m  normal/\u00b5m  across/\u00b5m  "
            << "warnings\n";
  for (const Outcome& r : outcomes) {
    std::cout << Cell(r.data, width, false) << "  ";
    if (!r.calibration) {
      std::cout << r.failure << '\n';
      continue;
    }
    const FitUncertainty& u = r.calibration->uncertainty();
    std::string codes;
    for (const Warning& w : r.calibration->warnings()) codes += (codes.empty() ? "" : ",") + w.code;
    if (!r.save_failure.empty()) codes += (codes.empty() ? "" : ",") + std::string("not-written");
    std::cout
        << Cell(r.save_failure.empty() ? "OK" : "OK*", 6, false)
        << Cell(Format("%.4f", Micrometres(r.calibration->statistics().rms)), 10)
        << Cell(u.available ? Format("%.2f", 2.0 * Micrometres(u.at_samples.normal.p95)) : "-", 11)
        << Cell(u.available ? Format("%.1f", 2.0 * Micrometres(u.at_samples.across.p95)) : "-", 11)
        << "  " << (codes.empty() ? "-" : codes) << '\n';
  }
}

std::vector<Outcome> CalibrateAll(const CalibrateOptions& o, const Options& options) {
  std::vector<Outcome> outcomes(o.data.size());
  std::atomic<std::size_t> next{0};
  const auto worker = [&] {
    for (std::size_t i = next++; i < o.data.size(); i = next++) {
      const std::string output = OutputFor(o, o.data[i]);
      outcomes[i] = CalibrateOne(o.data[i], output, output, options);
    }
  };
  const unsigned hardware = std::max(1u, std::thread::hardware_concurrency());
  const std::size_t threads = std::min<std::size_t>(
      o.data.size(), o.jobs > 0 ? static_cast<std::size_t>(o.jobs) : hardware);
  std::vector<std::thread> pool;
  for (std::size_t t = 1; t < threads; ++t) pool.emplace_back(worker);
  worker();
  for (std::thread& t : pool) t.join();
  return outcomes;
}

int RunCalibrate(const CalibrateOptions& o) {
  const Options options = o.fit.Resolve();
  options.validate();
  std::vector<PlannedOutput> outputs;
  for (const std::string& data : o.data)
    outputs.push_back({OutputFor(o, data), "calibration file"});
  if (!OutputsAllowed("calibrate", outputs, o.data, o.force)) return kExitUsage;
  if (!o.output_dir.empty()) {
    std::error_code ec;
    fs::create_directories(o.output_dir, ec);
  }
  if (o.data.size() == 1) {
    const std::string output = OutputFor(o, o.data.front());
    const OutputTarget target(output);
    const Outcome r = CalibrateOne(o.data.front(), output, target.path(), options);
    if (r.calibration && r.save_failure.empty()) target.CopyToStandardOutput();
    return ReportOne(r, o, options);
  }
  const std::vector<Outcome> outcomes = CalibrateAll(o, options);

  int status = kExitOk;
  for (const Outcome& r : outcomes) {
    const int s = OutcomeStatus(r, o.strict);
    if (s == kExitFailure || (s == kExitWarnings && status == kExitOk)) status = s;
    if (o.json) PrintJsonLine(OutcomeJson(r, options));
  }
  if (!o.json) PrintTable(outcomes);
  for (const Outcome& r : outcomes) {
    if (!r.calibration) {
      std::cerr << r.data << ": " << r.failure << '\n';
      if (r.diagnostic != nullptr)
        for (const std::string& line : DiagnosticLines(*r.diagnostic))
          std::cerr << "  " << line << '\n';
    }
    if (!r.save_failure.empty()) {
      std::cerr << r.data << ": " << r.save_failure << '\n';
      for (const std::string& line : DiagnosticLines(*SaveDiagnostic(r)))
        std::cerr << "  " << line << '\n';
    }
  }
  return status;
}

}  // namespace

Command AddCalibrate(CLI::App& app) {
  auto o = std::make_shared<CalibrateOptions>();
  CLI::App* sub = app.add_subcommand(
      "calibrate",
      "Fit a calibration to data files (marked or generic layout) and save it; several files "
      "are calibrated on several threads");
  sub->add_option("DATA", o->data, "Calibration data files (- for standard input)")
      ->required()
      ->check(ExistingFileOrStdin());
  CLI::Option* output =
      sub->add_option("-o,--output", o->output,
                      "Calibration file to write, or - for standard output (one DATA only; "
                      "default: DATA with the extension .cal)")
          ->type_name("CALFILE");
  sub->add_option("--output-dir", o->output_dir,
                  "Write each calibration into this folder, named after its data file (.cal)")
      ->type_name("DIR")
      ->excludes(output);
  sub->add_option("-j,--jobs", o->jobs,
                  "Calibrate this many files at once (0: one per processor core)")
      ->check(AtLeast(0))
      ->capture_default_str();
  o->fit.Add(*sub);
  AddDecimalCommaOption(*sub);
  sub->add_flag("--json", o->json,
                "Print the result as one JSON object (one per line for several files)");
  sub->add_flag("--strict", o->strict, "Exit with status 3 when the calibration raises a warning");
  AddForceOption(*sub, o->force);
  sub->callback([o, output] {
    const auto stdin_count = std::count(o->data.begin(), o->data.end(), kStandardStream);
    if (stdin_count > 1)
      throw CLI::ValidationError("DATA", "standard input (-) can be read only once");
    if (stdin_count > 0 && output->count() == 0)
      throw CLI::ValidationError("-o", "data read from standard input need -o CALFILE or -o -");
    if (o->output == kStandardStream && o->json)
      throw CLI::ValidationError("-o -",
                                 "the calibration file and --json cannot both go to "
                                 "standard output");
    if (o->data.size() > 1 && output->count() > 0)
      throw CLI::ValidationError("-o",
                                 "one calibration file for several data files; use --output-dir");
    if (o->data.size() > 1 && o->fit.Resolve().show_progress)
      throw CLI::ValidationError("--progress",
                                 "the progress display shows one data file at a time");
  });
  return {sub, [o] { return RunCalibrate(*o); }};
}

}  // namespace tavric::cli
