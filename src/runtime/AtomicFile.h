// Files written whole or not at all.
//
// An AtomicFile writes into a new temporary file in the target's own folder
// (".NAME.tmp-PID-N", created exclusively, with the permissions an ordinary
// new file gets, or those of the file it replaces). Commit flushes it to the
// disk and renames it over the target, which the system does in one step:
// a reader sees the old file or the new one, never a part. Anything short of
// a Commit (a write error, an exception, Discard, the destructor) removes the
// temporary file, and an existing target keeps every byte it had.
//
// Targets that are not regular files (devices such as /dev/null or
// /dev/full, pipes) cannot be replaced by a rename: they are written in
// place, as an ordinary stream. A symbolic link is followed, and the file it
// names is replaced.
//
// Errors are the runtime's file errors, numbered as opening the target
// itself for writing would number them: 76 for a missing folder, 75 for a
// folder given as the file (or any other refusal), 70 when access is
// refused (a read-only file or folder), 61 when the disk is full and 57 for
// any other failed write.
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>

namespace tavric {

class AtomicFile {
 public:
  explicit AtomicFile(const std::string& path);
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  // Appends `size` bytes (raises 61 or 57 on a failed write).
  void Write(const char* data, std::size_t size);
  // Flushes the file to the disk and puts it in the target's place.
  void Commit();
  // Drops what was written; the target is left as it was.
  void Discard() noexcept;

 private:
  std::filesystem::path target_;
  std::filesystem::path temporary_;  // empty when written in place
  std::FILE* stream_ = nullptr;
  int write_error_ = 0;  // errno of the first failed write
};

// The error of opening `path`: for input a missing file is 53, for output a
// missing file's folder is 76; see AtomicFile for the other numbers.
[[noreturn]] void RaiseOpenError(const std::string& path, int error_number, bool for_input);

// The error of a failed write: 61 when the disk is full, else 57.
[[noreturn]] void RaiseWriteError(int error_number);

// A UTF-8 file name as a path of the platform (on Windows, raises 75 for a
// name that is not valid UTF-8).
std::filesystem::path NativePath(const std::string& path);

// Writes `text` as the whole content of the file at `path` through an
// AtomicFile.
void WriteFileAtomically(const std::string& path, const std::string& text);

}  // namespace tavric
