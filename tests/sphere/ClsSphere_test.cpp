#include "sphere/ClsSphere.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "interface/ProjectState.h"
#include "runtime/DoEvents.h"
#include "sphere/BON.h"

namespace tavric {
namespace {

struct P3 {
  double x, y, z;
};

// Points at indices 1..N of an array with bounds 0..N whose element 0 is
// empty, the way the calibration hands them over.
Array1<Ref<ClsVector>> PointArray(const std::vector<P3>& points) {
  Array1<Ref<ClsVector>> a(0, static_cast<std::int32_t>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i)
    a(static_cast<std::int32_t>(i + 1)) = NewVector(points[i].x, points[i].y, points[i].z);
  return a;
}

struct FitRun {
  std::string result;
  int steps;
};

FitRun RunFit(ClsSphere& sphere, const std::vector<P3>& points, double tolerance, Int16 max_iter) {
  auto array = PointArray(points);
  Int16 n = static_cast<Int16>(points.size());
  std::string result = "not set";
  sphere.Fit(n, array, tolerance, max_iter, result);
  return {result, sphere.LastStepCount()};
}

// The six points where the axes through (1, 2, 3) meet the sphere of radius
// 10 about it: every step of the fit is exact for them.
std::vector<P3> AxisPoints() {
  return {{11, 2, 3}, {-9, 2, 3}, {1, 12, 3}, {1, -8, 3}, {1, 2, 13}, {1, 2, -7}};
}

// Points near a sphere of radius 25 about (-3, 7, 40), with radial noise,
// spread over most of the sphere.
std::vector<P3> NoisyPoints(int count, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<P3> points;
  while (static_cast<int>(points.size()) < count) {
    const double x = u(gen), y = u(gen), z = u(gen);
    const double len = std::sqrt(x * x + y * y + z * z);
    if (len < 0.1 || len > 1.0) continue;
    const double r = 25.0 + 0.05 * u(gen);
    points.push_back({-3.0 + r * x / len, 7.0 + r * y / len, 40.0 + r * z / len});
  }
  return points;
}

double Distance(const P3& p, const ClsVector& c) {
  const double dx = p.x - c.C1(), dy = p.y - c.C2(), dz = p.z - c.C3();
  return std::sqrt(dx * dx + dy * dy + dz * dz);
}

// --- sphere record -----------------------------------------------------------

TEST(ClsSphere, PtOfANewSphereIsAZeroVector) {
  ClsSphere sphere;
  const Ref<ClsVector> centre = sphere.Pt();
  ASSERT_TRUE(centre);
  EXPECT_EQ(centre->C1(), 0.0);
  EXPECT_EQ(centre->C2(), 0.0);
  EXPECT_EQ(centre->C3(), 0.0);
}

TEST(ClsSphere, SecondReadOfPtYieldsTheSameObject) {
  ClsSphere sphere;
  const Ref<ClsVector> first = sphere.Pt();
  const Ref<ClsVector> second = sphere.Pt();
  EXPECT_EQ(first.get(), second.get());
  first->C2(4.5);
  EXPECT_EQ(sphere.Pt()->C2(), 4.5);
}

TEST(ClsSphere, SettingPtKeepsTheGivenVectorItself) {
  ClsSphere sphere;
  auto v = NewVector(1, 2, 3);
  sphere.Pt(v);
  EXPECT_EQ(sphere.Pt().get(), v.get());
  v->C1(42.0);
  EXPECT_EQ(sphere.Pt()->C1(), 42.0);
}

TEST(ClsSphere, RadiusOfANewSphereIsZero) {
  ClsSphere sphere;
  EXPECT_EQ(sphere.R(), 0.0);
  sphere.R(12.5);
  EXPECT_EQ(sphere.R(), 12.5);
}

TEST(ClsSphere, ProjectSphereIsCreatedOnceAndKept) {
  ClsSphere& first = StateSphere();
  first.R(3.0);
  EXPECT_EQ(&StateSphere(), &first);
  EXPECT_EQ(StateSphere().R(), 3.0);
}

TEST(ClsSphere, StatisticsOfANewSphereAreZero) {
  ClsSphere sphere;
  double min = -1.0, max = -1.0;
  EXPECT_EQ(sphere.MinMaxVar(min, max), 0.0);
  EXPECT_EQ(min, 0.0);
  EXPECT_EQ(max, 0.0);
}

// --- fit on exact data -------------------------------------------------------

TEST(ClsSphere, PointsExactlyOnASphereGiveThatSphereAndAZeroFirstCorrection) {
  ClsSphere sphere;
  // Tolerance 0: only corrections that are exactly zero converge.
  const FitRun run = RunFit(sphere, AxisPoints(), 0.0, 10);
  ASSERT_EQ(run.result, "OK");
  EXPECT_EQ(run.steps, 1);
  EXPECT_EQ(sphere.LastCorrection(), 0.0);
  EXPECT_EQ(sphere.Pt()->C1(), 1.0);
  EXPECT_EQ(sphere.Pt()->C2(), 2.0);
  EXPECT_EQ(sphere.Pt()->C3(), 3.0);
  EXPECT_EQ(sphere.R(), 10.0);
  double min = -1.0, max = -1.0;
  EXPECT_EQ(sphere.MinMaxVar(min, max), 0.0);
  EXPECT_EQ(min, 0.0);
  EXPECT_EQ(max, 0.0);
}

TEST(ClsSphere, FourPointsOnASphereGiveThatSphere) {
  ClsSphere sphere;
  const FitRun run = RunFit(sphere, {{11, 2, 3}, {1, 12, 3}, {1, 2, 13}, {-9, 2, 3}}, 0.005, 10);
  ASSERT_EQ(run.result, "OK");
  EXPECT_EQ(run.steps, 1);
  EXPECT_LE(sphere.LastCorrection(), 1e-13);
  EXPECT_NEAR(sphere.Pt()->C1(), 1.0, 1e-13);
  EXPECT_NEAR(sphere.Pt()->C2(), 2.0, 1e-13);
  EXPECT_NEAR(sphere.Pt()->C3(), 3.0, 1e-13);
  EXPECT_NEAR(sphere.R(), 10.0, 1e-13);
  double min = 0.0, max = 0.0;
  EXPECT_LE(sphere.MinMaxVar(min, max), 1e-26);
  EXPECT_NEAR(min, 0.0, 1e-13);
  EXPECT_NEAR(max, 0.0, 1e-13);
}

TEST(ClsSphere, ManyPointsOnASphereGiveThatSphere) {
  // Integer offsets of length 10 ((6, 8, 0), (2, 4, 4) * 5 / 3 ...).
  std::vector<P3> points;
  const double offsets[][3] = {{6, 8, 0},   {0, -6, 8}, {-8, 0, 6},  {0, 0, -10}, {6, 0, -8},
                               {-6, -8, 0}, {0, 8, -6}, {-10, 0, 0}, {8, 6, 0}};
  for (const auto& o : offsets) points.push_back({1 + o[0], 2 + o[1], 3 + o[2]});
  ClsSphere sphere;
  const FitRun run = RunFit(sphere, points, 0.005, 10);
  ASSERT_EQ(run.result, "OK");
  EXPECT_EQ(run.steps, 1);
  EXPECT_NEAR(sphere.Pt()->C1(), 1.0, 1e-13);
  EXPECT_NEAR(sphere.Pt()->C2(), 2.0, 1e-13);
  EXPECT_NEAR(sphere.Pt()->C3(), 3.0, 1e-13);
  EXPECT_NEAR(sphere.R(), 10.0, 1e-13);
}

TEST(ClsSphere, PointsAreReadFromIndexOneOn) {
  auto points = PointArray(AxisPoints());
  ASSERT_EQ(points.LBound(), 0);
  ASSERT_FALSE(points(0));  // element 0 is never read
  Int16 n = 6;
  double tolerance = 0.005;
  Int16 max_iter = 10;
  std::string result;
  ClsSphere sphere;
  sphere.Fit(n, points, tolerance, max_iter, result);
  EXPECT_EQ(result, "OK");
  EXPECT_EQ(sphere.R(), 10.0);
}

TEST(ClsSphere, OnlyTheFirstNPointsAreUsed) {
  auto points = AxisPoints();
  points.push_back({100, 100, 100});
  auto array = PointArray(points);
  Int16 n = 6;
  double tolerance = 0.005;
  Int16 max_iter = 10;
  std::string result;
  ClsSphere sphere;
  sphere.Fit(n, array, tolerance, max_iter, result);
  EXPECT_EQ(result, "OK");
  EXPECT_EQ(sphere.R(), 10.0);
}

TEST(ClsSphere, FitLeavesItsArgumentsUnchanged) {
  auto array = PointArray(AxisPoints());
  const auto first = array(1);
  Int16 n = 6;
  double tolerance = 0.005;
  Int16 max_iter = 10;
  std::string result;
  ClsSphere sphere;
  sphere.Fit(n, array, tolerance, max_iter, result);
  EXPECT_EQ(n, 6);
  EXPECT_EQ(tolerance, 0.005);
  EXPECT_EQ(max_iter, 10);
  EXPECT_EQ(array(1).get(), first.get());
  EXPECT_EQ(first->C1(), 11.0);
}

TEST(ClsSphere, FittedSphereHoldsANewCentreObject) {
  ClsSphere sphere;
  auto old_centre = NewVector(7, 8, 9);
  sphere.Pt(old_centre);
  ASSERT_EQ(RunFit(sphere, AxisPoints(), 0.005, 10).result, "OK");
  EXPECT_NE(sphere.Pt().get(), old_centre.get());
  EXPECT_EQ(old_centre->C1(), 7.0);
  EXPECT_EQ(sphere.Pt()->C1(), 1.0);
}

// --- degenerate point sets ---------------------------------------------------

TEST(ClsSphere, ThreePointsFailTheInitialEstimate) {
  ClsSphere sphere;
  EXPECT_EQ(RunFit(sphere, {{1, -8, 4}, {6, -4, -7}, {0, 1, 7}}, 0.005, 10).result,
            "Sphere fit failure : Initial parameter computation");
  EXPECT_EQ(RunFit(sphere, {{11, 2, 3}, {1, 12, 3}, {1, 2, 13}}, 0.005, 10).result,
            "Sphere fit failure : Initial parameter computation");
  EXPECT_EQ(sphere.LastStepCount(), 0);
}

TEST(ClsSphere, TwoPointsOrOneFailTheInitialEstimate) {
  ClsSphere sphere;
  EXPECT_EQ(RunFit(sphere, {{1, 2, 3}, {4, 5, 6}}, 0.005, 10).result,
            "Sphere fit failure : Initial parameter computation");
  EXPECT_EQ(RunFit(sphere, {{1, 2, 3}}, 0.005, 10).result,
            "Sphere fit failure : Initial parameter computation");
}

TEST(ClsSphere, FourCoplanarPointsFailTheInitialEstimate) {
  ClsSphere sphere;
  // On the plane z = x - 8y - 9.
  EXPECT_EQ(
      RunFit(sphere, {{-7, -9, 56}, {-6, -5, 25}, {-9, -8, 46}, {-1, 4, -42}}, 0.005, 10).result,
      "Sphere fit failure : Initial parameter computation");
  // On the plane z = 3 (a null row of z differences).
  EXPECT_EQ(RunFit(sphere, {{11, 2, 3}, {1, 12, 3}, {-9, 2, 3}, {1, -8, 3}}, 0.005, 10).result,
            "Sphere fit failure : Initial parameter computation");
}

TEST(ClsSphere, ManyCoplanarPointsFailTheInitialEstimate) {
  // A grid of points on the plane z = 2x - 3y + 1.
  std::vector<P3> points;
  for (int i = 0; i < 5; ++i)
    for (int j = 0; j < 4; ++j)
      points.push_back({i * 1.5, j * 2.25, 2 * i * 1.5 - 3 * j * 2.25 + 1});
  ClsSphere sphere;
  EXPECT_EQ(RunFit(sphere, points, 0.005, 10).result,
            "Sphere fit failure : Initial parameter computation");
}

TEST(ClsSphere, FailedFitKeepsTheFormerCentreAndRadius) {
  ClsSphere sphere;
  auto centre = NewVector(7, 8, 9);
  sphere.Pt(centre);
  sphere.R(4.0);
  ASSERT_NE(RunFit(sphere, {{1, -8, 4}, {6, -4, -7}, {0, 1, 7}}, 0.005, 10).result, "OK");
  EXPECT_EQ(sphere.Pt().get(), centre.get());
  EXPECT_EQ(centre->C1(), 7.0);
  EXPECT_EQ(centre->C2(), 8.0);
  EXPECT_EQ(centre->C3(), 9.0);
  EXPECT_EQ(sphere.R(), 4.0);
}

TEST(ClsSphere, FailedFitKeepsTheFormerStatistics) {
  ClsSphere sphere;
  ASSERT_EQ(RunFit(sphere, NoisyPoints(30, 1), 0.005, 10).result, "OK");
  double min0 = 0, max0 = 0;
  const double var0 = sphere.MinMaxVar(min0, max0);
  ASSERT_NE(RunFit(sphere, {{1, 2, 3}, {4, 5, 6}}, 0.005, 10).result, "OK");
  double min1 = 0, max1 = 0;
  EXPECT_EQ(sphere.MinMaxVar(min1, max1), var0);
  EXPECT_EQ(min1, min0);
  EXPECT_EQ(max1, max0);
}

// A host message loop that raises the interrupt request of the basis
// builder from the given yield on: the correction steps then fail with the
// builder's message. The initial estimate (3 unknowns) yields 9 times in
// BuildBON and 6 in SolveBON; each correction step (4 unknowns) 14 + 8.
class StopFromYield {
 public:
  explicit StopFromYield(int from) {
    previous_ = SetDoEventsHook([this, from] {
      if (++calls_ >= from) BON::StopRequested(true);
    });
  }
  ~StopFromYield() { SetDoEventsHook(previous_); }

 private:
  int calls_ = 0;
  std::function<void()> previous_;
};

TEST(ClsSphere, FailingFirstCorrectionGivesTheOptimisationFailureText) {
  ClsSphere sphere;
  sphere.R(4.0);
  FitRun run;
  {
    StopFromYield stop(16);
    run = RunFit(sphere, AxisPoints(), 0.005, 10);
  }
  EXPECT_EQ(run.result, "Sphere optimisation failure : Arret par l'utilisateur");
  EXPECT_EQ(run.steps, 1);
  EXPECT_EQ(sphere.R(), 4.0);
  EXPECT_EQ(sphere.Pt()->C1(), 0.0);
}

TEST(ClsSphere, FailingLaterCorrectionGivesTheOptimisationFailureText) {
  ClsSphere sphere;
  FitRun run;
  {
    StopFromYield stop(15 + 22 + 1);
    run = RunFit(sphere, NoisyPoints(20, 2), -1.0, 10);
  }
  EXPECT_EQ(run.result, "Sphere optimisation failure : Arret par l'utilisateur");
  EXPECT_EQ(run.steps, 2);
  EXPECT_EQ(sphere.R(), 0.0);
}

TEST(ClsSphere, NoPointsRaisesSubscriptError) {
  ClsSphere sphere;
  Array1<Ref<ClsVector>> none(0, 0);
  Int16 n = 0;
  double tolerance = 0.005;
  Int16 max_iter = 10;
  std::string result;
  EXPECT_RUNTIME_ERROR(sphere.Fit(n, none, tolerance, max_iter, result), err::kSubscriptOutOfRange);
}

TEST(ClsSphere, MissingPointObjectIsNotTrapped) {
  auto array = PointArray(AxisPoints());
  array(3).reset();
  Int16 n = 6;
  double tolerance = 0.005;
  Int16 max_iter = 10;
  std::string result;
  ClsSphere sphere;
  EXPECT_RUNTIME_ERROR(sphere.Fit(n, array, tolerance, max_iter, result), err::kObjectNotSet);
}

TEST(ClsSphere, TooFewPointsInTheArrayIsNotTrapped) {
  auto array = PointArray(AxisPoints());
  Int16 n = 7;
  double tolerance = 0.005;
  Int16 max_iter = 10;
  std::string result;
  ClsSphere sphere;
  EXPECT_RUNTIME_ERROR(sphere.Fit(n, array, tolerance, max_iter, result),
                       err::kSubscriptOutOfRange);
}

// --- iteration count and convergence test -------------------------------------

TEST(ClsSphere, MaxIterZeroRunsExactlyTwoCorrectionSteps) {
  ClsSphere sphere;
  const FitRun run = RunFit(sphere, NoisyPoints(20, 3), -1.0, 0);
  EXPECT_EQ(run.result, "OK");
  EXPECT_EQ(run.steps, 2);
}

TEST(ClsSphere, UnmetToleranceRunsMaxIterPlusTwoStepsAndStillSucceeds) {
  for (const Int16 max_iter : {Int16{1}, Int16{3}, Int16{10}}) {
    ClsSphere sphere;
    const FitRun run = RunFit(sphere, NoisyPoints(20, 3), -1.0, max_iter);
    EXPECT_EQ(run.result, "OK");
    EXPECT_EQ(run.steps, max_iter + 2);
    EXPECT_NEAR(sphere.R(), 25.0, 0.05);
  }
}

TEST(ClsSphere, NegativeMaxIterRunsOnlyTheFirstStep) {
  ClsSphere sphere;
  const FitRun run = RunFit(sphere, NoisyPoints(20, 3), -1.0, -1);
  EXPECT_EQ(run.result, "OK");
  EXPECT_EQ(run.steps, 1);
}

TEST(ClsSphere, CorrectionExactlyEqualToToleranceCountsAsConverged) {
  const auto points = NoisyPoints(25, 4);
  // The largest component of the first correction, alone.
  ClsSphere probe;
  ASSERT_EQ(RunFit(probe, points, -1.0, -1).steps, 1);
  const double first = probe.LastCorrection();
  ASSERT_GT(first, 0.0);

  ClsSphere at;
  EXPECT_EQ(RunFit(at, points, first, 10).steps, 1);
  ClsSphere below;
  EXPECT_GE(RunFit(below, points, std::nextafter(first, 0.0), 10).steps, 2);
}

TEST(ClsSphere, ExactSphereConvergesWithZeroTolerance) {
  // A correction of exactly 0 against a tolerance of exactly 0.
  ClsSphere sphere;
  EXPECT_EQ(RunFit(sphere, AxisPoints(), 0.0, 5).steps, 1);
}

// --- fitted sphere and deviations ---------------------------------------------

TEST(ClsSphere, NoisyPointsGiveTheGeometricLeastSquaresSphere) {
  const auto points = NoisyPoints(200, 5);
  ClsSphere sphere;
  ASSERT_EQ(RunFit(sphere, points, 1e-12, 50).result, "OK");
  const ClsVector& c = *sphere.Pt();
  // Stationary point of sum (|p - c| - r)^2: the deviations sum to zero and
  // are orthogonal to each coordinate of the unit directions.
  double sum = 0.0, gx = 0.0, gy = 0.0, gz = 0.0;
  for (const auto& p : points) {
    const double d = Distance(p, c);
    const double e = d - sphere.R();
    sum += e;
    gx += e * (p.x - c.C1()) / d;
    gy += e * (p.y - c.C2()) / d;
    gz += e * (p.z - c.C3()) / d;
  }
  EXPECT_NEAR(sum, 0.0, 1e-10);
  EXPECT_NEAR(gx, 0.0, 1e-10);
  EXPECT_NEAR(gy, 0.0, 1e-10);
  EXPECT_NEAR(gz, 0.0, 1e-10);
  EXPECT_NEAR(c.C1(), -3.0, 0.02);
  EXPECT_NEAR(c.C2(), 7.0, 0.02);
  EXPECT_NEAR(c.C3(), 40.0, 0.02);
  EXPECT_NEAR(sphere.R(), 25.0, 0.02);
}

TEST(ClsSphere, SmallCapOfASphereIsStillFitted) {
  // Points within 3 degrees of the pole of a sphere of radius 50: the
  // correction vectors are nearly dependent but far from rounding level.
  std::vector<P3> points;
  const double pi = 3.14159265358979;
  for (int ring = 1; ring <= 3; ++ring) {
    for (int k = 0; k < 8; ++k) {
      const double theta = ring * pi / 180.0;
      const double phi = (2 * k + ring) * pi / 8.0;
      points.push_back({5 + 50 * std::sin(theta) * std::cos(phi),
                        -4 + 50 * std::sin(theta) * std::sin(phi), 9 + 50 * std::cos(theta)});
    }
  }
  points.push_back({5, -4, 59});
  ClsSphere sphere;
  ASSERT_EQ(RunFit(sphere, points, 1e-12, 50).result, "OK");
  EXPECT_NEAR(sphere.Pt()->C1(), 5.0, 1e-8);
  EXPECT_NEAR(sphere.Pt()->C2(), -4.0, 1e-8);
  EXPECT_NEAR(sphere.Pt()->C3(), 9.0, 1e-8);
  EXPECT_NEAR(sphere.R(), 50.0, 1e-8);
}

TEST(ClsSphere, MinMaxVarDescribeTheRadialDeviations) {
  const auto points = NoisyPoints(50, 6);
  ClsSphere sphere;
  ASSERT_EQ(RunFit(sphere, points, 0.005, 10).result, "OK");
  std::vector<double> dev;
  for (const auto& p : points) dev.push_back(Distance(p, *sphere.Pt()) - sphere.R());
  const double var = testing::SampleVariance(dev);
  double lo = dev[0], hi = dev[0];
  for (double e : dev) {
    lo = std::min(lo, e);
    hi = std::max(hi, e);
  }
  double min = 0.0, max = 0.0;
  EXPECT_NEAR(sphere.MinMaxVar(min, max), var, 1e-12 * var);
  EXPECT_NEAR(min, lo, 1e-13);
  EXPECT_NEAR(max, hi, 1e-13);
  EXPECT_LT(min, 0.0);
  EXPECT_GT(max, 0.0);
}

TEST(ClsSphere, RefitReplacesTheStatistics) {
  ClsSphere sphere;
  ASSERT_EQ(RunFit(sphere, NoisyPoints(50, 7), 0.005, 10).result, "OK");
  ASSERT_EQ(RunFit(sphere, AxisPoints(), 0.005, 10).result, "OK");
  double min = -1.0, max = -1.0;
  EXPECT_EQ(sphere.MinMaxVar(min, max), 0.0);
  EXPECT_EQ(min, 0.0);
  EXPECT_EQ(max, 0.0);
}

// --- reference data -----------------------------------------------------------

struct Reference {
  std::vector<P3> points;
  double x, y, z, radius;
};

// Reads sphN.ds (count, then x<TAB>y<TAB>z lines) and sphN.fit (centre x, y,
// z and the diameter).
bool ReadReference(const std::filesystem::path& dir, const std::string& name, Reference& ref) {
  std::ifstream ds(dir / (name + ".ds"));
  std::ifstream fit(dir / (name + ".fit"));
  if (!ds || !fit) return false;
  int count = 0;
  ds >> count;
  for (int i = 0; i < count; ++i) {
    P3 p{};
    if (!(ds >> p.x >> p.y >> p.z)) return false;
    ref.points.push_back(p);
  }
  double diameter = 0.0;
  if (!(fit >> ref.x >> ref.y >> ref.z >> diameter)) return false;
  ref.radius = diameter / 2.0;
  return true;
}

class ReferenceSpheres : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    const auto shared = testing::SharedDir();
    const auto dir = shared ? *shared / "testdata" / "nist-l2-sphere" : std::filesystem::path();
    TAVRIC_SKIP_UNLESS_AVAILABLE(shared && std::filesystem::is_directory(dir),
                                 "the NIST reference spheres (set TAVRIC_SHARED_DIR to the "
                                 "shared folder holding testdata/nist-l2-sphere)");
    ASSERT_TRUE(ReadReference(dir, GetParam(), ref_)) << "cannot read " << GetParam();
  }

  void ExpectFit(double tolerance, Int16 max_iter, double accuracy) {
    ClsSphere sphere;
    const FitRun run = RunFit(sphere, ref_.points, tolerance, max_iter);
    ASSERT_EQ(run.result, "OK");
    EXPECT_NEAR(sphere.Pt()->C1(), ref_.x, accuracy);
    EXPECT_NEAR(sphere.Pt()->C2(), ref_.y, accuracy);
    EXPECT_NEAR(sphere.Pt()->C3(), ref_.z, accuracy);
    EXPECT_NEAR(sphere.R(), ref_.radius, accuracy);
  }

  Reference ref_;
};

TEST_P(ReferenceSpheres, CalibrationSettingsReproduceTheReferenceFit) {
  ExpectFit(0.005, 10, 1e-5);
}

TEST_P(ReferenceSpheres, TightSettingsReproduceTheReferenceFitClosely) {
  ExpectFit(1e-12, 50, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Nist, ReferenceSpheres,
                         ::testing::Values("sph5", "sph11", "sph14", "sph16", "sph20", "sph22"));

}  // namespace
}  // namespace tavric
