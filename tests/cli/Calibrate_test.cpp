// tavric calibrate on the bundled examples, compared with the library.
#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "CalibrateJson.h"
#include "CliRun.h"
#include "tavric/Calibration.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/ScanSimulator.h"

namespace tavric {
namespace {

using testing::Contains;
using testing::Example;
using testing::Json;
using testing::ReadFileBytes;
using testing::RunCli;
using testing::TempDir;

const std::string kMarked = Example("sphere-scan-marked.txt");
const std::string kGeneric = Example("sphere-scan-generic.txt");

TEST(CliCalibrate, JsonOutputHoldsTheLibrarysNumbers) {
  TempDir dir;
  const std::string file = dir.File("a.cal");
  const auto r = RunCli({"calibrate", kMarked, "-o", file, "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  const auto j = Json(r);

  testing::ExpectFitJsonHoldsTheCalibration(j, calibrate_file(kMarked));
  EXPECT_EQ(j["samples"], 4000);
  EXPECT_EQ(j["file"], file);

  // The file written is the one the library's literal class writes for the
  // same data.
  ClsProbeCalibration literal;
  std::uint8_t order = 3;
  ASSERT_EQ(literal.OptimiseFromFile(kMarked, order), "OK");
  const std::string own = dir.File("library.cal");
  ASSERT_EQ(literal.SaveCalibrationFunctions(own), "OK");
  EXPECT_EQ(ReadFileBytes(file), ReadFileBytes(own));
}

TEST(CliCalibrate, BothLayoutsOfTheExampleGiveTheSameCalibrationFile) {
  TempDir dir;
  ASSERT_EQ(RunCli({"calibrate", kMarked, "-o", dir.File("m.cal")}).status, 0);
  ASSERT_EQ(RunCli({"calibrate", kGeneric, "-o", dir.File("g.cal")}).status, 0);
  EXPECT_EQ(ReadFileBytes(dir.File("m.cal")), ReadFileBytes(dir.File("g.cal")));
}

TEST(CliCalibrate, TextOutputNamesEveryQuantity) {
  TempDir dir;
  const auto r = RunCli({"calibrate", kMarked, "-o", dir.File("a.cal")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  for (const char* line :
       {"Result        : OK\n", "Samples       : 4000\n", "Order         : 3\n"}) {
    EXPECT_TRUE(Contains(r.out, line)) << line << "\n" << r.out;
  }
  for (const char* part :
       {"FitRMS        : ", "FitMin        : ", "FitMax        : ", " \u00b5m\n",
        "Sphere centre : ", "Sphere radius : ", " mm\n", "Optimiser     : ", " iterations\n"}) {
    EXPECT_TRUE(Contains(r.out, part)) << part << "\n" << r.out;
  }
  EXPECT_TRUE(Contains(r.out, "Written       : " + dir.File("a.cal") + "\n")) << r.out;
}

TEST(CliCalibrate, DefaultOutputIsTheDataFileWithTheExtensionCal) {
  TempDir dir;
  std::filesystem::copy_file(kMarked, dir.File("scan.txt"));
  const auto r = RunCli({"calibrate", dir.File("scan.txt"), "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Json(r)["file"], dir.File("scan.cal"));
  EXPECT_TRUE(std::filesystem::exists(dir.File("scan.cal")));
}

TEST(CliCalibrate, GivingEverySettingItsDefaultChangesNothing) {
  TempDir dir;
  ASSERT_EQ(RunCli({"calibrate", kMarked, "-o", dir.File("plain.cal")}).status, 0);
  const auto r = RunCli({"calibrate",
                         kMarked,
                         "-o",
                         dir.File("explicit.cal"),
                         "--order",
                         "3",
                         "--gain",
                         "0.0000625",
                         "--max-iterations",
                         "10",
                         "--convergence",
                         "both",
                         "--gradient-tol",
                         "0.001",
                         "--sphere-tol",
                         "0.00001",
                         "--poly-tol",
                         "0.000000001",
                         "--mu",
                         "0.0001",
                         "--nu",
                         "10",
                         "--head-a",
                         "0",
                         "--head-b",
                         "0",
                         "--head-a-dir",
                         "-1,0,0",
                         "--head-b-dir",
                         "0,0,1",
                         "--offsets",
                         "0,0,0"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(ReadFileBytes(dir.File("plain.cal")), ReadFileBytes(dir.File("explicit.cal")));
}

TEST(CliCalibrate, ReachingTheIterationLimitIsStillOkAndSaysSo) {
  TempDir dir;
  const auto r = RunCli({"calibrate", kMarked, "-o", dir.File("a.cal"), "--json",
                         "--max-iterations", "0", "--convergence", "parameters"});
  ASSERT_EQ(r.status, 0) << r.err;
  const auto j = Json(r);
  EXPECT_EQ(j["result"], "OK");
  EXPECT_EQ(j["stop_reason"], "iteration limit");
  EXPECT_EQ(j["iterations"], 1);
}

TEST(CliCalibrate, ProgressDisplayGoesToStandardErrorAndChangesNoNumber) {
  TempDir dir;
  const auto plain = RunCli({"calibrate", kMarked, "-o", dir.File("a.cal"), "--json"});
  const auto shown =
      RunCli({"calibrate", kMarked, "-o", dir.File("b.cal"), "--json", "--progress"});
  ASSERT_EQ(shown.status, 0) << shown.err;
  EXPECT_NE(shown.err, "");
  auto a = Json(plain);
  auto b = Json(shown);
  for (const char* named : {"file", "output"}) {
    a.erase(named);
    b.erase(named);
  }
  EXPECT_EQ(a, b);
}

TEST(CliCalibrate, SeveralFilesAreCalibratedAsEachAloneIntoTheFolder) {
  // Two scans (the example, and a first-order one) on two threads give the
  // files each gives alone, named after the data files, in the folder.
  TempDir dir;
  std::filesystem::copy_file(kMarked, dir.File("first.txt"));
  sim::Scenario scenario;
  scenario.calibration.order = 1;
  scenario.plan.total_samples = 1500;
  ASSERT_EQ(sim::WriteGenericDataFile(dir.File("second.txt"), sim::Simulate(scenario).data), "OK");
  const auto r = RunCli({"calibrate", dir.File("first.txt"), dir.File("second.txt"), "--output-dir",
                         dir.File("out"), "--jobs", "2", "--order", "1"});
  ASSERT_EQ(r.status, 0) << r.err;
  for (const char* name : {"first", "second"}) {
    const std::string alone = dir.File(std::string(name) + "-alone.cal");
    ASSERT_EQ(
        RunCli({"calibrate", dir.File(std::string(name) + ".txt"), "-o", alone, "--order", "1"})
            .status,
        0);
    const std::string together = ReadFileBytes(dir.File("out/" + std::string(name) + ".cal"));
    EXPECT_FALSE(together.empty()) << name;
    EXPECT_TRUE(together == ReadFileBytes(alone)) << name << ".cal differs";
  }
}

// A threshold below the example's normal uncertainty (0.31 um) raises a
// warning: the status is 3 with --strict, 0 without, for both subcommands
// that fit.
TEST(CliStrict, AWarningGivesStatusThreeOnlyWithStrict) {
  TempDir dir;
  for (const char* subcommand : {"calibrate", "check"}) {
    const std::vector<std::string> args = {
        subcommand, kMarked, "-o", dir.File("a.cal"), "--max-normal-uncertainty", "0.1"};
    std::vector<std::string> run = args;
    if (std::string(subcommand) == "check") run.erase(run.begin() + 2, run.begin() + 4);
    if (std::string(subcommand) == "calibrate") run.insert(run.begin() + 1, "--force");
    const auto lenient = RunCli(run);
    EXPECT_EQ(lenient.status, 0) << subcommand << ": " << lenient.err;
    EXPECT_TRUE(Contains(lenient.out, "[normal-uncertainty]")) << lenient.out;
    run.push_back("--strict");
    EXPECT_EQ(RunCli(run).status, 3) << subcommand;
    run.erase(run.end() - 3, run.end() - 1);  // without the threshold: no warning
    EXPECT_EQ(RunCli(run).status, 0) << subcommand;
  }
}

TEST(CliCalibrate, AFileInNeitherLayoutFailsWithTheLibrarysText) {
  TempDir dir;
  testing::WriteFileBytes(dir.File("notes.txt"), "nothing to calibrate here\r\n");
  const auto r = RunCli({"calibrate", dir.File("notes.txt"), "-o", dir.File("a.cal")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(testing::FirstLine(r.err), "No Data identified.") << r.err;
  EXPECT_EQ(r.out, "");
  EXPECT_FALSE(std::filesystem::exists(dir.File("a.cal")));

  const auto j = RunCli({"calibrate", dir.File("notes.txt"), "--json"});
  EXPECT_EQ(j.status, 1);
  EXPECT_EQ(Json(j)["result"], "No Data identified.");
}

// The generic example with its data lines written with decimal commas.
std::string GenericExampleWithDecimalCommas() {
  const std::string text = ReadFileBytes(kGeneric);
  const std::size_t key_end = text.find("\r\n", text.find("LOGGED PARAMETERS"));
  const std::size_t header = text.find("\r\n", key_end + 2);
  std::string data = text.substr(header + 2);
  for (char& c : data)
    if (c == '.') c = ',';
  return text.substr(0, header + 2) + data;
}

TEST(CliCalibrate, DecimalCommaReadsDataWrittenWithDecimalCommas) {
  TempDir dir;
  testing::WriteFileBytes(dir.File("comma.txt"), GenericExampleWithDecimalCommas());
  ASSERT_EQ(RunCli({"calibrate", kGeneric, "-o", dir.File("period.cal")}).status, 0);
  const auto r =
      RunCli({"calibrate", dir.File("comma.txt"), "--decimal-comma", "-o", dir.File("comma.cal")});
  ASSERT_EQ(r.status, 0) << r.err;
  // The calibration file itself is written with periods, as always.
  EXPECT_EQ(ReadFileBytes(dir.File("comma.cal")), ReadFileBytes(dir.File("period.cal")));
}

// The generic example written with decimal commas gives, with
// --decimal-comma, what the example gives; without it, a reading failure.
TEST(CliDecimalComma, EverySubcommandThatReadsDataReadsCommasWithIt) {
  TempDir dir;
  const std::string comma = dir.File("comma.txt");
  testing::WriteFileBytes(comma, GenericExampleWithDecimalCommas());
  const std::string cal = dir.File("example.cal");
  ASSERT_EQ(RunCli({"calibrate", kGeneric, "-o", cal}).status, 0);
  const std::string truth = Example("sphere-scan-truth.json");
  const std::vector<std::vector<std::string>> runs = {
      {"calibrate", "DATA", "-o", dir.File("out.cal"), "--json", "--force"},
      {"check", "DATA", "--json"},
      {"transform", cal, "--data", "DATA", "--json"},
      {"verify", cal, "--truth", truth, "--data", "DATA", "--json"}};
  for (const auto& run : runs) {
    auto with = [&](const std::string& data) {
      std::vector<std::string> args = run;
      for (std::string& a : args)
        if (a == "DATA") a = data;
      return args;
    };
    const auto period = RunCli(with(kGeneric));
    std::vector<std::string> comma_args = with(comma);
    comma_args.push_back("--decimal-comma");
    const auto commas = RunCli(comma_args);
    ASSERT_EQ(commas.status, 0) << run[0] << ": " << commas.err;
    const auto a = Json(period);
    const auto b = Json(commas);
    for (const auto& [key, value] : a.items()) {
      if (key == "input" || key == "file" || key == "data") continue;  // the data file's name
      EXPECT_TRUE(b.contains(key) && b[key] == value) << run[0] << ": \"" << key << "\" differs";
    }
    EXPECT_EQ(RunCli(with(comma)).status, 1) << run[0] << " read commas without the flag";
  }
}

TEST(CliCalibrate, WithoutDecimalCommaTheToolReadsAPeriodWhateverTheLocale) {
  TempDir dir;
  testing::WriteFileBytes(dir.File("comma.txt"), GenericExampleWithDecimalCommas());
  // The tool's environment names a decimal-comma locale; the tool ignores it.
  const char* saved = std::getenv("LC_ALL");
  const std::string saved_value = saved != nullptr ? saved : "";
  setenv("LC_ALL", "de_DE.UTF-8", 1);
  const auto r = RunCli({"calibrate", dir.File("comma.txt"), "-o", dir.File("comma.cal")});
  if (saved != nullptr) {
    setenv("LC_ALL", saved_value.c_str(), 1);
  } else {
    unsetenv("LC_ALL");
  }
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.substr(0, r.err.find('\n') + 1),
            "File reading(Generic) error 13 : Type mismatch\n");
  EXPECT_TRUE(Contains(r.err, "--decimal-comma")) << r.err;

  // With --decimal-comma the marked example's periods are no decimal points:
  // its reader fails, and the generic reader finds no data.
  const auto p = RunCli({"calibrate", kMarked, "--decimal-comma", "-o", dir.File("marked.cal")});
  EXPECT_EQ(p.status, 1);
  EXPECT_EQ(testing::FirstLine(p.err), "No Data identified.") << p.err;
}

TEST(CliCalibrate, LinesAfterTheGenericFilesClosingLineFailWithTheLibrarysTextAndAHint) {
  TempDir dir;
  testing::WriteFileBytes(dir.File("trailing.txt"), ReadFileBytes(kGeneric) + "\r\n");
  const auto r = RunCli({"calibrate", dir.File("trailing.txt"), "-o", dir.File("a.cal")});
  EXPECT_EQ(r.status, 1);
  const std::size_t first_line = r.err.find('\n');
  ASSERT_NE(first_line, std::string::npos);
  // The footer "END OF LOG" became data: three fields, no fourth column.
  EXPECT_EQ(r.err.substr(0, first_line), "File reading(Generic) error 9 : Subscript out of range");
  const std::string context = r.err.substr(first_line + 1);
  EXPECT_TRUE(Contains(context, "line 4006, column 1: found \"END OF LOG\"")) << context;
  EXPECT_TRUE(Contains(context, "\nhint: the line is not data")) << context;
  EXPECT_TRUE(Contains(context, "trailing blank line")) << context;
}

TEST(CliCalibrate, TooFewSamplesFailTheSphereFit) {
  TempDir dir;
  testing::WriteFileBytes(dir.File("three.txt"),
                          "\"DATA START\"\r\n\"P\",\"Q\",\"R\",\"X\",\"Y\",\"Z\"\r\n"
                          "0,0,0,1,0,0\r\n0,0,0,0,1,0\r\n0,0,0,0,0,1\r\n\"DATA END\"\r\n");
  const auto r = RunCli({"calibrate", dir.File("three.txt")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(testing::FirstLine(r.err), "Sphere fit failure : Initial parameter computation")
      << r.err;
}

TEST(CliCalibrate, TwoPlanesScannedAreNotEnough) {
  TempDir dir;
  sim::Scenario scenario;
  scenario.plan.planes = 1;  // and the equator
  scenario.plan.total_samples = 800;
  ASSERT_EQ(sim::WriteMarkedDataFile(dir.File("two.txt"), sim::Simulate(scenario).data), "OK");
  const auto r = RunCli({"calibrate", dir.File("two.txt")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(testing::FirstLine(r.err), "Bi-directionnal scans detection error.") << r.err;
}

TEST(CliCalibrate, AnUnwritableCalibrationFileFailsWithTheSaveText) {
  TempDir dir;
  const auto r = RunCli({"calibrate", kMarked, "-o", dir.File("no/such/folder/a.cal")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.rfind("SaveCalibrationFunctions Error n\u00b0", 0), 0u) << r.err;
}

TEST(CliCalibrate, AMissingDataFileIsAUsageErrorNamingTheFile) {
  TempDir dir;
  const auto r = RunCli({"calibrate", dir.File("missing.txt")});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "missing.txt")) << r.err;
  EXPECT_TRUE(Contains(r.err, "does not exist")) << r.err;
}

TEST(CliCalibrate, AnOrderOutsideOneToThreeIsAUsageError) {
  const auto r = RunCli({"calibrate", kMarked, "--order", "4"});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "--order")) << r.err;
  EXPECT_TRUE(Contains(r.err, "1 to 3")) << r.err;
}

TEST(CliCalibrate, AnUnknownConvergenceTestIsAUsageErrorListingTheChoices) {
  const auto r = RunCli({"calibrate", kMarked, "--convergence", "fast"});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "--convergence")) << r.err;
  EXPECT_TRUE(Contains(r.err, "gradient")) << r.err;
  EXPECT_TRUE(Contains(r.err, "parameters")) << r.err;
}

TEST(CliCalibrate, ATripleNeedsThreeNumbers) {
  const auto r = RunCli({"calibrate", kMarked, "--offsets", "1,2"});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "--offsets")) << r.err;
}

}  // namespace
}  // namespace tavric
