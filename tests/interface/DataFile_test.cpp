#include "tavric/DataFile.h"

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/ScanSimulator.h"

namespace tavric {
namespace {

using testing::TempDir;

sim::SimulatedData SmallScan() {
  sim::Scenario scenario;
  scenario.plan.total_samples = 600;
  return sim::Simulate(scenario);
}

// The array as either reader returns it: values rounded to their written text.
DataArray AsWritten(DataArray data) {
  sim::RoundToRecordPrecision(data);
  return data;
}

TEST(DataFile, ReadsTheMarkedLayoutIntoSixRowsPerSample) {
  TempDir dir;
  const auto s = SmallScan();
  ASSERT_EQ(sim::WriteMarkedDataFile(dir.File("m.txt"), s.data), "OK");
  DataArray data;
  std::string layout;
  EXPECT_EQ(ReadCalibrationDataFile(dir.File("m.txt"), data, &layout), "OK");
  EXPECT_EQ(layout, "marked");
  EXPECT_EQ(data.LBound(1), 1);
  EXPECT_EQ(data.UBound(1), 6);
  EXPECT_EQ(data.LBound(2), 1);
  EXPECT_EQ(data.UBound(2), 600);
  EXPECT_EQ(data, AsWritten(s.data));
}

TEST(DataFile, FallsBackToTheGenericLayout) {
  TempDir dir;
  const auto s = SmallScan();
  ASSERT_EQ(sim::WriteGenericDataFile(dir.File("g.txt"), s.data), "OK");
  DataArray data;
  std::string layout;
  EXPECT_EQ(ReadCalibrationDataFile(dir.File("g.txt"), data, &layout), "OK");
  EXPECT_EQ(layout, "generic");
  EXPECT_EQ(data, AsWritten(s.data));
}

TEST(DataFile, ReplacesWhatTheArrayHeld) {
  TempDir dir;
  const auto s = SmallScan();
  ASSERT_EQ(sim::WriteMarkedDataFile(dir.File("m.txt"), s.data), "OK");
  DataArray data(0, 9, 0, 2);
  EXPECT_EQ(ReadCalibrationDataFile(dir.File("m.txt"), data), "OK");
  EXPECT_EQ(data, AsWritten(s.data));
}

TEST(DataFile, AFileInNeitherLayoutGivesTheGenericReadersMessage) {
  TempDir dir;
  testing::WriteFileBytes(dir.File("x.txt"), "just some text\r\n");
  DataArray data(1, 6, 1, 1);
  data(4, 1) = 7.0;
  const DataArray before = data;
  std::string layout = "unchanged?";
  EXPECT_EQ(ReadCalibrationDataFile(dir.File("x.txt"), data, &layout), "No Data identified.");
  EXPECT_EQ(layout, "");
  EXPECT_EQ(data, before);
}

TEST(DataFile, AMissingFileGivesTheSameTextAsOptimiseFromFile) {
  TempDir dir;
  DataArray data;
  const std::string missing = dir.File("missing.txt");
  const std::string read = ReadCalibrationDataFile(missing, data);
  EXPECT_EQ(read, "File reading(Generic) error 53 : File not found");
  ClsProbeCalibration cal;
  std::uint8_t order = 3;
  EXPECT_EQ(cal.OptimiseFromFile(missing, order), read);
  EXPECT_FALSE(data.Allocated());
}

TEST(DataFile, CalibratingTheArrayMatchesCalibratingTheFile) {
  TempDir dir;
  sim::Scenario scenario;
  scenario.plan.total_samples = 1000;
  scenario.noise.counts_sigma = 1.0;
  const auto s = sim::Simulate(scenario);
  ASSERT_EQ(sim::WriteGenericDataFile(dir.File("g.txt"), s.data), "OK");
  DataArray data;
  ASSERT_EQ(ReadCalibrationDataFile(dir.File("g.txt"), data), "OK");

  ClsProbeCalibration from_file;
  std::uint8_t order = 2;
  ASSERT_EQ(from_file.OptimiseFromFile(dir.File("g.txt"), order), "OK");
  const double rms = from_file.FitRMS();
  const double radius = from_file.SphereRadius();

  ClsProbeCalibration from_array;
  order = 2;
  ASSERT_EQ(from_array.Optimise(data, order), "OK");
  EXPECT_EQ(from_array.FitRMS(), rms);
  EXPECT_EQ(from_array.SphereRadius(), radius);
}

}  // namespace
}  // namespace tavric
