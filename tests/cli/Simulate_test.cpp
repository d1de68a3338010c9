// tavric simulate: the bundled examples and the simulator's settings.
#include <fstream>
#include <sstream>

#include "CliRun.h"
#include "tavric/ScanSimulator.h"

namespace tavric {
namespace {

using testing::Contains;
using testing::Example;
using testing::Json;
using testing::ReadFileBytes;
using testing::RunCli;
using testing::TempDir;

// The "tavric simulate ..." command lines of examples/README.md, split into
// their arguments.
std::vector<std::vector<std::string>> ReadmeCommands() {
  std::ifstream in(Example("README.md"));
  std::vector<std::vector<std::string>> commands;
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("tavric simulate ", 0) != 0) continue;
    std::istringstream words(line);
    std::vector<std::string> args;
    std::string word;
    words >> word;  // "tavric"
    while (words >> word) args.push_back(word);
    commands.push_back(args);
  }
  return commands;
}

TEST(CliSimulate, TheReadmeCommandsRegenerateTheExamplesByteForByte) {
  const auto commands = ReadmeCommands();
  ASSERT_EQ(commands.size(), 2u) << "expected the marked and the generic command";
  TempDir dir;
  for (auto args : commands) {
    for (std::string& a : args) {
      if (a.rfind("examples/", 0) == 0) a = dir.File(a.substr(9));
    }
    const auto r = RunCli(args);
    ASSERT_EQ(r.status, 0) << r.err;
  }
  for (const char* name :
       {"sphere-scan-marked.txt", "sphere-scan-generic.txt", "sphere-scan-truth.json"}) {
    const std::string made = ReadFileBytes(dir.File(name));
    EXPECT_FALSE(made.empty()) << name;
    EXPECT_TRUE(made == ReadFileBytes(Example(name))) << name << " differs";
  }
}

TEST(CliSimulate, WithoutOptionsItWritesTheSimulatorsDefaultScenario) {
  TempDir dir;
  const auto r = RunCli({"simulate", "-o", dir.File("cli.txt"), "--truth", dir.File("cli.json")});
  ASSERT_EQ(r.status, 0) << r.err;
  const sim::SimulatedData s = sim::Simulate();
  ASSERT_EQ(sim::WriteMarkedDataFile(dir.File("lib.txt"), s.data), "OK");
  EXPECT_TRUE(ReadFileBytes(dir.File("cli.txt")) == ReadFileBytes(dir.File("lib.txt")));
  EXPECT_EQ(ReadFileBytes(dir.File("cli.json")), sim::TruthJson(s.truth));
}

TEST(CliSimulate, EveryOptionReachesTheScenario) {
  TempDir dir;
  const auto r = RunCli({"simulate",
                         "-o",
                         dir.File("cli.txt"),
                         "--layout",
                         "generic",
                         "--truth",
                         dir.File("cli.json"),
                         "--samples",
                         "900",
                         "--order",
                         "2",
                         "--seed",
                         "77",
                         "--counts-noise",
                         "0.5",
                         "--position-noise",
                         "0.1",
                         "--deflection",
                         "0.25",
                         "--variation",
                         "0.2",
                         "--friction",
                         "0.02",
                         "--planes",
                         "3",
                         "--no-equator",
                         "--radius",
                         "10",
                         "--centre",
                         "1.5,-2,3",
                         "--offsets",
                         "12,-7,4.5",
                         "--json"});
  ASSERT_EQ(r.status, 0) << r.err;

  sim::Scenario scenario;
  scenario.plan.total_samples = 900;
  scenario.calibration.order = 2;
  scenario.noise.seed = 77;
  scenario.noise.counts_sigma = 0.5;
  scenario.noise.position_sigma_um = 0.1;
  scenario.deflection.mean_mm = 0.25;
  scenario.deflection.variation = 0.2;
  scenario.deflection.friction = 0.02;
  scenario.plan.planes = 3;
  scenario.plan.include_equator = false;
  scenario.plan.radius = 10.0;
  scenario.plan.centre = {1.5, -2.0, 3.0};
  scenario.calibration.offsets = {12.0, -7.0, 4.5};
  const sim::SimulatedData s = sim::Simulate(scenario);
  ASSERT_EQ(sim::WriteGenericDataFile(dir.File("lib.txt"), s.data), "OK");
  EXPECT_TRUE(ReadFileBytes(dir.File("cli.txt")) == ReadFileBytes(dir.File("lib.txt")));
  EXPECT_EQ(ReadFileBytes(dir.File("cli.json")), sim::TruthJson(s.truth));

  const auto j = Json(r);
  EXPECT_EQ(j["result"], "OK");
  EXPECT_EQ(j["layout"], "generic");
  EXPECT_EQ(j["samples"], 900);
  EXPECT_EQ(j["scans"], 6);
  EXPECT_EQ(j["seed"], 77);
  EXPECT_EQ(j["truth"], dir.File("cli.json"));
}

TEST(CliSimulate, AnUnknownLayoutIsAUsageErrorListingTheLayouts) {
  TempDir dir;
  const auto r = RunCli({"simulate", "-o", dir.File("a.txt"), "--layout", "csv"});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "--layout")) << r.err;
  EXPECT_TRUE(Contains(r.err, "marked")) << r.err;
  EXPECT_TRUE(Contains(r.err, "generic")) << r.err;
}

TEST(CliSimulate, SettingsTheSimulatorRejectsAreUsageErrors) {
  TempDir dir;
  const auto r = RunCli({"simulate", "-o", dir.File("a.txt"), "--variation", "1"});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(Contains(r.err, "variation")) << r.err;
  EXPECT_EQ(RunCli({"simulate", "-o", dir.File("a.txt"), "--samples", "40000"}).status, 2);
  EXPECT_EQ(RunCli({"simulate", "--samples", "400"}).status, 2);  // no -o
}

TEST(CliSimulate, AnUnwritableFileFailsWithTheWritersText) {
  TempDir dir;
  const auto r = RunCli({"simulate", "-o", dir.File("no/such/dir/a.txt")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.rfind("WriteMarkedDataFile error ", 0), 0u) << r.err;
}

}  // namespace
}  // namespace tavric
