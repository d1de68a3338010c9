// tavric verify: compares a calibration with the truth of a simulated scan.
#include <iostream>
#include <memory>
#include <vector>

#include "Commands.h"
#include "LoadCalibration.h"
#include "OutputFiles.h"
#include "tavric/DataFile.h"
#include "tavric/Verification.h"

namespace tavric::cli {
namespace {

struct VerifyOptions {
  std::string calibration;
  std::string truth;
  std::string data;
  double reach = kDefaultVerificationReach;
  bool json = false;
};

Json SpreadJson(const ErrorSpread& s) {
  return {{"max", Micrometres(s.max)}, {"rms", Micrometres(s.rms)}, {"p95", Micrometres(s.p95)}};
}

template <typename T>
Json Optional(const std::optional<T>& value) {
  return value ? Json(*value) : Json(nullptr);
}

void PrintRow(const char* name, const ErrorSpread& s) {
  std::cout << "  " << name << std::string(8 - std::char_traits<char>::length(name), ' ')
            << Format("%10.3f", Micrometres(s.max)) << Format("%10.3f", Micrometres(s.rms))
            << Format("%10.3f", Micrometres(s.p95)) << '\n';
}

// The settings of a run: the truth the calibration is compared with, and
// the reach of the comparison (null when it is made at the data's samples).
Json Settings(const VerifyOptions& o) {
  return {{"truth", o.truth}, {"reach_mm", o.data.empty() ? Json(o.reach) : Json(nullptr)}};
}

int RunVerify(const VerifyOptions& o) {
  const std::optional<Calibration> cal =
      LoadOrExplain(o.calibration, o.json, "verify", o.calibration, Settings(o));
  if (!cal) return kExitFailure;
  sim::GroundTruth truth;
  try {
    truth = sim::ReadTruthJson(o.truth);
  } catch (const Error& e) {
    return Fail(e.text(), o.json, "verify", o.calibration, nullptr, Settings(o));
  }

  std::vector<Sample> samples;
  if (!o.data.empty()) {
    DataArray data;
    ReadDiagnostic diagnostic;
    const std::string read = ReadCalibrationDataFile(InputPath(o.data), data, nullptr, &diagnostic);
    if (read != "OK")
      return Fail(read, o.json, "verify", o.calibration, nullptr, Settings(o), &diagnostic);
    samples = samples_of(data);
  }
  const VerificationReport v = verify(*cal, truth, samples, o.reach);

  if (o.json) {
    Json j = JsonHead("verify", o.calibration, nullptr, Settings(o));
    j["result"] = "OK";
    j["truth"] = o.truth;
    j["data"] = o.data.empty() ? Json(nullptr) : Json(o.data);
    j["reach_mm"] = o.data.empty() ? Json(o.reach) : Json(nullptr);
    j["points"] = v.points;
    j["at_samples"] = v.at_samples;
    j["deflection_error_um"] = {{"x", SpreadJson(v.x)},           {"y", SpreadJson(v.y)},
                                {"z", SpreadJson(v.z)},           {"normal", SpreadJson(v.normal)},
                                {"across", SpreadJson(v.across)}, {"total", SpreadJson(v.total)}};
    j["centre_error_um"] = {Micrometres(v.centre_error[0]), Micrometres(v.centre_error[1]),
                            Micrometres(v.centre_error[2])};
    j["radius_error_um"] = Micrometres(v.radius_error);
    j["normal_coverage"] = Optional(v.normal_coverage);
    j["across_coverage"] = Optional(v.across_coverage);
    j["radius_covered"] = Optional(v.radius_covered);
    PrintJson(j);
    return kExitOk;
  }
  PrintField("Calibration", o.calibration);
  PrintField("Truth", o.truth);
  PrintField("Compared at", v.at_samples ? std::to_string(v.points) + " samples of " + o.data
                                         : std::to_string(v.points) +
                                               " readings with true deflections up to " +
                                               Format("%g", o.reach) + " mm");
  std::cout << "\nDeflection error (calibration - truth), \u00b5m:\n"
            << "                 max       RMS      95 %\n";
  PrintRow("X", v.x);
  PrintRow("Y", v.y);
  PrintRow("Z", v.z);
  PrintRow("normal", v.normal);
  PrintRow("across", v.across);
  PrintRow("total", v.total);
  std::cout << '\n';
  PrintField("Centre error",
             FormatTriple("%.3f", {Micrometres(v.centre_error[0]), Micrometres(v.centre_error[1]),
                                   Micrometres(v.centre_error[2])}) +
                 " \u00b5m");
  PrintField("Radius error", Format("%.3f", Micrometres(v.radius_error)) + " \u00b5m");
  return kExitOk;
}

}  // namespace

Command AddVerify(CLI::App& app) {
  auto o = std::make_shared<VerifyOptions>();
  CLI::App* sub = app.add_subcommand(
      "verify",
      "Compare a calibration with the truth of a simulated scan (tavric simulate --truth)");
  sub->add_option("CALFILE", o->calibration, "Calibration file")
      ->required()
      ->check(CLI::ExistingFile);
  sub->add_option("--truth", o->truth, "Truth file written by tavric simulate --truth")
      ->required()
      ->type_name("TRUTH.json")
      ->check(CLI::ExistingFile);
  CLI::Option* data =
      sub->add_option("--data", o->data,
                      "Compare at the readings of this data file's samples, along and across the "
                      "sphere's normal (- for standard input)")
          ->type_name("DATA")
          ->check(ExistingFileOrStdin());
  sub->add_option("--reach", o->reach,
                  "Without --data: compare at readings whose true deflection is up to this size "
                  "in every direction, mm")
      ->type_name("MM")
      ->check(MoreThan(0))
      ->excludes(data)
      ->capture_default_str();
  AddDecimalCommaOption(*sub);
  sub->add_flag("--json", o->json, "Print the comparison as one JSON object");
  return {sub, [o] { return RunVerify(*o); }};
}

}  // namespace tavric::cli
