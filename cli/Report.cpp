// tavric report: writes the report page of a calibration (one HTML file),
// fitted to the data with the options of calibrate, or read from a
// calibration file and shown against the data.
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>

#include "Commands.h"
#include "FitOptions.h"
#include "LoadCalibration.h"
#include "OutputFiles.h"
#include "Results.h"
#include "tavric/CalibrationReport.h"
#include "tavric/DataFile.h"

namespace tavric::cli {
namespace {

struct ReportOptions {
  std::string data;
  std::string calibration;
  std::string output;
  bool force = false;
  FitOptions fit;
};

std::string OutputFor(const ReportOptions& o) {
  if (!o.output.empty()) return o.output;
  return std::filesystem::path(o.data).replace_extension(".html").string();
}

std::string TwoDigits(unsigned value) {
  return std::string(1, static_cast<char>('0' + value / 10 % 10)) +
         static_cast<char>('0' + value % 10);
}

// The date and time in UTC, "2026-01-05 10:00 UTC": now, or the time given
// in seconds since 1970 by SOURCE_DATE_EPOCH (for pages made again
// identically).
std::string ReportDate() {
  using namespace std::chrono;
  sys_seconds now = floor<seconds>(system_clock::now());
  if (const char* epoch = std::getenv("SOURCE_DATE_EPOCH")) {
    char* end = nullptr;
    const long long given = std::strtoll(epoch, &end, 10);
    if (end != epoch && *end == '\0' && given >= 0) now = sys_seconds(seconds(given));
  }
  const sys_days day = floor<days>(now);
  const year_month_day date(day);
  const hh_mm_ss time(now - day);
  return std::to_string(static_cast<int>(date.year())) + "-" +
         TwoDigits(static_cast<unsigned>(date.month())) + "-" +
         TwoDigits(static_cast<unsigned>(date.day())) + " " +
         TwoDigits(static_cast<unsigned>(time.hours().count())) + ":" +
         TwoDigits(static_cast<unsigned>(time.minutes().count())) + " UTC";
}

// The settings that differ from their defaults, named as in the JSON
// output's "settings".
std::vector<ReportField> ChangedSettings(const Options& options) {
  const Json given = FitOptions::SettingsJson(options);
  const Json defaults = FitOptions::SettingsJson(Options{});
  std::vector<ReportField> changed;
  for (const auto& [key, value] : given.items()) {
    if (value != defaults[key])
      changed.push_back({key, value.is_string() ? value.get<std::string>() : value.dump()});
  }
  return changed;
}

int MakeReport(const ReportOptions& o) {
  const Options options = o.fit.Resolve();
  options.validate();
  const bool loaded = !o.calibration.empty();
  const std::vector<ReportField> settings = ChangedSettings(options);
  if (loaded && !settings.empty()) {
    std::cerr << "tavric report: --" << settings.front().label
              << " is a fit option; with --cal the calibration is read, not fitted\n";
    return kExitUsage;
  }
  const std::string output = OutputFor(o);
  std::vector<std::string> inputs = {o.data};
  if (loaded) inputs.push_back(o.calibration);
  if (!OutputsAllowed("report", {{output, "report page"}}, inputs, o.force)) return kExitUsage;

  DataArray data;
  ReadDiagnostic diagnostic;
  const std::string read = ReadCalibrationDataFile(o.data, data, nullptr, &diagnostic);
  if (read != "OK") return Fail(read, &diagnostic);
  const std::vector<Sample> samples = samples_of(data);
  std::optional<Calibration> cal;
  if (loaded) {
    cal = LoadOrExplain(o.calibration, false, "report", o.calibration, nullptr);
    if (!cal) return kExitFailure;
  } else {
    cal = calibrate(samples, options);
  }

  const ReportFacts facts{.data_file = o.data,
                          .calibration_file = o.calibration,
                          .settings = settings,
                          .date = ReportDate(),
                          .tool_version = ToolVersion()};
  const std::string written =
      WriteReportPage(output, CalibrationReportContent(*cal, samples, facts));
  if (written != "OK") return Fail(written);

  PrintField("Result", "OK");
  PrintField("Samples", std::to_string(samples.size()));
  PrintField("Calibration", loaded ? o.calibration : "fitted to the data");
  if (!loaded) PrintWarnings(cal->warnings());
  PrintField("Written", output);
  return kExitOk;
}

}  // namespace

Command AddReport(CLI::App& app) {
  auto o = std::make_shared<ReportOptions>();
  CLI::App* sub = app.add_subcommand(
      "report",
      "Write the report page of a calibration (one HTML file to open in a browser or print): "
      "fitted to the data with the options of calibrate, or read with --cal and shown "
      "against the data");
  sub->add_option("DATA", o->data, "Calibration data file (marked or generic layout)")
      ->required()
      ->check(CLI::ExistingFile);
  sub->add_option("--cal", o->calibration,
                  "Show this calibration file against DATA instead of fitting one (its residuals "
                  "on DATA; a calibration file keeps no optimiser history, uncertainty or "
                  "warnings)")
      ->type_name("CALFILE")
      ->check(CLI::ExistingFile);
  sub->add_option("-o,--output", o->output,
                  "Report page to write (default: DATA with the extension .html)")
      ->type_name("HTML");
  AddForceOption(*sub, o->force);
  o->fit.Add(*sub);
  AddDecimalCommaOption(*sub);
  return {sub, [o] { return MakeReport(*o); }};
}

}  // namespace tavric::cli
