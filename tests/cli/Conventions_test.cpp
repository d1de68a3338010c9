// The command-line conventions: help, suggestions for slips, "-" for the
// standard streams, plain range checks, --quiet, readings in any common
// separator, the manual page and the bash completion.
#include <filesystem>

#include "CliRun.h"

namespace tavric {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::Example;
using testing::ReadFileBytes;
using testing::RunCli;
using testing::TempDir;
using testing::WriteFileBytes;

const std::string kMarked = Example("sphere-scan-marked.txt");

TEST(CliConventions, HelpWithoutACommandListsEverySubcommand) {
  const auto r = RunCli({"help"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, RunCli({"--help"}).out);
  for (const char* name : {"calibrate", "transform", "show", "check", "verify", "simulate"})
    EXPECT_TRUE(Contains(r.out, name)) << name;
}

TEST(CliConventions, HelpOfACommandIsItsOwnHelp) {
  const auto r = RunCli({"help", "calibrate"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, RunCli({"calibrate", "--help"}).out);
  EXPECT_TRUE(Contains(r.out, "--max-iterations")) << r.out;
}

TEST(CliConventions, AMistypedCommandGetsASuggestion) {
  const auto r = RunCli({"calbrate", kMarked});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "'calbrate' is not a command; did you mean `calibrate`?")) << r.err;
  const auto help = RunCli({"help", "trasnform"});
  EXPECT_EQ(help.status, 2);
  EXPECT_TRUE(Contains(help.err, "did you mean `transform`?")) << help.err;
  // Nothing close: no suggestion.
  const auto far = RunCli({"frobnicate"});
  EXPECT_EQ(far.status, 2);
  EXPECT_FALSE(Contains(far.err, "did you mean")) << far.err;
}

TEST(CliConventions, AMistypedOptionGetsASuggestion) {
  const auto r = RunCli({"calibrate", kMarked, "--jsn"});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "--jsn is not an option of this command; did you mean `--json`?"))
      << r.err;
  const auto value = RunCli({"calibrate", kMarked, "--max-iteration=5"});
  EXPECT_TRUE(Contains(value.err, "did you mean `--max-iterations`?")) << value.err;
}

TEST(CliConventions, DashReadsDataFromStandardInput) {
  TempDir dir;
  ASSERT_EQ(RunCli({"calibrate", kMarked, "-o", dir.File("file.cal")}).status, 0);
  const auto r = RunCli({"calibrate", "-", "-o", dir.File("stdin.cal")}, kMarked);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(ReadFileBytes(dir.File("stdin.cal")), ReadFileBytes(dir.File("file.cal")));
  // Standard input is named "-" where the file's name would be.
  std::string from_file = RunCli({"check", kMarked}).out;
  from_file.replace(from_file.find(kMarked), kMarked.size(), "-");
  EXPECT_EQ(RunCli({"check", "-"}, kMarked).out, from_file);
  EXPECT_EQ(RunCli({"transform", dir.File("file.cal"), "--data", "-"}, kMarked).out,
            RunCli({"transform", dir.File("file.cal"), "--data", kMarked}).out);
  EXPECT_FALSE(fs::exists("-"));
}

TEST(CliConventions, DataFromStandardInputNeedAnOutputName) {
  const auto r = RunCli({"calibrate", "-"}, kMarked);
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "-o CALFILE or -o -")) << r.err;
}

TEST(CliConventions, DashOutputWritesTheFileOnStandardOutput) {
  TempDir dir;
  ASSERT_EQ(RunCli({"calibrate", kMarked, "-o", dir.File("file.cal")}).status, 0);
  const auto cal = RunCli({"calibrate", kMarked, "-o", "-"});
  EXPECT_EQ(cal.status, 0) << cal.err;
  EXPECT_EQ(cal.out, ReadFileBytes(dir.File("file.cal")));
  ASSERT_EQ(RunCli({"simulate", "-o", dir.File("scan.txt")}).status, 0);
  const auto data = RunCli({"simulate", "-o", "-"});
  EXPECT_EQ(data.status, 0) << data.err;
  EXPECT_EQ(data.out, ReadFileBytes(dir.File("scan.txt")));
  EXPECT_FALSE(fs::exists("-"));
  EXPECT_EQ(RunCli({"calibrate", kMarked, "-o", "-", "--json"}).status, 2);
}

TEST(CliConventions, AnIterationLimitPastTheCounterNamesTheRangeAndTheReason) {
  const auto r = RunCli({"calibrate", kMarked, "--max-iterations", "255"});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "--max-iterations: 255 is out of range: it must be from 0 to 254"))
      << r.err;
  EXPECT_TRUE(Contains(r.err, "8 bits")) << r.err;
}

TEST(CliConventions, SimulatorOptionsOutOfRangeNameTheOptionAndTheRange) {
  TempDir dir;
  const auto noise = RunCli({"simulate", "-o", dir.File("s.txt"), "--counts-noise", "-1"});
  EXPECT_EQ(noise.status, 2);
  EXPECT_TRUE(Contains(noise.err, "--counts-noise: -1 is out of range: it must be 0 or more"))
      << noise.err;
  const auto samples = RunCli({"simulate", "-o", dir.File("s.txt"), "--samples", "10"});
  EXPECT_EQ(samples.status, 2);
  EXPECT_TRUE(Contains(samples.err, "tavric simulate: --samples")) << samples.err;
  const auto variation = RunCli({"simulate", "-o", dir.File("s.txt"), "--variation", "1"});
  EXPECT_EQ(variation.status, 2);
  EXPECT_TRUE(Contains(variation.err, "--variation must be in [0, 1)")) << variation.err;
  for (const auto* r : {&noise, &samples, &variation}) {
    EXPECT_FALSE(Contains(r->err, "ScanSimulator")) << r->err;
    EXPECT_FALSE(Contains(r->err, "Profile.")) << r->err;
  }
  EXPECT_FALSE(fs::exists(dir.File("s.txt")));
}

TEST(CliConventions, TheSamplesHelpGivesTheRealMinimum) {
  const auto r = RunCli({"help", "simulate"});
  EXPECT_TRUE(Contains(r.out, "at least 2 per scan")) << r.out;
  // The minimum it names is the simulator's: 20 for the default plan.
  TempDir dir;
  EXPECT_EQ(RunCli({"simulate", "-o", dir.File("a.txt"), "--samples", "20"}).status, 0);
  EXPECT_EQ(RunCli({"simulate", "-o", dir.File("b.txt"), "--samples", "19"}).status, 2);
}

TEST(CliConventions, QuietPrintsNothingButWhatWasAskedFor) {
  TempDir dir;
  const auto r = RunCli({"calibrate", kMarked, "-o", dir.File("q.cal"), "--quiet"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_TRUE(fs::exists(dir.File("q.cal")));
  const auto json = RunCli({"-q", "show", dir.File("q.cal"), "--json"});
  EXPECT_EQ(testing::Json(json)["result"], "OK");
  const auto failed = RunCli({"show", kMarked, "--quiet"});
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(failed.out, "");
  EXPECT_NE(failed.err, "");
}

class CliReadings : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(RunCli({"calibrate", kMarked, "-o", calibration_}).status, 0); }
  std::string Transform(const std::string& readings) {
    WriteFileBytes(dir_.File("readings.txt"), readings);
    last_ = RunCli({"transform", calibration_, "-i", dir_.File("readings.txt")});
    return last_.out;
  }
  TempDir dir_;
  std::string calibration_ = dir_.File("probe.cal");
  testing::CliResult last_;
};

TEST_F(CliReadings, SpacesTabsAndAHeaderLineReadAsCommas) {
  const std::string expected = Transform("1200,-350,80\n-40,900,15\n");
  ASSERT_EQ(last_.status, 0);
  EXPECT_EQ(Transform("1200 -350 80\n-40  900 15\n"), expected);
  EXPECT_EQ(Transform("P\tQ\tR\n1200\t-350\t80\n-40\t900\t15\n"), expected);
  EXPECT_EQ(Transform("P,Q,R\r\n1200, -350, 80\r\n-40,900,15\r\n"), expected);
  EXPECT_EQ(last_.status, 0);
}

TEST_F(CliReadings, ABadReadingIsReportedByLineAndNothingIsPrinted) {
  EXPECT_EQ(Transform("P Q R\n1200 -350 80\n1200 x 80\n-40 900 15\n"), "");
  EXPECT_EQ(last_.status, 1);
  EXPECT_TRUE(Contains(last_.err, "readings.txt:3: expected P,Q,R")) << last_.err;
  EXPECT_TRUE(Contains(last_.err, "\"1200 x 80\"")) << last_.err;
  // A second header, after the first reading, is a bad reading too.
  EXPECT_EQ(Transform("1200 -350 80\nP Q R\n"), "");
  EXPECT_TRUE(Contains(last_.err, "readings.txt:2:")) << last_.err;
  EXPECT_EQ(Transform("1200 -350\n"), "");
  EXPECT_TRUE(Contains(last_.err, "readings.txt:1:")) << last_.err;
}

TEST(CliConventions, TheManualPageIsMadeFromTheHelp) {
  const std::string page = TAVRIC_MAN_PAGE;
  TAVRIC_SKIP_UNLESS_AVAILABLE(!page.empty(), "help2man");
  const std::string text = ReadFileBytes(page);
  EXPECT_TRUE(Contains(text, ".TH TAVRIC \"1\"")) << text.substr(0, 200);
  for (const char* part : {"calibrate", "simulate", "\\-\\-quiet", "EXIT STATUS", "\\-\\-force"})
    EXPECT_TRUE(Contains(text, part)) << part;
}

// The words bash would offer after `line` (completion of its last word).
std::string Completions(const std::string& line) {
  TempDir dir;
  const std::string script =
      "source " + testing::ShellQuote(testing::SourceFile("cli/tavric-completion.bash")) +
      "\nread -ra COMP_WORDS <<< " + testing::ShellQuote(line) + "\n[[ " +
      testing::ShellQuote(line) + " == *' ' ]] && COMP_WORDS+=('')" +
      "\nCOMP_WORDS[0]=" + testing::ShellQuote(TAVRIC_CLI_PATH) +
      "\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_tavric\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
  WriteFileBytes(dir.File("complete.sh"), script);
  const std::string command =
      "bash " + testing::ShellQuote(dir.File("complete.sh")) + " > " + dir.File("out");
  if (std::system(command.c_str()) != 0) return "(failed)";
  return ReadFileBytes(dir.File("out"));
}

TEST(CliConventions, BashCompletesCommandsAndTheirOptions) {
  EXPECT_EQ(Completions("tavric cal"), "calibrate\n");
  EXPECT_EQ(Completions("tavric help tr"), "transform\n");
  const std::string options = Completions("tavric calibrate --max-i");
  EXPECT_EQ(options, "--max-iterations\n");
  EXPECT_TRUE(Contains(Completions("tavric simulate --"), "--force\n"));
}

}  // namespace
}  // namespace tavric
