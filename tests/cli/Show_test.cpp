// tavric show on calibrations of the bundled example.
#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>

#include "CliRun.h"
#include "tavric/ClsProbeCalibration.h"

namespace tavric {
namespace {

using testing::Contains;
using testing::Example;
using testing::Json;
using testing::RunCli;
using testing::TempDir;

const std::string kMarked = Example("sphere-scan-marked.txt");

TEST(CliShow, JsonHoldsTheLibrarysCalibration) {
  TempDir dir;
  const std::string file = dir.File("a.cal");
  ASSERT_EQ(RunCli({"calibrate", kMarked, "-o", file, "--offsets", "3,-4,5"}).status, 0);
  const auto r = RunCli({"show", file, "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  const auto j = Json(r);

  ClsProbeCalibration cal;
  ASSERT_EQ(cal.LoadCalibrationFunctions(file), "OK");
  EXPECT_EQ(j["result"], "OK");
  EXPECT_EQ(j["order"], cal.PolynomialOrder());
  double p, q, rr;
  cal.GetProbeOffsets(p, q, rr);
  EXPECT_EQ(j["offsets"], nlohmann::json::array({p, q, rr}));
  EXPECT_EQ(j["offsets"], nlohmann::json::parse("[3.0, -4.0, 5.0]"));
  EXPECT_EQ(j["sphere"]["centre"],
            nlohmann::json::array({cal.SphereCentre(1), cal.SphereCentre(2), cal.SphereCentre(3)}));
  EXPECT_EQ(j["sphere"]["radius"].get<double>(), cal.SphereRadius());
  EXPECT_EQ(j["fit_rms_um"].get<double>(), cal.FitRMS() * 1000.0);
  EXPECT_EQ(j["fit_min_um"].get<double>(), cal.FitMin() * 1000.0);
  EXPECT_EQ(j["fit_max_um"].get<double>(), cal.FitMax() * 1000.0);

  ASSERT_EQ(j["terms"].size(), 20u);
  for (const auto& term : j["terms"]) {
    const auto powers = term["powers"].get<std::array<std::int16_t, 3>>();
    double x, y, z;
    cal.GetPolyParameters(powers[0], powers[1], powers[2], x, y, z);
    EXPECT_EQ(term["coefficients"], nlohmann::json::array({x, y, z})) << term;
  }
}

TEST(CliShow, TermsComeInTheOrderOfTheExamplesTruth) {
  // The simulator's truth lists the terms in the polynomial's own order.
  std::ifstream in(Example("sphere-scan-truth.json"));
  const auto truth = nlohmann::json::parse(in);
  TempDir dir;
  ASSERT_EQ(RunCli({"calibrate", kMarked, "-o", dir.File("a.cal")}).status, 0);
  const auto j = Json(RunCli({"show", dir.File("a.cal"), "--json"}));
  ASSERT_EQ(j["terms"].size(), truth["terms"].size());
  for (std::size_t t = 0; t < j["terms"].size(); ++t) {
    EXPECT_EQ(j["terms"][t]["powers"], truth["terms"][t]["powers"]) << "term " << t + 1;
  }
}

TEST(CliShow, TextListsTheSettingsAndOneRowPerTerm) {
  TempDir dir;
  ASSERT_EQ(RunCli({"calibrate", kMarked, "-o", dir.File("a.cal"), "--order", "1"}).status, 0);
  const auto r = RunCli({"show", dir.File("a.cal")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(r.out, "Order         : 1\n")) << r.out;
  EXPECT_TRUE(Contains(r.out, "Probe offsets : 0, 0, 0 counts\n")) << r.out;
  for (const char* part : {"Sphere centre : ", "Sphere radius : ", "FitRMS        : "}) {
    EXPECT_TRUE(Contains(r.out, part)) << part;
  }
  // Order 1: the terms 1, R, Q, P.
  for (const char* row : {"   1  0 0 0 ", "   2  0 0 1 ", "   3  0 1 0 ", "   4  1 0 0 "}) {
    EXPECT_TRUE(Contains(r.out, row)) << row << "\n" << r.out;
  }
  EXPECT_FALSE(Contains(r.out, "   5  ")) << r.out;
}

TEST(CliShow, AFileThatIsNoCalibrationFailsWithTheLoadText) {
  TempDir dir;
  testing::WriteFileBytes(dir.File("empty.cal"), "");
  const auto r = RunCli({"show", dir.File("empty.cal")});
  EXPECT_EQ(r.status, 1);
  // The library's text alone on its first line, then what the file is.
  EXPECT_EQ(testing::FirstLine(r.err),
            "LoadCalibrationFunctions Error n\u00b062 Input past end of file")
      << r.err;
  EXPECT_NE(r.err.find("\nhint: the file is empty\n"), std::string::npos) << r.err;
  EXPECT_EQ(RunCli({"show", dir.File("missing.cal")}).status, 2);
}

TEST(CliShow, ANegativeZeroCoefficientIsPrintedAsZero) {
  TempDir dir;
  const std::string fitted = dir.File("fitted.cal");
  ASSERT_EQ(RunCli({"calibrate", kMarked, "-o", fitted}).status, 0);
  // The same calibration with the X coefficient of term 2 (R) written as -0.
  std::ifstream in(fitted, std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::size_t row = text.find("\n0,0,1,");
  ASSERT_NE(row, std::string::npos);
  const std::size_t first = row + 7;
  text.replace(first, text.find(',', first) - first, "-0");
  const std::string edited = dir.File("edited.cal");
  std::ofstream(edited, std::ios::binary) << text;

  ClsProbeCalibration cal;
  ASSERT_EQ(cal.LoadCalibrationFunctions(edited), "OK");
  double x = 1.0, y = 0.0, z = 0.0;
  cal.GetPolyParameters(0, 0, 1, x, y, z);
  ASSERT_TRUE(x == 0.0 && std::signbit(x)) << "the file's -0 is read as " << x;

  const auto r = RunCli({"show", edited});
  ASSERT_EQ(r.status, 0) << r.err;
  std::istringstream lines(r.out);
  std::string line;
  bool found = false;
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    std::string term, p, q, rr, cx;
    if (!(fields >> term >> p >> q >> rr >> cx) || term != "2") continue;
    found = true;
    EXPECT_EQ(cx, "0") << line;
  }
  EXPECT_TRUE(found) << r.out;
}

}  // namespace
}  // namespace tavric
