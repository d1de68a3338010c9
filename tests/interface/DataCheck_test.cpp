#include "tavric/DataCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

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

// The machine positions (fields 4 to 6) of a data array, sample by sample.
std::vector<sim::Vec3> Positions(const DataArray& data) {
  std::vector<sim::Vec3> points;
  for (std::int32_t k = data.LBound(2); k <= data.UBound(2); ++k)
    points.push_back({data(4, k), data(5, k), data(6, k)});
  return points;
}

double Distance(const sim::Vec3& p, const sim::Vec3& c) {
  return std::hypot(p[0] - c[0], p[1] - c[1], p[2] - c[2]);
}

// An independent least-squares sphere: Gauss-Newton on the radial residuals
// |p - c| - r, each step from the 4 x 4 normal equations solved by Gaussian
// elimination with partial pivoting, from `start` until the step is below
// 1e-12 mm.
struct Sphere {
  sim::Vec3 centre{};
  double radius = 0.0;
};

Sphere LeastSquaresSphere(const std::vector<sim::Vec3>& points, Sphere start) {
  Sphere s = start;
  for (int iteration = 0; iteration < 100; ++iteration) {
    double a[4][5] = {};
    for (const sim::Vec3& p : points) {
      const double d = Distance(p, s.centre);
      // Derivatives of the residual with respect to cx, cy, cz and r.
      const double j[4] = {-(p[0] - s.centre[0]) / d, -(p[1] - s.centre[1]) / d,
                           -(p[2] - s.centre[2]) / d, -1.0};
      const double residual = d - s.radius;
      for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) a[r][c] += j[r] * j[c];
        a[r][4] -= j[r] * residual;
      }
    }
    for (int col = 0; col < 4; ++col) {
      int pivot = col;
      for (int r = col + 1; r < 4; ++r)
        if (std::fabs(a[r][col]) > std::fabs(a[pivot][col])) pivot = r;
      std::swap(a[col], a[pivot]);
      for (int r = col + 1; r < 4; ++r) {
        const double factor = a[r][col] / a[col][col];
        for (int c = col; c < 5; ++c) a[r][c] -= factor * a[col][c];
      }
    }
    double step[4];
    for (int r = 3; r >= 0; --r) {
      double sum = a[r][4];
      for (int c = r + 1; c < 4; ++c) sum -= a[r][c] * step[c];
      step[r] = sum / a[r][r];
    }
    for (int i = 0; i < 3; ++i) s.centre[i] += step[i];
    s.radius += step[3];
    if (std::fabs(step[0]) + std::fabs(step[1]) + std::fabs(step[2]) + std::fabs(step[3]) < 1e-12)
      break;
  }
  return s;
}

TEST(DataCheck, AScanWithAConstantDeflectionGivesTheTrueCentreAndTheRadiusLessTheDeflection) {
  // Without friction, variation or noise every machine position lies on the
  // sphere of the true centre whose radius is the true one less the
  // deflection, so the fit is exact and the deviations vanish.
  sim::Scenario scenario;
  scenario.deflection.variation = 0.0;
  scenario.deflection.friction = 0.0;
  scenario.deflection.mean_mm = 0.4;
  scenario.plan.centre = {-35.0, 210.0, 7.5};
  const auto s = sim::Simulate(scenario);
  const DataCheckReport report = CheckCalibrationData(s.data);
  ASSERT_EQ(report.result, "OK");
  ASSERT_EQ(report.sphere_result, "OK");
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(report.centre[i], scenario.plan.centre[i], 1e-9) << i;
  EXPECT_NEAR(report.radius, scenario.plan.radius - 0.4, 1e-9);
  EXPECT_LT(std::fabs(report.deviation_min), 1e-9);
  EXPECT_LT(std::fabs(report.deviation_max), 1e-9);
  EXPECT_LT(report.deviation_variance, 1e-18);
  EXPECT_EQ(report.scans, 10);
  EXPECT_EQ(report.planes, 5);
  EXPECT_EQ(report.bidirectional_planes, 5);
  EXPECT_TRUE(report.accepted);
}

TEST(DataCheck, ThreePlanesScannedInBothSensesAreAcceptedAndTwoAreNot) {
  // The scan plan's tilted planes come with the equator: one tilted plane
  // makes two planes in all, two make three, the fewest a calibration takes.
  for (const int tilted : {1, 2}) {
    sim::Scenario scenario;
    scenario.plan.planes = tilted;
    scenario.plan.total_samples = 1200;
    const DataCheckReport report = CheckCalibrationData(sim::Simulate(scenario).data);
    ASSERT_EQ(report.sphere_result, "OK") << tilted;
    EXPECT_EQ(report.bidirectional_planes, tilted + 1);
    EXPECT_EQ(report.accepted, tilted + 1 >= 3) << tilted + 1 << " planes";
  }
}

TEST(DataCheck, TheSphereIsTheLeastSquaresSphereOfTheMachinePositions) {
  // With a varying deflection and noise the positions are off any sphere by
  // up to a tenth of a millimetre; the check's fit stops once its step is
  // below 0.005 mm, a few nanometres from the least-squares optimum.
  sim::Scenario scenario;
  scenario.noise.position_sigma_um = 0.5;
  scenario.noise.counts_sigma = 1.0;
  const auto s = sim::Simulate(scenario);
  const std::vector<sim::Vec3> points = Positions(s.data);
  const Sphere best = LeastSquaresSphere(points, {s.truth.centre, s.truth.radius});
  const DataCheckReport report = CheckCalibrationData(s.data);
  ASSERT_EQ(report.sphere_result, "OK");
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(report.centre[i], best.centre[i], 1e-5) << i;
  EXPECT_NEAR(report.radius, best.radius, 1e-5);
}

TEST(DataCheck, TheDeviationsAreTheRadialDistancesFromTheReportedSphere) {
  // Smallest, largest and variance (divisor n - 1) of |p - centre| - radius
  // over every machine position, with the reported centre and radius.
  sim::Scenario scenario;
  scenario.noise.position_sigma_um = 0.5;
  const auto s = sim::Simulate(scenario);
  const DataCheckReport report = CheckCalibrationData(s.data);
  ASSERT_EQ(report.sphere_result, "OK");
  std::vector<double> deviations;
  for (const sim::Vec3& p : Positions(s.data))
    deviations.push_back(Distance(p, report.centre) - report.radius);
  const auto [min, max] = std::minmax_element(deviations.begin(), deviations.end());
  const double variance = testing::SampleVariance(deviations);
  EXPECT_NEAR(report.deviation_min, *min, 1e-12);
  EXPECT_NEAR(report.deviation_max, *max, 1e-12);
  EXPECT_NEAR(report.deviation_variance, variance, variance * 1e-9);
  EXPECT_LT(report.deviation_min, -0.05);  // the deflection varies by 30 %
  EXPECT_GT(report.deviation_max, 0.05);
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

TEST(DataCheck, TooFewPointsFailTheSphereFitAndLeaveTheSphereAndScansEmpty) {
  DataArray three(1, 6, 1, 3);
  for (int k = 1; k <= 3; ++k) three(3 + k, k) = 1.0;
  const DataCheckReport report = CheckCalibrationData(three);
  EXPECT_EQ(report.result, "OK");
  EXPECT_EQ(report.samples, 3);
  EXPECT_EQ(report.sphere_result, "Sphere fit failure : Initial parameter computation");
  EXPECT_EQ(report.centre, (std::array<double, 3>{0.0, 0.0, 0.0}));
  EXPECT_EQ(report.radius, 0.0);
  EXPECT_EQ(report.deviation_min, 0.0);
  EXPECT_EQ(report.deviation_max, 0.0);
  EXPECT_EQ(report.deviation_variance, 0.0);
  EXPECT_EQ(report.scans, 0);
  EXPECT_EQ(report.planes, 0);
  EXPECT_EQ(report.bidirectional_planes, 0);
  EXPECT_FALSE(report.accepted);
}

TEST(DataCheck, ANonFiniteMachinePositionIsAnOverflowError) {
  auto s = sim::Simulate();
  s.data(5, 17) = std::numeric_limits<double>::infinity();
  const DataCheckReport report = CheckCalibrationData(s.data);
  EXPECT_EQ(report.result, "Error 6 : Overflow");
  EXPECT_EQ(report.layout, "array");
  EXPECT_EQ(report.samples, 4000);
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
