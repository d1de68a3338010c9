#include "Arrays.h"

#include <algorithm>

namespace tavric::python {
namespace {

std::string ShapeOf(const py::array& a) { return py::str(a.attr("shape")).cast<std::string>(); }

// The object as a numpy array of real numbers (a view when it is one).
py::array AsRealArray(const py::handle& object, const char* name) {
  py::array a = py::module_::import("numpy").attr("asarray")(object);
  const char kind = a.dtype().kind();
  if (kind != 'f' && kind != 'i' && kind != 'u')
    throw py::type_error(std::string(name) + " must hold real numbers; got dtype " +
                         py::str(a.dtype()).cast<std::string>());
  return a;
}

DoubleArray AsDoubles(const py::array& a) {
  DoubleArray out = DoubleArray::ensure(a);
  if (!out) throw py::error_already_set();
  return out;
}

}  // namespace

DoubleArray SampleRows(const py::handle& data, const char* name) {
  const py::array a = AsRealArray(data, name);
  if (a.ndim() != 2 || a.shape(1) != 6)
    throw py::value_error(std::string(name) +
                          " must be an (N, 6) array of samples P, Q, R, X, Y, Z; got shape " +
                          ShapeOf(a));
  return AsDoubles(a);
}

Readings ReadingsFrom(const py::handle& readings, const char* name) {
  const py::array a = AsRealArray(readings, name);
  const bool single = a.ndim() == 1 && a.shape(0) == 3;
  if (!single && (a.ndim() != 2 || a.shape(1) != 3))
    throw py::value_error(std::string(name) +
                          " must be one reading P, Q, R or an (N, 3) array of them; got shape " +
                          ShapeOf(a));
  const DoubleArray rows = AsDoubles(a);
  const double* values = rows.data();
  Readings out{std::vector<Vec3>(single ? 1 : static_cast<std::size_t>(a.shape(0))), single};
  for (std::size_t i = 0; i < out.triples.size(); ++i)
    std::copy_n(values + 3 * i, 3, out.triples[i].begin());
  return out;
}

std::vector<Sample> SamplesOf(const DoubleArray& rows) {
  const double* v = rows.data();
  std::vector<Sample> samples(static_cast<std::size_t>(rows.shape(0)));
  for (Sample& s : samples) {
    s = {v[0], v[1], v[2], v[3], v[4], v[5]};
    v += 6;
  }
  return samples;
}

bool IsPath(const py::handle& object) {
  if (py::isinstance<py::str>(object) || py::isinstance<py::bytes>(object)) return true;
  return py::isinstance(object, py::module_::import("os").attr("PathLike"));
}

std::filesystem::path PathOf(const py::handle& object) {
  // The file system's own bytes, whatever the file name's encoding.
  const py::bytes bytes = py::module_::import("os").attr("fsencode")(object);
  return std::filesystem::path(bytes.cast<std::string>());
}

py::array_t<double> Vector(std::span<const double> values) {
  py::array_t<double> out(static_cast<py::ssize_t>(values.size()));
  std::copy(values.begin(), values.end(), out.mutable_data());
  return out;
}

py::array_t<double> Matrix(std::span<const double> row_major, std::size_t rows, std::size_t cols) {
  py::array_t<double> out({static_cast<py::ssize_t>(rows), static_cast<py::ssize_t>(cols)});
  std::copy_n(row_major.begin(), rows * cols, out.mutable_data());
  return out;
}

py::array_t<double> Triple(const Vec3& v) { return Vector(v); }

py::array_t<double> Triples(std::span<const Vec3> rows) {
  py::array_t<double> out({static_cast<py::ssize_t>(rows.size()), py::ssize_t{3}});
  double* v = out.mutable_data();
  for (const Vec3& row : rows) v = std::copy(row.begin(), row.end(), v);
  return out;
}

}  // namespace tavric::python
