// tavric.simulate, the Truth class, tavric.verify and the data files
// (tavric.read_data, tavric.write_data).
#include <pybind11/stl.h>

#include <array>
#include <vector>

#include "Arrays.h"
#include "Bindings.h"
#include "Keywords.h"
#include "Records.h"
#include "tavric/DataFile.h"
#include "tavric/ScanSimulator.h"
#include "tavric/Verification.h"

namespace tavric::python {
namespace {

using sim::DeflectionProfile;
using sim::GroundTruth;
using sim::NoiseModel;
using sim::ScanPlan;
using sim::Scenario;
using sim::TrueCalibration;

// Every field of the scenario, flat: the plan's, the true calibration's, the
// deflection profile's and the noise's.
const Keyword<Scenario> kScenarioKeywords[] = {
    {"samples", SetIn<Scenario, &Scenario::plan, &ScanPlan::total_samples>},
    {"points_per_scan", SetIn<Scenario, &Scenario::plan, &ScanPlan::points_per_scan>},
    {"centre", SetIn<Scenario, &Scenario::plan, &ScanPlan::centre>},
    {"radius", SetIn<Scenario, &Scenario::plan, &ScanPlan::radius>},
    {"planes", SetIn<Scenario, &Scenario::plan, &ScanPlan::planes>},
    {"first_azimuth_deg", SetIn<Scenario, &Scenario::plan, &ScanPlan::first_azimuth_deg>},
    {"include_equator", SetIn<Scenario, &Scenario::plan, &ScanPlan::include_equator>},
    {"arc_deg", SetIn<Scenario, &Scenario::plan, &ScanPlan::arc_deg>},
    {"arc_centre_elevation_deg",
     SetIn<Scenario, &Scenario::plan, &ScanPlan::arc_centre_elevation_deg>},
    {"order", SetIn<Scenario, &Scenario::calibration, &TrueCalibration::order>},
    {"gain", SetIn<Scenario, &Scenario::calibration, &TrueCalibration::gain>},
    {"gain_factors", SetIn<Scenario, &Scenario::calibration, &TrueCalibration::gain_factors>},
    {"cross_talk", SetIn<Scenario, &Scenario::calibration, &TrueCalibration::cross_talk>},
    {"rotation_deg", SetIn<Scenario, &Scenario::calibration, &TrueCalibration::rotation_deg>},
    {"second_order", SetIn<Scenario, &Scenario::calibration, &TrueCalibration::second_order>},
    {"third_order", SetIn<Scenario, &Scenario::calibration, &TrueCalibration::third_order>},
    {"full_deflection_mm",
     SetIn<Scenario, &Scenario::calibration, &TrueCalibration::full_deflection_mm>},
    {"offsets", SetIn<Scenario, &Scenario::calibration, &TrueCalibration::offsets>},
    {"deflection_mm", SetIn<Scenario, &Scenario::deflection, &DeflectionProfile::mean_mm>},
    {"variation", SetIn<Scenario, &Scenario::deflection, &DeflectionProfile::variation>},
    {"cycles", SetIn<Scenario, &Scenario::deflection, &DeflectionProfile::cycles>},
    {"friction", SetIn<Scenario, &Scenario::deflection, &DeflectionProfile::friction>},
    {"counts_sigma", SetIn<Scenario, &Scenario::noise, &NoiseModel::counts_sigma>},
    {"position_sigma_um", SetIn<Scenario, &Scenario::noise, &NoiseModel::position_sigma_um>},
    {"seed", SetIn<Scenario, &Scenario::noise, &NoiseModel::seed>},
};

// (N, 6) rows from a data array (1 To 6, 1 To N).
py::array_t<double> RowsOf(const DataArray& data) {
  const std::int32_t n = data.Allocated() ? data.Extent2() : 0;
  py::array_t<double> out({static_cast<py::ssize_t>(n), py::ssize_t{6}});
  double* v = out.mutable_data();
  for (std::int32_t k = 0; k < n; ++k)
    for (std::int32_t f = 0; f < 6; ++f) *v++ = data(data.LBound(1) + f, data.LBound(2) + k);
  return out;
}

DataArray ReadData(const std::filesystem::path& path) {
  DataArray data;
  const std::string read = ReadCalibrationDataFile(path.string(), data);
  if (read != "OK") throw Error(ErrorCode::kReadFailed, read);
  return data;
}

// (N, 3) rows from a table (1 To 3, 1 To N); (0, 3) when it is empty.
py::array_t<double> TripleRowsOf(const Array2<double>& table, std::int32_t first_column = 0) {
  std::vector<Vec3> rows;
  if (table.Allocated())
    for (std::int32_t t = table.LBound(2) + first_column; t <= table.UBound(2); ++t)
      rows.push_back({table(1, t), table(2, t), table(3, t)});
  return Triples(rows);
}

// The powers of the truth's terms but the constant one, in its coefficient
// table's order (the power of P outermost, the power of R innermost).
py::array_t<int> TruthPowers(const GroundTruth& truth) {
  std::vector<int> powers;
  for (int i = 0; i <= truth.order; ++i)
    for (int j = 0; j <= truth.order - i; ++j)
      for (int k = 0; k <= truth.order - i - j; ++k) powers.insert(powers.end(), {i, j, k});
  const auto terms = static_cast<py::ssize_t>(powers.size() / 3) - 1;
  py::array_t<int> out({terms, py::ssize_t{3}});
  std::copy(powers.begin() + 3, powers.end(), out.mutable_data());
  return out;
}

py::list ScanList(const std::vector<sim::ScanInfo>& scans) {
  py::list list;
  for (const sim::ScanInfo& s : scans) {
    py::dict d;
    d["first_sample"] = s.first_sample;
    d["sample_count"] = s.sample_count;
    d["plane"] = s.plane;
    d["sense"] = s.sense;
    d["plane_normal"] = Triple(s.plane_normal);
    list.append(d);
  }
  return list;
}

py::tuple Simulate(const py::kwargs& keywords) {
  Scenario scenario;
  ApplyKeywords<Scenario>(scenario, keywords, kScenarioKeywords, "simulate()");
  sim::SimulatedData simulated;
  {
    const py::gil_scoped_release release;
    simulated = sim::Simulate(scenario);
  }
  return py::make_tuple(RowsOf(simulated.data), std::move(simulated.truth));
}

GroundTruth TruthOf(const py::handle& truth) {
  if (py::isinstance<GroundTruth>(truth)) return truth.cast<GroundTruth>();
  if (IsPath(truth)) return sim::ReadTruthJson(PathOf(truth).string());
  throw py::type_error("truth must be a tavric.Truth or the path of a truth file");
}

py::dict Verify(const Calibration& calibration, const py::object& truth_object,
                const py::object& data, double reach) {
  const GroundTruth truth = TruthOf(truth_object);
  std::vector<Sample> samples;
  const py::object rows = IsPath(data) ? py::object(RowsOf(ReadData(PathOf(data)))) : data;
  if (!rows.is_none()) samples = SamplesOf(SampleRows(rows));
  VerificationReport report;
  {
    const py::gil_scoped_release release;
    report = verify(calibration, truth, samples, reach);
  }
  return VerificationDict(report);
}

void WriteData(const py::object& path_object, const py::object& data, const std::string& layout) {
  if (layout != "marked" && layout != "generic")
    throw py::value_error("layout must be 'marked' or 'generic'; got '" + layout + "'");
  const std::string path = PathOf(path_object).string();
  const DoubleArray rows = SampleRows(data);
  const auto n = static_cast<std::int32_t>(rows.shape(0));
  DataArray array(1, 6, 1, n);
  const double* v = rows.data();
  for (std::int32_t k = 1; k <= n; ++k)
    for (std::int32_t f = 1; f <= 6; ++f) array(f, k) = *v++;
  const std::string result = layout == "marked" ? sim::WriteMarkedDataFile(path, array)
                                                : sim::WriteGenericDataFile(path, array);
  if (result != "OK") throw Error(ErrorCode::kSaveFailed, result);
}

}  // namespace

void BindSimulation(py::module_& m) {
  py::class_<GroundTruth>(m, "Truth", R"(What a calibration of a simulated scan should find.

Returned by tavric.simulate() and tavric.load_truth(). The per-sample arrays
(deflections, normals) are empty for a truth read from a file.)")
      .def_property_readonly(
          "centre", [](const GroundTruth& t) { return Triple(t.centre); }, "Sphere centre (mm).")
      .def_property_readonly(
          "radius", [](const GroundTruth& t) { return t.radius; }, "Effective sphere radius (mm).")
      .def_property_readonly(
          "order", [](const GroundTruth& t) { return t.order; }, "Order of the true polynomial.")
      .def_property_readonly(
          "coefficients", [](const GroundTruth& t) { return TripleRowsOf(t.coefficients, 1); },
          "(terms, 3) true coefficients of every term but the constant one, as in "
          "Calibration.coefficients.")
      .def_property_readonly("powers", &TruthPowers,
                             "(terms, 3) powers of P, Q, R of the terms of `coefficients`.")
      .def_property_readonly(
          "offsets", [](const GroundTruth& t) { return Triple(t.offsets); },
          "Probe offsets (counts).")
      .def_property_readonly(
          "linear",
          [](const GroundTruth& t) {
            const sim::Matrix3& l = t.linear;
            return Matrix(std::array<double, 9>{l[0][0], l[0][1], l[0][2], l[1][0], l[1][1],
                                                l[1][2], l[2][0], l[2][1], l[2][2]},
                          3, 3);
          },
          "(3, 3) first-order part (mm per count).")
      .def_property_readonly(
          "deflections", [](const GroundTruth& t) { return TripleRowsOf(t.deflections); },
          "(N, 3) exact deflection of every sample (mm).")
      .def_property_readonly(
          "normals", [](const GroundTruth& t) { return TripleRowsOf(t.normals); },
          "(N, 3) outward unit normal at every sample's tip centre.")
      .def_property_readonly(
          "scans", [](const GroundTruth& t) { return ScanList(t.scans); },
          "List of {'first_sample', 'sample_count', 'plane', 'sense', 'plane_normal'}.")
      .def_property_readonly(
          "seed", [](const GroundTruth& t) { return t.seed; }, "Seed of the noise.")
      .def(
          "save",
          [](const GroundTruth& t, const py::object& path) {
            const std::string result = sim::WriteTruthJson(PathOf(path).string(), t);
            if (result != "OK") throw Error(ErrorCode::kSaveFailed, result);
          },
          py::arg("path"), "Writes the truth file (JSON) that tavric verify --truth reads.")
      .def("__repr__", [](const GroundTruth& t) {
        return "<tavric.Truth order=" + std::to_string(t.order) + " samples=" +
               std::to_string(t.deflections.Allocated() ? t.deflections.Extent2() : 0) + ">";
      });

  m.def("simulate", &Simulate, R"(Simulates a calibration scan; returns (data, truth).

data is an (N, 6) array P, Q, R, X, Y, Z and truth a tavric.Truth. Keywords
(defaults those of tavric::sim::Scenario): samples, points_per_scan, centre,
radius, planes, first_azimuth_deg, include_equator, arc_deg,
arc_centre_elevation_deg; order, gain, gain_factors, cross_talk, rotation_deg,
second_order, third_order, full_deflection_mm, offsets; deflection_mm,
variation, cycles, friction; counts_sigma, position_sigma_um, seed.
Invalid settings raise ValueError.)");
  m.def(
      "load_truth",
      [](const py::object& path) { return sim::ReadTruthJson(PathOf(path).string()); },
      py::arg("path"), "Reads a truth file written by Truth.save or tavric simulate --truth.");
  m.def("verify", &Verify, py::arg("calibration"), py::arg("truth"), py::arg("data") = py::none(),
        py::arg("reach") = kDefaultVerificationReach,
        R"(Compares a calibration with the truth it should have found; returns a dict.

truth: a tavric.Truth or the path of a truth file. data: None, an (N, 6)
array or a data file's path; with data the deflection error is measured at
its samples, along and across the sphere's normal, else at readings whose
true deflection reaches `reach` mm in every direction. Lengths in mm.)");
  m.def(
      "read_data", [](const py::object& path) { return RowsOf(ReadData(PathOf(path))); },
      py::arg("path"),
      "Reads a data file (marked or generic layout) into an (N, 6) array P, Q, R, X, Y, Z.");
  m.def("write_data", &WriteData, py::arg("path"), py::arg("data"), py::arg("layout") = "marked",
        "Writes an (N, 6) array as a data file, layout 'marked' or 'generic'.");
}

}  // namespace tavric::python
