// Sequential text files: the free-format reading and the delimited record
// writing that the library's file formats are built on.
//
// Reading rules (the file is read whole when it is opened for input):
//   - Line ends are CR LF, LF or CR.
//   - InputField reads one field: leading blanks (spaces, tabs) are skipped;
//     at the start of a record, lines holding only blanks are skipped too. A
//     field in double quotes ends at the closing quote and may hold commas and
//     blanks; the quotes are removed and anything up to the next delimiter is
//     ignored. An unquoted field ends at a comma or a line end and loses its
//     trailing blanks. The delimiter (one comma, or one line end) is consumed.
//     Reading when no field remains raises 62 "Input past end of file".
//   - InputNumber reads a field (quotes removed, as for any field) and
//     converts it in invariant form (period as decimal point, zero before the
//     point optional, exponent form accepted); an empty or malformed field
//     raises 13 "Type mismatch".
//     When nothing but blanks and line ends follows a field, they are
//     consumed with it: the end of the file is reached with the last field.
//   - LineInput returns the rest of the current line without its line end,
//     which it consumes (62 at the end of the file). It consumes nothing
//     more: each blank line after the last one is a line of its own.
//   - Eof is true when every character has been read.
//
// Writing rules: WriteRecord writes its items separated by commas, strings in
// double quotes, numbers in record form (FormatRecordNumber), whole numbers
// as plain integers, and ends the record with CR LF; Print writes text as it
// is and PrintLine adds CR LF.
//
// Output files are written whole or not at all (runtime/AtomicFile.h): the
// records go to a temporary file beside the target, which Close puts in the
// target's place. An output file that is discarded, or destroyed without
// Close, leaves an existing target as it was.
//
// Errors on opening: a missing file 53, a missing folder 76, a folder given
// as a file 75, access refused 70, any other failure 75. A failed write is 61
// when the disk is full and 57 otherwise.
#pragma once

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

namespace tavric {

class AtomicFile;

class TextFile {
 public:
  enum class Mode { kInput, kOutput };

  // One item of a written record.
  using Item = std::variant<std::string, double, long long>;

  TextFile();
  TextFile(const std::string& path, Mode mode);
  ~TextFile();
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;

  void Open(const std::string& path, Mode mode);
  // Closes the file; an output file then replaces its target (a failure to
  // write it raises 61 or 57 and leaves the target as it was).
  void Close();
  // Closes the file; an output file is dropped, its target left as it was.
  void Discard() noexcept;
  bool IsOpen() const noexcept { return open_; }

  // Reading (input mode).
  std::string InputField();
  double InputNumber();
  std::string LineInput();
  bool Eof() const;
  // InputField and LineInput without a copy: the text stays in the file's
  // buffer and the view is valid until the file is closed or reopened.
  std::string_view InputFieldView();
  std::string_view LineInputView();
  // Where `text` starts in the file, when it is a view returned by the two
  // functions above, else where the last field or line read (or tried)
  // started: the line (line ends as for
  // reading) and the column in bytes, both 1-based. For explaining a failure;
  // it counts the lines from the start.
  struct Place {
    int line = 1;
    int column = 1;
    bool at_end = false;
    // The text from there to the next comma or line end.
    std::string_view field;
  };
  Place Where(std::string_view text) const;

  // Writing (output mode).
  void WriteRecord(std::initializer_list<Item> items);
  // Writes `text` as it is.
  void Print(const std::string& text);
  // Writes `line` as it is, followed by CR LF.
  void PrintLine(const std::string& line);

 private:
  void RequireMode(Mode mode) const;
  bool AtLineEnd() const;
  std::size_t LineEndFrom(std::size_t from) const;
  void SkipLineEnd();
  void SkipBlanks();
  void SkipBlankLines();
  void SkipBlankRest();
  void ConsumeDelimiter();

  Mode mode_ = Mode::kInput;
  bool open_ = false;
  // Input state.
  std::string content_;
  std::size_t pos_ = 0;
  bool at_record_start_ = true;
  std::size_t last_start_ = 0;
  // Output state.
  std::unique_ptr<AtomicFile> out_;
};

// Writes `text` as the whole content of the file at `path`, replacing it
// whole or not at all (the errors of Open, Print and Close above).
void WriteWholeTextFile(const std::string& path, const std::string& text);

}  // namespace tavric
