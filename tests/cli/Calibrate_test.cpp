// tavric calibrate on the bundled examples, compared with the library.
#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "CliRun.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/RunReport.h"
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

  ClsProbeCalibration cal;
  std::uint8_t order = 3;
  ASSERT_EQ(cal.OptimiseFromFile(kMarked, order), "OK");
  const RunReport& report = LastRunReport();
  EXPECT_EQ(j["result"], "OK");
  EXPECT_EQ(j["samples"], report.samples);
  EXPECT_EQ(j["samples"], 4000);
  EXPECT_EQ(j["order"], 3);
  EXPECT_EQ(j["fit_rms_um"].get<double>(), cal.FitRMS() * 1000.0);
  EXPECT_EQ(j["fit_min_um"].get<double>(), cal.FitMin() * 1000.0);
  EXPECT_EQ(j["fit_max_um"].get<double>(), cal.FitMax() * 1000.0);
  for (std::uint8_t i = 1; i <= 3; ++i) {
    EXPECT_EQ(j["sphere"]["centre"][i - 1].get<double>(), cal.SphereCentre(i));
  }
  EXPECT_EQ(j["sphere"]["radius"].get<double>(), cal.SphereRadius());
  EXPECT_EQ(j["iterations"], report.outer_iterations);
  EXPECT_EQ(j["stop_reason"], ToString(report.stop_reason));
  EXPECT_EQ(j["file"], file);
  ASSERT_EQ(j["history"].size(), report.iterations.size());
  for (std::size_t i = 0; i < report.iterations.size(); ++i) {
    const IterationRecord& it = report.iterations[i];
    const auto& h = j["history"][i];
    EXPECT_EQ(h["iteration"], it.iteration);
    EXPECT_EQ(h["S"].get<double>(), it.S);
    EXPECT_EQ(h["fit_rms_um"].get<double>(), it.FitRMS * 1000.0);
    EXPECT_EQ(h["fit_min_um"].get<double>(), it.FitMin * 1000.0);
    EXPECT_EQ(h["fit_max_um"].get<double>(), it.FitMax * 1000.0);
    EXPECT_EQ(h["mu"].get<double>(), it.Mu);
    EXPECT_EQ(h["rejected_trials"], it.rejected_trials);
  }

  // The file written is the one the library writes for the same run.
  const std::string own = dir.File("library.cal");
  ASSERT_EQ(cal.SaveCalibrationFunctions(own), "OK");
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

TEST(CliCalibrate, SettingsReachTheLibrary) {
  TempDir dir;
  const auto r = RunCli({"calibrate", kMarked, "-o", dir.File("a.cal"), "--json", "--order", "2",
                         "--max-iterations", "2", "--convergence", "gradient", "--gain", "0.00006",
                         "--offsets", "10,-20,30"});
  ASSERT_EQ(r.status, 0) << r.err;
  const auto j = Json(r);

  ClsProbeCalibration cal;
  cal.IterationMaxNumber(2);
  cal.ConvergenceDetectionMethod(E_GradientNorm);
  cal.InitialProbeGain(0.00006);
  cal.LetProbeOffsets(10.0, -20.0, 30.0);
  std::uint8_t order = 2;
  ASSERT_EQ(cal.OptimiseFromFile(kMarked, order), "OK");
  EXPECT_EQ(j["order"], 2);
  EXPECT_EQ(j["iterations"], LastRunReport().outer_iterations);
  EXPECT_EQ(j["stop_reason"], ToString(LastRunReport().stop_reason));
  EXPECT_EQ(j["fit_rms_um"].get<double>(), cal.FitRMS() * 1000.0);
  EXPECT_EQ(j["sphere"]["radius"].get<double>(), cal.SphereRadius());

  // The offsets survive the fit into the file.
  const auto shown = Json(RunCli({"show", dir.File("a.cal"), "--json"}));
  EXPECT_EQ(shown["offsets"], nlohmann::json::parse("[10.0, -20.0, 30.0]"));
  EXPECT_EQ(shown["order"], 2);
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

TEST(CliCalibrate, AFileInNeitherLayoutFailsWithTheLibrarysText) {
  TempDir dir;
  testing::WriteFileBytes(dir.File("notes.txt"), "nothing to calibrate here\r\n");
  const auto r = RunCli({"calibrate", dir.File("notes.txt"), "-o", dir.File("a.cal")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "No Data identified.\n");
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
  EXPECT_EQ(p.err, "No Data identified.\n");
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
  const std::string hint = r.err.substr(first_line + 1);
  EXPECT_TRUE(hint.starts_with("hint: ")) << hint;
  EXPECT_TRUE(Contains(hint, "trailing blank line")) << hint;
  EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 2);
}

TEST(CliCalibrate, TooFewSamplesFailTheSphereFit) {
  TempDir dir;
  testing::WriteFileBytes(dir.File("three.txt"),
                          "\"DATA START\"\r\n\"P\",\"Q\",\"R\",\"X\",\"Y\",\"Z\"\r\n"
                          "0,0,0,1,0,0\r\n0,0,0,0,1,0\r\n0,0,0,0,0,1\r\n\"DATA END\"\r\n");
  const auto r = RunCli({"calibrate", dir.File("three.txt")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "Sphere fit failure : Initial parameter computation\n");
}

TEST(CliCalibrate, TwoPlanesScannedAreNotEnough) {
  TempDir dir;
  sim::Scenario scenario;
  scenario.plan.planes = 1;  // and the equator
  scenario.plan.total_samples = 800;
  ASSERT_EQ(sim::WriteMarkedDataFile(dir.File("two.txt"), sim::Simulate(scenario).data), "OK");
  const auto r = RunCli({"calibrate", dir.File("two.txt")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "Bi-directionnal scans detection error.\n");
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
