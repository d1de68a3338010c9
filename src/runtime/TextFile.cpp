#include "runtime/TextFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <system_error>

#include "runtime/AtomicFile.h"
#include "runtime/NumberText.h"
#include "tavric/RuntimeError.h"

namespace tavric {
namespace {

namespace fs = std::filesystem;

bool IsBlank(char c) { return c == ' ' || c == '\t'; }
bool IsLineEnd(char c) { return c == '\r' || c == '\n'; }

std::FILE* OpenForInput(const std::string& path) {
#ifdef _WIN32
  return _wfopen(NativePath(path).c_str(), L"rb");
#else
  return std::fopen(path.c_str(), "rb");
#endif
}

}  // namespace

TextFile::TextFile() = default;

TextFile::TextFile(const std::string& path, Mode mode) { Open(path, mode); }

// An output file that was not closed is discarded.
TextFile::~TextFile() = default;

void TextFile::Open(const std::string& path, Mode mode) {
  if (open_) Close();
  if (path.empty()) Raise(err::kPathFileAccess);
  std::error_code ec;
  if (fs::is_directory(NativePath(path), ec)) Raise(err::kPathFileAccess);
  mode_ = mode;
  if (mode == Mode::kInput) {
    errno = 0;
    std::FILE* f = OpenForInput(path);
    if (f == nullptr) RaiseOpenError(path, errno, true);
    // Read whole, into a buffer one byte longer than the file's size when it
    // is known: the read that fills it short says the file ended, with no
    // growing of the buffer (it still grows if the file does, or when the
    // size is not known).
    std::string content;
    std::error_code size_error;
    const auto size = fs::file_size(NativePath(path), size_error);
    if (!size_error) content.resize(static_cast<std::size_t>(size) + 1);
    std::size_t used = 0;
    for (;;) {
      if (used == content.size()) content.resize(std::max<std::size_t>(2 * used, 65536));
      const std::size_t n = std::fread(content.data() + used, 1, content.size() - used, f);
      used += n;
      if (n == 0) break;
    }
    content.resize(used);
    const bool failed = std::ferror(f) != 0;
    std::fclose(f);
    if (failed) Raise(err::kDeviceIO);
    content_ = std::move(content);
    pos_ = 0;
    last_start_ = 0;
    at_record_start_ = true;
  } else {
    out_ = std::make_unique<AtomicFile>(path);
  }
  open_ = true;
}

void TextFile::Close() {
  if (!open_) return;
  open_ = false;
  content_.clear();
  pos_ = 0;
  if (out_ != nullptr) {
    const std::unique_ptr<AtomicFile> file = std::move(out_);
    file->Commit();
  }
}

void TextFile::Discard() noexcept {
  open_ = false;
  content_.clear();
  pos_ = 0;
  out_.reset();
}

void TextFile::RequireMode(Mode mode) const {
  // Reading a file opened for output (or the reverse) is a bad file mode;
  // an unopened file is a bad file name or number.
  if (!open_ || mode_ != mode) Raise(err::kPathFileAccess);
}

// The position of the first CR or LF from `from` on (the end when none).
std::size_t TextFile::LineEndFrom(std::size_t from) const {
  const char* begin = content_.data() + from;
  const std::size_t rest = content_.size() - from;
  const void* lf = std::memchr(begin, '\n', rest);
  const std::size_t to_lf =
      lf ? static_cast<std::size_t>(static_cast<const char*>(lf) - begin) : rest;
  const void* cr = std::memchr(begin, '\r', to_lf);
  return from + (cr ? static_cast<std::size_t>(static_cast<const char*>(cr) - begin) : to_lf);
}

bool TextFile::AtLineEnd() const { return pos_ < content_.size() && IsLineEnd(content_[pos_]); }

void TextFile::SkipLineEnd() {
  if (pos_ < content_.size() && content_[pos_] == '\r') {
    ++pos_;
    if (pos_ < content_.size() && content_[pos_] == '\n') ++pos_;
  } else if (pos_ < content_.size() && content_[pos_] == '\n') {
    ++pos_;
  }
}

void TextFile::SkipBlanks() {
  while (pos_ < content_.size() && IsBlank(content_[pos_])) ++pos_;
}

void TextFile::SkipBlankLines() {
  for (;;) {
    SkipBlanks();
    if (!AtLineEnd()) return;
    SkipLineEnd();
  }
}

void TextFile::SkipBlankRest() {
  for (std::size_t i = pos_; i < content_.size(); ++i)
    if (!IsBlank(content_[i]) && !IsLineEnd(content_[i])) return;
  pos_ = content_.size();
  at_record_start_ = true;
}

void TextFile::ConsumeDelimiter() {
  if (pos_ >= content_.size()) {
    at_record_start_ = true;
    return;
  }
  if (content_[pos_] == ',') {
    ++pos_;
    at_record_start_ = false;
  } else {
    SkipLineEnd();
    at_record_start_ = true;
  }
}

std::string TextFile::InputField() { return std::string(InputFieldView()); }

std::string_view TextFile::InputFieldView() {
  RequireMode(Mode::kInput);
  if (at_record_start_) {
    SkipBlankLines();
  } else {
    SkipBlanks();
  }
  last_start_ = pos_;
  if (pos_ >= content_.size()) Raise(err::kInputPastEnd);
  const std::string_view content(content_);
  std::string_view field;
  if (content[pos_] == '"') {
    const std::size_t close = content.find('"', pos_ + 1);
    const std::size_t end = close == std::string::npos ? content.size() : close;
    field = content.substr(pos_ + 1, end - pos_ - 1);
    pos_ = close == std::string::npos ? content.size() : close + 1;
    while (pos_ < content.size() && content[pos_] != ',' && !IsLineEnd(content[pos_])) ++pos_;
  } else {
    const std::size_t start = pos_;
    while (pos_ < content.size() && content[pos_] != ',' && !IsLineEnd(content[pos_])) ++pos_;
    std::size_t end = pos_;
    while (end > start && IsBlank(content[end - 1])) --end;
    field = content.substr(start, end - start);
  }
  ConsumeDelimiter();
  SkipBlankRest();
  return field;
}

double TextFile::InputNumber() {
  // Quotes are removed from every field read, a number's included.
  const auto value = TryParseInvariant(InputField());
  if (!value) Raise(err::kTypeMismatch);
  return *value;
}

std::string TextFile::LineInput() { return std::string(LineInputView()); }

std::string_view TextFile::LineInputView() {
  RequireMode(Mode::kInput);
  last_start_ = pos_;
  if (pos_ >= content_.size()) Raise(err::kInputPastEnd);
  const std::size_t start = pos_;
  pos_ = LineEndFrom(start);
  const std::string_view line = std::string_view(content_).substr(start, pos_ - start);
  SkipLineEnd();
  at_record_start_ = true;
  return line;
}

TextFile::Place TextFile::Where(std::string_view text) const {
  const char* begin = content_.data();
  std::size_t offset = last_start_;
  const std::less_equal<const char*> before;
  if (text.data() != nullptr && before(begin, text.data()) &&
      before(text.data(), begin + content_.size()))
    offset = static_cast<std::size_t>(text.data() - begin);
  offset = std::min(offset, content_.size());
  Place place;
  std::size_t line_start = 0;
  for (std::size_t i = 0; i < offset; ++i) {
    if (content_[i] == '\n' ||
        (content_[i] == '\r' && (i + 1 >= content_.size() || content_[i + 1] != '\n'))) {
      if (place.line < std::numeric_limits<int>::max()) ++place.line;
      line_start = i + 1;
    }
  }
  place.column = static_cast<int>(std::min<std::size_t>(offset - line_start + 1, 1u << 30));
  place.at_end = offset >= content_.size();
  const std::string_view rest = std::string_view(content_).substr(offset);
  place.field = rest.substr(0, rest.find_first_of(",\r\n"));
  return place;
}

bool TextFile::Eof() const {
  RequireMode(Mode::kInput);
  return pos_ >= content_.size();
}

void TextFile::WriteRecord(std::initializer_list<Item> items) {
  RequireMode(Mode::kOutput);
  std::string record;
  bool first = true;
  for (const Item& item : items) {
    if (!first) record += ',';
    first = false;
    if (const auto* s = std::get_if<std::string>(&item)) {
      record += '"' + *s + '"';
    } else if (const auto* d = std::get_if<double>(&item)) {
      record += FormatRecordNumber(*d);
    } else {
      record += std::to_string(std::get<long long>(item));
    }
  }
  record += "\r\n";
  Print(record);
}

void TextFile::PrintLine(const std::string& line) { Print(line + "\r\n"); }

void TextFile::Print(const std::string& text) {
  RequireMode(Mode::kOutput);
  out_->Write(text.data(), text.size());
}

void WriteWholeTextFile(const std::string& path, const std::string& text) {
  WriteFileAtomically(path, text);
}

}  // namespace tavric
