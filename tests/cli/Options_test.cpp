// Every option of every subcommand, one row per option with a value other
// than its default: the run must give what the library gives with the same
// setting, and something other than the run without the option. Dropping an
// option, or wiring it to another setting, fails its row. The options of a
// fit are checked through both subcommands that fit (calibrate, check). A
// last test holds the tables against the options the tool lists in its help.
#include <cctype>
#include <functional>
#include <map>
#include <set>
#include <sstream>

#include "CalibrateJson.h"
#include "CliRun.h"
#include "tavric/Calibration.h"
#include "tavric/ScanSimulator.h"

namespace tavric {
namespace {

using testing::Example;
using testing::Json;
using testing::ReadFileBytes;
using testing::RunCli;
using testing::TempDir;

using Args = std::vector<std::string>;

Args Concat(Args a, const Args& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// --- the options of a fit: calibrate and check ------------------------------------

const std::string kMarked = Example("sphere-scan-marked.txt");

struct FitOption {
  const char* name;
  // The option and its value.
  Args option;
  // Other options without which the option shows no effect on this data (a
  // tolerance only matters to the stop test that reads it).
  Args context;
  // The same settings, context included, given to the library.
  std::function<void(Options&)> apply;
};

void PrintTo(const FitOption& row, std::ostream* os) { *os << row.name; }

// On the example: with the default stop test (both) the optimiser runs into
// its iteration limit after 11 iterations; each context below makes the
// option's value decide when it stops. The uncertainty thresholds are set
// below what the example reaches, so that they raise warnings.
const FitOption kFitOptions[] = {
    {"Order", {"--order", "2"}, {}, [](Options& o) { o.order = 2; }},
    {"Gain", {"--gain", "0.00007"}, {}, [](Options& o) { o.initial_probe_gain = 0.00007; }},
    {"MaxIterations", {"--max-iterations", "3"}, {}, [](Options& o) { o.max_iterations = 3; }},
    {"ConvergenceGradient",
     {"--convergence", "gradient"},
     {"--gradient-tol", "0.1"},
     [](Options& o) {
       o.gradient_tolerance = 0.1;
       o.convergence = ConvergenceTest::kGradient;
     }},
    {"ConvergenceParameters",
     {"--convergence", "parameters"},
     {"--poly-tol", "1e-6"},
     [](Options& o) {
       o.polynomial_tolerance = 1e-6;
       o.convergence = ConvergenceTest::kParameters;
     }},
    {"GradientTol",
     {"--gradient-tol", "0.1"},
     {"--convergence", "gradient"},
     [](Options& o) {
       o.convergence = ConvergenceTest::kGradient;
       o.gradient_tolerance = 0.1;
     }},
    {"SphereTol",
     {"--sphere-tol", "0.001"},
     {"--convergence", "parameters", "--poly-tol", "1e-4"},
     [](Options& o) {
       o.convergence = ConvergenceTest::kParameters;
       o.polynomial_tolerance = 1e-4;
       o.sphere_tolerance = 0.001;
     }},
    {"PolyTol",
     {"--poly-tol", "1e-6"},
     {"--convergence", "parameters"},
     [](Options& o) {
       o.convergence = ConvergenceTest::kParameters;
       o.polynomial_tolerance = 1e-6;
     }},
    {"Mu", {"--mu", "0.01"}, {}, [](Options& o) { o.mu = 0.01; }},
    {"Nu", {"--nu", "3"}, {}, [](Options& o) { o.nu = 3.0; }},
    {"HeadA", {"--head-a", "5"}, {}, [](Options& o) { o.head.a_deg = 5.0; }},
    {"HeadB", {"--head-b", "5"}, {}, [](Options& o) { o.head.b_deg = 5.0; }},
    {"HeadADir",
     {"--head-a-dir", "0,1,0"},
     {"--head-a", "5"},
     [](Options& o) {
       o.head.a_deg = 5.0;
       o.head.a_axis = {0.0, 1.0, 0.0};
     }},
    {"HeadBDir",
     {"--head-b-dir", "1,0,0"},
     {"--head-b", "5"},
     [](Options& o) {
       o.head.b_deg = 5.0;
       o.head.b_axis = {1.0, 0.0, 0.0};
     }},
    {"Offsets",
     {"--offsets", "10,-20,30"},
     {},
     [](Options& o) {
       o.probe_offsets = {10.0, -20.0, 30.0};
     }},
    {"Radius", {"--radius", "12.5"}, {}, [](Options& o) { o.known_radius = 12.5; }},
    {"MaxNormalUncertainty",
     {"--max-normal-uncertainty", "0.1"},
     {},
     [](Options& o) { o.thresholds.normal_uncertainty = 0.0001; }},
    {"Bootstrap", {"--bootstrap", "4"}, {}, [](Options& o) { o.bootstrap_fits = 4; }},
    {"BootstrapSeed",
     {"--bootstrap-seed", "9"},
     {"--bootstrap", "4"},
     [](Options& o) {
       o.bootstrap_fits = 4;
       o.bootstrap_seed = 9;
     }},
    {"MaxAcrossUncertainty",
     {"--max-across-uncertainty", "10"},
     {},
     [](Options& o) { o.thresholds.across_uncertainty = 0.01; }},
};

// A fit option given to one of the subcommands that fit.
struct FitOptionCase {
  std::string subcommand;
  FitOption row;
};

void PrintTo(const FitOptionCase& c, std::ostream* os) {
  *os << static_cast<char>(std::toupper(c.subcommand[0])) << c.subcommand.substr(1) << c.row.name;
}

std::vector<FitOptionCase> FitOptionCases() {
  std::vector<FitOptionCase> cases;
  for (const char* subcommand : {"calibrate", "check"})
    for (const FitOption& row : kFitOptions) cases.push_back({subcommand, row});
  return cases;
}

// `tavric SUBCOMMAND` of the example with `args` and --json: the fit it
// printed (calibrate's object, check's "fit") and, for calibrate, the
// calibration file's bytes.
struct FitRun {
  nlohmann::json fit;
  std::string file;
};

FitRun RunFit(const std::string& subcommand, const Args& args) {
  TempDir dir;
  Args command = {subcommand, kMarked, "--json"};
  if (subcommand == "calibrate") command = Concat(command, {"-o", dir.File("a.cal")});
  const auto r = RunCli(Concat(command, args));
  EXPECT_EQ(r.status, 0) << r.err;
  const nlohmann::json j = Json(r);
  if (subcommand == "check") return {j["fit"], {}};
  return {j, ReadFileBytes(dir.File("a.cal"))};
}

// The part of a fit that the settings decide: the fit without the names of
// the files and the echo of the settings.
nlohmann::json Outcome(nlohmann::json fit) {
  for (const char* key : {"schema", "tool", "command", "input", "output", "settings", "file"})
    fit.erase(key);
  return fit;
}

class FitOptionRow : public ::testing::TestWithParam<FitOptionCase> {};

TEST_P(FitOptionRow, GivesTheLibrarysFitWithTheSameSetting) {
  const FitOptionCase& c = GetParam();
  const FitRun run = RunFit(c.subcommand, Concat(c.row.context, c.row.option));
  Options options;
  c.row.apply(options);
  const Calibration cal = calibrate_file(kMarked, options);
  testing::ExpectFitJsonHoldsTheCalibration(run.fit, cal);
  if (c.subcommand == "calibrate") {
    TempDir dir;
    cal.save(dir.File("library.cal"));
    EXPECT_TRUE(run.file == ReadFileBytes(dir.File("library.cal"))) << "the files differ";
  }
}

INSTANTIATE_TEST_SUITE_P(FitOptions, FitOptionRow, ::testing::ValuesIn(FitOptionCases()));

// Each row is one that shows: the option changes the fit (or its warnings).
class FitOptionEffect : public ::testing::TestWithParam<FitOption> {};

TEST_P(FitOptionEffect, ChangesTheFit) {
  const FitOption& row = GetParam();
  const FitRun with = RunFit("calibrate", Concat(row.context, row.option));
  const FitRun without = RunFit("calibrate", row.context);
  EXPECT_NE(Outcome(with.fit), Outcome(without.fit)) << "the same fit without " << row.option[0];
}

INSTANTIATE_TEST_SUITE_P(FitOptions, FitOptionEffect, ::testing::ValuesIn(kFitOptions));

// --- simulate ---------------------------------------------------------------------

// What a simulate run is asked for: the scenario, the layout and whether the
// truth is written too.
struct SimulateSettings {
  sim::Scenario scenario;
  bool generic = false;
  bool truth = false;
};

struct SimulateOption {
  const char* name;
  Args option;
  std::function<void(SimulateSettings&)> apply;  // context included
  Args context{};
};

void PrintTo(const SimulateOption& row, std::ostream* os) { *os << row.name; }

const SimulateOption kSimulateOptions[] = {
    {"Layout", {"--layout", "generic"}, [](SimulateSettings& s) { s.generic = true; }},
    {"Truth", {"--truth", "TRUTH"}, [](SimulateSettings& s) { s.truth = true; }},
    {"Samples",
     {"--samples", "900"},
     [](SimulateSettings& s) { s.scenario.plan.total_samples = 900; }},
    {"Order", {"--order", "2"}, [](SimulateSettings& s) { s.scenario.calibration.order = 2; }},
    {"Seed",
     {"--seed", "77"},
     [](SimulateSettings& s) {
       s.scenario.noise.counts_sigma = 1.0;
       s.scenario.noise.seed = 77;
     },
     {"--counts-noise", "1"}},  // the seed only draws the noise
    {"CountsNoise",
     {"--counts-noise", "0.5"},
     [](SimulateSettings& s) { s.scenario.noise.counts_sigma = 0.5; }},
    {"PositionNoise",
     {"--position-noise", "0.1"},
     [](SimulateSettings& s) { s.scenario.noise.position_sigma_um = 0.1; }},
    {"Deflection",
     {"--deflection", "0.25"},
     [](SimulateSettings& s) { s.scenario.deflection.mean_mm = 0.25; }},
    {"Variation",
     {"--variation", "0.2"},
     [](SimulateSettings& s) { s.scenario.deflection.variation = 0.2; }},
    {"Friction",
     {"--friction", "0.02"},
     [](SimulateSettings& s) { s.scenario.deflection.friction = 0.02; }},
    {"Planes", {"--planes", "3"}, [](SimulateSettings& s) { s.scenario.plan.planes = 3; }},
    {"NoEquator",
     {"--no-equator"},
     [](SimulateSettings& s) { s.scenario.plan.include_equator = false; }},
    {"Radius", {"--radius", "10"}, [](SimulateSettings& s) { s.scenario.plan.radius = 10.0; }},
    {"Centre",
     {"--centre", "1.5,-2,3"},
     [](SimulateSettings& s) {
       s.scenario.plan.centre = {1.5, -2.0, 3.0};
     }},
    {"Offsets",
     {"--offsets", "12,-7,4.5"},
     [](SimulateSettings& s) {
       s.scenario.calibration.offsets = {12.0, -7.0, 4.5};
     }},
};

// The files a simulate run wrote: the data file and, when asked for, the
// truth (empty otherwise).
struct SimulateFiles {
  std::string data;
  std::string truth;
  bool operator==(const SimulateFiles&) const = default;
};

class SimulateOptionRow : public ::testing::TestWithParam<SimulateOption> {
 protected:
  static SimulateFiles Run(Args option) {
    TempDir dir;
    for (std::string& a : option) {
      if (a == "TRUTH") a = dir.File("truth.json");
    }
    const auto r = RunCli(Concat({"simulate", "-o", dir.File("data.txt")}, option));
    EXPECT_EQ(r.status, 0) << r.err;
    return {ReadFileBytes(dir.File("data.txt")), ReadFileBytes(dir.File("truth.json"))};
  }

  static SimulateFiles Library(const SimulateSettings& settings) {
    TempDir dir;
    const sim::SimulatedData s = sim::Simulate(settings.scenario);
    const std::string file = dir.File("data.txt");
    EXPECT_EQ(settings.generic ? sim::WriteGenericDataFile(file, s.data)
                               : sim::WriteMarkedDataFile(file, s.data),
              "OK");
    return {ReadFileBytes(file), settings.truth ? sim::TruthJson(s.truth) : ""};
  }
};

TEST_P(SimulateOptionRow, WritesWhatTheSimulatorWritesWithTheSameSetting) {
  const SimulateOption& row = GetParam();
  SimulateSettings settings;
  row.apply(settings);
  EXPECT_TRUE(Run(Concat(row.context, row.option)) == Library(settings)) << "the files differ";
}

TEST_P(SimulateOptionRow, ChangesTheFilesWritten) {
  const SimulateOption& row = GetParam();
  EXPECT_FALSE(Run(Concat(row.context, row.option)) == Run(row.context))
      << "the same files without " << row.option[0];
}

INSTANTIATE_TEST_SUITE_P(Simulate, SimulateOptionRow, ::testing::ValuesIn(kSimulateOptions));

// --- every option listed by the tool has its test ----------------------------------

// Options whose effect is not a setting of the run (an output, a format, an
// input), each with the test that checks it.
const std::map<std::pair<std::string, std::string>, std::string> kTestedElsewhere = {
    {{"calibrate", "--output"}, "CliCalibrate.JsonOutputHoldsTheLibrarysNumbers"},
    {{"calibrate", "--force"}, "CliSafeFiles.AnExistingFileIsReplacedOnlyWithForce"},
    {{"simulate", "--force"}, "CliSafeFiles.SimulateReplacesAnExistingDataFileOnlyWithForce"},
    {{"calibrate", "--output-dir"},
     "CliCalibrate.SeveralFilesAreCalibratedAsEachAloneIntoTheFolder"},
    {{"calibrate", "--jobs"}, "CliCalibrate.SeveralFilesAreCalibratedAsEachAloneIntoTheFolder"},
    {{"calibrate", "--json"}, "CliCalibrate.JsonOutputHoldsTheLibrarysNumbers"},
    {{"calibrate", "--strict"}, "CliStrict.AWarningGivesStatusThreeOnlyWithStrict"},
    {{"calibrate", "--decimal-comma"},
     "CliDecimalComma.EverySubcommandThatReadsDataReadsCommasWithIt"},
    {{"check", "--decimal-comma"}, "CliDecimalComma.EverySubcommandThatReadsDataReadsCommasWithIt"},
    {{"transform", "--decimal-comma"},
     "CliDecimalComma.EverySubcommandThatReadsDataReadsCommasWithIt"},
    {{"verify", "--decimal-comma"},
     "CliDecimalComma.EverySubcommandThatReadsDataReadsCommasWithIt"},
    {{"calibrate", "--progress"},
     "CliCalibrate.ProgressDisplayGoesToStandardErrorAndChangesNoNumber"},
    {{"check", "--json"}, "CliCheck.JsonHoldsTheLibrarysReportForTheMarkedExample"},
    {{"check", "--strict"}, "CliStrict.AWarningGivesStatusThreeOnlyWithStrict"},
    {{"check", "--progress"}, "CliCheck.ProgressDisplayGoesToStandardErrorAndChangesNoNumber"},
    {{"show", "--json"}, "CliShow.JsonHoldsTheLibrarysCalibration"},
    {{"transform", "READING"}, "CliTransform.AReadingOnTheCommandLineGivesTheLibrarysDeflection"},
    {{"transform", "--input"}, "CliTransform.AFileOfReadingsGivesOneLinePerReading"},
    {{"transform", "--data"}, "CliTransform.ADataFileGivesEachSamplesPositionPlusItsDeflection"},
    {{"transform", "--json"}, "CliTransform.JsonGivesEveryDigit"},
    {{"verify", "--data"}, "CliVerify.WithDataItComparesAtTheSamplesOfTheFile"},
    {{"verify", "--reach"}, "CliVerify.TheReachSetsTheSizeOfTheComparedDeflections"},
    {{"verify", "--json"}, "CliVerify.JsonHoldsTheLibrarysComparisonOfTheExample"},
    {{"simulate", "--json"}, "CliSimulate.EveryOptionReachesTheScenario"},
};

// The options `tavric SUBCOMMAND --help` lists that a run can leave out: the
// long name of each option and the name of each optional positional
// argument, without --help.
std::set<std::string> OptionalOptions(const std::string& subcommand) {
  const auto r = RunCli({subcommand, "--help"});
  EXPECT_EQ(r.status, 0);
  std::set<std::string> names;
  std::istringstream lines(r.out);
  for (std::string line; std::getline(lines, line);) {
    // Entries start two blanks in; wrapped descriptions start further in.
    if (line.size() < 3 || line.compare(0, 2, "  ") != 0 || line[2] == ' ') continue;
    if (testing::Contains(line, " REQUIRED")) continue;
    std::string first = line.substr(2, line.find(' ', 2) - 2);
    const auto long_name = first.find("--");
    if (long_name != std::string::npos) first = first.substr(long_name);
    if (first != "--help" && first != "-h,--help") names.insert(first);
  }
  return names;
}

bool TestExists(const std::string& full_name) {
  const ::testing::UnitTest& unit = *::testing::UnitTest::GetInstance();
  for (int i = 0; i < unit.total_test_suite_count(); ++i) {
    const ::testing::TestSuite& suite = *unit.GetTestSuite(i);
    for (int t = 0; t < suite.total_test_count(); ++t) {
      if (std::string(suite.name()) + "." + suite.GetTestInfo(t)->name() == full_name) return true;
    }
  }
  return false;
}

TEST(CliOptions, EveryOptionOfEverySubcommandHasARowOrATest) {
  std::map<std::string, std::set<std::string>> rows;
  for (const FitOption& row : kFitOptions) {
    rows["calibrate"].insert(row.option[0]);
    rows["check"].insert(row.option[0]);
  }
  for (const SimulateOption& row : kSimulateOptions) rows["simulate"].insert(row.option[0]);
  for (const char* subcommand :
       {"calibrate", "check", "show", "transform", "verify", "simulate", "version"}) {
    const std::set<std::string> listed = OptionalOptions(subcommand);
    for (const std::string& option : listed) {
      if (rows[subcommand].count(option) != 0) continue;
      const auto elsewhere = kTestedElsewhere.find({subcommand, option});
      if (elsewhere == kTestedElsewhere.end()) {
        ADD_FAILURE() << "tavric " << subcommand << " " << option << " has no row and no test";
      } else {
        EXPECT_TRUE(TestExists(elsewhere->second))
            << "tavric " << subcommand << " " << option << ": no test " << elsewhere->second;
      }
    }
    // And no row or test is kept for an option the tool no longer has.
    for (const std::string& option : rows[subcommand]) {
      EXPECT_EQ(listed.count(option), 1u) << "tavric " << subcommand << " lists no " << option;
    }
    for (const auto& [key, test] : kTestedElsewhere) {
      if (key.first == subcommand) {
        EXPECT_EQ(listed.count(key.second), 1u)
            << "tavric " << subcommand << " lists no " << key.second;
      }
    }
  }
}

}  // namespace
}  // namespace tavric
