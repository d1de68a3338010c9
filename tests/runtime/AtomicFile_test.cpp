#include "runtime/AtomicFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "runtime/TextFile.h"
#include "tavric/RuntimeError.h"

namespace tavric {
namespace {

namespace fs = std::filesystem;
using testing::ReadFileBytes;
using testing::TempDir;
using testing::WriteFileBytes;

// The names in a folder, to show that no temporary file stays behind.
std::vector<std::string> Names(const fs::path& folder) {
  std::vector<std::string> names;
  for (const fs::directory_entry& e : fs::directory_iterator(folder))
    names.push_back(e.path().filename().string());
  return names;
}

TEST(AtomicFile, CommitReplacesTheTargetWholeAndLeavesNoTemporaryFile) {
  TempDir dir;
  const std::string path = dir.File("out.txt");
  WriteFileBytes(path, "old content that is longer than the new one");
  WriteFileAtomically(path, "new");
  EXPECT_EQ(ReadFileBytes(path), "new");
  EXPECT_EQ(Names(dir.Path()), std::vector<std::string>{"out.txt"});
}

TEST(AtomicFile, NothingIsVisibleUnderTheTargetNameBeforeCommit) {
  TempDir dir;
  const std::string path = dir.File("out.txt");
  WriteFileBytes(path, "old");
  AtomicFile file(path);
  file.Write("new", 3);
  EXPECT_EQ(ReadFileBytes(path), "old");
  file.Commit();
  EXPECT_EQ(ReadFileBytes(path), "new");
}

TEST(AtomicFile, AFileNotCommittedLeavesTheTargetAsItWasAndNoTemporaryFile) {
  TempDir dir;
  const std::string path = dir.File("out.txt");
  WriteFileBytes(path, "old");
  {
    AtomicFile file(path);
    file.Write("partial", 7);
  }
  EXPECT_EQ(ReadFileBytes(path), "old");
  {
    AtomicFile file(dir.File("new.txt"));
    file.Write("partial", 7);
    file.Discard();
  }
  EXPECT_EQ(Names(dir.Path()), std::vector<std::string>{"out.txt"});
}

TEST(AtomicFile, AnOutputTextFileDestroyedWithoutCloseLeavesTheTargetAsItWas) {
  TempDir dir;
  const std::string path = dir.File("out.txt");
  WriteFileBytes(path, "old");
  {
    TextFile file(path, TextFile::Mode::kOutput);
    file.PrintLine("new");
  }
  EXPECT_EQ(ReadFileBytes(path), "old");
  EXPECT_EQ(Names(dir.Path()), std::vector<std::string>{"out.txt"});
}

TEST(AtomicFile, AReplacedFileKeepsItsPermissions) {
  TempDir dir;
  const std::string path = dir.File("out.txt");
  WriteFileBytes(path, "old");
  fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
  WriteFileAtomically(path, "new");
  EXPECT_EQ(fs::status(path).permissions(),
            fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
}

TEST(AtomicFile, ALinkIsFollowedAndTheFileItNamesReplaced) {
  TempDir dir;
  const std::string real = dir.File("real.txt");
  const std::string link = dir.File("link.txt");
  WriteFileBytes(real, "old");
  fs::create_symlink(real, link);
  WriteFileAtomically(link, "new");
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(ReadFileBytes(real), "new");
}

TEST(AtomicFile, APipeIsWrittenInPlace) {
  TempDir dir;
  const std::string pipe = dir.File("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  // A reader, so that opening the pipe for writing does not wait.
  const int reader = ::open(pipe.c_str(), O_RDWR | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  WriteFileAtomically(pipe, "through");
  char text[16] = {};
  EXPECT_EQ(::read(reader, text, sizeof text), 7);
  ::close(reader);
  EXPECT_EQ(std::string(text), "through");
  EXPECT_TRUE(fs::is_fifo(pipe));
}

TEST(AtomicFile, AFolderGivenAsTheFileAndAVanishedFolderKeepTheirErrorNumbers) {
  TempDir dir;
  EXPECT_RUNTIME_ERROR(WriteFileAtomically(dir.Path().string(), "x"), 75);
  EXPECT_RUNTIME_ERROR(WriteFileAtomically(dir.File("gone/x.txt"), "x"), 76);
  WriteFileBytes(dir.File("plain"), "x");
  EXPECT_RUNTIME_ERROR(WriteFileAtomically(dir.File("plain/x.txt"), "x"), 76);
}

// Limits the size of the files this process writes for the lifetime of the
// object (writes past it fail with EFBIG instead of raising SIGXFSZ).
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    old_handler_ = std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &old_);
    rlimit limit = old_;
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &old_);
    std::signal(SIGXFSZ, old_handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit old_{};
  void (*old_handler_)(int) = nullptr;
};

TEST(AtomicFile, AFailedWriteIsAnIOErrorAndLeavesTheTargetAsItWas) {
  TempDir dir;
  const std::string path = dir.File("out.txt");
  WriteFileBytes(path, "old");
  {
    FileSizeLimit limit(1024);
    EXPECT_RUNTIME_ERROR(WriteFileAtomically(path, std::string(100000, 'x')), 57);
  }
  EXPECT_EQ(ReadFileBytes(path), "old");
  EXPECT_EQ(Names(dir.Path()), std::vector<std::string>{"out.txt"});
}

}  // namespace
}  // namespace tavric
