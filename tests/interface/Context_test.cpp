// Engine contexts: the state a calibration reads and writes lives in a
// context object; a thread uses its own unless another is installed.
#include <gtest/gtest.h>

#include <optional>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "interface/ProjectState.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/ScanSimulator.h"

namespace tavric {
namespace {

using testing::ReadFileBytes;
using testing::TempDir;

DataArray Scan(int order, std::uint64_t seed) {
  sim::Scenario s;
  s.calibration.order = order;
  s.plan.total_samples = 1200;
  s.noise.counts_sigma = 1.5;
  s.noise.position_sigma_um = 0.2;
  s.noise.seed = seed;
  return sim::Simulate(s).data;
}

// Calibrates `data` in the current context with `iterations` and returns
// the calibration file.
std::string CalibrateHere(const DataArray& data, int order, std::uint8_t iterations,
                          const std::string& file) {
  ClsProbeCalibration cal;
  cal.IterationMaxNumber(iterations);
  auto o = static_cast<std::uint8_t>(order);
  EXPECT_EQ(cal.Optimise(data, o), "OK");
  EXPECT_EQ(cal.SaveCalibrationFunctions(file), "OK");
  return ReadFileBytes(file);
}

TEST(EngineContext, InstalledContextsReplaceTheThreadsOwnForTheirScope) {
  testing::ResetThreadState();
  ProjectState other;
  ClsProbeCalibration own;
  own.Mu(0.5);
  {
    const ContextScope scope(other);
    EXPECT_EQ(&State(), &other);
    ClsProbeCalibration inside;  // resets `other` only
    inside.Mu(0.25);
    {
      ProjectState third;
      const ContextScope nested(third);
      EXPECT_EQ(&State(), &third);
    }
    EXPECT_EQ(&State(), &other);
    EXPECT_EQ(inside.Mu(), 0.25);
  }
  EXPECT_EQ(&State(), &ThreadState());
  EXPECT_EQ(own.Mu(), 0.5);
  EXPECT_EQ(other.Mu, 0.25);
}

TEST(EngineContext, TwoContextsInterleavedOnOneThreadGiveTheirOwnResults) {
  testing::ResetThreadState();
  const DataArray a = Scan(3, 1);
  const DataArray b = Scan(2, 2);
  TempDir dir;
  // Each alone, in a fresh context.
  std::string alone_a, alone_b;
  {
    ProjectState c;
    const ContextScope s(c);
    alone_a = CalibrateHere(a, 3, 4, dir.File("a0.cal"));
  }
  {
    ProjectState c;
    const ContextScope s(c);
    alone_b = CalibrateHere(b, 2, 7, dir.File("b0.cal"));
  }
  // Interleaved: A's settings, then all of B, then A's calibration with the
  // settings made before B ran. (A ClsProbeCalibration holds no state of its
  // own: its members act on the context installed when they are called.)
  ProjectState ca, cb;
  std::optional<ClsProbeCalibration> cal_a;
  {
    const ContextScope s(ca);
    cal_a.emplace();  // resets A's context
    cal_a->IterationMaxNumber(4);
  }
  std::string interleaved_b;
  {
    const ContextScope s(cb);
    interleaved_b = CalibrateHere(b, 2, 7, dir.File("b1.cal"));
  }
  std::string interleaved_a;
  {
    const ContextScope s(ca);
    EXPECT_EQ(cal_a->IterationMaxNumber(), 4);
    std::uint8_t order = 3;
    EXPECT_EQ(cal_a->Optimise(a, order), "OK");
    EXPECT_EQ(cal_a->SaveCalibrationFunctions(dir.File("a1.cal")), "OK");
    interleaved_a = ReadFileBytes(dir.File("a1.cal"));
  }
  EXPECT_EQ(interleaved_a, alone_a);
  EXPECT_EQ(interleaved_b, alone_b);
}

TEST(EngineContext, EightThreadsCalibrateAtOnceWithTheirOwnState) {
  std::vector<DataArray> data;
  for (int i = 0; i < 8; ++i) data.push_back(Scan(1 + i % 3, 50 + static_cast<std::uint64_t>(i)));
  TempDir dir;
  std::vector<std::string> alone(8), together(8);
  for (int i = 0; i < 8; ++i) {
    ProjectState c;
    const ContextScope s(c);
    alone[static_cast<std::size_t>(i)] = CalibrateHere(data[static_cast<std::size_t>(i)], 1 + i % 3,
                                                       5, dir.File("s" + std::to_string(i)));
  }
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&, i] {
      // Each thread uses its own context, the one ClsProbeCalibration uses.
      together[static_cast<std::size_t>(i)] = CalibrateHere(
          data[static_cast<std::size_t>(i)], 1 + i % 3, 5, dir.File("t" + std::to_string(i)));
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(together, alone);
}

}  // namespace
}  // namespace tavric
