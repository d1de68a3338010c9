// Keyword arguments that set the fields of a settings struct (tavric::Options,
// tavric::sim::Scenario), one table entry per keyword: the defaults stay
// those of the struct, and a keyword the table does not know raises
// TypeError as Python does for any function.
#pragma once

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <string>
#include <type_traits>

namespace tavric::python {

namespace py = pybind11;

template <typename Target>
struct Keyword {
  const char* name;
  void (*set)(Target& target, const py::handle& value);
};

// The setter of a field (Set<Options, &Options::mu>) or of a field of a
// member struct (SetIn<Scenario, &Scenario::plan, &ScanPlan::radius>): the
// value is converted to the field's type (py::cast_error when it cannot be).
template <typename Target, auto Field>
void Set(Target& target, const py::handle& value) {
  target.*Field = value.template cast<std::remove_cvref_t<decltype(target.*Field)>>();
}
template <typename Target, auto Member, auto Field>
void SetIn(Target& target, const py::handle& value) {
  auto& member = target.*Member;
  member.*Field = value.template cast<std::remove_cvref_t<decltype(member.*Field)>>();
}

[[noreturn]] inline void RaiseWrongType(const std::string& where, const std::string& key,
                                        const py::handle& value) {
  const std::string type = py::str(py::type::of(value).attr("__name__"));
  throw py::type_error(where + ": keyword argument '" + key + "' does not take " + type + " " +
                       std::string(py::repr(value)));
}

// Sets `target` from every (name, value) of `keywords`. `where` names the
// call in messages, e.g. "calibrate()". A value of the wrong type raises
// TypeError naming its keyword.
template <typename Target>
void ApplyKeywords(Target& target, const py::dict& keywords, std::span<const Keyword<Target>> table,
                   const std::string& where) {
  for (const auto& [key_object, value] : keywords) {
    const std::string key = py::str(key_object);
    const auto entry = std::find_if(table.begin(), table.end(), [&](const Keyword<Target>& k) {
      return std::strcmp(k.name, key.c_str()) == 0;
    });
    if (entry == table.end())
      throw py::type_error(where + " got an unexpected keyword argument '" + key + "'");
    try {
      entry->set(target, value);
    } catch (const py::cast_error&) {
      RaiseWrongType(where, key, value);
    }
  }
}

}  // namespace tavric::python
