// How the tool tells a good calibration from a bad one: the uncertainty line,
// warnings with their figures, --strict, check's exit status, verify, a known
// radius, and physical deflections with probe offsets.
#include <cmath>
#include <sstream>

#include "CliRun.h"
#include "tavric/Calibration.h"
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
const std::string kTruth = Example("sphere-scan-truth.json");

// A simulated scan like the bundled example but with `change` applied, and
// its truth, written into `dir`.
std::string Simulated(const TempDir& dir, const std::string& name,
                      const std::function<void(sim::Scenario&)>& change) {
  sim::Scenario s;
  s.noise.counts_sigma = 1.5;
  s.noise.position_sigma_um = 0.2;
  s.noise.seed = 2026;
  change(s);
  const sim::SimulatedData data = sim::Simulate(s);
  EXPECT_EQ(sim::WriteMarkedDataFile(dir.File(name + ".txt"), data.data), "OK");
  EXPECT_EQ(sim::WriteTruthJson(dir.File(name + ".json"), data.truth), "OK");
  return dir.File(name + ".txt");
}

std::vector<std::string> Codes(const nlohmann::json& j) {
  std::vector<std::string> codes;
  for (const auto& w : j["warnings"]) codes.push_back(w["code"]);
  return codes;
}

bool Has(const std::vector<std::string>& codes, const std::string& code) {
  return std::find(codes.begin(), codes.end(), code) != codes.end();
}

TEST(CliTrust, AWellDesignedScanShowsItsUncertaintyAndPassesStrict) {
  TempDir dir;
  const auto r = RunCli({"calibrate", "--force", kMarked, "-o", dir.File("a.cal"), "--strict"});
  EXPECT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_TRUE(Contains(r.out,
                       "Uncertainty   : deflection (95 %) normal \u00b10.31 \u00b5m, across "
                       "\u00b163 \u00b5m; radius \u00b10.25 \u00b5m\n"))
      << r.out;
  EXPECT_TRUE(Contains(r.out, "Warnings      : none\n")) << r.out;
  const auto j = Json(RunCli({"calibrate", "--force", kMarked, "-o", dir.File("a.cal"), "--json"}));
  EXPECT_EQ(j["warnings"].size(), 0u);
  // The JSON's expanded uncertainties are twice the library's 95th
  // percentiles.
  const Calibration cal = calibrate_file(kMarked);
  EXPECT_DOUBLE_EQ(j["uncertainty"]["expanded_95_um"]["normal"].get<double>(),
                   2000.0 * cal.uncertainty().at_samples.normal.p95);
  EXPECT_DOUBLE_EQ(j["uncertainty"]["expanded_95_um"]["across"].get<double>(),
                   2000.0 * cal.uncertainty().at_samples.across.p95);
  EXPECT_EQ(j["uncertainty"]["rank"], 61);
  EXPECT_EQ(j["uncertainty"]["weakest"].size(), 3u);
}

TEST(CliTrust, AScanWhoseDeflectionNeverVariesFailsStrictWithItsFigures) {
  TempDir dir;
  const std::string data =
      Simulated(dir, "flat", [](sim::Scenario& s) { s.deflection.variation = 0.0; });
  const auto r = RunCli({"calibrate", "--force", data, "--strict"});
  EXPECT_EQ(r.status, 3) << r.err;
  EXPECT_TRUE(Contains(r.out, "[constant-deflection] The deflection's size varies by only 0."))
      << r.out;
  EXPECT_TRUE(Contains(r.out,
                       "[normal-uncertainty] The deflection along the sphere's normal is "
                       "uncertain by up to \u00b1"))
      << r.out;
  // Without --strict the result is still "OK" with exit status 0, and the
  // calibration is written.
  const auto plain = RunCli({"calibrate", "--force", data, "--json"});
  EXPECT_EQ(plain.status, 0);
  const auto j = Json(plain);
  EXPECT_TRUE(Has(Codes(j), "constant-deflection"));
  for (const auto& w : j["warnings"]) {
    EXPECT_FALSE(w["text"].get<std::string>().empty());
    // The measured figure is on the wrong side of its limit.
    if (w["code"] == "constant-deflection") {
      EXPECT_LT(w["value"], w["limit"]);
    }
    if (w["code"] == "normal-uncertainty") {
      EXPECT_GT(w["value"], w["limit"]);
    }
  }
}

TEST(CliTrust, AKnownRadiusRemovesTheGainRadiusWarning) {
  TempDir dir;
  const std::string data =
      Simulated(dir, "flat", [](sim::Scenario& s) { s.deflection.variation = 0.0; });
  const auto r = RunCli({"calibrate", "--force", data, "--radius", "12.5", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  const auto j = Json(r);
  EXPECT_EQ(j["sphere"]["radius"], 12.5);
  EXPECT_EQ(j["sphere"]["radius_held"], true);
  EXPECT_EQ(j["settings"]["radius"], 12.5);
  EXPECT_FALSE(Has(Codes(j), "constant-deflection"));
  EXPECT_EQ(j["uncertainty"]["parameters"], 60);
  EXPECT_TRUE(j["uncertainty"]["radius_um"].is_null());
  // What fitting the radius would have given is reported beside it.
  EXPECT_GT(j["uncertainty"]["radius_fitted"]["at_samples_um"]["normal"]["p95"].get<double>(),
            3.0 * j["uncertainty"]["at_samples_um"]["normal"]["p95"].get<double>());
  const auto text = RunCli({"calibrate", "--force", data, "--radius", "12.5"});
  EXPECT_TRUE(Contains(text.out, "Sphere radius : 12.500000 mm (held)\n")) << text.out;
  EXPECT_TRUE(Contains(text.out, "; radius held (fitted: radius \u00b1")) << text.out;
}

TEST(CliTrust, TooFewPlanesForTheOrderAreWarned) {
  TempDir dir;
  const std::string data = Simulated(dir, "three", [](sim::Scenario& s) { s.plan.planes = 2; });
  const auto j = Json(RunCli({"calibrate", "--force", data, "--json"}));
  EXPECT_TRUE(Has(Codes(j), "few-planes"));
  EXPECT_EQ(j["bidirectional_planes"], 3);
  // A second-order fit needs three planes: no warning.
  EXPECT_FALSE(Has(Codes(Json(RunCli({"calibrate", "--force", data, "--json", "--order", "2"}))),
                   "few-planes"));
}

TEST(CliTrust, AnOrderTooLowForTheProbeLeavesAPatternInTheResiduals) {
  const auto j = Json(RunCli({"check", kMarked, "--order", "1", "--json"}));
  EXPECT_TRUE(Has(Codes(j), "residual-pattern")) << j.dump();
  EXPECT_GT(j["fit"]["uncertainty"]["residual_autocorrelation"].get<double>(), 0.25);
}

TEST(CliTrust, StoppingAtTheIterationLimitWhileStillMovingIsWarned) {
  TempDir dir;
  const auto j = Json(RunCli({"calibrate", "--force", kMarked, "-o", dir.File("a.cal"), "--json",
                              "--max-iterations", "0"}));
  EXPECT_EQ(j["stop_reason"], "iteration limit");
  EXPECT_TRUE(Has(Codes(j), "still-moving"));
}

TEST(CliTrust, ThresholdsAreOptions) {
  TempDir dir;
  const auto j =
      Json(RunCli({"calibrate", kMarked, "-o", dir.File("a.cal"), "--json",
                   "--max-normal-uncertainty", "0.1", "--max-across-uncertainty", "10"}));
  EXPECT_TRUE(Has(Codes(j), "normal-uncertainty"));
  EXPECT_TRUE(Has(Codes(j), "across-uncertainty"));
  EXPECT_EQ(j["settings"]["max_normal_uncertainty_um"], 0.1);
  EXPECT_EQ(j["settings"]["max_across_uncertainty_um"], 10.0);
}

TEST(CliTrust, CheckRunsTheCalibrationAndAppliesStrict) {
  const auto r = RunCli({"check", kMarked});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(r.out, "Accepted      : yes\n")) << r.out;
  EXPECT_TRUE(Contains(r.out,
                       "Fit           : OK, order 3, FitRMS 0.2201 \u00b5m, iteration limit "
                       "after 11 iterations\n"))
      << r.out;
  EXPECT_TRUE(Contains(r.out, "Uncertainty   : deflection (95 %) normal \u00b10.31")) << r.out;
  EXPECT_EQ(RunCli({"check", kMarked, "--strict", "--max-across-uncertainty", "1"}).status, 3);
}

TEST(CliTrust, VerifyComparesACalibrationWithTheTruth) {
  TempDir dir;
  ASSERT_EQ(RunCli({"calibrate", kMarked, "-o", dir.File("a.cal")}).status, 0);
  const auto r =
      RunCli({"verify", dir.File("a.cal"), "--truth", kTruth, "--data", kMarked, "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  const auto j = Json(r);
  EXPECT_EQ(j["points"], 4000);
  EXPECT_EQ(j["at_samples"], true);
  // The example's calibration: a small error along the normal, a large one
  // across it (that is what a sphere scan determines).
  EXPECT_LT(j["deflection_error_um"]["normal"]["max"].get<double>(), 1.0);
  EXPECT_GT(j["deflection_error_um"]["across"]["max"].get<double>(), 5.0);
  EXPECT_NEAR(j["radius_error_um"].get<double>(), -0.108, 0.001);
  EXPECT_TRUE(j["normal_coverage"].is_null());  // a calibration file holds no uncertainty
  const auto range = Json(RunCli({"verify", dir.File("a.cal"), "--truth", kTruth, "--json"}));
  EXPECT_EQ(range["points"], 2000);
  EXPECT_EQ(range["at_samples"], false);
  const auto text = RunCli({"verify", dir.File("a.cal"), "--truth", kTruth, "--data", kMarked});
  EXPECT_TRUE(Contains(text.out, "Compared at   : 4000 samples of ")) << text.out;
  EXPECT_TRUE(Contains(text.out, "  normal  ")) << text.out;
  EXPECT_EQ(RunCli({"verify", dir.File("a.cal"), "--truth", kMarked}).status, 1);
}

TEST(CliTrust, WithOffsetsTheRestReadingTransformsToZeroAndTipCentresLieOnTheSphere) {
  TempDir dir;
  const std::string data = Simulated(dir, "offsets", [](sim::Scenario& s) {
    s.calibration.offsets = {120.0, -35.0, 8.0};
  });
  const auto fit = Json(
      RunCli({"calibrate", data, "-o", dir.File("o.cal"), "--offsets", "120,-35,8", "--json"}));
  ASSERT_EQ(fit["result"], "OK");
  const auto rest = Json(RunCli({"transform", dir.File("o.cal"), "120", "-35", "8", "--json"}));
  for (const auto& c : rest["points"][0]["deflection"]) EXPECT_NEAR(c.get<double>(), 0.0, 1e-12);
  const auto tips = RunCli({"transform", dir.File("o.cal"), "--data", data});
  ASSERT_EQ(tips.status, 0) << tips.err;
  const double rms = fit["fit_rms_um"].get<double>() / 1000.0;
  const double radius = fit["sphere"]["radius"];
  std::vector<double> c = fit["sphere"]["centre"];
  std::istringstream lines(tips.out);
  std::string line;
  int n = 0;
  while (std::getline(lines, line)) {
    double x = 0, y = 0, z = 0;
    ASSERT_EQ(std::sscanf(line.c_str(), "%lf,%lf,%lf", &x, &y, &z), 3) << line;
    const double distance =
        std::sqrt((x - c[0]) * (x - c[0]) + (y - c[1]) * (y - c[1]) + (z - c[2]) * (z - c[2]));
    ASSERT_LE(std::fabs(distance - radius), 5.0 * rms) << "sample " << n + 1;
    ++n;
  }
  EXPECT_EQ(n, 4000);
  const auto shown = RunCli({"show", dir.File("o.cal")});
  EXPECT_TRUE(Contains(shown.out, "Probe offsets : 120, -35, 8 counts\n")) << shown.out;
  EXPECT_TRUE(Contains(shown.out, "   1  0 0 0  (the constant term: the probe offsets, negated)\n"))
      << shown.out;
}

TEST(CliTrust, ADataFileGivenAsACalibrationIsRefusedWithAHint) {
  for (const char* command : {"show", "transform"}) {
    std::vector<std::string> args = {command, kMarked};
    if (std::string(command) == "transform") args.insert(args.end(), {"1", "2", "3"});
    const auto r = RunCli(args);
    EXPECT_EQ(r.status, 1) << command;
    EXPECT_TRUE(Contains(r.err, "No calibration found in ")) << r.err;
    EXPECT_TRUE(Contains(r.err, "hint: ")) << r.err;
    EXPECT_TRUE(Contains(r.err, "marked layout")) << r.err;
    EXPECT_TRUE(r.out.empty()) << r.out;
  }
}

TEST(CliTrust, TheCalibrationNeverReplacesItsDataFile) {
  TempDir dir;
  const std::string data = dir.File("scan.txt");
  testing::WriteFileBytes(data, ReadFileBytes(kMarked));
  const auto r = RunCli({"calibrate", data, "-o", data});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "would replace the input file")) << r.err;
  EXPECT_EQ(ReadFileBytes(data), ReadFileBytes(kMarked));
  // The default name of a data file already called .cal is the file itself.
  const std::string cal_named = dir.File("scan.cal");
  testing::WriteFileBytes(cal_named, ReadFileBytes(kMarked));
  EXPECT_EQ(RunCli({"calibrate", cal_named}).status, 2);
  EXPECT_EQ(ReadFileBytes(cal_named), ReadFileBytes(kMarked));
}

TEST(CliTrust, AnIterationLimitTheCounterCannotHoldIsAUsageError) {
  const auto r = RunCli({"calibrate", kMarked, "--max-iterations", "255"});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "--max-iterations")) << r.err;
}

TEST(CliBatch, ManyFilesOnTwoThreadsGiveTheFilesOfEachAlone) {
  TempDir dir;
  std::vector<std::string> inputs;
  for (int i = 0; i < 4; ++i)
    inputs.push_back(Simulated(dir, "scan" + std::to_string(i), [i](sim::Scenario& s) {
      s.noise.seed = 10 + static_cast<std::uint64_t>(i);
      s.plan.total_samples = 1500;
    }));
  std::vector<std::string> args = {"calibrate"};
  args.insert(args.end(), inputs.begin(), inputs.end());
  for (const std::string& extra :
       {std::string("-j"), std::string("2"), std::string("--output-dir"), dir.File("out")})
    args.push_back(extra);
  const auto batch = RunCli(args);
  ASSERT_EQ(batch.status, 0) << batch.err;
  EXPECT_TRUE(Contains(batch.out, "result  FitRMS/\u00b5m")) << batch.out;
  for (int i = 0; i < 4; ++i) {
    const std::string name = "scan" + std::to_string(i);
    ASSERT_EQ(RunCli({"calibrate", inputs[static_cast<std::size_t>(i)], "-o",
                      dir.File(name + "-alone.cal")})
                  .status,
              0);
    EXPECT_EQ(ReadFileBytes(dir.File("out/" + name + ".cal")),
              ReadFileBytes(dir.File(name + "-alone.cal")))
        << name;
  }
  // --json prints one object per line, in the order of the inputs.
  args.push_back("--json");
  args.push_back("--force");
  const auto lines = RunCli(args);
  std::istringstream in(lines.out);
  std::string line;
  for (int i = 0; i < 4; ++i) {
    ASSERT_TRUE(std::getline(in, line));
    EXPECT_EQ(nlohmann::json::parse(line)["input"], inputs[static_cast<std::size_t>(i)]);
  }
}

TEST(CliBatch, AFailedFileFailsTheBatchButNotTheOthers) {
  TempDir dir;
  const std::string good = dir.File("good.txt");
  testing::WriteFileBytes(good, ReadFileBytes(kMarked));
  const std::string bad = dir.File("bad.txt");
  testing::WriteFileBytes(bad, "nothing to calibrate here\r\n");
  const auto r = RunCli({"calibrate", good, bad, "--output-dir", dir.File("out")});
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(Contains(r.err, bad + ": No Data identified.\n")) << r.err;
  EXPECT_FALSE(ReadFileBytes(dir.File("out/good.cal")).empty());
  EXPECT_EQ(RunCli({"calibrate", good, bad, "-o", dir.File("x.cal")}).status, 2);
}

}  // namespace
}  // namespace tavric
