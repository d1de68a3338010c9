#include "tavric/DataCheck.h"

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/ScanSimulator.h"

namespace tavric {
namespace {

using testing::TempDir;

TEST(DataCheck, AGoodScanIsAcceptedWithItsSphereAndPlanes) {
  const auto s = sim::Simulate();
  const DataCheckReport report = CheckCalibrationData(s.data);
  EXPECT_EQ(report.result, "OK");
  EXPECT_EQ(report.layout, "array");
  EXPECT_EQ(report.samples, 4000);
  EXPECT_EQ(report.sphere_result, "OK");
  // The machine positions lie inside the tip-centre sphere by the deflection.
  EXPECT_NEAR(report.radius, s.truth.radius - 0.3, 0.2);
  EXPECT_EQ(report.planes, 5);
  EXPECT_EQ(report.bidirectional_planes, 5);
  EXPECT_GE(report.scans, 10);
  EXPECT_TRUE(report.accepted);
  EXPECT_LE(report.deviation_min, report.deviation_max);
}

TEST(DataCheck, ReportsTheLayoutOfAFile) {
  TempDir dir;
  const auto s = sim::Simulate();
  ASSERT_EQ(sim::WriteMarkedDataFile(dir.File("m.txt"), s.data), "OK");
  ASSERT_EQ(sim::WriteGenericDataFile(dir.File("g.txt"), s.data), "OK");
  EXPECT_EQ(CheckCalibrationDataFile(dir.File("m.txt")).layout, "marked");
  const DataCheckReport generic = CheckCalibrationDataFile(dir.File("g.txt"));
  EXPECT_EQ(generic.layout, "generic");
  EXPECT_TRUE(generic.accepted);
}

TEST(DataCheck, AnUnreadableFileGivesTheReadersMessage) {
  TempDir dir;
  const DataCheckReport report = CheckCalibrationDataFile(dir.File("missing.txt"));
  EXPECT_EQ(report.result, "File reading(Generic) error 53 : File not found");
  EXPECT_FALSE(report.accepted);
  EXPECT_EQ(report.layout, "");
}

TEST(DataCheck, TooFewPointsFailTheSphereFit) {
  DataArray three(1, 6, 1, 3);
  const DataCheckReport report = CheckCalibrationData(three);
  EXPECT_EQ(report.result, "OK");
  EXPECT_EQ(report.sphere_result, "Sphere fit failure : Initial parameter computation");
  EXPECT_FALSE(report.accepted);
}

TEST(DataCheck, LeavesTheCalibrationStateUntouched) {
  ClsProbeCalibration cal;
  EXPECT_EQ(cal.SphereRadius(), 0.0);
  CheckCalibrationData(sim::Simulate().data);
  EXPECT_EQ(cal.SphereRadius(), 0.0);
}

}  // namespace
}  // namespace tavric
