#include "data/ReadCalData.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "data/ReadExplain.h"
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

// UCase(field) == marker, without the copy.
bool IsMarker(std::string_view field, std::string_view marker) {
  if (field.size() != marker.size()) return false;
  for (std::size_t i = 0; i < field.size(); ++i) {
    const char c =
        field[i] >= 'a' && field[i] <= 'z' ? static_cast<char>(field[i] - 'a' + 'A') : field[i];
    if (c != marker[i]) return false;
  }
  return true;
}

// The fields of a data line exactly as Split(" ", line) cuts them, as views
// into the line: trimmed of spaces, cut at every single space, at most 255
// fields (6 beyond, where Split raises it), field i outside 1..Count()
// raising 9 as the array's subscript would.
class LineFields {
 public:
  void Cut(std::string_view line) {
    std::size_t b = 0, e = line.size();
    while (b < e && line[b] == ' ') ++b;
    while (e > b && line[e - 1] == ' ') --e;
    line_ = line.substr(b, e - b);
    bounds_.clear();
    Byte k = 0;
    std::size_t start = 0;
    for (;;) {
      const std::size_t hit = line_.find(' ', start);
      k = CheckedAdd<Byte>(k, 1);
      const std::size_t end = hit == std::string_view::npos ? line_.size() : hit;
      bounds_.emplace_back(start, end);
      if (hit == std::string_view::npos) return;
      start = hit + 1;
    }
  }
  std::string_view operator()(Int32 i) const {
    if (i < 1 || i > static_cast<Int32>(bounds_.size())) Raise(err::kSubscriptOutOfRange);
    const auto& [start, end] = bounds_[static_cast<std::size_t>(i - 1)];
    return line_.substr(start, end - start);
  }

 private:
  std::string_view line_;
  std::vector<std::pair<std::size_t, std::size_t>> bounds_;
};

// IsNumber with the file's decimal separator.
bool IsNumberIn(const LocaleNumbers& numbers, std::string_view text) {
  try {
    return numbers.TryParse(text).has_value();
  } catch (...) {
    return false;
  }
}

}  // namespace

// Both readers take their fields as views into the file's text and convert
// numbers with the decimal separator read once per file; the results are
// those of reading each field as a string with InputField, LineInput, Split
// and CDbl.
std::string ReadMarkedFile(const std::string& file_name, Array2<double>& data,
                           ReadDiagnostic* diagnostic) {
  // Kept outside the trap so that a failure can say where reading stopped.
  TextFile file;
  std::string_view at;
  Int32 count = 0;
  bool found = false;
  try {
    file.Open(file_name, TextFile::Mode::kInput);
    const LocaleNumbers numbers;
    while (!file.Eof()) {
      std::string_view s1 = file.InputFieldView();
      if (IsMarker(s1, "DATA START")) {
        found = true;
        for (int k = 0; k < 6; ++k) file.InputFieldView();  // header record, not used
        s1 = file.InputFieldView();
        while (!IsMarker(s1, "DATA END")) {
          std::array<std::string_view, 6> s;
          s[0] = s1;
          for (std::size_t r = 1; r < 6; ++r) s[r] = file.InputFieldView();
          count = CheckedAdd<Int32>(count, 1);
          GrowTo(data, count);
          for (Int32 r = 1; r <= 6; ++r) {
            at = s[static_cast<std::size_t>(r - 1)];
            data(r, count) = numbers.CDbl(at);
          }
          s1 = file.InputFieldView();
        }
      }
    }
    file.Close();
    if (diagnostic) diagnostic->samples = count;
    return found ? "OK" : "No Data identified.";
  } catch (...) {
    const ErrorInfo error = CurrentErrorInfo();
    std::string text = TrapText("File reading(1) error ", error, " : ");
    if (diagnostic)
      ExplainStop(*diagnostic, {"marked", text, error.number, file, at, count, found});
    return text;
  }
}

std::string ReadGenericFile(const std::string& file_name, Array2<double>& data,
                            ReadDiagnostic* diagnostic) {
  std::string result;
  // Kept outside the trap so that a failure can say where reading stopped.
  TextFile file;
  std::string_view at;
  Int32 count = 0;
  try {
    file.Open(file_name, TextFile::Mode::kInput);
    const LocaleNumbers numbers;
    bool found = false;
    while (!file.Eof()) {
      std::string line = file.LineInput();
      if (UCase(line).find("LOGGED PARAMETERS") != std::string::npos) {
        at = file.LineInputView();
        line = std::string(at);
        const Array1<std::string> header = Split(" ", line);
        // Returned without closing the file first; the file object closes
        // it when it goes out of scope.
        if (!FieldsPresent(header)) {
          if (diagnostic) ExplainMissingFields(*diagnostic, file, at);
          return "Fields missing";
        }
        found = true;
        KeyedCollection column_of;
        for (Int32 i = 1; i <= header.UBound(); ++i) column_of.Add(header(i), i);
        // Every key is a header field by now, so its column is known.
        std::array<Int32, 6> columns{};
        for (std::size_t r = 0; r < 6; ++r)
          columns[r] = static_cast<Int32>(column_of.Item(kKeys[r]));
        LineFields fields;
        for (;;) {
          at = file.LineInputView();
          fields.Cut(at);
          // Only a non-numeric line at the very end stops the data; any other
          // line is taken as data.
          if (!IsNumberIn(numbers, fields(1)) && file.Eof()) break;
          count = CheckedAdd<Int32>(count, 1);
          GrowTo(data, count);
          for (Int32 r = 1; r <= 6; ++r) {
            at = fields(columns[static_cast<std::size_t>(r - 1)]);
            data(r, count) = numbers.CDbl(at);
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
    if (diagnostic) diagnostic->samples = count;
    return result;
  } catch (...) {
    const ErrorInfo error = CurrentErrorInfo();
    std::string text = TrapText("File reading(Generic) error ", error, " : ");
    if (diagnostic)
      ExplainStop(*diagnostic, {"generic", text, error.number, file, at, count, true});
    return text;
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
