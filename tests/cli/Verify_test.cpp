// tavric verify: a calibration of the bundled example against the truth the
// simulator wrote with it, compared with the library's verification.
#include "CliRun.h"
#include "ExampleCalibration.h"
#include "tavric/Calibration.h"
#include "tavric/DataFile.h"
#include "tavric/Verification.h"

namespace tavric {
namespace {

using testing::Example;
using testing::Json;
using testing::RunCli;
using testing::TempDir;

const std::string kMarked = Example("sphere-scan-marked.txt");
const std::string kTruth = Example("sphere-scan-truth.json");

// The tests share one calibration of the marked example.
class CliVerify : public testing::ExampleCalibrationSuite {
 protected:
  // `tavric verify` of the calibration with `args` and --json.
  static nlohmann::json Verify(std::vector<std::string> args) {
    args.insert(args.begin(), {"verify", calibration_, "--truth", kTruth, "--json"});
    const auto r = RunCli(args);
    EXPECT_EQ(r.status, 0) << r.err;
    return Json(r);
  }

  // The library's verification of the same calibration.
  static VerificationReport Library(std::span<const Sample> samples, double reach) {
    return verify(load(calibration_), sim::ReadTruthJson(kTruth), samples, reach);
  }

  static void ExpectSame(const nlohmann::json& j, const VerificationReport& v) {
    EXPECT_EQ(j["result"], "OK");
    EXPECT_EQ(j["points"], v.points);
    EXPECT_EQ(j["at_samples"], v.at_samples);
    const std::pair<const char*, const ErrorSpread*> spreads[] = {
        {"x", &v.x},           {"y", &v.y},           {"z", &v.z},
        {"normal", &v.normal}, {"across", &v.across}, {"total", &v.total}};
    for (const auto& [name, spread] : spreads) {
      const auto& s = j["deflection_error_um"][name];
      EXPECT_EQ(s["max"].get<double>(), spread->max * 1000.0) << name;
      EXPECT_EQ(s["rms"].get<double>(), spread->rms * 1000.0) << name;
      EXPECT_EQ(s["p95"].get<double>(), spread->p95 * 1000.0) << name;
    }
    for (std::size_t i = 0; i < 3; ++i)
      EXPECT_EQ(j["centre_error_um"][i].get<double>(), v.centre_error[i] * 1000.0) << i;
    EXPECT_EQ(j["radius_error_um"].get<double>(), v.radius_error * 1000.0);
  }
};

TEST_F(CliVerify, JsonHoldsTheLibrarysComparisonOfTheExample) {
  const auto j = Verify({});
  ExpectSame(j, Library({}, kDefaultVerificationReach));
  EXPECT_EQ(j["at_samples"], false);
  EXPECT_EQ(j["reach_mm"], kDefaultVerificationReach);
  // Five deflection sizes up to the reach, in 400 directions each.
  EXPECT_EQ(j["points"], 2000);
}

TEST_F(CliVerify, WithDataItComparesAtTheSamplesOfTheFile) {
  const auto j = Verify({"--data", kMarked});
  DataArray data;
  ASSERT_EQ(ReadCalibrationDataFile(kMarked, data), "OK");
  std::vector<Sample> samples;
  for (std::int32_t k = data.LBound(2); k <= data.UBound(2); ++k)
    samples.push_back({data(1, k), data(2, k), data(3, k), data(4, k), data(5, k), data(6, k)});
  ExpectSame(j, Library(samples, kDefaultVerificationReach));
  EXPECT_EQ(j["at_samples"], true);
  EXPECT_EQ(j["points"], 4000);
  EXPECT_EQ(j["data"], kMarked);
}

TEST_F(CliVerify, TheReachSetsTheSizeOfTheComparedDeflections) {
  const auto j = Verify({"--reach", "0.2"});
  ExpectSame(j, Library({}, 0.2));
  EXPECT_EQ(j["reach_mm"], 0.2);
  EXPECT_EQ(j["points"], 2000);
  EXPECT_NE(j["deflection_error_um"], Verify({})["deflection_error_um"]);
}

}  // namespace
}  // namespace tavric
