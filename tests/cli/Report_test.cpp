// tavric report: the page it writes shows the numbers calibrate --json and
// show --json give, refuses to replace its inputs, and stays small for the
// largest data a calibration takes.
#include <cstdio>
#include <filesystem>
#include <string>

#include "CliRun.h"
#include "report/Svg.h"

namespace tavric {
namespace {

using testing::CliResult;
using testing::Contains;
using testing::Example;
using testing::Json;
using testing::ReadFileBytes;
using testing::RunCli;
using testing::TempDir;

std::string Printf(const char* format, double value) {
  if (value == 0.0) value = 0.0;
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, format, value);
  return buffer;
}

// A labelled value of the page's fields tables, as a reader sees it.
std::string Field(const std::string& label, const std::string& value) {
  return "<th scope=\"row\">" + label + "</th><td>" + value + "</td>";
}

// A table row of numeric cells after its name.
std::string Row(const std::string& name, const std::vector<std::string>& cells) {
  std::string row = "<tr><td>" + name + "</td>";
  for (const std::string& c : cells) row += "<td class=\"num\">" + c + "</td>";
  return row + "</tr>";
}

std::string Um4(const nlohmann::json& value) { return Printf("%.4f", value.get<double>()); }

class ReportCommand : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new TempDir;
    calibrated_ = RunCli(
        {"calibrate", Example("sphere-scan-marked.txt"), "--json", "-o", dir_->File("scan.cal")});
    report_ = RunCli({"report", Example("sphere-scan-marked.txt"), "-o", dir_->File("scan.html")});
    page_ = ReadFileBytes(dir_->File("scan.html"));
  }
  static void TearDownTestSuite() { delete dir_; }

  static TempDir* dir_;
  static CliResult calibrated_;
  static CliResult report_;
  static std::string page_;
};

TempDir* ReportCommand::dir_ = nullptr;
CliResult ReportCommand::calibrated_;
CliResult ReportCommand::report_;
std::string ReportCommand::page_;

TEST_F(ReportCommand, SaysWhatItWroteAndExitsZero) {
  EXPECT_EQ(report_.status, 0) << report_.err;
  EXPECT_EQ(report_.err, "");
  EXPECT_TRUE(Contains(report_.out, "Result        : OK\n"));
  EXPECT_TRUE(Contains(report_.out, "Samples       : 4000\n"));
  EXPECT_TRUE(Contains(report_.out, "Written       : " + dir_->File("scan.html") + "\n"));
  EXPECT_TRUE(page_.starts_with("<!DOCTYPE html>"));
}

TEST_F(ReportCommand, TheFitsNumbersAreThoseOfCalibrateJson) {
  ASSERT_EQ(calibrated_.status, 0) << calibrated_.err;
  const nlohmann::json j = Json(calibrated_);
  EXPECT_TRUE(Contains(page_, Field("Samples", std::to_string(j["samples"].get<int>()))));
  EXPECT_TRUE(Contains(page_, Field("Order", std::to_string(j["order"].get<int>()))));
  EXPECT_TRUE(Contains(page_, Field("Result", j["result"].get<std::string>())));
  EXPECT_TRUE(Contains(
      page_, Field("Optimiser", j["stop_reason"].get<std::string>() + " after " +
                                    std::to_string(j["iterations"].get<int>()) + " iterations")));
  EXPECT_TRUE(Contains(page_, Field("FitRMS", Um4(j["fit_rms_um"]) + " \u00b5m")));
  EXPECT_TRUE(Contains(page_, Field("FitMin", Um4(j["fit_min_um"]) + " \u00b5m")));
  EXPECT_TRUE(Contains(page_, Field("FitMax", Um4(j["fit_max_um"]) + " \u00b5m")));

  const nlohmann::json& u = j["uncertainty"];
  const char* axes[] = {"centre X", "centre Y", "centre Z"};
  for (int i = 0; i < 3; ++i) {
    const double centre = j["sphere"]["centre"][i].get<double>();
    const double standard = u["centre_um"][i].get<double>();
    EXPECT_TRUE(Contains(page_, Row(axes[i], {Printf("%.6f", centre), Printf("%.4f", standard),
                                              Printf("%.4f", 2.0 * standard)})))
        << axes[i];
  }
  EXPECT_TRUE(
      Contains(page_, Row("radius", {Printf("%.6f", j["sphere"]["radius"].get<double>()),
                                     Um4(u["radius_um"]), Um4(u["expanded_95_um"]["radius"])})));
  for (const char* where : {"at_samples_um", "over_range_um"}) {
    for (const auto& [name, key] :
         {std::pair{"along the normal", "normal"}, std::pair{"across the normal", "across"}}) {
      const nlohmann::json& s = u[where][key];
      EXPECT_TRUE(Contains(page_, Row(name, {Um4(s["max"]), Um4(s["p95"]), Um4(s["median"])})))
          << where << ' ' << key;
    }
  }
  for (const auto& w : u["weakest"])
    EXPECT_TRUE(
        Contains(page_, "<li>" + report::EscapeXml(w["description"].get<std::string>()) + "</li>"));
}

TEST_F(ReportCommand, TheFirstOrderMatrixIsThatOfShowJson) {
  const CliResult shown = RunCli({"show", dir_->File("scan.cal"), "--json"});
  ASSERT_EQ(shown.status, 0) << shown.err;
  const nlohmann::json terms = Json(shown)["terms"];
  double m[3][3] = {};
  for (const auto& term : terms) {
    const auto& p = term["powers"];
    if (p[0].get<int>() + p[1].get<int>() + p[2].get<int>() != 1) continue;
    const int column = p[0] == 1 ? 0 : p[1] == 1 ? 1 : 2;
    for (int row = 0; row < 3; ++row) m[row][column] = term["coefficients"][row].get<double>();
  }
  for (int row = 0; row < 3; ++row)
    EXPECT_TRUE(Contains(page_, Row(std::string(1, "XYZ"[row]),
                                    {Printf("%.15g", m[row][0]), Printf("%.15g", m[row][1]),
                                     Printf("%.15g", m[row][2])})))
        << row;
}

TEST_F(ReportCommand, WithACalibrationFileShowsTheDataAgainstItAndSaysWhereTheRestComesFrom) {
  TempDir out;
  const CliResult r = RunCli({"report", Example("sphere-scan-marked.txt"), "--cal",
                              dir_->File("scan.cal"), "-o", out.File("against.html")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(r.out, "Calibration   : " + dir_->File("scan.cal") + "\n"));
  const std::string page = ReadFileBytes(out.File("against.html"));
  const nlohmann::json shown = Json(RunCli({"show", dir_->File("scan.cal"), "--json"}));
  EXPECT_TRUE(Contains(page, Field("FitRMS (of the fit, as the file holds it)",
                                   Um4(shown["fit_rms_um"]) + " \u00b5m")));
  // The data is the one the file was fitted to: its RMS is the fit's.
  EXPECT_TRUE(Contains(page, Field("RMS of this data", Um4(shown["fit_rms_um"]) + " \u00b5m")));
  EXPECT_TRUE(Contains(page, "keeps no optimiser history"));
  EXPECT_TRUE(Contains(page, "keeps no warnings"));
  EXPECT_TRUE(Contains(page, "keeps no uncertainty"));
}

TEST(ReportCommandFiles, ShowsEveryWarningOfCalibrateJson) {
  TempDir dir;
  const std::vector<std::string> strict = {"--max-normal-uncertainty", "0.01",
                                           "--max-across-uncertainty", "1"};
  std::vector<std::string> calibrate = {"calibrate", Example("sphere-scan-marked.txt"), "--json",
                                        "-o", dir.File("s.cal")};
  std::vector<std::string> report = {"report", Example("sphere-scan-marked.txt"), "-o",
                                     dir.File("s.html")};
  calibrate.insert(calibrate.end(), strict.begin(), strict.end());
  report.insert(report.end(), strict.begin(), strict.end());
  const nlohmann::json j = Json(RunCli(calibrate));
  ASSERT_GE(j["warnings"].size(), 2u);
  const CliResult r = RunCli(report);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(r.out, "Warnings      : " + std::to_string(j["warnings"].size()) + "\n"));
  const std::string page = ReadFileBytes(dir.File("s.html"));
  for (const auto& w : j["warnings"])
    EXPECT_TRUE(Contains(page, "<li><code>" + report::EscapeXml(w["code"].get<std::string>()) +
                                   "</code> " + report::EscapeXml(w["text"].get<std::string>()) +
                                   "</li>"))
        << w["code"];
}

TEST(ReportCommandFiles, WritesBesideTheDataByDefault) {
  TempDir dir;
  std::filesystem::copy_file(Example("sphere-scan-marked.txt"), dir.File("scan.txt"));
  const CliResult r = RunCli({"report", dir.File("scan.txt")});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(std::filesystem::exists(dir.File("scan.html")));
}

TEST(ReportCommandFiles, RefusesToReplaceTheDataFileUnderAnyOfItsNames) {
  TempDir dir;
  std::filesystem::copy_file(Example("sphere-scan-marked.txt"), dir.File("scan.txt"));
  const std::string before = ReadFileBytes(dir.File("scan.txt"));
  std::filesystem::create_directory(dir.File("sub"));
  for (const std::string& output :
       {dir.File("scan.txt"), dir.File("sub") + "/../scan.txt", dir.File("./scan.txt")}) {
    const CliResult r = RunCli({"report", dir.File("scan.txt"), "-o", output});
    EXPECT_EQ(r.status, 2) << output;
    EXPECT_TRUE(Contains(r.err, "would replace the input file " + dir.File("scan.txt"))) << r.err;
  }
  EXPECT_EQ(ReadFileBytes(dir.File("scan.txt")), before);
}

TEST(ReportCommandFiles, RefusesToReplaceTheCalibrationFile) {
  TempDir dir;
  ASSERT_EQ(
      RunCli({"calibrate", Example("sphere-scan-marked.txt"), "-o", dir.File("s.cal")}).status, 0);
  const CliResult r = RunCli({"report", Example("sphere-scan-marked.txt"), "--cal",
                              dir.File("s.cal"), "-o", dir.File("s.cal")});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "would replace the input file " + dir.File("s.cal"))) << r.err;
}

TEST(ReportCommandFiles, AFitOptionWithACalibrationFileIsAUsageError) {
  TempDir dir;
  ASSERT_EQ(
      RunCli({"calibrate", Example("sphere-scan-marked.txt"), "-o", dir.File("s.cal")}).status, 0);
  const CliResult r = RunCli({"report", Example("sphere-scan-marked.txt"), "--cal",
                              dir.File("s.cal"), "--order", "2", "-o", dir.File("r.html")});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err,
            "tavric report: --order is a fit option; with --cal the calibration is read, not "
            "fitted\n");
  EXPECT_FALSE(std::filesystem::exists(dir.File("r.html")));
}

TEST(ReportCommandFiles, ShowsTheSettingsThatDifferFromTheDefaults) {
  TempDir dir;
  const CliResult r = RunCli({"report", Example("sphere-scan-marked.txt"), "--order", "2",
                              "--max-iterations", "20", "-o", dir.File("r.html")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(ReadFileBytes(dir.File("r.html")),
                       Field("Settings not at their default", "order 2, max_iterations 20")));
}

TEST(ReportCommandFiles, AFailedFitWritesNoPageAndPrintsTheLibrarysText) {
  TempDir dir;
  ASSERT_EQ(RunCli({"simulate", "-o", dir.File("small.txt"), "--samples", "1000", "--planes", "1",
                    "--seed", "7"})
                .status,
            0);
  const CliResult r = RunCli({"report", dir.File("small.txt"), "-o", dir.File("small.html")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "Bi-directionnal scans detection error.\n");
  EXPECT_FALSE(std::filesystem::exists(dir.File("small.html")));
}

TEST(ReportCommandFiles, TheLargestDataMakeAPageUnderFiveMegabytes) {
  TempDir dir;
  ASSERT_EQ(RunCli({"simulate", "-o", dir.File("big.txt"), "--samples", "32767"}).status, 0);
  const CliResult r = RunCli({"report", dir.File("big.txt"), "-o", dir.File("big.html")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(r.out, "Samples       : 32767\n"));
  EXPECT_LT(std::filesystem::file_size(dir.File("big.html")), 5'000'000u);
}

}  // namespace
}  // namespace tavric
