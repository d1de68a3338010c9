#include "data/ReadExplain.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "runtime/NumberText.h"
#include "tavric/RuntimeError.h"

namespace tavric::ReadCalData {
namespace {

constexpr std::array<const char*, 6> kColumns = {"TQ800Axis0.0", "TQ800Axis1.0", "TQ800Axis2.0",
                                                 "X.51",         "Y.51",         "Z.51"};

// Fields of a line cut at single spaces, as the generic layout cuts them.
std::size_t SpaceFields(std::string_view line) {
  const std::string trimmed = Trim(line);
  return static_cast<std::size_t>(std::count(trimmed.begin(), trimmed.end(), ' ')) + 1;
}

// The first field of a line cut at single spaces, trimmed.
std::string FirstField(std::string_view line) {
  const std::string trimmed = Trim(line);
  return trimmed.substr(0, trimmed.find(' '));
}

// Whether the text reads as a number with the decimal separator in force.
bool TryParseNumber(const std::string& text) {
  try {
    return TryParseLocale(text).has_value();
  } catch (...) {
    return false;
  }
}

bool HasTab(std::string_view text) { return text.find('\t') != std::string_view::npos; }

std::string SampleWord(Int32 samples) {
  return "after " + std::to_string(samples) + (samples == 1 ? " sample" : " samples");
}

std::string MarkedHint(int error, std::string_view at, Int32 samples) {
  switch (error) {
    case err::kTypeMismatch:
      if (Trim(UCase(at)) == "DATA END")
        return "DATA END came inside a record: a record before it has fewer or more than six "
               "fields (a decimal comma splits a number in two in this layout)";
      if (at.empty()) return "a field of sample " + std::to_string(samples) + " is empty";
      if (at.find(';') != std::string_view::npos)
        return "the fields are separated by semicolons; the marked layout separates them with "
               "commas";
      if (HasTab(at))
        return "the fields are separated by tabs; the marked layout separates them with commas";
      return "a field of sample " + std::to_string(samples) +
             " is not a number, or an earlier record has fewer or more than six fields and "
             "shifted the fields after it";
    case err::kOverflow:
      return "a number too large for a double (its exponent is over 308)";
    case err::kInputPastEnd:
      return "the file ended inside a DATA START block " + SampleWord(samples) +
             ": the DATA END record is missing, or the last record or the header record is "
             "cut short";
    default:
      return {};
  }
}

std::string GenericHint(int error, std::string_view at, Int32 samples, bool header_read) {
  const std::string lines =
      "every line after the header is data except the file's last line; a footer or blank line "
      "followed by another line (a trailing blank line too) is read as data";
  switch (error) {
    case err::kTypeMismatch: {
      if (at.empty())
        return "an empty field in sample " + std::to_string(samples) +
               ": two spaces in a row, or a blank at the end of the line";
      std::string hint = "a value of sample " + std::to_string(samples) + " is not a number";
      if (at.find_first_of(".,") != std::string_view::npos)
        hint +=
            " with the decimal separator in force (a period; a comma with the tool's "
            "--decimal-comma)";
      return hint + "; " + lines;
    }
    case err::kSubscriptOutOfRange:
      if (HasTab(at))
        return "the line's fields are separated by tabs; the generic layout cuts lines at single "
               "spaces, like its header";
      if (!TryParseNumber(FirstField(at)))
        return "the line is not data but is read as data: " + lines;
      return "the line has " + std::to_string(SpaceFields(at)) +
             " fields cut at single spaces, fewer than the header's columns need (two spaces in a "
             "row make an empty field); " +
             lines;
    case err::kOverflow:
      if (SpaceFields(at) > 254)
        return "the line has " + std::to_string(SpaceFields(at)) +
               " fields; at most 254 fields are read on a line";
      return "a number too large for a double (its exponent is over 308)";
    case err::kInputPastEnd:
      if (!header_read)
        return "the file ends on the LOGGED PARAMETERS line: the header line naming the columns "
               "is missing";
      return "the file's last line is data (" + SampleWord(samples) +
             "): the generic layout ends with a line that is not a number, a footer or an empty "
             "line";
    case err::kDuplicateKey:
      return "a column name appears twice in the header line";
    default:
      return {};
  }
}

std::string FileHint(int error) {
  switch (error) {
    case err::kFileNotFound:
      return "the file does not exist";
    case err::kPathNotFound:
      return "the folder of the file does not exist";
    case err::kPathFileAccess:
      return "the name is a folder, or not a file that can be opened";
    case err::kPermissionDenied:
      return "the file cannot be read with this user's permissions";
    case err::kDeviceIO:
      return "the file could not be read (a device error)";
    case err::kOutOfMemory:
      return "the file is too large to be read into memory";
    default:
      return {};
  }
}

std::string WholeFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// What makes a file unreadable as text whatever its layout: empty, UTF-16,
// binary, a byte-order mark before the first record.
std::string EncodingHintOf(std::string_view text) {
  if (text.empty()) return "the file is empty";
  const std::string_view head = text.substr(0, 4096);
  if (head.starts_with("\xFF\xFE") || head.starts_with("\xFE\xFF"))
    return "the file is UTF-16 text; the readers take ASCII or UTF-8 text (save it as UTF-8)";
  const bool control = std::any_of(head.begin(), head.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\r' && c != '\n';
  });
  if (control) return "the file holds binary data, not text";
  if (head.starts_with("\xEF\xBB\xBF"))
    return "the file starts with a UTF-8 byte-order mark, which hides its first record (save it "
           "without one)";
  return {};
}

std::string EncodingHint(const std::string& path) {
  try {
    return EncodingHintOf(WholeFile(path));
  } catch (...) {
    return {};
  }
}

}  // namespace

std::string Printable(std::string_view text) {
  constexpr std::size_t kMost = 60;
  std::string out;
  for (std::size_t i = 0; i < text.size() && i < kMost; ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c >= 0x20 && c < 0x7f) {
      out += static_cast<char>(c);
    } else {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02X", c);
      out += hex;
    }
  }
  if (text.size() > kMost) out += "...";
  return out;
}

void ExplainStop(ReadDiagnostic& diagnostic, const ReaderStop& stop) {
  try {
    ReadDiagnostic d = diagnostic;
    d.layout = stop.layout;
    d.samples = stop.samples;
    const std::string file_hint = FileHint(stop.error);
    if (stop.file.IsOpen() && file_hint.empty()) {
      if (!stop.started) return;
      // Past the end, the place is the end of the file, not the last text read.
      const TextFile::Place place =
          stop.file.Where(stop.error == err::kInputPastEnd ? std::string_view() : stop.at);
      d.line = place.line;
      d.column = place.column;
      d.at_end_of_file = place.at_end;
      d.found = place.at_end ? std::string() : Printable(stop.at);
      const bool marked = std::string_view(stop.layout) == "marked";
      d.hint = marked ? MarkedHint(stop.error, stop.at, stop.samples)
                      : GenericHint(stop.error, stop.at, stop.samples, stop.at.data() != nullptr);
    } else {
      d.hint = file_hint;
    }
    diagnostic = std::move(d);
  } catch (...) {
  }
}

void ExplainMissingFields(ReadDiagnostic& diagnostic, const TextFile& file,
                          std::string_view header) {
  try {
    ReadDiagnostic d = diagnostic;
    d.layout = "generic";
    d.samples = 0;
    const TextFile::Place place = file.Where(header);
    d.line = place.line;
    d.column = place.column;
    d.at_end_of_file = place.at_end;
    d.found = Printable(header);
    std::string missing;
    const std::string line = " " + Trim(header) + " ";
    for (const char* column : kColumns) {
      if (line.find(" " + std::string(column) + " ") == std::string::npos)
        missing += (missing.empty() ? "" : ", ") + std::string(column);
    }
    d.hint =
        "the header line after LOGGED PARAMETERS must name the columns TQ800Axis0.0, "
        "TQ800Axis1.0, TQ800Axis2.0, X.51, Y.51 and Z.51, separated by single spaces";
    if (HasTab(header)) {
      d.hint += "; this one is separated by tabs";
    } else if (!missing.empty()) {
      d.hint += "; missing: " + missing;
    } else {
      d.hint += "; one of them is named twice";
    }
    diagnostic = std::move(d);
  } catch (...) {
  }
}

void ExplainLoadStop(ReadDiagnostic& diagnostic, const std::string& path, int error,
                     const std::optional<TextFile::Place>& place) {
  try {
    ReadDiagnostic d;
    d.file = path;
    d.layout = "calibration";
    if (place) {
      d.line = place->line;
      d.column = place->column;
      d.at_end_of_file = place->at_end;
      d.found = Printable(place->field);
    }
    d.hint = FileHint(error);
    if (d.hint.empty()) d.hint = EncodingHint(path);
    if (d.hint.empty()) {
      if (d.at_end_of_file) {
        d.hint = "the file ends before the calibration is complete: it was cut short";
      } else if (error == err::kOverflow) {
        d.hint =
            "a number out of range here: an order or a power too large for its type, or "
            "a value too large for a double; the file was damaged or edited";
      } else {
        d.hint = "a number was expected here: the file was damaged or edited";
      }
    }
    diagnostic = std::move(d);
  } catch (...) {
  }
}

std::string WhatTheFileSeemsToBe(const std::string& path) {
  try {
    const std::string text = WholeFile(path);
    const std::string hint = EncodingHintOf(text);
    if (!hint.empty()) return hint;
    if (UCase(text).find("POLYNOMIAL CALIBRATION PARAMETERS") != std::string::npos)
      return "this is a calibration file, not a data file of scans";
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first != std::string::npos && (text[first] == '{' || text[first] == '['))
      return "the file looks like JSON (the truth file of a simulation?), which no reader of "
             "this library takes";
    return {};
  } catch (...) {
    return {};
  }
}

}  // namespace tavric::ReadCalData
