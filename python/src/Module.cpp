// The Python module tavric (imported through the package's __init__.py as
// tavric._tavric): calibrations of analogue scanning probes from scans of a
// reference sphere, on the library's modern API (tavric/Calibration.h).
//
//   import tavric
//   cal = tavric.calibrate("scan.txt", order=3)      # or an (N, 6) array
//   cal.statistics["rms"], cal.residuals, cal.covariance, cal.warnings
//   d = cal.transform(readings)                       # (N, 3) -> (N, 3), mm
//   cal.save("scan.cal"); tavric.load("scan.cal")
//   data, truth = tavric.simulate(samples=6000, seed=3)
//   tavric.verify(tavric.calibrate(data), truth, data)
//
// Every library failure raises tavric.CalibrationError with the library's
// text (.text), its stable code name (.code) and number (.code_number).
// Fits, loads and batch transforms release the GIL. See docs/python.md.
#include <pybind11/pybind11.h>

#include "Bindings.h"
#include "Records.h"

namespace tavric::python {

void BindErrors(py::module_& m) {
  // Never released: the module holds it too, and a static py::object would
  // be released after the interpreter has gone.
  static PyObject* type = PyErr_NewExceptionWithDoc(
      "tavric.CalibrationError",
      "A failure of the library: .text is its failure text, unchanged; .code the stable name of "
      "its kind (e.g. 'scan-path-rejected'), .code_number its number; .run_report how the "
      "failed fit went (a dict) when the failure came from one, else None.",
      nullptr, nullptr);
  if (type == nullptr) throw py::error_already_set();
  m.add_object("CalibrationError", py::reinterpret_borrow<py::object>(type));

  py::register_exception_translator([](std::exception_ptr failure) {
    try {
      if (failure) std::rethrow_exception(failure);
    } catch (const Error& e) {
      py::object error = py::reinterpret_borrow<py::object>(type)(e.text());
      error.attr("text") = e.text();
      error.attr("code") = to_string(e.code());
      error.attr("code_number") = static_cast<int>(e.code());
      error.attr("run_report") =
          e.report() != nullptr ? py::object(RunReportDict(*e.report())) : py::object(py::none());
      PyErr_SetObject(type, error.ptr());
    }
  });
}

}  // namespace tavric::python

PYBIND11_MODULE(_tavric, m) {
  namespace python = tavric::python;
  m.doc() = "Calibration of analogue scanning probes from scans of a reference sphere.";
  m.attr("__version__") = TAVRIC_VERSION_TEXT;
  python::BindErrors(m);
  python::BindCalibration(m);
  python::BindSimulation(m);
}
