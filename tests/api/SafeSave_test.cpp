// Saving a calibration never damages the file it would replace: a save that
// fails on a full disk, in a read-only folder, into a folder given as the
// file name or into a folder that vanished reports the usual failure text
// and leaves an existing calibration file byte for byte as it was.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "TestSupport.h"
#include "tavric/Calibration.h"

namespace tavric {
namespace {

namespace fs = std::filesystem;
using testing::ReadFileBytes;
using testing::TempDir;

const Calibration& Fitted() {
  static const Calibration cal =
      calibrate_file(std::string(TAVRIC_EXAMPLES_DIR) + "/sphere-scan-marked.txt");
  return cal;
}

// The failure text of saving `cal` to `path` (empty when it was saved).
std::string SaveFailure(const Calibration& cal, const fs::path& path) {
  try {
    cal.save(path);
    return {};
  } catch (const Error& e) {
    return e.text();
  }
}

// A small tmpfs mounted on a folder for the test's lifetime (root only).
class SmallDisk {
 public:
  SmallDisk(const fs::path& at, const char* options) : at_(at) {
    fs::create_directories(at);
    mounted_ = ::mount("tmpfs", at.c_str(), "tmpfs", 0, options) == 0;
  }
  ~SmallDisk() {
    if (mounted_) ::umount2(at_.c_str(), MNT_DETACH);
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;
  bool mounted() const { return mounted_; }
  bool MakeReadOnly() {
    return ::mount("tmpfs", at_.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) == 0;
  }

 private:
  fs::path at_;
  bool mounted_ = false;
};

// Writes a file until the disk holding it is full.
void FillDisk(const fs::path& file) {
  std::FILE* f = std::fopen(file.c_str(), "wb");
  ASSERT_NE(f, nullptr);
  const std::string block(4096, 'x');
  while (std::fwrite(block.data(), 1, block.size(), f) == block.size() && std::fflush(f) == 0) {
  }
  std::fclose(f);
}

TEST(SafeSave, AnExistingCalibrationSurvivesASaveOntoAFullDisk) {
  if (geteuid() != 0) GTEST_SKIP() << "mounting a small tmpfs needs root";
  TempDir dir;
  SmallDisk disk(dir.Path() / "disk", "size=64k");
  if (!disk.mounted()) GTEST_SKIP() << "tmpfs cannot be mounted here";
  const fs::path path = dir.Path() / "disk" / "probe.cal";
  Fitted().save(path);
  const std::string before = ReadFileBytes(path.string());
  FillDisk(dir.Path() / "disk" / "filler");
  EXPECT_EQ(SaveFailure(Fitted(), path), "SaveCalibrationFunctions Error n\u00b061 Disk full");
  EXPECT_EQ(ReadFileBytes(path.string()), before);
  EXPECT_EQ(std::distance(fs::directory_iterator(path.parent_path()), fs::directory_iterator()),
            2);  // the calibration and the filler: no temporary file
}

TEST(SafeSave, AnExistingCalibrationSurvivesASaveIntoAReadOnlyFolder) {
  TempDir dir;
  const fs::path folder = dir.Path() / "locked";
  const fs::path path = folder / "probe.cal";
  SmallDisk disk(folder, "size=64k");  // read-only for root too, where it mounts
  Fitted().save(path);
  const std::string before = ReadFileBytes(path.string());
  if (disk.mounted()) {
    ASSERT_TRUE(disk.MakeReadOnly());
  } else {
    if (geteuid() == 0) GTEST_SKIP() << "root writes into any folder and tmpfs cannot be mounted";
    fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
  }
  EXPECT_EQ(SaveFailure(Fitted(), path),
            "SaveCalibrationFunctions Error n\u00b070 Permission denied");
  EXPECT_EQ(ReadFileBytes(path.string()), before);
  if (!disk.mounted()) fs::permissions(folder, fs::perms::owner_all);
}

TEST(SafeSave, AFolderGivenAsTheFileNameIsRefusedAndKept) {
  TempDir dir;
  const fs::path folder = dir.Path() / "probe.cal";
  fs::create_directory(folder);
  EXPECT_EQ(SaveFailure(Fitted(), folder),
            "SaveCalibrationFunctions Error n\u00b075 Path/File access error");
  EXPECT_TRUE(fs::is_directory(folder));
  EXPECT_TRUE(fs::is_empty(folder));
}

TEST(SafeSave, ASaveIntoAVanishedFolderIsPathNotFound) {
  TempDir dir;
  const fs::path folder = dir.Path() / "gone";
  fs::create_directory(folder);
  fs::remove(folder);
  EXPECT_EQ(SaveFailure(Fitted(), folder / "probe.cal"),
            "SaveCalibrationFunctions Error n\u00b076 Path not found");
  EXPECT_FALSE(fs::exists(folder));
}

TEST(SafeSave, ASuccessfulSaveReplacesTheFileWithTheSameBytesAsAFreshOne) {
  TempDir dir;
  const fs::path fresh = dir.Path() / "fresh.cal";
  const fs::path replaced = dir.Path() / "replaced.cal";
  testing::WriteFileBytes(replaced.string(), std::string(100000, 'x'));
  Fitted().save(fresh);
  Fitted().save(replaced);
  EXPECT_EQ(ReadFileBytes(replaced.string()), ReadFileBytes(fresh.string()));
}

}  // namespace
}  // namespace tavric
