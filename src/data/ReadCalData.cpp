#include "data/ReadCalData.h"

#include <array>
#include <cstddef>

#include "runtime/Collections.h"
#include "runtime/ErrorTrap.h"
#include "runtime/Narrow.h"
#include "runtime/NumberText.h"
#include "runtime/TextFile.h"
#include "tavric/RuntimeError.h"

namespace tavric::ReadCalData {
namespace {

// Column names of the generic layout, in row order P, Q, R, X, Y, Z.
constexpr std::array<const char*, 6> kKeys = {"TQ800Axis0.0", "TQ800Axis1.0", "TQ800Axis2.0",
                                              "X.51",         "Y.51",         "Z.51"};

// Grows the measurement array to (1 To 6, 1 To count), keeping its contents.
// An array never dimensioned is created with that shape; an existing one
// keeps its first dimension and only its upper column bound changes, so an
// array of another shape fails with a subscript error.
void GrowTo(Array2<double>& data, Int32 count) {
  if (!data.Allocated()) {
    data.ReDim(1, 6, 1, count);
    return;
  }
  if (data.LBound(1) != 1 || data.UBound(1) != 6 || data.LBound(2) != 1)
    Raise(err::kSubscriptOutOfRange);
  data.ReDimPreserve(count);
}

}  // namespace

std::string ReadMarkedFile(const std::string& file_name, Array2<double>& data) {
  try {
    TextFile file(file_name, TextFile::Mode::kInput);
    bool found = false;
    Int32 count = 0;
    while (!file.Eof()) {
      std::string s1 = file.InputField();
      if (UCase(s1) == "DATA START") {
        found = true;
        for (int k = 0; k < 6; ++k) file.InputField();  // header record, not used
        s1 = file.InputField();
        while (UCase(s1) != "DATA END") {
          std::array<std::string, 6> s;
          s[0] = s1;
          for (std::size_t r = 1; r < 6; ++r) s[r] = file.InputField();
          count = CheckedAdd<Int32>(count, 1);
          GrowTo(data, count);
          for (Int32 r = 1; r <= 6; ++r) data(r, count) = CDbl(s[static_cast<std::size_t>(r - 1)]);
          s1 = file.InputField();
        }
      }
    }
    file.Close();
    return found ? "OK" : "No Data identified.";
  } catch (...) {
    return TrapText("File reading(1) error ", CurrentErrorInfo(), " : ");
  }
}

std::string ReadGenericFile(const std::string& file_name, Array2<double>& data) {
  std::string result;
  try {
    TextFile file(file_name, TextFile::Mode::kInput);
    bool found = false;
    Int32 count = 0;
    while (!file.Eof()) {
      std::string line = file.LineInput();
      if (UCase(line).find("LOGGED PARAMETERS") != std::string::npos) {
        line = file.LineInput();
        const Array1<std::string> header = Split(" ", line);
        // Returned without closing the file first; the file object closes
        // it when it goes out of scope.
        if (!FieldsPresent(header)) return "Fields missing";
        found = true;
        KeyedCollection column_of;
        for (Int32 i = 1; i <= header.UBound(); ++i) column_of.Add(header(i), i);
        for (;;) {
          line = file.LineInput();
          const Array1<std::string> fields = Split(" ", line);
          // Only a non-numeric line at the very end stops the data; any other
          // line is taken as data.
          if (!IsNumber(fields(1)) && file.Eof()) break;
          count = CheckedAdd<Int32>(count, 1);
          GrowTo(data, count);
          for (Int32 r = 1; r <= 6; ++r) {
            const auto column =
                static_cast<Int32>(column_of.Item(kKeys[static_cast<std::size_t>(r - 1)]));
            data(r, count) = CDbl(fields(column));
          }
        }
      } else {
        result = "Generic Start Key not found.";
      }
    }
    file.Close();
    // The outcome is decided by whether a LOGGED PARAMETERS block was read,
    // whatever the scan noted on the lines before it.
    result = found ? "OK" : "No Data identified.";
    return result;
  } catch (...) {
    return TrapText("File reading(Generic) error ", CurrentErrorInfo(), " : ");
  }
}

Array1<std::string> Split(const std::string& separator, std::string& line) {
  line = Trim(line);
  const Byte separator_length = Narrow<Byte>(separator.size());
  Array1<std::string> fields;
  Byte k = 0;
  std::size_t start = 0;
  for (;;) {
    const std::size_t hit = line.find(separator, start);
    k = CheckedAdd<Byte>(k, 1);
    if (fields.Allocated()) {
      fields.ReDimPreserve(k);
    } else {
      fields.ReDim(1, k);
    }
    if (hit == std::string::npos) {
      fields(k) = line.substr(start);
      return fields;
    }
    fields(k) = line.substr(start, hit - start);
    start = hit + separator_length;
  }
}

bool IsNumber(const std::string& text) {
  try {
    CDbl(text);
    return true;
  } catch (...) {
    return false;
  }
}

bool FieldsPresent(const Array1<std::string>& header) {
  // An 8-bit index runs over the fields; like any counted loop it steps past
  // its last value, so 255 fields (or a bound that is not a byte) overflow.
  const Byte last = Narrow<Byte>(header.UBound());
  Int32 matches = 0;
  for (Byte i = 1; i <= last; i = CheckedAdd<Byte>(i, 1)) {
    const std::string field = Trim(header(i));
    for (const char* key : kKeys)
      if (field == key) matches = CheckedAdd<Int32>(matches, 1);
  }
  return matches == 6;
}

}  // namespace tavric::ReadCalData
