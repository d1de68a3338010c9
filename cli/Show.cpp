// tavric show: prints a saved calibration.
#include <cstdint>
#include <iostream>
#include <memory>

#include "Commands.h"
#include "tavric/ClsProbeCalibration.h"

namespace tavric::cli {
namespace {

struct ShowOptions {
  std::string calibration;
  bool json = false;
};

struct Term {
  std::int16_t p = 0, q = 0, r = 0;
  Triple coefficients{};
};

// Every term of the polynomial in the library's term order: the power of P
// outermost, the power of R innermost.
std::vector<Term> Terms(const ClsProbeCalibration& cal) {
  const int n = cal.PolynomialOrder();
  std::vector<Term> terms;
  for (int i = 0; i <= n; ++i) {
    for (int j = 0; j <= n - i; ++j) {
      for (int k = 0; k <= n - i - j; ++k) {
        Term t;
        t.p = static_cast<std::int16_t>(i);
        t.q = static_cast<std::int16_t>(j);
        t.r = static_cast<std::int16_t>(k);
        cal.GetPolyParameters(t.p, t.q, t.r, t.coefficients[0], t.coefficients[1],
                              t.coefficients[2]);
        terms.push_back(t);
      }
    }
  }
  return terms;
}

std::string Column(const std::string& text, std::size_t width) {
  return text.size() >= width ? text : std::string(width - text.size(), ' ') + text;
}

int RunShow(const ShowOptions& o) {
  ClsProbeCalibration cal;
  const std::string loaded = cal.LoadCalibrationFunctions(o.calibration);
  if (loaded != "OK") return Fail(loaded, o.json, {{"file", o.calibration}});

  Triple offsets{};
  cal.GetProbeOffsets(offsets[0], offsets[1], offsets[2]);
  const Triple centre{cal.SphereCentre(1), cal.SphereCentre(2), cal.SphereCentre(3)};
  const std::vector<Term> terms = Terms(cal);

  if (o.json) {
    Json list = Json::array();
    for (const Term& t : terms) {
      list.push_back({{"powers", {t.p, t.q, t.r}}, {"coefficients", t.coefficients}});
    }
    PrintJson({{"result", loaded},
               {"file", o.calibration},
               {"order", cal.PolynomialOrder()},
               {"offsets", offsets},
               {"sphere", {{"centre", centre}, {"radius", cal.SphereRadius()}}},
               {"fit_rms_um", Micrometres(cal.FitRMS())},
               {"fit_min_um", Micrometres(cal.FitMin())},
               {"fit_max_um", Micrometres(cal.FitMax())},
               {"terms", list}});
    return kExitOk;
  }

  PrintField("Calibration", o.calibration);
  PrintField("Order", std::to_string(cal.PolynomialOrder()));
  PrintField("Probe offsets", FormatTriple("%.15g", offsets) + " counts");
  PrintField("Sphere centre", FormatTriple("%.6f", centre) + " mm");
  PrintField("Sphere radius", Format("%.6f", cal.SphereRadius()) + " mm");
  PrintField("FitRMS", Format("%.4f", Micrometres(cal.FitRMS())) + " \u00b5m");
  PrintField("FitMin", Format("%.4f", Micrometres(cal.FitMin())) + " \u00b5m");
  PrintField("FitMax", Format("%.4f", Micrometres(cal.FitMax())) + " \u00b5m");
  std::cout << "\nCoefficients (deflection in mm, readings in counts):\n";
  constexpr std::size_t kNumber = 23;
  std::cout << "term  P Q R" << Column("X", kNumber) << Column("Y", kNumber) << Column("Z", kNumber)
            << '\n';
  int number = 1;
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
