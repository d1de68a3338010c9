// tavric transform with a calibration of the bundled example.
#include <cmath>
#include <cstdio>
#include <sstream>

#include "CliRun.h"
#include "ExampleCalibration.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/DataFile.h"

namespace tavric {
namespace {

using testing::Contains;
using testing::Example;
using testing::Json;
using testing::RunCli;
using testing::TempDir;
using testing::WriteFileBytes;

const std::string kMarked = Example("sphere-scan-marked.txt");
const std::string kGeneric = Example("sphere-scan-generic.txt");

// The tests share one calibration of the marked example.
class CliTransform : public testing::ExampleCalibrationSuite {
 protected:
  // The library's conversion of a reading with the same calibration file.
  static std::array<double, 3> Library(double p, double q, double r) {
    ClsProbeCalibration cal;
    EXPECT_EQ(cal.LoadCalibrationFunctions(calibration_), "OK");
    std::array<double, 3> d{};
    cal.Transform(p, q, r, d[0], d[1], d[2]);
    return d;
  }

  static std::string Line(const std::array<double, 3>& v) {
    char buffer[128];
    std::snprintf(buffer, sizeof buffer, "%.15g,%.15g,%.15g\n", v[0], v[1], v[2]);
    return buffer;
  }
};

TEST_F(CliTransform, AReadingOnTheCommandLineGivesTheLibrarysDeflection) {
  const auto r = RunCli({"transform", calibration_, "1200", "-350", "80"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, Line(Library(1200.0, -350.0, 80.0)));
}

TEST_F(CliTransform, JsonGivesEveryDigit) {
  const auto r = RunCli({"transform", calibration_, "--json", "--", "-4100.5", "250", "-77"});
  ASSERT_EQ(r.status, 0) << r.err;
  const auto j = Json(r);
  const auto d = Library(-4100.5, 250.0, -77.0);
  ASSERT_EQ(j["points"].size(), 1u);
  EXPECT_EQ(j["points"][0]["reading"], nlohmann::json::parse("[-4100.5, 250.0, -77.0]"));
  for (std::size_t a = 0; a < 3; ++a) {
    EXPECT_EQ(j["points"][0]["deflection"][a].get<double>(), d[a]);
  }
}

TEST_F(CliTransform, AFileOfReadingsGivesOneLinePerReading) {
  TempDir dir;
  WriteFileBytes(dir.File("in.txt"),
                 "# readings\r\n1200,-350,80\r\n\r\n  0 , 0 , 0  \r\n-1e3,2.5e2,7\r\n");
  const std::string expected =
      Line(Library(1200, -350, 80)) + Line(Library(0, 0, 0)) + Line(Library(-1000, 250, 7));
  const auto r = RunCli({"transform", calibration_, "-i", dir.File("in.txt")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, expected);

  const auto piped = RunCli({"transform", calibration_, "-i", "-"}, dir.File("in.txt"));
  ASSERT_EQ(piped.status, 0) << piped.err;
  EXPECT_EQ(piped.out, expected);
}

TEST_F(CliTransform, ALineThatIsNotThreeNumbersFailsWithItsLineNumber) {
  TempDir dir;
  WriteFileBytes(dir.File("in.txt"), "1,2,3\n1,2\n");
  const auto r = RunCli({"transform", calibration_, "-i", dir.File("in.txt")});
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(Contains(r.err, "in.txt:2:")) << r.err;
  WriteFileBytes(dir.File("in.txt"), "1,2,x\n");
  EXPECT_EQ(RunCli({"transform", calibration_, "-i", dir.File("in.txt")}).status, 1);
}

TEST_F(CliTransform, ADataFileGivesEachSamplesPositionPlusItsDeflection) {
  const auto r = RunCli({"transform", calibration_, "--data", kMarked, "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  const auto j = Json(r);
  EXPECT_EQ(j["layout"], "marked");
  EXPECT_EQ(j["samples"], 4000);
  ASSERT_EQ(j["points"].size(), 4000u);

  DataArray data;
  ASSERT_EQ(ReadCalibrationDataFile(kMarked, data), "OK");
  ClsProbeCalibration cal;
  ASSERT_EQ(cal.LoadCalibrationFunctions(calibration_), "OK");
  double sum = 0.0;
  for (int k = 1; k <= 4000; ++k) {
    const auto& point = j["points"][static_cast<std::size_t>(k - 1)];
    double d[3];
    cal.Transform(data(1, k), data(2, k), data(3, k), d[0], d[1], d[2]);
    double r2 = 0.0;
    for (int a = 0; a < 3; ++a) {
      const auto i = static_cast<std::size_t>(a);
      ASSERT_EQ(point["reading"][i].get<double>(), data(1 + a, k));
      ASSERT_EQ(point["position"][i].get<double>(), data(4 + a, k));
      ASSERT_EQ(point["deflection"][i].get<double>(), d[a]);
      ASSERT_EQ(point["tip"][i].get<double>(), data(4 + a, k) + d[a]);
      const double w =
          point["tip"][i].get<double>() - cal.SphereCentre(static_cast<std::uint8_t>(a + 1));
      r2 += w * w;
    }
    const double residual = std::sqrt(r2) - cal.SphereRadius();
    sum += residual * residual;
  }
  // The tip centres lie on the fitted sphere with the fit's RMS residual.
  EXPECT_NEAR(std::sqrt(sum / 4000.0), cal.FitRMS(), 1e-6 * cal.FitRMS());
}

TEST_F(CliTransform, BothLayoutsGiveTheSameTipCentres) {
  const auto marked = RunCli({"transform", calibration_, "--data", kMarked});
  const auto generic = RunCli({"transform", calibration_, "--data", kGeneric});
  ASSERT_EQ(marked.status, 0) << marked.err;
  ASSERT_EQ(generic.status, 0) << generic.err;
  EXPECT_EQ(marked.out, generic.out);
  std::istringstream lines(marked.out);
  int count = 0;
  for (std::string line; std::getline(lines, line);) ++count;
  EXPECT_EQ(count, 4000);
}

TEST_F(CliTransform, DataInNeitherLayoutFailsWithTheReadersText) {
  TempDir dir;
  WriteFileBytes(dir.File("x.txt"), "hello\r\n");
  const auto r = RunCli({"transform", calibration_, "--data", dir.File("x.txt")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(testing::FirstLine(r.err), "No Data identified.") << r.err;
}

TEST_F(CliTransform, AFileThatIsNoCalibrationFailsWithTheLoadText) {
  TempDir dir;
  WriteFileBytes(dir.File("empty.cal"), "");
  const auto r = RunCli({"transform", dir.File("empty.cal"), "1", "2", "3"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.rfind("LoadCalibrationFunctions Error n\u00b0", 0), 0u) << r.err;
}

TEST_F(CliTransform, ReadingsAreRequiredAndComeInThrees) {
  EXPECT_EQ(RunCli({"transform", calibration_}).status, 2);
  const auto two = RunCli({"transform", calibration_, "1", "2"});
  EXPECT_EQ(two.status, 2);
  EXPECT_TRUE(Contains(two.err, "3 required")) << two.err;
  EXPECT_EQ(RunCli({"transform", calibration_, "1", "2", "3", "--data", kMarked}).status, 2);
}

TEST_F(CliTransform, AMissingCalibrationOrInputIsAUsageError) {
  TempDir dir;
  EXPECT_EQ(RunCli({"transform", dir.File("none.cal"), "1", "2", "3"}).status, 2);
  const auto r = RunCli({"transform", calibration_, "-i", dir.File("none.txt")});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "none.txt")) << r.err;
}

}  // namespace
}  // namespace tavric
