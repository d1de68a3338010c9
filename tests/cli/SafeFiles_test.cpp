// The tool never destroys a file: it refuses to write over its inputs and,
// without --force, over any existing file; a save that fails still prints
// the results; output that cannot be written is a failure, never status 0.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "CliRun.h"

namespace tavric {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::Example;
using testing::ReadFileBytes;
using testing::RunCli;
using testing::ShellQuote;
using testing::TempDir;
using testing::WriteFileBytes;

const std::string kMarked = Example("sphere-scan-marked.txt");

TEST(CliSafeFiles, AnExistingFileIsReplacedOnlyWithForce) {
  TempDir dir;
  const std::string cal = dir.File("probe.cal");
  WriteFileBytes(cal, "precious");
  const auto refused = RunCli({"calibrate", kMarked, "-o", cal});
  EXPECT_EQ(refused.status, 2);
  EXPECT_TRUE(Contains(refused.err, cal + " exists already; give --force to replace it"))
      << refused.err;
  EXPECT_EQ(ReadFileBytes(cal), "precious");
  const auto forced = RunCli({"calibrate", kMarked, "-o", cal, "--force"});
  EXPECT_EQ(forced.status, 0) << forced.err;
  EXPECT_EQ(ReadFileBytes(cal).rfind("\"TAVRIC\"\r\n", 0), 0u);
}

TEST(CliSafeFiles, TheInputIsRecognisedUnderAnotherSpellingOrThroughALink) {
  TempDir dir;
  const std::string data = dir.File("scan.txt");
  WriteFileBytes(data, ReadFileBytes(kMarked));
  fs::create_symlink(data, dir.File("link.txt"));
  for (const std::string& name :
       {dir.File("./scan.txt"), dir.File("sub/../scan.txt"), dir.File("link.txt")}) {
    fs::create_directories(dir.File("sub"));
    const auto r = RunCli({"calibrate", data, "-o", name, "--force"});
    EXPECT_EQ(r.status, 2) << name;
    EXPECT_TRUE(Contains(r.err, "would replace the input file")) << r.err;
  }
  EXPECT_EQ(ReadFileBytes(data), ReadFileBytes(kMarked));
}

TEST(CliSafeFiles, SimulateRefusesOneFileForTheDataAndTheTruth) {
  TempDir dir;
  const std::string same = dir.File("same.txt");
  const auto r = RunCli({"simulate", "-o", same, "--truth", same});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "are the same file")) << r.err;
  EXPECT_FALSE(fs::exists(same));
}

TEST(CliSafeFiles, SimulateReplacesAnExistingDataFileOnlyWithForce) {
  TempDir dir;
  const std::string data = dir.File("scan.txt");
  WriteFileBytes(data, "precious");
  EXPECT_EQ(RunCli({"simulate", "-o", data}).status, 2);
  EXPECT_EQ(ReadFileBytes(data), "precious");
  EXPECT_EQ(RunCli({"simulate", "-o", data, "--force"}).status, 0);
  EXPECT_EQ(ReadFileBytes(data).rfind("\"DATA START\"", 0), 0u);
}

TEST(CliSafeFiles, SeveralDataFilesMayNotShareOneCalibrationFile) {
  TempDir dir;
  fs::create_directories(dir.File("a"));
  fs::create_directories(dir.File("b"));
  WriteFileBytes(dir.File("a/scan.txt"), ReadFileBytes(kMarked));
  WriteFileBytes(dir.File("b/scan.txt"), ReadFileBytes(kMarked));
  const auto r = RunCli({"calibrate", dir.File("a/scan.txt"), dir.File("b/scan.txt"),
                         "--output-dir", dir.File("out")});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "are the same file")) << r.err;
}

TEST(CliSafeFiles, AFailedSaveStillPrintsTheResultsAndExitsWithOne) {
  TempDir dir;
  const std::string cal = dir.File("no/such/folder/probe.cal");
  const auto text = RunCli({"calibrate", kMarked, "-o", cal});
  EXPECT_EQ(text.status, 1);
  EXPECT_TRUE(Contains(text.out, "FitRMS")) << text.out;
  EXPECT_TRUE(Contains(text.out, "Written       : no")) << text.out;
  EXPECT_EQ(text.err.rfind("SaveCalibrationFunctions Error n\u00b076 Path not found\n", 0), 0u)
      << text.err;
  EXPECT_TRUE(Contains(text.err, "\nfile: " + cal + "\nhint: the folder " +
                                     dir.File("no/such/folder") + " does not exist"))
      << text.err;
  const auto json = RunCli({"calibrate", kMarked, "-o", cal, "--json"});
  EXPECT_EQ(json.status, 1);
  const auto j = testing::Json(json);
  EXPECT_EQ(j["result"], "OK");
  EXPECT_TRUE(j["fit_rms_um"].is_number());
  EXPECT_TRUE(j["file"].is_null());
  EXPECT_EQ(j["save_error"], "SaveCalibrationFunctions Error n\u00b076 Path not found");
}

TEST(CliSafeFiles, AFailedSaveSaysWhyTheFileCouldNotBeWritten) {
  TempDir dir;
  fs::create_directories(dir.File("taken.cal"));
  const auto folder = RunCli({"calibrate", kMarked, "-o", dir.File("taken.cal"), "--force"});
  EXPECT_EQ(folder.status, 1);
  EXPECT_TRUE(Contains(folder.err, "hint: " + dir.File("taken.cal") + " is a folder"))
      << folder.err;
  if (geteuid() != 0) {  // root writes into any folder
    fs::create_directories(dir.File("locked"));
    fs::permissions(dir.File("locked"), fs::perms::owner_read | fs::perms::owner_exec);
    const auto locked = RunCli({"calibrate", kMarked, "-o", dir.File("locked/probe.cal")});
    fs::permissions(dir.File("locked"), fs::perms::owner_all);
    EXPECT_EQ(locked.status, 1);
    EXPECT_TRUE(Contains(locked.err, "hint: this user cannot write into the folder")) << locked.err;
  }
}

// Runs `tavric args...` through the shell with standard output sent to
// `stdout_target` (a shell redirection's target).
testing::CliResult RunToStdout(const std::vector<std::string>& args,
                               const std::string& stdout_target) {
  TempDir dir;
  std::string command = ShellQuote(TAVRIC_CLI_PATH);
  for (const std::string& a : args) command += " " + ShellQuote(a);
  command += " < /dev/null > " + stdout_target + " 2> " + ShellQuote(dir.File("err"));
  const int raw = std::system(command.c_str());
  testing::CliResult r;
  r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  r.err = ReadFileBytes(dir.File("err"));
  return r;
}

TEST(CliSafeFiles, AFullStandardOutputIsAFailure) {
  if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  TempDir dir;
  const std::string cal = dir.File("probe.cal");
  ASSERT_EQ(RunCli({"calibrate", kMarked, "-o", cal}).status, 0);
  const std::vector<std::vector<std::string>> runs = {
      {"calibrate", kMarked, "-o", dir.File("again.cal")},
      {"show", cal},
      {"transform", cal, "1", "2", "3"},
      {"show", cal, "--json"},
      {"version"}};
  for (const auto& args : runs) {
    const auto r = RunToStdout(args, "/dev/full");
    EXPECT_EQ(r.status, 1) << args[0];
    EXPECT_TRUE(Contains(r.err, "tavric: standard output could not be written")) << r.err;
  }
}

// Runs `tavric args...` with standard output a pipe whose reading end is
// already closed.
testing::CliResult RunIntoClosedPipe(const std::vector<std::string>& args) {
  TempDir dir;
  int fds[2];
  if (::pipe(fds) != 0) return {};
  ::close(fds[0]);
  const std::string err = dir.File("err");
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(fds[1], 1);
    const int e = ::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ::dup2(e, 2);
    std::vector<char*> argv;
    std::string program = TAVRIC_CLI_PATH;
    argv.push_back(program.data());
    std::vector<std::string> copies(args);
    for (std::string& a : copies) argv.push_back(a.data());
    argv.push_back(nullptr);
    ::execv(program.c_str(), argv.data());
    ::_exit(127);
  }
  ::close(fds[1]);
  int raw = 0;
  ::waitpid(child, &raw, 0);
  testing::CliResult r;
  r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  r.err = ReadFileBytes(err);
  return r;
}

TEST(CliSafeFiles, AClosedPipeOnStandardOutputIsAFailureWithAMessage) {
  TempDir dir;
  const std::string cal = dir.File("probe.cal");
  ASSERT_EQ(RunCli({"calibrate", kMarked, "-o", cal}).status, 0);
  const auto r = RunIntoClosedPipe({"show", cal});
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(Contains(r.err, "standard output could not be written")) << r.err;
}

TEST(CliSafeFiles, ShowAndTransformRefuseAFileThatIsNoCalibrationSayingWhatItSeemsToBe) {
  TempDir dir;
  WriteFileBytes(dir.File("notes.txt"), "nothing to calibrate here\n");
  WriteFileBytes(dir.File("truth.json"), "{\"schema\": 1}\n");
  WriteFileBytes(dir.File("empty.cal"), "");
  const std::vector<std::pair<std::string, std::string>> files = {
      {kMarked, "this is a data file of scans (marked layout), not a calibration"},
      {dir.File("notes.txt"), "the file is neither a calibration nor a data file of scans"},
      {dir.File("truth.json"), "the file looks like JSON"},
      {dir.File("empty.cal"), "the file is empty"}};
  for (const auto& [file, seems] : files) {
    for (const auto& args : std::vector<std::vector<std::string>>{
             {"show", file}, {"transform", file, "1", "2", "3"}}) {
      const auto r = RunCli(args);
      EXPECT_EQ(r.status, 1) << args[0] << " " << file;
      EXPECT_EQ(r.out, "") << args[0] << " " << file;
      EXPECT_TRUE(Contains(r.err, "\nfile: " + file)) << r.err;
      EXPECT_TRUE(Contains(r.err, "\nhint: " + seems)) << r.err;
    }
  }
}

TEST(CliSafeFiles, AFileNameThatIsNotUtf8IsWrittenIntoTheJsonWithoutFailing) {
  TempDir dir;
  const std::string name = dir.File("scan-\xff.txt");
  const auto r = RunCli({"simulate", "-o", name, "--json"});
  EXPECT_EQ(r.status, 0) << r.err;
  const auto j = testing::Json(r);
  EXPECT_TRUE(Contains(j["output"].get<std::string>(), "scan-\xef\xbf\xbd.txt")) << r.out;
  EXPECT_TRUE(fs::exists(name));
  const auto failed = RunCli({"show", name, "--json"});
  EXPECT_EQ(failed.status, 1);
  EXPECT_TRUE(testing::Json(failed)["result"].is_string()) << failed.out;
}

}  // namespace
}  // namespace tavric
