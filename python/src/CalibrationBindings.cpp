// tavric.calibrate, tavric.load and the Calibration class.
//
// A fit, a load and a batch of transforms run without the GIL: the arguments
// are converted first, then the library runs while other Python threads go
// on (each fit runs the engine in a context of its own, so fits on several
// threads run side by side), and the results are converted back with the GIL
// held again.
#include <pybind11/stl.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "Arrays.h"
#include "Bindings.h"
#include "Keywords.h"
#include "Records.h"

namespace tavric::python {
namespace {

ConvergenceTest ConvergenceNamed(const std::string& name) {
  if (name == "gradient") return ConvergenceTest::kGradient;
  if (name == "parameters") return ConvergenceTest::kParameters;
  if (name == "both") return ConvergenceTest::kBoth;
  throw Error(ErrorCode::kInvalidOption,
              "Invalid option convergence = " + name + ": it is gradient, parameters or both.");
}

// The settings of a member struct, given as a dict.
py::dict DictOf(const py::handle& value) {
  if (!py::isinstance<py::dict>(value)) throw py::cast_error();
  return py::reinterpret_borrow<py::dict>(value);
}

const Keyword<HeadOrientation> kHeadKeywords[] = {
    {"a_deg", Set<HeadOrientation, &HeadOrientation::a_deg>},
    {"b_deg", Set<HeadOrientation, &HeadOrientation::b_deg>},
    {"a_axis", Set<HeadOrientation, &HeadOrientation::a_axis>},
    {"b_axis", Set<HeadOrientation, &HeadOrientation::b_axis>},
};

using Thresholds = WarningThresholds;
const Keyword<Thresholds> kThresholdKeywords[] = {
    {"normal_uncertainty", Set<Thresholds, &Thresholds::normal_uncertainty>},
    {"across_uncertainty", Set<Thresholds, &Thresholds::across_uncertainty>},
    {"deflection_variation", Set<Thresholds, &Thresholds::deflection_variation>},
    {"plane_spread", Set<Thresholds, &Thresholds::plane_spread>},
    {"last_step_share", Set<Thresholds, &Thresholds::last_step_share>},
    {"residual_autocorrelation", Set<Thresholds, &Thresholds::residual_autocorrelation>},
    {"outlier_fraction", Set<Thresholds, &Thresholds::outlier_fraction>},
};

// Every field of tavric::Options but the order (an argument of its own).
const Keyword<Options> kOptionKeywords[] = {
    {"initial_probe_gain", Set<Options, &Options::initial_probe_gain>},
    {"max_iterations", Set<Options, &Options::max_iterations>},
    {"convergence",
     [](Options& o, const py::handle& v) {
       o.convergence = ConvergenceNamed(v.cast<std::string>());
     }},
    {"gradient_tolerance", Set<Options, &Options::gradient_tolerance>},
    {"sphere_tolerance", Set<Options, &Options::sphere_tolerance>},
    {"polynomial_tolerance", Set<Options, &Options::polynomial_tolerance>},
    {"mu", Set<Options, &Options::mu>},
    {"nu", Set<Options, &Options::nu>},
    {"head",
     [](Options& o, const py::handle& v) {
       ApplyKeywords<HeadOrientation>(o.head, DictOf(v), kHeadKeywords, "calibrate(head=...)");
     }},
    {"probe_offsets", Set<Options, &Options::probe_offsets>},
    {"known_radius", Set<Options, &Options::known_radius>},
    {"thresholds",
     [](Options& o, const py::handle& v) {
       ApplyKeywords<Thresholds>(o.thresholds, DictOf(v), kThresholdKeywords,
                                 "calibrate(thresholds=...)");
     }},
    {"bootstrap_fits", Set<Options, &Options::bootstrap_fits>},
    {"bootstrap_seed", Set<Options, &Options::bootstrap_seed>},
    {"bootstrap_threads", Set<Options, &Options::bootstrap_threads>},
    {"show_progress", Set<Options, &Options::show_progress>},
};

Options OptionsFrom(int order, const py::kwargs& keywords) {
  Options options;
  options.order = order;
  ApplyKeywords<Options>(options, keywords, kOptionKeywords, "calibrate()");
  return options;
}

Calibration Calibrate(const py::object& data, int order, const py::kwargs& keywords) {
  const Options options = OptionsFrom(order, keywords);
  if (IsPath(data)) {
    const std::filesystem::path path = PathOf(data);
    const py::gil_scoped_release release;
    return calibrate_file(path, options);
  }
  const DoubleArray rows = SampleRows(data);
  const std::span<const double> values(rows.data(), static_cast<std::size_t>(rows.size()));
  const py::gil_scoped_release release;
  return calibrate(values, options);
}

Calibration Load(const py::object& path_object) {
  const std::filesystem::path path = PathOf(path_object);
  const py::gil_scoped_release release;
  return load(path);
}

py::array_t<double> Transform(const Calibration& cal, const py::object& readings) {
  const Readings in = ReadingsFrom(readings);
  std::vector<Vec3> out(in.triples.size());
  {
    const py::gil_scoped_release release;
    cal.deflections(in.triples, out);
  }
  return in.single ? Triple(out.front()) : Triples(out);
}

py::array_t<double> DeflectionCovariance(const Calibration& cal, const py::object& readings) {
  const Readings in = ReadingsFrom(readings);
  std::vector<double> out;
  out.reserve(9 * in.triples.size());
  {
    const py::gil_scoped_release release;
    for (const Vec3& r : in.triples)
      for (const Vec3& row : cal.deflection_covariance(r))
        out.insert(out.end(), row.begin(), row.end());
  }
  if (in.single) return Matrix(out, 3, 3);
  py::array_t<double> stack(
      {static_cast<py::ssize_t>(in.triples.size()), py::ssize_t{3}, py::ssize_t{3}});
  std::copy(out.begin(), out.end(), stack.mutable_data());
  return stack;
}

py::array_t<double> Coefficients(const Calibration& cal) {
  const std::vector<Term> terms = cal.terms();
  std::vector<Vec3> rows;
  for (const Term& t : terms) rows.push_back(t.coefficients);
  return Triples(rows);
}

py::array_t<int> Powers(const Calibration& cal) {
  const std::vector<Term> terms = cal.terms();
  py::array_t<int> out({static_cast<py::ssize_t>(terms.size()), py::ssize_t{3}});
  int* p = out.mutable_data();
  for (const Term& t : terms) {
    *p++ = t.p;
    *p++ = t.q;
    *p++ = t.r;
  }
  return out;
}

py::object Covariance(const Calibration& cal) {
  const FitUncertainty& u = cal.uncertainty();
  if (!u.available) return py::none();
  const auto n = static_cast<std::size_t>(u.parameters);
  return Matrix(u.covariance, n, n);
}

std::string Repr(const Calibration& cal) {
  const RunReport& report = cal.run_report();
  char text[256];
  if (report.result.empty()) {
    std::snprintf(text, sizeof text, "<tavric.Calibration order=%d radius=%.6f mm (loaded)>",
                  cal.order(), cal.sphere().radius);
  } else {
    std::snprintf(text, sizeof text,
                  "<tavric.Calibration order=%d samples=%d FitRMS=%.4f um radius=%.6f mm "
                  "(%s after %d iterations) warnings=%zu>",
                  cal.order(), report.samples, cal.statistics().rms * 1000.0, cal.sphere().radius,
                  ToString(report.stop_reason), report.outer_iterations, cal.warnings().size());
  }
  return text;
}

}  // namespace

void BindCalibration(py::module_& m) {
  py::class_<Calibration>(m, "Calibration", R"(A calibration of an analogue scanning probe.

Made by tavric.calibrate() or tavric.load(); immutable. Lengths are in mm,
readings in counts. Structured results (statistics, warnings, uncertainty,
run_report) are plain dicts keyed by the C++ field names.)")
      .def_property_readonly("order", &Calibration::order, "Order of the polynomial, 1 to 3.")
      .def_property_readonly("coefficients", &Coefficients,
                             "(terms, 3) X, Y, Z coefficients of every term but the constant "
                             "one, in the calibration file's order (mm per count^degree).")
      .def_property_readonly("powers", &Powers,
                             "(terms, 3) powers of P, Q, R of the terms of `coefficients`.")
      .def_property_readonly(
          "centre", [](const Calibration& c) { return Triple(c.sphere().centre); },
          "Centre of the fitted reference sphere (mm).")
      .def_property_readonly(
          "radius", [](const Calibration& c) { return c.sphere().radius; },
          "Radius of the reference sphere (mm): fitted, or the known radius held.")
      .def_property_readonly(
          "statistics", [](const Calibration& c) { return StatisticsDict(c.statistics()); },
          "{'rms', 'min', 'max'} of the residuals (mm).")
      .def_property_readonly(
          "probe_offsets", [](const Calibration& c) { return Triple(c.probe_offsets()); },
          "Probe offsets (counts): the readings at zero deflection.")
      .def_property_readonly(
          "residuals", [](const Calibration& c) { return Vector(c.residuals()); },
          "(N,) residual of every sample in data order (mm); empty when loaded.")
      .def_property_readonly(
          "samples", [](const Calibration& c) { return c.run_report().samples; },
          "Number of samples fitted; 0 when loaded.")
      .def_property_readonly(
          "stop_reason", [](const Calibration& c) { return ToString(c.run_report().stop_reason); },
          "How the optimiser ended: 'converged', 'iteration limit' ('not run' when loaded).")
      .def_property_readonly("covariance", &Covariance,
                             "(n, n) covariance of the fitted parameters (units of the "
                             "calibration file), or None without uncertainty (loaded).")
      .def_property_readonly(
          "parameter_names", [](const Calibration& c) { return c.uncertainty().parameter_names; },
          "Names of the rows and columns of `covariance`.")
      .def_property_readonly(
          "warnings", [](const Calibration& c) { return WarningList(c.warnings()); },
          "List of {'code', 'text', 'value', 'limit'}: why the fit may be less trustworthy "
          "than its 'OK' says.")
      .def_property_readonly(
          "uncertainty", [](const Calibration& c) { return UncertaintyDict(c.uncertainty()); },
          "The uncertainty block: {'available': False, 'note'} or every figure (mm).")
      .def_property_readonly(
          "run_report", [](const Calibration& c) { return RunReportDict(c.run_report()); },
          "How the fit went: samples, planes, iterations, stop reason, residuals...")
      .def("transform", &Transform, py::arg("readings"),
           "Physical deflection (mm) at raw readings (counts): one P, Q, R triple gives (3,), "
           "an (N, 3) array gives (N, 3).")
      .def("deflection_covariance", &DeflectionCovariance, py::arg("readings"),
           "Covariance (mm^2) of the deflection at raw readings: (3, 3) for one triple, "
           "(N, 3, 3) for an (N, 3) array. Raises CalibrationError (no-uncertainty) for a "
           "loaded calibration.")
      .def(
          "save", [](const Calibration& c, const py::object& path) { c.save(PathOf(path)); },
          py::arg("path"), "Writes the calibration file.")
      .def("__repr__", &Repr);

  m.def("calibrate", &Calibrate, py::arg("data"), py::arg("order") = Options{}.order,
        R"(Calibrates from samples and returns a Calibration.

data: an (N, 6) array of samples P, Q, R (counts), X, Y, Z (mm), or the path of
a data file (marked or generic layout). order: 1, 2 or 3.
Options (keywords, defaults those of tavric::Options): initial_probe_gain,
max_iterations, convergence ('gradient', 'parameters', 'both'),
gradient_tolerance, sphere_tolerance, polynomial_tolerance, mu, nu,
head={'a_deg', 'b_deg', 'a_axis', 'b_axis'}, probe_offsets, known_radius (mm
or None), thresholds={'normal_uncertainty', 'across_uncertainty',
'deflection_variation', 'plane_spread', 'last_step_share',
'residual_autocorrelation', 'outlier_fraction'}, bootstrap_fits,
bootstrap_seed, bootstrap_threads, show_progress.
Raises CalibrationError with the library's text on failure.)");
  m.def("load", &Load, py::arg("path"), "Reads a calibration file into a Calibration.");
}

}  // namespace tavric::python
