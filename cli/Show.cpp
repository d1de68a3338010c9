// tavric show: prints a saved calibration.
#include <iostream>
#include <memory>

#include "Commands.h"
#include "LoadCalibration.h"

namespace tavric::cli {
namespace {

struct ShowOptions {
  std::string calibration;
  bool json = false;
};

std::string Column(const std::string& text, std::size_t width) {
  return text.size() >= width ? text : std::string(width - text.size(), ' ') + text;
}

int RunShow(const ShowOptions& o) {
  const std::optional<Calibration> loaded =
      LoadOrExplain(o.calibration, o.json, "show", o.calibration, nullptr);
  if (!loaded) return kExitFailure;
  const Calibration& cal = *loaded;
  const Triple& offsets = cal.probe_offsets();
  const std::vector<Term> terms = cal.terms();

  if (o.json) {
    // Every term of the file, the constant one (the negated offsets) first.
    Json list = Json::array();
    list.push_back({{"powers", {0, 0, 0}},
                    {"coefficients", {-offsets[0] + 0.0, -offsets[1] + 0.0, -offsets[2] + 0.0}}});
    for (const Term& t : terms)
      list.push_back({{"powers", {t.p, t.q, t.r}}, {"coefficients", t.coefficients}});
    Json j = JsonHead("show", o.calibration, nullptr, nullptr);
    j["result"] = "OK";
    j["file"] = o.calibration;
    j["order"] = cal.order();
    j["offsets"] = offsets;
    j["sphere"] = {{"centre", cal.sphere().centre}, {"radius", cal.sphere().radius}};
    j["fit_rms_um"] = Micrometres(cal.statistics().rms);
    j["fit_min_um"] = Micrometres(cal.statistics().min);
    j["fit_max_um"] = Micrometres(cal.statistics().max);
    j["terms"] = list;
    PrintJson(j);
    return kExitOk;
  }

  PrintField("Calibration", o.calibration);
  PrintField("Order", std::to_string(cal.order()));
  PrintField("Probe offsets", FormatTriple("%.15g", offsets) + " counts");
  PrintField("Sphere centre", FormatTriple("%.6f", cal.sphere().centre) + " mm");
  PrintField("Sphere radius", Format("%.6f", cal.sphere().radius) + " mm");
  PrintField("FitRMS", Format("%.4f", Micrometres(cal.statistics().rms)) + " \u00b5m");
  PrintField("FitMin", Format("%.4f", Micrometres(cal.statistics().min)) + " \u00b5m");
  PrintField("FitMax", Format("%.4f", Micrometres(cal.statistics().max)) + " \u00b5m");
  std::cout << "\nCoefficients (deflection in mm, readings in counts minus the probe offsets):\n";
  constexpr std::size_t kNumber = 23;
  std::cout << "term  P Q R" << Column("X", kNumber) << Column("Y", kNumber) << Column("Z", kNumber)
            << '\n';
  std::cout << Column("1", 4) << "  0 0 0  (the constant term: the probe offsets, negated)\n";
  int number = 2;
  for (const Term& t : terms) {
    std::cout << Column(std::to_string(number++), 4) << "  " << t.p << ' ' << t.q << ' ' << t.r;
    for (double c : t.coefficients) std::cout << Column(Format("%.15g", c), kNumber);
    std::cout << '\n';
  }
  return kExitOk;
}

}  // namespace

Command AddShow(CLI::App& app) {
  auto o = std::make_shared<ShowOptions>();
  CLI::App* sub = app.add_subcommand("show", "Print a saved calibration");
  sub->add_option("CALFILE", o->calibration, "Calibration file")
      ->required()
      ->check(CLI::ExistingFile);
  sub->add_flag("--json", o->json, "Print the calibration as one JSON object");
  return {sub, [o] { return RunShow(*o); }};
}

}  // namespace tavric::cli
