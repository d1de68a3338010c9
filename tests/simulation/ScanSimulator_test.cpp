#include "tavric/ScanSimulator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "polynomial/Polynome3Variables.h"

namespace tavric::sim {
namespace {

// ------------------------------------------------------------------ helpers

Vec3 Column(const Array2<double>& a, std::int32_t first_row, std::int32_t j) {
  return {a(first_row, j), a(first_row + 1, j), a(first_row + 2, j)};
}
Vec3 Sub(const Vec3& a, const Vec3& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
Vec3 Add(const Vec3& a, const Vec3& b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }
double Dot(const Vec3& a, const Vec3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
double Norm(const Vec3& a) { return std::sqrt(Dot(a, a)); }
Vec3 Cross(const Vec3& a, const Vec3& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
Vec3 Unit(const Vec3& a) {
  const double n = Norm(a);
  if (n == 0.0) return {0.0, 0.0, 0.0};
  return {a[0] / n, a[1] / n, a[2] / n};
}

double IntPower(double x, int e) {
  double p = 1.0;
  for (int i = 0; i < e; ++i) p *= x;
  return p;
}

Vec3 Machine(const SimulatedData& sim, std::int32_t j) { return Column(sim.data, 4, j); }

// The calibration polynomial loaded with the true coefficients.
Polynome3Variables TruePolynome(const GroundTruth& truth) {
  Polynome3Variables poly;
  poly.Order(static_cast<Byte>(truth.order));
  poly.Coeff(truth.coefficients);
  return poly;
}

// The deflection the true calibration gives for sample j's raw readings:
// the offsets are taken off first, as the calibration does.
Vec3 DeflectionFromReadings(const Polynome3Variables& poly, const SimulatedData& sim,
                            std::int32_t j) {
  Vec3 d{};
  poly.Value(sim.data(1, j) - sim.truth.offsets[0], sim.data(2, j) - sim.truth.offsets[1],
             sim.data(3, j) - sim.truth.offsets[2], d[0], d[1], d[2]);
  return d;
}

// The great-circle scan check of the calibration procedure, written out
// here so the simulated data can be checked against it: chords of stride
// round(N / 200) give plane normals, a turn of more than ~18 degrees starts a
// new scan, and scans are grouped by plane; returns the number of planes
// scanned in both senses.
int BiDirectionalPlanes(const DataArray& data, const Vec3& centre) {
  const std::int32_t n = data.UBound(2);
  auto step = static_cast<std::int32_t>(std::nearbyint(static_cast<double>(n) / 200.0));
  if (step == 0) step = 1;
  std::vector<Vec3> normals;
  Vec3 prev{};
  bool new_scan = true;
  for (std::int32_t i = 1; i <= n; i += step) {
    const Vec3 a = Unit(Sub(Column(data, 4, i), centre));
    if (i + step > n) break;
    const Vec3 b = Unit(Sub(Column(data, 4, i + step), centre));
    const Vec3 nrm = Unit(Cross(a, b));
    if (new_scan) {
      prev = nrm;
      normals.push_back(nrm);
      new_scan = false;
    } else if (Dot(nrm, prev) < 0.95) {
      new_scan = true;
    }
  }
  int planes = 0;
  while (!normals.empty()) {
    const Vec3 v = normals.front();
    if (std::any_of(normals.begin(), normals.end(),
                    [&](const Vec3& m) { return Dot(m, v) < -0.95; }))
      ++planes;
    normals.erase(normals.begin());
    std::erase_if(normals, [&](const Vec3& m) { return std::fabs(Dot(m, v)) > 0.95; });
  }
  return planes;
}

Scenario WithSamples(std::int32_t samples) {
  Scenario s;
  s.plan.total_samples = samples;
  return s;
}

// ------------------------------------------------------------------ reproducibility

TEST(ScanSimulator, SameSeedGivesIdenticalBits) {
  Scenario s;
  s.noise.counts_sigma = 2.0;
  s.noise.position_sigma_um = 0.5;
  s.noise.seed = 1234;
  const SimulatedData a = Simulate(s);
  const SimulatedData b = Simulate(s);
  EXPECT_TRUE(a.data == b.data);
  EXPECT_TRUE(a.truth.deflections == b.truth.deflections);
  EXPECT_TRUE(a.truth.coefficients == b.truth.coefficients);
}

TEST(ScanSimulator, DifferentSeedGivesDifferentNoiseOnTheSameTruth) {
  Scenario s;
  s.noise.counts_sigma = 2.0;
  s.noise.position_sigma_um = 0.5;
  s.noise.seed = 1;
  const SimulatedData a = Simulate(s);
  s.noise.seed = 2;
  const SimulatedData b = Simulate(s);
  EXPECT_TRUE(a.truth.deflections == b.truth.deflections);
  int differing = 0;
  for (std::int32_t j = 1; j <= a.data.UBound(2); ++j)
    for (std::int32_t r = 1; r <= 6; ++r) differing += a.data(r, j) != b.data(r, j) ? 1 : 0;
  EXPECT_EQ(differing, 6 * a.data.UBound(2));
}

TEST(ScanSimulator, NoiseHasTheRequestedSize) {
  Scenario s;
  s.plan.total_samples = 20000;
  const SimulatedData clean = Simulate(s);
  s.noise.counts_sigma = 3.0;
  s.noise.position_sigma_um = 0.8;
  const SimulatedData noisy = Simulate(s);
  double sum_sq_counts = 0.0, sum_sq_mm = 0.0;
  const std::int32_t n = clean.data.UBound(2);
  for (std::int32_t j = 1; j <= n; ++j)
    for (std::int32_t r = 1; r <= 3; ++r) {
      const double e_counts = noisy.data(r, j) - clean.data(r, j);
      const double e_mm = noisy.data(r + 3, j) - clean.data(r + 3, j);
      sum_sq_counts += e_counts * e_counts;
      sum_sq_mm += e_mm * e_mm;
    }
  EXPECT_NEAR(std::sqrt(sum_sq_counts / (3.0 * n)), 3.0, 0.05);
  EXPECT_NEAR(std::sqrt(sum_sq_mm / (3.0 * n)) * 1000.0, 0.8, 0.015);
}

// ------------------------------------------------------------------ physics

TEST(ScanSimulator, NoiseFreeTipCentresLieOnTheSphere) {
  const SimulatedData sim = Simulate();
  const GroundTruth& t = sim.truth;
  for (std::int32_t j = 1; j <= sim.data.UBound(2); ++j) {
    const Vec3 tip = Add(Machine(sim, j), Column(t.deflections, 1, j));
    ASSERT_NEAR(Norm(Sub(tip, t.centre)), t.radius, 1e-9) << "sample " << j;
  }
}

class ScanSimulatorOrder : public ::testing::TestWithParam<int> {};

// Evaluated with the library's own polynomial, the readings (offsets taken
// off) give back the true deflection, for every true order.
TEST_P(ScanSimulatorOrder, ReadingsMapBackToTheDeflectionThroughTheTruePolynomial) {
  Scenario s;
  s.calibration.order = GetParam();
  s.calibration.offsets = {120.0, -250.0, 80.5};
  const SimulatedData sim = Simulate(s);
  const Polynome3Variables poly = TruePolynome(sim.truth);
  for (std::int32_t j = 1; j <= sim.data.UBound(2); ++j) {
    const Vec3 d = DeflectionFromReadings(poly, sim, j);
    const Vec3 expected = Column(sim.truth.deflections, 1, j);
    ASSERT_LT(Norm(Sub(d, expected)), 1e-12) << "sample " << j;
    // And the machine position plus that deflection is on the sphere.
    ASSERT_NEAR(Norm(Sub(Add(Machine(sim, j), d), sim.truth.centre)), sim.truth.radius, 1e-9);
  }
}

TEST_P(ScanSimulatorOrder, CoefficientTableHasTheTermsOfItsOrderWithAZeroConstant) {
  TrueCalibration c;
  c.order = GetParam();
  const Array2<double> table = TrueCoefficients(c);
  const int n = c.order;
  EXPECT_EQ(table.LBound(1), 1);
  EXPECT_EQ(table.UBound(1), 3);
  EXPECT_EQ(table.LBound(2), 1);
  EXPECT_EQ(table.UBound(2), (n + 1) * (n + 2) * (n + 3) / 6);
  for (std::int32_t a = 1; a <= 3; ++a) EXPECT_EQ(table(a, 1), 0.0);
}

INSTANTIATE_TEST_SUITE_P(Orders, ScanSimulatorOrder, ::testing::Values(1, 2, 3));

// The first-order terms, found by their powers through the library's
// polynomial, are the columns of the linear part: P -> column 0, etc.
TEST(ScanSimulator, FirstOrderTermsAreTheColumnsOfTheLinearPart) {
  TrueCalibration c;
  const Matrix3 m = LinearPart(c);
  Polynome3Variables poly;
  poly.Order(3);
  poly.Coeff(TrueCoefficients(c));
  const Array1<double> p = poly.TheCoeff(1, 0, 0);
  const Array1<double> q = poly.TheCoeff(0, 1, 0);
  const Array1<double> r = poly.TheCoeff(0, 0, 1);
  for (int a = 0; a < 3; ++a) {
    EXPECT_EQ(p(a + 1), m[a][0]);
    EXPECT_EQ(q(a + 1), m[a][1]);
    EXPECT_EQ(r(a + 1), m[a][2]);
  }
}

// The default calibration is near the library's starting guess: gains
// within 10 % of 6.25e-5 mm/count and small off-diagonal terms.
TEST(ScanSimulator, DefaultLinearPartIsNearTheNominalGain) {
  const Matrix3 m = LinearPart(TrueCalibration{});
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) {
      if (r == c) {
        EXPECT_NEAR(m[r][c] / kNominalProbeGain, 1.0, 0.1);
      } else {
        EXPECT_LT(std::fabs(m[r][c]) / kNominalProbeGain, 0.05);
        EXPECT_NE(m[r][c], 0.0);
      }
    }
}

// With no gain error, cross-talk or rotation the linear part is the nominal
// gain times the identity; a rotation alone keeps it orthogonal (scaled).
TEST(ScanSimulator, LinearPartComposesGainAndRotation) {
  TrueCalibration c;
  c.gain_factors = {1.0, 1.0, 1.0};
  c.cross_talk = {};
  c.rotation_deg = {0.0, 0.0, 0.0};
  Matrix3 m = LinearPart(c);
  for (int r = 0; r < 3; ++r)
    for (int col = 0; col < 3; ++col) EXPECT_EQ(m[r][col], r == col ? kNominalProbeGain : 0.0);
  c.rotation_deg = {0.0, 0.0, 90.0};  // +90 degrees about Z: X -> Y
  m = LinearPart(c);
  EXPECT_NEAR(m[1][0] / kNominalProbeGain, 1.0, 1e-15);
  EXPECT_NEAR(m[0][1] / kNominalProbeGain, -1.0, 1e-15);
  EXPECT_NEAR(m[2][2] / kNominalProbeGain, 1.0, 1e-15);
  EXPECT_NEAR(m[0][0] / kNominalProbeGain, 0.0, 1e-15);
}

// Over readings up to the full deflection in size, the second- and
// third-order parts stay within their relative sizes and come close to them.
TEST(ScanSimulator, NonLinearPartsStayWithinTheirRelativeSize) {
  TrueCalibration c;
  const Array2<double> table = TrueCoefficients(c);
  const double u_full = c.full_deflection_mm / c.gain;
  double largest[4] = {0, 0, 0, 0};
  const int kSteps = 8;
  for (int a = -kSteps; a <= kSteps; ++a)
    for (int b = -kSteps; b <= kSteps; ++b)
      for (int d = -kSteps; d <= kSteps; ++d) {
        const double u[3] = {u_full * a / kSteps, u_full * b / kSteps, u_full * d / kSteps};
        double part[4][3] = {};
        std::int32_t t = 1;
        for (int i = 0; i <= 3; ++i)
          for (int j = 0; j <= 3 - i; ++j)
            for (int k = 0; k <= 3 - i - j; ++k, ++t) {
              const double m = IntPower(u[0], i) * IntPower(u[1], j) * IntPower(u[2], k);
              for (int axis = 0; axis < 3; ++axis) part[i + j + k][axis] += table(axis + 1, t) * m;
            }
        for (int degree = 2; degree <= 3; ++degree)
          for (int axis = 0; axis < 3; ++axis)
            largest[degree] = std::max(largest[degree], std::fabs(part[degree][axis]));
      }
  EXPECT_LE(largest[2], c.second_order * c.full_deflection_mm * (1 + 1e-12));
  EXPECT_GT(largest[2], 0.3 * c.second_order * c.full_deflection_mm);
  EXPECT_LE(largest[3], c.third_order * c.full_deflection_mm * (1 + 1e-12));
  EXPECT_GT(largest[3], 0.3 * c.third_order * c.full_deflection_mm);
}

TEST(ScanSimulator, MachineIsInsideTheSphereByTheNormalDeflection) {
  const SimulatedData sim = Simulate();
  const GroundTruth& t = sim.truth;
  for (std::int32_t j = 1; j <= sim.data.UBound(2); ++j) {
    const Vec3 n = Column(t.normals, 1, j);
    const double delta = Dot(Column(t.deflections, 1, j), n);
    ASSERT_GT(delta, 0.0);
    ASSERT_NEAR(Dot(Sub(Machine(sim, j), t.centre), n), t.radius - delta, 1e-9);
    ASSERT_NEAR(Norm(n), 1.0, 1e-15);
  }
}

// The tangential deflection is friction x normal deflection, against the
// travel (travel = sense x plane normal x outward normal).
TEST(ScanSimulator, FrictionDragsTheTipAgainstTheTravel) {
  const SimulatedData sim = Simulate();
  const GroundTruth& t = sim.truth;
  for (const ScanInfo& scan : t.scans)
    for (std::int32_t j = scan.first_sample; j < scan.first_sample + scan.sample_count; ++j) {
      const Vec3 n = Column(t.normals, 1, j);
      const Vec3 d = Column(t.deflections, 1, j);
      Vec3 travel = Cross(scan.plane_normal, n);
      for (double& x : travel) x *= scan.sense;
      ASSERT_NEAR(Dot(d, travel), -0.05 * Dot(d, n), 1e-15);
      ASSERT_NEAR(Dot(d, scan.plane_normal), 0.0, 1e-15);
    }
}

// Along every scan the normal deflection swings from 0.7 to 1.3 times its
// mean of 0.3 mm.
TEST(ScanSimulator, DeflectionVariesByThirtyPercentAlongEachScan) {
  const SimulatedData sim = Simulate();
  const GroundTruth& t = sim.truth;
  for (const ScanInfo& scan : t.scans) {
    double lo = 1e9, hi = 0.0;
    for (std::int32_t j = scan.first_sample; j < scan.first_sample + scan.sample_count; ++j) {
      const double delta = Dot(Column(t.deflections, 1, j), Column(t.normals, 1, j));
      lo = std::min(lo, delta);
      hi = std::max(hi, delta);
    }
    EXPECT_NEAR(lo, 0.3 * 0.7, 0.3 * 0.002);
    EXPECT_NEAR(hi, 0.3 * 1.3, 0.3 * 0.002);
  }
}

TEST(ScanSimulator, ConstantDeflectionWhenTheVariationIsZero) {
  Scenario s;
  s.deflection.variation = 0.0;
  const SimulatedData sim = Simulate(s);
  for (std::int32_t j = 1; j <= sim.data.UBound(2); ++j)
    ASSERT_NEAR(Dot(Column(sim.truth.deflections, 1, j), Column(sim.truth.normals, 1, j)), 0.3,
                1e-15);
}

// The largest allowed non-linearity with deflections beyond the full
// deflection still inverts exactly.
TEST(ScanSimulator, StrongNonLinearityStillInvertsExactly) {
  Scenario s;
  s.calibration.second_order = 0.2;
  s.calibration.third_order = 0.2;
  s.calibration.rotation_deg = {3.0, -2.0, 5.0};
  s.deflection.mean_mm = 0.45;
  s.plan.total_samples = 2000;
  const SimulatedData sim = Simulate(s);
  const Polynome3Variables poly = TruePolynome(sim.truth);
  for (std::int32_t j = 1; j <= sim.data.UBound(2); ++j)
    ASSERT_LT(Norm(Sub(DeflectionFromReadings(poly, sim, j), Column(sim.truth.deflections, 1, j))),
              1e-12);
}

// RMS over the samples of the first-order change of the residuals
// |X + d - c| - R when every deflection d is turned by a small angle about
// `axis`: n . (axis x d) per unit angle.
double RotationSensitivity(const SimulatedData& sim, const Vec3& axis) {
  double sum = 0.0;
  const std::int32_t n = sim.data.UBound(2);
  for (std::int32_t j = 1; j <= n; ++j) {
    const double r =
        Dot(Column(sim.truth.normals, 1, j), Cross(axis, Column(sim.truth.deflections, 1, j)));
    sum += r * r;
  }
  return std::sqrt(sum / n);
}

// The friction's tangential deflection makes a rotation of the probe about
// any axis visible in the residuals with the default plan; without the
// equator a rotation about the vertical is invisible to first order.
TEST(ScanSimulator, DefaultPlanRevealsARotationOfTheProbeAboutAnyAxis) {
  const SimulatedData sim = Simulate();
  EXPECT_GT(RotationSensitivity(sim, {1.0, 0.0, 0.0}), 1e-3);
  EXPECT_GT(RotationSensitivity(sim, {0.0, 1.0, 0.0}), 1e-3);
  EXPECT_GT(RotationSensitivity(sim, {0.0, 0.0, 1.0}), 1e-3);
  Scenario s;
  s.plan.include_equator = false;
  EXPECT_LT(RotationSensitivity(Simulate(s), {0.0, 0.0, 1.0}), 1e-15);
}

// ------------------------------------------------------------------ scan layout

TEST(ScanSimulator, ScansCoverEveryPlaneForwardThenBackward) {
  Scenario s;
  s.plan.total_samples = 4003;  // does not divide by 10: the first scans get one more
  const SimulatedData sim = Simulate(s);
  const std::vector<ScanInfo>& scans = sim.truth.scans;
  ASSERT_EQ(scans.size(), 10u);
  std::int32_t next = 1;
  for (std::size_t k = 0; k < scans.size(); ++k) {
    EXPECT_EQ(scans[k].first_sample, next);
    EXPECT_EQ(scans[k].sample_count, k < 3 ? 401 : 400);
    EXPECT_EQ(scans[k].plane, static_cast<std::int32_t>(k / 2 + 1));
    EXPECT_EQ(scans[k].sense, k % 2 == 0 ? 1 : -1);
    next += scans[k].sample_count;
  }
  EXPECT_EQ(next - 1, sim.data.UBound(2));
}

TEST(ScanSimulator, VerticalPlanesAreSpreadEvenlyInAzimuth) {
  const SimulatedData sim = Simulate();
  const std::vector<ScanInfo>& scans = sim.truth.scans;
  ASSERT_EQ(scans.size(), 10u);
  for (std::size_t k = 0; k < 8; k += 2) {
    const double azimuth = (10.0 + 45.0 * static_cast<double>(k / 2)) * std::numbers::pi / 180.0;
    const Vec3& n = scans[k].plane_normal;
    EXPECT_NEAR(n[0], std::sin(azimuth), 1e-15);
    EXPECT_NEAR(n[1], -std::cos(azimuth), 1e-15);
    EXPECT_EQ(n[2], 0.0);
  }
}

// The default arc runs from 10 degrees below the equator, over the top, to
// 10 degrees below it on the other side.
TEST(ScanSimulator, DefaultArcCoversTheUpperPartOfTheSphere) {
  const SimulatedData sim = Simulate();
  const ScanInfo& first = sim.truth.scans[0];
  const double sin10 = std::sin(10.0 * std::numbers::pi / 180.0);
  EXPECT_NEAR(sim.truth.normals(3, first.first_sample), -sin10, 1e-15);
  EXPECT_NEAR(sim.truth.normals(3, first.first_sample + first.sample_count - 1), -sin10, 1e-15);
  double top = -1.0;
  for (std::int32_t j = 1; j <= sim.data.UBound(2); ++j) {
    ASSERT_GE(sim.truth.normals(3, j), -sin10 - 1e-15);
    top = std::max(top, sim.truth.normals(3, j));
  }
  EXPECT_GT(top, 0.9999);
}

TEST(ScanSimulator, EquatorIsAHorizontalPlaneScannedLast) {
  const SimulatedData sim = Simulate();
  ASSERT_EQ(sim.truth.scans.size(), 10u);
  const ScanInfo& eq = sim.truth.scans[8];
  EXPECT_EQ(eq.plane, 5);
  EXPECT_EQ(eq.plane_normal[2], 1.0);
  for (std::int32_t j = eq.first_sample; j < eq.first_sample + 2 * eq.sample_count; ++j)
    ASSERT_NEAR(sim.data(6, j), 40.0, 1e-12);
}

// Self-check of the data: noise-free positions of each scan lie in the
// scan's plane through the centre.
TEST(ScanSimulator, PositionsOfEachScanLieInItsPlane) {
  const SimulatedData sim = Simulate();
  for (const ScanInfo& scan : sim.truth.scans)
    for (std::int32_t j = scan.first_sample; j < scan.first_sample + scan.sample_count; ++j)
      ASSERT_NEAR(Dot(Sub(Machine(sim, j), sim.truth.centre), scan.plane_normal), 0.0, 1e-9);
}

// Self-check of the data: the positions alone show each plane travelled
// once in each sense (the turning sense of successive positions about the
// centre flips between the two scans of a plane).
TEST(ScanSimulator, EachPlaneIsTraversedInBothSenses) {
  const SimulatedData sim = Simulate();
  const Vec3& c = sim.truth.centre;
  std::vector<Vec3> turning;
  for (const ScanInfo& scan : sim.truth.scans) {
    Vec3 sum{};
    for (std::int32_t j = scan.first_sample; j + 1 < scan.first_sample + scan.sample_count; ++j)
      sum = Add(sum, Cross(Sub(Machine(sim, j), c), Sub(Machine(sim, j + 1), c)));
    turning.push_back(Unit(sum));
  }
  for (std::size_t k = 0; k + 1 < turning.size(); k += 2) {
    EXPECT_GT(Dot(turning[k], turning[k + 1]), -1.0 - 1e-9);
    EXPECT_LT(Dot(turning[k], turning[k + 1]), -0.999999);
    if (k + 2 < turning.size()) {
      EXPECT_LT(std::fabs(Dot(turning[k], turning[k + 2])), 0.95);
    }
  }
}

class ScanSimulatorSamples : public ::testing::TestWithParam<std::int32_t> {};

// 2,000 to 32,767 samples work and pass the calibration's scan check with
// all five planes scanned both ways, also with noise.
TEST_P(ScanSimulatorSamples, SampleCountWorksAndPassesTheScanCheck) {
  Scenario s = WithSamples(GetParam());
  s.noise.counts_sigma = 1.0;
  s.noise.position_sigma_um = 0.5;
  const SimulatedData sim = Simulate(s);
  EXPECT_EQ(sim.data.LBound(1), 1);
  EXPECT_EQ(sim.data.UBound(1), 6);
  EXPECT_EQ(sim.data.LBound(2), 1);
  EXPECT_EQ(sim.data.UBound(2), GetParam());
  EXPECT_EQ(sim.truth.deflections.UBound(2), GetParam());
  EXPECT_EQ(BiDirectionalPlanes(sim.data, sim.truth.centre), 5);
}

INSTANTIATE_TEST_SUITE_P(Counts, ScanSimulatorSamples,
                         ::testing::Values(2000, 2500, 4000, 12345, 30000, 32767));

TEST(ScanSimulator, ScanCheckCountsTheEquatorAndFailsWithTwoPlanes) {
  Scenario s;
  s.plan.include_equator = false;
  SimulatedData sim = Simulate(s);
  EXPECT_EQ(BiDirectionalPlanes(sim.data, sim.truth.centre), 4);
  s.plan.planes = 2;
  sim = Simulate(s);
  EXPECT_EQ(BiDirectionalPlanes(sim.data, sim.truth.centre), 2);
}

TEST(ScanSimulator, PointsPerScanSetsTheTotal) {
  Scenario s;
  s.plan.points_per_scan = 300;
  s.plan.total_samples = 0;
  EXPECT_EQ(Simulate(s).data.UBound(2), 3000);
  s.plan.total_samples = 3000;
  EXPECT_EQ(Simulate(s).data.UBound(2), 3000);
}

// ------------------------------------------------------------------ rejected settings

void ExpectRejected(const Scenario& s, const std::string& fragment) {
  try {
    Simulate(s);
    ADD_FAILURE() << "expected std::invalid_argument mentioning \"" << fragment << "\"";
  } catch (const std::invalid_argument& e) {
    const std::string what = e.what();
    EXPECT_EQ(what.rfind("ScanSimulator: ", 0), 0u) << what;
    EXPECT_NE(what.find(fragment), std::string::npos) << what;
  }
}

TEST(ScanSimulator, MoreThan32767SamplesAreRejected) {
  ExpectRejected(WithSamples(32768), "at most 32767 samples");
  ExpectRejected(WithSamples(100000), "at most 32767 samples");
  Scenario s;
  s.plan.points_per_scan = 4000;  // 10 scans: 40,000 samples
  s.plan.total_samples = 0;
  ExpectRejected(s, "at most 32767 samples");
}

TEST(ScanSimulator, TooFewSamplesForTheScansAreRejected) {
  ExpectRejected(WithSamples(15), "at least 2 samples");
}

TEST(ScanSimulator, InconsistentPointsPerScanAndTotalAreRejected) {
  Scenario s;
  s.plan.points_per_scan = 300;
  s.plan.total_samples = 2000;
  ExpectRejected(s, "points_per_scan");
}

TEST(ScanSimulator, InvalidSettingsAreRejectedByName) {
  Scenario s;
  s.calibration.order = 4;
  ExpectRejected(s, "TrueCalibration.order");
  s = Scenario{};
  s.calibration.order = 0;
  ExpectRejected(s, "TrueCalibration.order");
  s = Scenario{};
  s.calibration.gain = 0.0;
  ExpectRejected(s, "TrueCalibration.gain");
  s = Scenario{};
  s.calibration.cross_talk[1][1] = 0.1;
  ExpectRejected(s, "diagonal");
  s = Scenario{};
  s.calibration.second_order = 0.5;
  ExpectRejected(s, "TrueCalibration.second_order");
  s = Scenario{};
  s.plan.radius = -1.0;
  ExpectRejected(s, "ScanPlan.radius");
  s = Scenario{};
  s.plan.planes = 0;
  s.plan.include_equator = false;
  ExpectRejected(s, "at least one plane");
  s = Scenario{};
  s.plan.arc_deg = 0.0;
  ExpectRejected(s, "ScanPlan.arc_deg");
  s = Scenario{};
  s.deflection.variation = 1.0;
  ExpectRejected(s, "DeflectionProfile.variation");
  s = Scenario{};
  s.deflection.mean_mm = 20.0;
  ExpectRejected(s, "DeflectionProfile.mean_mm");
  s = Scenario{};
  s.noise.counts_sigma = -1.0;
  ExpectRejected(s, "NoiseModel.counts_sigma");
  s = Scenario{};
  s.plan.centre[0] = std::nan("");
  ExpectRejected(s, "ScanPlan.centre");
}

TEST(ScanSimulator, SingularLinearPartIsRejected) {
  TrueCalibration c;
  c.gain_factors = {0.4, 0.4, 1.0};
  c.cross_talk = {{{0.0, 0.4, 0.0}, {0.4, 0.0, 0.0}, {0.0, 0.0, 0.0}}};
  EXPECT_THROW(LinearPart(c), std::invalid_argument);
}

// Only the equator, with a full circle: still a valid plan.
TEST(ScanSimulator, EquatorAloneWithAFullCircle) {
  Scenario s;
  s.plan.planes = 0;
  s.plan.include_equator = true;
  s.plan.arc_deg = 360.0;
  s.plan.total_samples = 2000;
  const SimulatedData sim = Simulate(s);
  ASSERT_EQ(sim.truth.scans.size(), 2u);
  EXPECT_EQ(sim.truth.scans[0].plane, 1);
  EXPECT_EQ(sim.data.UBound(2), 2000);
}

}  // namespace
}  // namespace tavric::sim
