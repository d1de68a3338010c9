// The parts of the Python module tavric, each adding its functions and
// classes to the module.
#pragma once

#include <pybind11/pybind11.h>

namespace tavric::python {

namespace py = pybind11;

// CalibrationError, raised for every tavric::Error.
void BindErrors(py::module_& m);
// calibrate, load and the Calibration class.
void BindCalibration(py::module_& m);
// simulate, the Truth class, verify, read_data and write_data.
void BindSimulation(py::module_& m);

}  // namespace tavric::python
