// numpy arrays in and out of the Python module.
//
// In: data as rows of six values P, Q, R, X, Y, Z, readings as rows of three
// values P, Q, R. Any real numeric array-like (float of any width, integer,
// C or Fortran order, a list of lists) is accepted and converted to a
// C-ordered float64 array, copied only when it is not one already. A shape
// other than the one expected raises ValueError naming it; a non-numeric
// dtype raises TypeError. The values themselves (NaN, infinity, sample
// counts) are for the library to judge, so its own error texts reach Python.
//
// Out: every array returned owns its memory (a fresh copy), so it stays
// valid whatever becomes of the object it came from.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "tavric/Calibration.h"

namespace tavric::python {

namespace py = pybind11;

using DoubleArray = py::array_t<double, py::array::c_style | py::array::forcecast>;

// An (N, 6) array of samples (the name is used in error messages).
DoubleArray SampleRows(const py::handle& data, const char* name = "data");

// Readings P, Q, R: one triple (shape (3,)) or an (N, 3) array, as N rows.
struct Readings {
  std::vector<Vec3> triples;
  bool single = false;  // given as one triple
};
Readings ReadingsFrom(const py::handle& readings, const char* name = "readings");

// The samples of an (N, 6) array of rows.
std::vector<Sample> SamplesOf(const DoubleArray& rows);

// Whether an object names a file (str, bytes or os.PathLike), and the path.
bool IsPath(const py::handle& object);
std::filesystem::path PathOf(const py::handle& object);

// New arrays holding copies of the values.
py::array_t<double> Vector(std::span<const double> values);
py::array_t<double> Matrix(std::span<const double> row_major, std::size_t rows, std::size_t cols);
py::array_t<double> Triple(const Vec3& v);
// (N, 3) from N triples.
py::array_t<double> Triples(std::span<const Vec3> rows);

}  // namespace tavric::python
