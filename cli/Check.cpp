// tavric check: reports what a calibration would find in a data file.
#include <memory>

#include "Commands.h"
#include "tavric/DataCheck.h"

namespace tavric::cli {
namespace {

struct CheckOptions {
  std::string data;
  bool json = false;
};

// Variances in mm^2 to um^2.
double SquareMicrometres(double mm2) { return mm2 * 1.0e6; }

int RunCheck(const CheckOptions& o) {
  const DataCheckReport r = CheckCalibrationDataFile(o.data);
  const bool fitted = r.result == "OK" && r.sphere_result == "OK";

  if (o.json) {
    Json j = {{"result", r.result},
              {"file", o.data},
              {"layout", r.layout},
              {"samples", r.samples},
              {"sphere_result", r.sphere_result}};
    if (fitted) {
      j["sphere"] = {{"centre", r.centre},
                     {"radius", r.radius},
                     {"deviation_min_um", Micrometres(r.deviation_min)},
                     {"deviation_max_um", Micrometres(r.deviation_max)},
                     {"deviation_variance_um2", SquareMicrometres(r.deviation_variance)}};
      j["scans"] = r.scans;
      j["planes"] = r.planes;
      j["bidirectional_planes"] = r.bidirectional_planes;
    }
    j["accepted"] = r.accepted;
    PrintJson(j);
  }
  if (r.result != "OK") return Fail(r.result);
  if (o.json) return r.sphere_result == "OK" ? kExitOk : Fail(r.sphere_result);

  PrintField("Data", o.data + " (" + r.layout + " layout)");
  PrintField("Samples", std::to_string(r.samples));
  PrintField("Sphere fit", r.sphere_result);
  if (r.sphere_result != "OK") return Fail(r.sphere_result);
  PrintField("Sphere centre", FormatTriple("%.6f", r.centre) + " mm");
  PrintField("Sphere radius", Format("%.6f", r.radius) + " mm");
  PrintField("Deviation", "min " + Format("%.4f", Micrometres(r.deviation_min)) + " \u00b5m, max " +
                              Format("%.4f", Micrometres(r.deviation_max)) + " \u00b5m, variance " +
                              Format("%.4f", SquareMicrometres(r.deviation_variance)) +
                              " \u00b5m\u00b2");
  PrintField("Scans", std::to_string(r.scans));
  PrintField("Planes", std::to_string(r.planes) + " (" + std::to_string(r.bidirectional_planes) +
                           " scanned in both senses)");
  PrintField("Accepted", r.accepted ? "yes"
                                    : "no: a calibration needs at least three planes "
                                      "scanned in both senses");
  return kExitOk;
}

}  // namespace

Command AddCheck(CLI::App& app) {
  auto o = std::make_shared<CheckOptions>();
  CLI::App* sub = app.add_subcommand(
      "check", "Check a data file: layout, samples, fitted sphere and scan planes");
  sub->add_option("DATA", o->data, "Calibration data file")->required()->check(CLI::ExistingFile);
  sub->add_flag("--json", o->json, "Print the report as one JSON object");
  AddDecimalCommaOption(*sub);
  return {sub, [o] { return RunCheck(*o); }};
}

}  // namespace tavric::cli
