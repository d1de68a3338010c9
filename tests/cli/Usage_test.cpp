// The tool as a whole: version, help and exit statuses of usage errors.
#include "CliRun.h"
#include "tavric/ClsProbeCalibration.h"

namespace tavric {
namespace {

using testing::Contains;
using testing::RunCli;

TEST(CliUsage, VersionPrintsTheLibrarysVersionText) {
  const std::string expected = ClsProbeCalibration().DLLVersion() + "\n";
  const auto r = RunCli({"version"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, expected);
  EXPECT_EQ(RunCli({"--version"}).out, expected);
}

TEST(CliUsage, HelpListsEverySubcommandAndExitsWithZero) {
  const auto r = RunCli({"--help"});
  EXPECT_EQ(r.status, 0);
  for (const char* name : {"calibrate", "transform", "show", "check", "simulate", "version"}) {
    EXPECT_TRUE(Contains(r.out, name)) << name;
  }
  EXPECT_EQ(RunCli({"calibrate", "--help"}).status, 0);
}

TEST(CliUsage, NoSubcommandIsAUsageError) {
  const auto r = RunCli({});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err, "");
}

TEST(CliUsage, AnUnknownSubcommandIsAUsageError) { EXPECT_EQ(RunCli({"frobnicate"}).status, 2); }

TEST(CliUsage, AnUnknownOptionIsAUsageErrorNamingIt) {
  const auto r = RunCli({"check", testing::Example("sphere-scan-marked.txt"), "--frobnicate"});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "--frobnicate")) << r.err;
  EXPECT_EQ(r.out, "");
}

TEST(CliUsage, ANumberOptionRejectsText) {
  const auto r = RunCli({"calibrate", testing::Example("sphere-scan-marked.txt"), "--gain", "big"});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "--gain")) << r.err;
}

}  // namespace
}  // namespace tavric
