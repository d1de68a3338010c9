// The head orientation: the starting matrix against products of textbook
// rotation matrices, and calibrations of a probe mounted on a rotated head.
#include "interface/HeadOrientation.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>

#include "TestSupport.h"
#include "geometry/Matrix33.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/RunReport.h"
#include "tavric/ScanSimulator.h"

namespace tavric {
namespace {

using Vec3 = std::array<double, 3>;
using M3 = std::array<Vec3, 3>;  // m[row][column]

double Radians(double degrees) { return degrees * std::numbers::pi / 180.0; }

// Right-handed rotations by `degrees` about the x, y and z axes.
M3 Rx(double degrees) {
  const double c = std::cos(Radians(degrees)), s = std::sin(Radians(degrees));
  return {{{1.0, 0.0, 0.0}, {0.0, c, -s}, {0.0, s, c}}};
}
M3 Ry(double degrees) {
  const double c = std::cos(Radians(degrees)), s = std::sin(Radians(degrees));
  return {{{c, 0.0, s}, {0.0, 1.0, 0.0}, {-s, 0.0, c}}};
}
M3 Rz(double degrees) {
  const double c = std::cos(Radians(degrees)), s = std::sin(Radians(degrees));
  return {{{c, -s, 0.0}, {s, c, 0.0}, {0.0, 0.0, 1.0}}};
}

M3 Product(const M3& a, const M3& b) {
  M3 p{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int k = 0; k < 3; ++k) p[i][j] += a[i][k] * b[k][j];
  return p;
}

// The rotation vector (axis times angle, degrees) of a rotation matrix whose
// angle is strictly between 0 and 180 degrees.
Vec3 RotationVectorDegrees(const M3& r) {
  const double angle = std::acos((r[0][0] + r[1][1] + r[2][2] - 1.0) / 2.0);
  const double scale = angle * 180.0 / std::numbers::pi / (2.0 * std::sin(angle));
  return {(r[2][1] - r[1][2]) * scale, (r[0][2] - r[2][0]) * scale, (r[1][0] - r[0][1]) * scale};
}

// One head orientation: the angles and directions given to the library and
// the rotation of the head they describe. The head turns by the b rotation,
// and the a rotation happens about the a axis as the b rotation carried it,
// both with their sign reversed: R = Rot(b, -B) * Rot(a, -A).
struct Head {
  const char* name;
  double a_degrees;
  double b_degrees;
  Vec3 a_direction;
  Vec3 b_direction;
  M3 rotation;
};

// With the default directions a = -x and b = +z, Rot(a, -A) is Rx(A) and
// Rot(b, -B) is Rz(-B); with a = +y and b = +x they are Ry(-A) and Rx(-B).
const Vec3 kDefaultA = {-1.0, 0.0, 0.0};
const Vec3 kDefaultB = {0.0, 0.0, 1.0};
const Head kHeads[] = {
    {"A90", 90.0, 0.0, kDefaultA, kDefaultB, Rx(90.0)},
    {"B90", 0.0, 90.0, kDefaultA, kDefaultB, Rz(-90.0)},
    {"A30B60", 30.0, 60.0, kDefaultA, kDefaultB, Product(Rz(-60.0), Rx(30.0))},
    {"A45B120", 45.0, 120.0, kDefaultA, kDefaultB, Product(Rz(-120.0), Rx(45.0))},
    {"A35Bminus70AlongYAndX",
     35.0,
     -70.0,
     {0.0, 2.0, 0.0},
     {3.0, 0.0, 0.0},
     Product(Rx(70.0), Ry(-35.0))},
};

void PrintTo(const Head& head, std::ostream* os) { *os << head.name; }

void SetHead(ClsProbeCalibration& cal, const Head& head) {
  cal.InitialHX7a(head.a_degrees);
  cal.InitialHX7b(head.b_degrees);
  cal.LetHX7aDir(head.a_direction[0], head.a_direction[1], head.a_direction[2]);
  cal.LetHX7bDir(head.b_direction[0], head.b_direction[1], head.b_direction[2]);
}

class HeadOrientation : public ::testing::TestWithParam<Head> {};

TEST_P(HeadOrientation, StartingMatrixIsTheGainTimesTheHeadRotation) {
  const Head& head = GetParam();
  ClsProbeCalibration cal;
  cal.InitialProbeGain(2.0);
  SetHead(cal, head);
  const Ref<Matrix33> m0 = StartingMatrix("OK");
  for (Byte r = 1; r <= 3; ++r)
    for (Byte c = 1; c <= 3; ++c)
      EXPECT_NEAR(m0->Mij(r, c), 2.0 * head.rotation[r - 1][c - 1], 1e-12)
          << "element (" << +r << ", " << +c << ")";
}

INSTANTIATE_TEST_SUITE_P(Heads, HeadOrientation, ::testing::ValuesIn(kHeads));

// A noise-free scan by a probe whose axes are turned by the head's rotation:
// the simulator's probe with its rotation replaced by the head's.
sim::SimulatedData ScanWithRotatedHead(const Head& head) {
  sim::Scenario scenario;
  scenario.calibration.rotation_deg = RotationVectorDegrees(head.rotation);
  scenario.plan.total_samples = 2000;
  return sim::Simulate(scenario);
}

struct Fit {
  std::string result;
  StopReason stop = StopReason::kNotRun;
  double fit_rms = 0.0;
  double radius = 0.0;
  double linear_error = 0.0;  // largest |fitted - true| first-order coefficient
};

// Calibrates with at most four outer iterations, which a good start needs.
Fit Calibrate(const sim::SimulatedData& s, const Head& head) {
  ClsProbeCalibration cal;
  SetHead(cal, head);
  cal.IterationMaxNumber(3);
  std::uint8_t order = 3;
  Fit fit;
  fit.result = cal.Optimise(s.data, order);
  fit.stop = LastRunReport().stop_reason;
  fit.fit_rms = cal.FitRMS();
  fit.radius = cal.SphereRadius();
  for (std::int16_t c = 0; c < 3; ++c) {
    const std::int16_t p = c == 0, q = c == 1, r = c == 2;
    Vec3 v{};
    cal.GetPolyParameters(p, q, r, v[0], v[1], v[2]);
    for (int row = 0; row < 3; ++row)
      fit.linear_error = std::fmax(fit.linear_error, std::fabs(v[row] - s.truth.linear[row][c]));
  }
  return fit;
}

class RotatedHeadCalibration : public ::testing::TestWithParam<Head> {};

TEST_P(RotatedHeadCalibration, TheMatchingHeadAnglesStartTheFitWhereItConvergesToTheTruth) {
  const Head& head = GetParam();
  const sim::SimulatedData s = ScanWithRotatedHead(head);
  const Fit fit = Calibrate(s, head);
  ASSERT_EQ(fit.result, "OK");
  EXPECT_EQ(fit.stop, StopReason::kConverged);
  EXPECT_LT(fit.fit_rms, 1e-12);  // mm
  EXPECT_NEAR(fit.radius, s.truth.radius, 1e-12);
  EXPECT_LT(fit.linear_error, 1e-15);  // mm per count; the gain is 6.25e-5
}

TEST_P(RotatedHeadCalibration, OtherHeadAnglesLeaveTheFitShortOfTheTruth) {
  // The same budget from a start the head does not match: no angles, or one
  // angle with its sign reversed.
  const Head& head = GetParam();
  const sim::SimulatedData s = ScanWithRotatedHead(head);
  Head none = head, minus_a = head, minus_b = head;
  none.a_degrees = none.b_degrees = 0.0;
  minus_a.a_degrees = -head.a_degrees;
  minus_b.b_degrees = -head.b_degrees;
  for (const Head& wrong : {none, minus_a, minus_b}) {
    const Fit fit = Calibrate(s, wrong);
    ASSERT_EQ(fit.result, "OK");
    EXPECT_EQ(fit.stop, StopReason::kIterationLimit)
        << "A " << wrong.a_degrees << ", B " << wrong.b_degrees;
    EXPECT_GT(fit.fit_rms, 1e-8) << "A " << wrong.a_degrees << ", B " << wrong.b_degrees;
  }
}

INSTANTIATE_TEST_SUITE_P(Heads, RotatedHeadCalibration, ::testing::Values(kHeads[3], kHeads[4]));

}  // namespace
}  // namespace tavric
