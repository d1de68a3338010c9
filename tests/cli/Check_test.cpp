// tavric check on the bundled examples and on data a calibration refuses.
#include "CliRun.h"
#include "tavric/DataCheck.h"
#include "tavric/ScanSimulator.h"

namespace tavric {
namespace {

using testing::Contains;
using testing::Example;
using testing::Json;
using testing::RunCli;
using testing::TempDir;

void ExpectSameAsLibrary(const std::string& file, const std::string& layout) {
  const auto r = RunCli({"check", file, "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  const auto j = Json(r);
  const DataCheckReport report = CheckCalibrationDataFile(file);
  EXPECT_EQ(j["result"], report.result);
  EXPECT_EQ(j["layout"], layout);
  EXPECT_EQ(j["layout"], report.layout);
  EXPECT_EQ(j["samples"], report.samples);
  EXPECT_EQ(j["sphere_result"], report.sphere_result);
  EXPECT_EQ(j["sphere"]["centre"], nlohmann::json(report.centre));
  EXPECT_EQ(j["sphere"]["radius"].get<double>(), report.radius);
  EXPECT_EQ(j["sphere"]["deviation_min_um"].get<double>(), report.deviation_min * 1000.0);
  EXPECT_EQ(j["sphere"]["deviation_max_um"].get<double>(), report.deviation_max * 1000.0);
  EXPECT_EQ(j["sphere"]["deviation_variance_um2"].get<double>(), report.deviation_variance * 1.0e6);
  EXPECT_EQ(j["scans"], report.scans);
  EXPECT_EQ(j["planes"], report.planes);
  EXPECT_EQ(j["bidirectional_planes"], report.bidirectional_planes);
  EXPECT_EQ(j["accepted"], report.accepted);
}

TEST(CliCheck, JsonHoldsTheLibrarysReportForTheMarkedExample) {
  ExpectSameAsLibrary(Example("sphere-scan-marked.txt"), "marked");
}

TEST(CliCheck, JsonHoldsTheLibrarysReportForTheGenericExample) {
  ExpectSameAsLibrary(Example("sphere-scan-generic.txt"), "generic");
}

TEST(CliCheck, TextSaysTheExampleIsAccepted) {
  const auto r = RunCli({"check", Example("sphere-scan-marked.txt")});
  ASSERT_EQ(r.status, 0) << r.err;
  for (const char* line : {"(marked layout)\n", "Samples       : 4000\n", "Sphere fit    : OK\n",
                           "Scans         : 10\n", "Planes        : 5 (5 scanned in both senses)\n",
                           "Accepted      : yes\n"}) {
    EXPECT_TRUE(Contains(r.out, line)) << line << "\n" << r.out;
  }
}

TEST(CliCheck, TwoPlanesAreReportedAsNotAcceptedAndFailLikeACalibration) {
  TempDir dir;
  sim::Scenario scenario;
  scenario.plan.planes = 1;
  scenario.plan.total_samples = 1000;
  ASSERT_EQ(sim::WriteGenericDataFile(dir.File("two.txt"), sim::Simulate(scenario).data), "OK");
  const auto r = RunCli({"check", dir.File("two.txt")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(testing::FirstLine(r.err), "Bi-directionnal scans detection error.") << r.err;
  EXPECT_TRUE(Contains(r.out, "Planes        : 2 (2 scanned in both senses)\n")) << r.out;
  EXPECT_TRUE(Contains(r.out,
                       "Accepted      : no: a calibration needs at least three planes scanned in "
                       "both senses\n"))
      << r.out;
  const auto j = RunCli({"check", dir.File("two.txt"), "--json"});
  EXPECT_EQ(j.status, 1);
  EXPECT_EQ(Json(j)["accepted"], false);
  EXPECT_EQ(Json(j)["fit"]["error_code"], "scan-path-rejected");
}

TEST(CliCheck, ProgressDisplayGoesToStandardErrorAndChangesNoNumber) {
  const std::string data = Example("sphere-scan-marked.txt");
  const auto plain = RunCli({"check", data, "--json"});
  const auto shown = RunCli({"check", data, "--json", "--progress"});
  ASSERT_EQ(shown.status, 0) << shown.err;
  EXPECT_EQ(plain.err, "");
  EXPECT_NE(shown.err, "");
  EXPECT_EQ(Json(plain), Json(shown));
}

TEST(CliCheck, AFileInNeitherLayoutFailsWithTheReadersText) {
  TempDir dir;
  testing::WriteFileBytes(dir.File("x.txt"), "LOGGED PARAMETERS\r\nTime X.51\r\n");
  const auto r = RunCli({"check", dir.File("x.txt")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(testing::FirstLine(r.err), "Fields missing") << r.err;
  const auto j = RunCli({"check", dir.File("x.txt"), "--json"});
  EXPECT_EQ(j.status, 1);
  EXPECT_EQ(Json(j)["result"], "Fields missing");
  EXPECT_EQ(Json(j)["accepted"], false);
}

TEST(CliCheck, TooFewSamplesFailTheSphereFit) {
  TempDir dir;
  testing::WriteFileBytes(dir.File("three.txt"),
                          "DATA START\r\nP,Q,R,X,Y,Z\r\n0,0,0,1,0,0\r\n0,0,0,0,1,0\r\n"
                          "0,0,0,0,0,1\r\nDATA END\r\n");
  const auto r = RunCli({"check", dir.File("three.txt")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(testing::FirstLine(r.err), "Sphere fit failure : Initial parameter computation")
      << r.err;
  EXPECT_TRUE(Contains(r.out, "Samples       : 3\n")) << r.out;
}

TEST(CliCheck, AMissingFileIsAUsageError) {
  TempDir dir;
  const auto r = RunCli({"check", dir.File("missing.txt")});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "missing.txt")) << r.err;
}

}  // namespace
}  // namespace tavric
