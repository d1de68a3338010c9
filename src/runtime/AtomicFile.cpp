#include "runtime/AtomicFile.h"

#include <atomic>
#include <cerrno>
#include <string_view>
#include <system_error>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <sys/stat.h>
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include "tavric/RuntimeError.h"

namespace tavric {

namespace fs = std::filesystem;

// File names are UTF-8. The Windows C runtime reads narrow names in the ANSI
// code page, so there they go through the wide-character functions.
fs::path NativePath(const std::string& path) {
#ifdef _WIN32
  try {
    return fs::path(std::u8string(path.begin(), path.end()));
  } catch (const std::exception&) {
    Raise(err::kPathFileAccess);  // not valid UTF-8
  }
#else
  return fs::path(path);
#endif
}

namespace {

bool ParentExists(const std::string& path) {
  std::error_code ec;
  const fs::path parent = NativePath(path).parent_path();
  return parent.empty() || fs::is_directory(parent, ec);
}

int ProcessId() {
#ifdef _WIN32
  return _getpid();
#else
  return static_cast<int>(::getpid());
#endif
}

// Opens `path` for writing as it is (a device, a pipe), truncating it.
std::FILE* OpenInPlace(const fs::path& path) {
#ifdef _WIN32
  return _wfopen(path.c_str(), L"wb");
#else
  return std::fopen(path.c_str(), "wb");
#endif
}

// Whether the existing file `path` may be opened for writing; it is opened
// without being truncated and closed again (errno tells why not).
bool MayBeWritten(const fs::path& path) {
#ifdef _WIN32
  const int fd = _wopen(path.c_str(), _O_WRONLY | _O_BINARY);
  if (fd < 0) return false;
  _close(fd);
#else
  const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (fd < 0) return false;
  ::close(fd);
#endif
  return true;
}

// Creates the new file `path` for writing, failing when it exists; a file
// that replaces `existing` takes its permissions (and, where allowed, its
// owner).
std::FILE* CreateNew(const fs::path& path, const fs::path* existing) {
#ifdef _WIN32
  (void)existing;
  const int fd =
      _wopen(path.c_str(), _O_CREAT | _O_EXCL | _O_WRONLY | _O_BINARY, _S_IREAD | _S_IWRITE);
  if (fd < 0) return nullptr;
  std::FILE* f = _fdopen(fd, "wb");
  if (f == nullptr) _close(fd);
  return f;
#else
  const int fd = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
  if (fd < 0) return nullptr;
  struct stat old {};
  if (existing != nullptr && ::stat(existing->c_str(), &old) == 0) {
    if (::fchown(fd, old.st_uid, old.st_gid) != 0) {
      // Only the owner's permission bits can be kept then.
    }
    ::fchmod(fd, old.st_mode & 07777);
  }
  std::FILE* f = ::fdopen(fd, "wb");
  if (f == nullptr) {
    const int error = errno;
    ::close(fd);
    errno = error;
  }
  return f;
#endif
}

// Sends what the system buffers of `f` hold to the disk. A file system that
// cannot do so (e.g. a pipe's) is no failure.
bool SyncToDisk(std::FILE* f) {
#ifdef _WIN32
  return _commit(_fileno(f)) == 0;
#else
  if (::fsync(::fileno(f)) == 0) return true;
  return errno == EINVAL || errno == EROFS || errno == ENOTSUP;
#endif
}

// Renames `from` over `to`; on failure raises the error of opening `to`.
void ReplaceFile(const fs::path& from, const fs::path& to) {
#ifdef _WIN32
  if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
    return;
  switch (GetLastError()) {
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_WRITE_PROTECT:
      Raise(err::kPermissionDenied);
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      Raise(err::kDiskFull);
    default:
      Raise(err::kPathFileAccess);
  }
#else
  if (std::rename(from.c_str(), to.c_str()) == 0) return;
  switch (errno) {
    case EACCES:
    case EPERM:
    case EROFS:
    case EBUSY:
      Raise(err::kPermissionDenied);
    case ENOSPC:
      Raise(err::kDiskFull);
    default:
      Raise(err::kPathFileAccess);
  }
#endif
}

}  // namespace

[[noreturn]] void RaiseOpenError(const std::string& path, int error_number, bool for_input) {
  std::error_code ec;
  if (fs::is_directory(NativePath(path), ec)) Raise(err::kPathFileAccess);
  switch (error_number) {
    case ENOENT:
      if (!ParentExists(path)) Raise(err::kPathNotFound);
      Raise(for_input ? err::kFileNotFound : err::kPathNotFound);
    case ENOTDIR:
      Raise(err::kPathNotFound);
    case EACCES:
    case EPERM:
    case EROFS:
      Raise(err::kPermissionDenied);
    case ENOSPC:
      Raise(err::kDiskFull);
    default:
      Raise(err::kPathFileAccess);
  }
}

[[noreturn]] void RaiseWriteError(int error_number) {
  Raise(error_number == ENOSPC ? err::kDiskFull : err::kDeviceIO);
}

AtomicFile::AtomicFile(const std::string& path) {
  if (path.empty()) Raise(err::kPathFileAccess);
  const fs::path native = NativePath(path);
  std::error_code ec;
  const fs::file_status status = fs::status(native, ec);  // follows links
  if (fs::is_directory(status)) Raise(err::kPathFileAccess);
  const bool exists = fs::exists(status);
  if (exists && !fs::is_regular_file(status)) {
    errno = 0;
    stream_ = OpenInPlace(native);
    if (stream_ == nullptr) RaiseOpenError(path, errno, false);
    return;
  }
  target_ = native;
  if (exists) {
    const fs::path real = fs::canonical(native, ec);
    if (!ec) target_ = real;
    // Refused as opening it for writing would be (a read-only file).
    errno = 0;
    if (!MayBeWritten(target_)) RaiseOpenError(path, errno, false);
  }
  static std::atomic<unsigned> counter{0};
  const std::string prefix = ".tavric-" + std::to_string(ProcessId()) + "-";
  for (;;) {
    const unsigned n = counter++;
    temporary_ = target_.parent_path() / (prefix + std::to_string(n) + ".tmp");
    errno = 0;
    stream_ = CreateNew(temporary_, exists ? &target_ : nullptr);
    if (stream_ != nullptr) return;
    const int error = errno;
    if (error != EEXIST || n > 1000000) {
      temporary_.clear();
      RaiseOpenError(path, error, false);
    }
  }
}

AtomicFile::~AtomicFile() { Discard(); }

void AtomicFile::Write(const char* data, std::size_t size) {
  if (write_error_ != 0) RaiseWriteError(write_error_);
  errno = 0;
  if (std::fwrite(data, 1, size, stream_) != size) {
    write_error_ = errno != 0 ? errno : EIO;
    RaiseWriteError(write_error_);
  }
}

void AtomicFile::Commit() {
  if (stream_ == nullptr) Raise(err::kPathFileAccess);
  if (write_error_ != 0) {
    const int error = write_error_;
    Discard();
    RaiseWriteError(error);
  }
  std::FILE* f = stream_;
  stream_ = nullptr;
  errno = 0;
  bool written = std::fflush(f) == 0;
  int error = errno;
  if (written && !temporary_.empty()) {
    errno = 0;
    written = SyncToDisk(f);
    error = errno;
  }
  errno = 0;
  const bool closed = std::fclose(f) == 0;
  if (written && !closed) error = errno;
  if (!written || !closed) {
    Discard();
    RaiseWriteError(error);
  }
  if (temporary_.empty()) return;
  try {
    ReplaceFile(temporary_, target_);
  } catch (...) {
    Discard();
    throw;
  }
  temporary_.clear();
}

void AtomicFile::Discard() noexcept {
  if (stream_ != nullptr) {
    std::fclose(stream_);
    stream_ = nullptr;
  }
  if (!temporary_.empty()) {
    std::error_code ec;
    fs::remove(temporary_, ec);
    temporary_.clear();
  }
}

void WriteFileAtomically(const std::string& path, const std::string& text) {
  AtomicFile file(path);
  file.Write(text.data(), text.size());
  file.Commit();
}

}  // namespace tavric
