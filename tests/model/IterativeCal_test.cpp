#include "model/IterativeCal.h"

#include <gtest/gtest.h>

#include <cmath>

#include "TestSupport.h"
#include "geometry/Matrix33.h"
#include "interface/ProjectState.h"
#include "polynomial/Polynome3Variables.h"
#include "sphere/ClsSphere.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/ScanSimulator.h"

namespace tavric {
namespace {

Array1<double> Offsets(double a = 0.0, double b = 0.0, double c = 0.0) {
  return CoefficientTriple(a, b, c);
}

Matrix33 GainMatrix(double gain) {
  Matrix33 m;
  for (Byte i = 1; i <= 3; ++i) m.Mij(i, i, gain);
  return m;
}

// A small data set: 40 samples with varying readings and positions.
DataArray SmallData() {
  DataArray data(1, 6, 1, 40);
  for (int k = 1; k <= 40; ++k) {
    const double t = 0.3 * k;
    data(1, k) = 4000.0 * std::cos(t);
    data(2, k) = 3500.0 * std::sin(t);
    data(3, k) = 500.0 + 20.0 * k;
    data(4, k) = 10.0 + 12.0 * std::cos(t);
    data(5, k) = -5.0 + 12.0 * std::sin(t);
    data(6, k) = 3.0 + 0.1 * k;
  }
  return data;
}

class IterativeCalTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ClsSphere& s = StateSphere();
    s.Pt()->C1(10.0);
    s.Pt()->C2(-5.0);
    s.Pt()->C3(3.0);
    s.R(12.0);
  }
};

TEST_F(IterativeCalTest, FourTermsGiveThirteenParameters) {
  IterativeCal model;
  Matrix33 m0 = GainMatrix(6.25e-5);
  ASSERT_EQ(model.INIT(SmallData(), 1, m0, Offsets()), "OK");
  EXPECT_EQ(model.Polynomial()->Number_of_coeff(), 4);
  EXPECT_EQ(model.ParameterCount(), 13);
}

TEST_F(IterativeCalTest, ParameterCountFollowsTheOrder) {
  for (Byte order = 1; order <= 3; ++order) {
    IterativeCal model;
    Matrix33 m0 = GainMatrix(6.25e-5);
    ASSERT_EQ(model.INIT(SmallData(), order, m0, Offsets()), "OK");
    const int n = model.Polynomial()->Number_of_coeff();
    EXPECT_EQ(model.ParameterCount(), 4 + 3 * (n - 1));
  }
}

TEST_F(IterativeCalTest, InitSeedsTheFirstOrderTermsFromTheStartingMatrixTimesAThousand) {
  IterativeCal model;
  Matrix33 m0;
  double v = 1.0;
  for (Byte r = 1; r <= 3; ++r)
    for (Byte c = 1; c <= 3; ++c) m0.Mij(r, c, 1e-5 * v++);
  ASSERT_EQ(model.INIT(SmallData(), 2, m0, Offsets()), "OK");
  const Polynome3Variables& p = *model.Polynomial();
  const Int16 powers[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  for (Byte c = 1; c <= 3; ++c) {
    const auto& w = powers[c - 1];
    const Array1<double> t = p.TheCoeff(w[0], w[1], w[2]);
    for (Byte r = 1; r <= 3; ++r) EXPECT_EQ(t(r), m0.Mij(r, c) * 1000.0) << +r << "," << +c;
  }
  const Array1<double> constant = p.TheCoeff(0, 0, 0);
  EXPECT_EQ(constant(1), 0.0);
  EXPECT_EQ(p.TheCoeff(2, 0, 0)(1), 0.0);
}

TEST_F(IterativeCalTest, ReadingsAreOffsetCorrectedAndInThousandsOfCounts) {
  // With only the P term set to 1 (per thousand counts), the X deflection of
  // a sample is (offset + P) / 1000: the residual shows it.
  DataArray data(1, 6, 1, 1);
  data(1, 1) = 2500.0;
  data(4, 1) = 10.0 + 12.0;  // on the sphere about (10, -5, 3) of radius 12
  data(5, 1) = -5.0;
  data(6, 1) = 3.0;
  IterativeCal model;
  Matrix33 m0;
  m0.Mij(1, 1, 0.001);  // seeds the X coefficient of P with 1
  ASSERT_EQ(model.INIT(data, 1, m0, Offsets(-500.0, 0.0, 0.0)), "OK");
  Array1<double> X = model.Pack();
  Int16 which = 0;
  model.Getfi(which, X);
  EXPECT_DOUBLE_EQ(model.LM().fi()(1), 2.0);  // (2500 - 500) / 1000
}

// The stability test of every parameter of an order-1 model (13: the sphere
// centre x, y, z and radius, then the X, Y and Z coefficients of R, Q and P),
// one at a time, with thresholds set through the public interface: a step
// exactly at the parameter's threshold is not stable, the next double below it
// is, and so is its negation. The sphere and polynomial thresholds differ, so
// that a parameter checked against the other kind's threshold fails.
// Parameter `index` of the model (1-based), named after what it holds.
struct ModelParameter {
  int index;
};

void PrintTo(const ModelParameter& p, std::ostream* os) {
  static const char* const kSphere[] = {"CentreX", "CentreY", "CentreZ", "Radius"};
  if (p.index <= 4) {
    *os << kSphere[p.index - 1];
  } else {
    *os << "Coefficient" << p.index - 4;
  }
}

class StabilityThreshold : public IterativeCalTest,
                           public ::testing::WithParamInterface<ModelParameter> {
 protected:
  static constexpr double kSphereValue = 0.002;
  static constexpr double kPolyValue = 3e-7;  // a coefficient step: 1000 x 3e-7 = 3e-4

  void SetUp() override {
    ClsProbeCalibration cal;  // first: its construction resets the thread's state
    cal.ConvergenceSphereValue(kSphereValue);
    cal.ConvergencePolyParamValue(kPolyValue);
    IterativeCalTest::SetUp();
    Matrix33 m0 = GainMatrix(6.25e-5);
    ASSERT_EQ(model_.INIT(SmallData(), 1, m0, Offsets()), "OK");
    ASSERT_EQ(model_.ParameterCount(), 13);
  }

  // The threshold of parameter i, as the documented rule states it.
  static double Threshold(int i) { return i <= 4 ? kSphereValue : kPolyValue * 1000.0; }

  // SmalldX after GetTol with parameter GetParam() stepping by `step`, every
  // other parameter standing still.
  bool StableWithStep(double step) {
    Array1<double> dx(1, model_.ParameterCount());
    dx(GetParam().index) = step;
    double gradient = 0.0;
    model_.GetTol(dx, gradient);
    return model_.LM().SmalldX();
  }

  IterativeCal model_;
};

TEST_P(StabilityThreshold, AStepAtItsThresholdIsNotStable) {
  EXPECT_FALSE(StableWithStep(Threshold(GetParam().index)));
  EXPECT_FALSE(StableWithStep(-Threshold(GetParam().index)));
}

TEST_P(StabilityThreshold, AStepJustBelowItsThresholdIsStable) {
  const double below = std::nextafter(Threshold(GetParam().index), 0.0);
  EXPECT_TRUE(StableWithStep(below));
  EXPECT_TRUE(StableWithStep(-below));
}

INSTANTIATE_TEST_SUITE_P(EveryParameter, StabilityThreshold,
                         ::testing::Values(ModelParameter{1}, ModelParameter{2}, ModelParameter{3},
                                           ModelParameter{4}, ModelParameter{5}, ModelParameter{6},
                                           ModelParameter{7}, ModelParameter{8}, ModelParameter{9},
                                           ModelParameter{10}, ModelParameter{11},
                                           ModelParameter{12}, ModelParameter{13}));

TEST_F(IterativeCalTest, TheGradientTestIsStrictOnItsAbsoluteValue) {
  IterativeCal model;
  Matrix33 m0 = GainMatrix(6.25e-5);
  ASSERT_EQ(model.INIT(SmallData(), 1, m0, Offsets()), "OK");
  Array1<double> dx(1, model.ParameterCount());
  double g = -0.0009;
  model.GetTol(dx, g);
  EXPECT_TRUE(model.LM().SmallGradient());
  g = 0.001;
  model.GetTol(dx, g);
  EXPECT_FALSE(model.LM().SmallGradient());
}

TEST_F(IterativeCalTest, ChangingTheRadiusShiftsEveryResidualAndItsDerivativeIsMinusOne) {
  IterativeCal model;
  Matrix33 m0 = GainMatrix(6.25e-5);
  ASSERT_EQ(model.INIT(SmallData(), 2, m0, Offsets()), "OK");
  Array1<double> X = model.Pack();
  Int16 which = 0;
  model.Getfi(which, X);
  const Array1<double> before = model.LM().fi();
  model.GetJacobian();
  for (Int32 k = 1; k <= 40; ++k) EXPECT_EQ(model.LM().Jacobian()(4, k), -1.0);
  const double delta = 0.125;
  X(4) += delta;
  model.Getfi(which, X);
  for (Int32 k = 1; k <= 40; ++k) EXPECT_DOUBLE_EQ(model.LM().fi()(k), before(k) - delta);
  model.GetJacobian();
  for (Int32 k = 1; k <= 40; ++k) EXPECT_EQ(model.LM().Jacobian()(4, k), -1.0);
}

TEST_F(IterativeCalTest, TrialPointsGoToFip1AndTheStartPointToFi) {
  IterativeCal model;
  Matrix33 m0 = GainMatrix(6.25e-5);
  ASSERT_EQ(model.INIT(SmallData(), 1, m0, Offsets()), "OK");
  Array1<double> X = model.Pack();
  Int16 which = 1;
  model.Getfi(which, X);
  EXPECT_FALSE(model.LM().fi().Allocated());
  EXPECT_EQ(model.LM().fip1().UBound(), 40);
}

TEST_F(IterativeCalTest, TheAnalyticJacobianMatchesFiniteDifferences) {
  IterativeCal model;
  Matrix33 m0 = GainMatrix(6.25e-5);
  ASSERT_EQ(model.INIT(SmallData(), 3, m0, Offsets()), "OK");
  Array1<double> X = model.Pack();
  // Give every coefficient a small non-zero value.
  for (Int32 i = 5; i <= model.ParameterCount(); ++i) X(i) += 1e-4 * std::sin(i);
  Int16 which = 0;
  model.Getfi(which, X);
  model.GetJacobian();
  const Array2<double> J = model.LM().Jacobian();
  for (Int32 j = 1; j <= model.ParameterCount(); ++j) {
    const double h = 1e-6;
    Array1<double> plus = X, minus = X;
    plus(j) += h;
    minus(j) -= h;
    model.Getfi(which, plus);
    const Array1<double> fp = model.LM().fi();
    model.Getfi(which, minus);
    const Array1<double> fm = model.LM().fi();
    for (Int32 k = 1; k <= 40; ++k)
      EXPECT_NEAR(J(j, k), (fp(k) - fm(k)) / (2 * h), 1e-6) << "parameter " << j << " sample " << k;
  }
}

TEST_F(IterativeCalTest, PackingThenUnpackingLeavesSphereAndCoefficientsUnchanged) {
  IterativeCal model;
  Matrix33 m0 = GainMatrix(6.25e-5);
  ASSERT_EQ(model.INIT(SmallData(), 2, m0, Offsets()), "OK");
  Polynome3Variables& p = *model.Polynomial();
  p.TheCoeff(0, 0, 0, CoefficientTriple(7.0, 8.0, 9.0));
  p.TheCoeff(1, 1, 0, CoefficientTriple(0.5, -0.25, 0.125));
  const Array2<double> coeff = p.Coeff();
  const Array1<double> X = model.Pack();
  model.Unpack(X);
  EXPECT_TRUE(p.Coeff() == coeff);
  EXPECT_EQ(StateSphere().R(), 12.0);
  EXPECT_EQ(StateSphere().Pt()->C2(), -5.0);
  EXPECT_EQ(p.TheCoeff(0, 0, 0)(2), 8.0);
}

TEST_F(IterativeCalTest, IterateBeforeInitIsRefusedAndChangesNothing) {
  IterativeCal model;
  EXPECT_EQ(model.Iterate(), "Iterate error : initialisation not done.");
  EXPECT_EQ(StateSphere().R(), 12.0);
  EXPECT_EQ(StateSphere().Pt()->C1(), 10.0);
}

TEST_F(IterativeCalTest, IterateAfterAFailedInitIsRefused) {
  IterativeCal model;
  Matrix33 m0 = GainMatrix(6.25e-5);
  DataArray five(1, 5, 1, 10);
  EXPECT_EQ(model.INIT(five, 1, m0, Offsets()), "Iterate INIT error n°9 : Subscript out of range");
  EXPECT_EQ(model.Iterate(), "Iterate error : initialisation not done.");
  EXPECT_EQ(StateSphere().R(), 12.0);
}

TEST_F(IterativeCalTest, InitReportsAShortOffsetsArray) {
  IterativeCal model;
  Matrix33 m0 = GainMatrix(6.25e-5);
  Array1<double> two(1, 2);
  EXPECT_EQ(model.INIT(SmallData(), 1, m0, two), "Iterate INIT error n°9 : Subscript out of range");
}

TEST_F(IterativeCalTest, ADeflectedPointAtTheCentreFailsTheJacobianWithAnArithmeticError) {
  DataArray data(1, 6, 1, 1);
  data(4, 1) = 10.0;  // the machine position is the centre and the deflection is 0
  data(5, 1) = -5.0;
  data(6, 1) = 3.0;
  IterativeCal model;
  Matrix33 m0 = GainMatrix(6.25e-5);
  ASSERT_EQ(model.INIT(data, 1, m0, Offsets()), "OK");
  Array1<double> X = model.Pack();
  Int16 which = 0;
  model.Getfi(which, X);
  EXPECT_RUNTIME_ERROR(model.GetJacobian(), 6);
}

TEST_F(IterativeCalTest, IterateFitsASimulatedScan) {
  sim::Scenario scenario;
  scenario.calibration.order = 2;
  scenario.plan.total_samples = 2000;
  const auto s = sim::Simulate(scenario);
  ClsSphere& sphere = StateSphere();
  sphere.Pt()->C1(s.truth.centre[0] + 0.01);
  sphere.Pt()->C2(s.truth.centre[1]);
  sphere.Pt()->C3(s.truth.centre[2]);
  sphere.R(s.truth.radius - 0.01);
  IterativeCal model;
  Matrix33 m0 = GainMatrix(6.25e-5);
  ASSERT_EQ(model.INIT(s.data, 2, m0, Offsets()), "OK");
  EXPECT_EQ(model.Iterate(), "OK");
  EXPECT_NEAR(StateSphere().R(), s.truth.radius, 1e-8);
  EXPECT_LT(State().FitRMS, 1e-8);
}

}  // namespace
}  // namespace tavric
