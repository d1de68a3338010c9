#include "tavric/ClsProbeCalibration.h"

#include <gtest/gtest.h>

#include <thread>

#include "TestSupport.h"
#include "geometry/Matrix33.h"
#include "interface/HeadOrientation.h"
#include "interface/ProjectState.h"

namespace tavric {
namespace {

TEST(ClsProbeCalibration, FreshInstanceHasTheDefaultSettings) {
  ClsProbeCalibration cal;
  EXPECT_EQ(cal.Mu(), 0.0001);
  EXPECT_EQ(cal.nu(), 10.0);
  EXPECT_EQ(cal.ConvergenceDetectionMethod(), E_Both);
  EXPECT_EQ(cal.ConvergenceGradientNormValue(), 0.001);
  EXPECT_EQ(cal.ConvergenceSphereValue(), 0.00001);
  EXPECT_EQ(cal.ConvergencePolyParamValue(), 0.000000001);
  EXPECT_EQ(cal.IterationMaxNumber(), 10);
  EXPECT_EQ(cal.InitialProbeGain(), 0.0000625);
  EXPECT_FALSE(cal.ProgressDisplay());
  EXPECT_EQ(cal.FitRMS(), 0.0);
  EXPECT_EQ(cal.FitMin(), 0.0);
  EXPECT_EQ(cal.FitMax(), 0.0);
  double i, j, k;
  cal.GetHX7aDir(i, j, k);
  EXPECT_EQ(i, -1.0);
  EXPECT_EQ(j, 0.0);
  EXPECT_EQ(k, 0.0);
  cal.GetHX7bDir(i, j, k);
  EXPECT_EQ(i, 0.0);
  EXPECT_EQ(j, 0.0);
  EXPECT_EQ(k, 1.0);
  EXPECT_EQ(cal.InitialHX7a(), 0.0);
  EXPECT_EQ(cal.InitialHX7b(), 0.0);
  EXPECT_EQ(cal.PolynomialOrder(), 1);
}

TEST(ClsProbeCalibration, ConvergenceDetectionMethodIsClampedToOneToThree) {
  ClsProbeCalibration cal;
  for (int v : {0, -5, 1}) {
    cal.ConvergenceDetectionMethod(v);
    EXPECT_EQ(cal.ConvergenceDetectionMethod(), 1) << v;
  }
  cal.ConvergenceDetectionMethod(7);
  EXPECT_EQ(cal.ConvergenceDetectionMethod(), 3);
  cal.ConvergenceDetectionMethod(2);
  EXPECT_EQ(cal.ConvergenceDetectionMethod(), 2);
}

TEST(ClsProbeCalibration, SettingsAreStoredUnchanged) {
  ClsProbeCalibration cal;
  cal.InitialProbeGain(-3.5);
  cal.IterationMaxNumber(255);
  cal.ConvergencePolyParamValue(0.0);
  cal.ConvergenceSphereValue(1e300);
  cal.ConvergenceGradientNormValue(-1.0);
  cal.nu(2.5);
  cal.Mu(0.75);
  cal.ProgressDisplay(true);
  EXPECT_EQ(cal.InitialProbeGain(), -3.5);
  EXPECT_EQ(cal.IterationMaxNumber(), 255);
  EXPECT_EQ(cal.ConvergencePolyParamValue(), 0.0);
  EXPECT_EQ(cal.ConvergenceSphereValue(), 1e300);
  EXPECT_EQ(cal.ConvergenceGradientNormValue(), -1.0);
  EXPECT_EQ(cal.nu(), 2.5);
  EXPECT_EQ(cal.Mu(), 0.75);
  EXPECT_TRUE(cal.ProgressDisplay());
}

TEST(ClsProbeCalibration, ProbeOffsetsAreTheNegatedConstantTerm) {
  ClsProbeCalibration cal;
  cal.LetProbeOffsets(1.0, 2.0, 3.0);
  double x, y, z;
  cal.GetPolyParameters(0, 0, 0, x, y, z);
  EXPECT_EQ(x, -1.0);
  EXPECT_EQ(y, -2.0);
  EXPECT_EQ(z, -3.0);
  double p, q, r;
  cal.GetProbeOffsets(p, q, r);
  EXPECT_EQ(p, 1.0);
  EXPECT_EQ(q, 2.0);
  EXPECT_EQ(r, 3.0);
}

TEST(ClsProbeCalibration, PolyParametersRoundTripAndUnknownTermsReadZero) {
  ClsProbeCalibration cal;
  cal.SetPolyParameters(1, 0, 0, 0.5, -0.25, 0.125);
  double x, y, z;
  cal.GetPolyParameters(1, 0, 0, x, y, z);
  EXPECT_EQ(x, 0.5);
  EXPECT_EQ(y, -0.25);
  EXPECT_EQ(z, 0.125);
  cal.SetPolyParameters(2, 0, 0, 9.0, 9.0, 9.0);  // not a term of order 1: ignored
  cal.GetPolyParameters(2, 0, 0, x, y, z);
  EXPECT_EQ(x, 0.0);
  EXPECT_EQ(y, 0.0);
  EXPECT_EQ(z, 0.0);
}

TEST(ClsProbeCalibration, SettingThePolynomialOrderClearsTheCoefficients) {
  ClsProbeCalibration cal;
  cal.SetPolyParameters(0, 0, 1, 1.0, 2.0, 3.0);
  cal.PolynomialOrder(2);
  EXPECT_EQ(cal.PolynomialOrder(), 2);
  double x, y, z;
  cal.GetPolyParameters(0, 0, 1, x, y, z);
  EXPECT_EQ(x, 0.0);
  cal.SetPolyParameters(2, 0, 0, 4.0, 5.0, 6.0);
  cal.GetPolyParameters(2, 0, 0, x, y, z);
  EXPECT_EQ(z, 6.0);
}

TEST(ClsProbeCalibration, ASecondInstanceResetsEverySettingAndTheFitStatistics) {
  testing::TempDir dir;
  const std::string path = dir.File("stats.cal");
  testing::WriteFileBytes(path,
                          "\"SPHERE :\"\r\n\"X\",\"Y\",\"Z\",\"R\"\r\n1,2,3,12.5\r\n"
                          "\"RMS\",\"MIN\",\"MAX\"\r\n0.25,-0.5,0.75\r\n");
  ClsProbeCalibration first;
  ASSERT_EQ(first.LoadCalibrationFunctions(path), "OK");
  first.Mu(0.5);
  first.nu(3.0);
  first.ConvergenceDetectionMethod(1);
  first.ConvergenceGradientNormValue(0.5);
  first.ConvergenceSphereValue(0.25);
  first.ConvergencePolyParamValue(0.125);
  first.IterationMaxNumber(3);
  first.InitialProbeGain(1.0);
  first.ProgressDisplay(true);
  first.InitialHX7a(30.0);
  first.InitialHX7b(-45.0);
  first.LetHX7aDir(0.0, 3.0, 4.0);
  first.LetHX7bDir(3.0, 4.0, 0.0);
  const std::uint8_t order = 2;
  first.PolynomialOrder(order);
  first.SetPolyParameters(1, 0, 0, 7.0, 8.0, 9.0);
  first.LetProbeOffsets(1.0, 2.0, 3.0);

  ClsProbeCalibration second;
  for (const ClsProbeCalibration* cal : {&first, &second}) {
    EXPECT_EQ(cal->Mu(), 0.0001);
    EXPECT_EQ(cal->nu(), 10.0);
    EXPECT_EQ(cal->ConvergenceDetectionMethod(), 3);
    EXPECT_EQ(cal->ConvergenceGradientNormValue(), 0.001);
    EXPECT_EQ(cal->ConvergenceSphereValue(), 0.00001);
    EXPECT_EQ(cal->ConvergencePolyParamValue(), 0.000000001);
    EXPECT_EQ(cal->IterationMaxNumber(), 10);
    EXPECT_EQ(cal->InitialProbeGain(), 0.0000625);
    EXPECT_FALSE(cal->ProgressDisplay());
    EXPECT_EQ(cal->InitialHX7a(), 0.0);
    EXPECT_EQ(cal->InitialHX7b(), 0.0);
    EXPECT_EQ(cal->FitRMS(), 0.0);
    EXPECT_EQ(cal->FitMin(), 0.0);
    EXPECT_EQ(cal->FitMax(), 0.0);
    // An empty order-1 polynomial: no coefficients, no offsets.
    EXPECT_EQ(cal->PolynomialOrder(), 1);
    double x = 1, y = 1, z = 1;
    cal->GetPolyParameters(1, 0, 0, x, y, z);
    EXPECT_EQ(x, 0.0);
    EXPECT_EQ(y, 0.0);
    EXPECT_EQ(z, 0.0);
    cal->GetProbeOffsets(x, y, z);
    EXPECT_EQ(x, 0.0);
    EXPECT_EQ(y, 0.0);
    EXPECT_EQ(z, 0.0);
    // Creation sets only C1 of direction a and C3 of direction b (see the
    // next test): their other components are those set through the first.
    cal->GetHX7aDir(x, y, z);
    EXPECT_EQ(x, -1.0);
    EXPECT_EQ(y, 0.6);
    EXPECT_EQ(z, 0.8);
    cal->GetHX7bDir(x, y, z);
    EXPECT_EQ(x, 0.6);
    EXPECT_EQ(y, 0.8);
    EXPECT_EQ(z, 1.0);
    // The fitted sphere is not part of the settings: it stays.
    EXPECT_EQ(cal->SphereRadius(), 12.5);
    EXPECT_EQ(cal->SphereCentre(2), 2.0);
  }
}

TEST(ClsProbeCalibration, ASecondInstanceKeepsTheNonDefaultComponentsOfTheHeadDirections) {
  // Creation only sets C1 of direction a and C3 of direction b; a direction
  // replaced through LetHX7bDir keeps its other components.
  ClsProbeCalibration first;
  first.LetHX7bDir(1.0, 0.0, 0.0);
  ClsProbeCalibration second;
  double i, j, k;
  second.GetHX7bDir(i, j, k);
  EXPECT_EQ(i, 1.0);
  EXPECT_EQ(j, 0.0);
  EXPECT_EQ(k, 1.0);
}

TEST(ClsProbeCalibration, SphereCentreOutsideOneToThreeReadsZero) {
  ClsProbeCalibration cal;
  EXPECT_EQ(cal.SphereCentre(0), 0.0);
  EXPECT_EQ(cal.SphereCentre(4), 0.0);
  EXPECT_EQ(cal.SphereCentre(1), 0.0);
  EXPECT_EQ(cal.SphereRadius(), 0.0);
}

TEST(ClsProbeCalibration, DLLVersionIsTheProductBannerAndVersion) {
  // A new version of the library changes this literal on purpose.
  EXPECT_EQ(ClsProbeCalibration().DLLVersion(), "Tavric Scanning Probe Calibration 1.0.0");
}

TEST(ClsProbeCalibration, HeadAngleRoundTripsThroughRadians) {
  ClsProbeCalibration cal;
  cal.InitialHX7a(90.0);
  EXPECT_NEAR(cal.InitialHX7a(), 90.0, 1e-12);
  EXPECT_EQ(State().head_angle_a, 90.0 * 3.14159265358979 / 180.0);
  cal.InitialHX7b(-45.0);
  EXPECT_NEAR(cal.InitialHX7b(), -45.0, 1e-12);
}

TEST(ClsProbeCalibration, HeadDirectionsAreStoredAsUnitVectors) {
  ClsProbeCalibration cal;
  double i, j, k;
  cal.LetHX7aDir(0.0, 0.0, 2.0);
  cal.GetHX7aDir(i, j, k);
  EXPECT_EQ(i, 0.0);
  EXPECT_EQ(j, 0.0);
  EXPECT_EQ(k, 1.0);
  cal.LetHX7bDir(3.0, 4.0, 0.0);
  cal.GetHX7bDir(i, j, k);
  EXPECT_DOUBLE_EQ(i, 0.6);
  EXPECT_DOUBLE_EQ(j, 0.8);
  EXPECT_EQ(k, 0.0);
}

TEST(ClsProbeCalibration, AZeroHeadDirectionIsStoredWithoutError) {
  ClsProbeCalibration cal;
  EXPECT_NO_THROW(cal.LetHX7aDir(0.0, 0.0, 0.0));
  double i, j, k;
  cal.GetHX7aDir(i, j, k);
  EXPECT_EQ(i, 0.0);
  EXPECT_EQ(j, 0.0);
  EXPECT_EQ(k, 0.0);
}

TEST(ClsProbeCalibration, StartingMatrixWithZeroAnglesIsTheGainOnTheDiagonal) {
  ClsProbeCalibration cal;
  cal.InitialProbeGain(0.5);
  cal.LetHX7aDir(1.0, 2.0, 3.0);
  cal.LetHX7bDir(-1.0, 0.5, 0.25);
  Ref<Matrix33> m0 = StartingMatrix("OK");
  for (Byte r = 1; r <= 3; ++r)
    for (Byte c = 1; c <= 3; ++c) EXPECT_EQ(m0->Mij(r, c), r == c ? 0.5 : 0.0) << +r << +c;
}

TEST(ClsProbeCalibration, TransformEvaluatesTheCalibrationPolynomial) {
  ClsProbeCalibration cal;
  cal.SetPolyParameters(1, 0, 0, 2.0, 0.0, 0.0);
  cal.SetPolyParameters(0, 1, 0, 0.0, 3.0, 0.0);
  cal.SetPolyParameters(0, 0, 1, 0.0, 0.0, 4.0);
  cal.LetProbeOffsets(1.0, 1.0, 1.0);
  double x, y, z;
  cal.Transform(10.0, 20.0, 30.0, x, y, z);
  EXPECT_EQ(x, 19.0);
  EXPECT_EQ(y, 59.0);
  EXPECT_EQ(z, 119.0);
}

TEST(ClsProbeCalibration, TransformOfANonFiniteReadingRaisesOverflow) {
  ClsProbeCalibration cal;
  double x, y, z;
  EXPECT_RUNTIME_ERROR(cal.Transform(std::numeric_limits<double>::infinity(), 0, 0, x, y, z), 6);
}

TEST(ClsProbeCalibration, StateIsPerThread) {
  ClsProbeCalibration cal;
  cal.Mu(0.25);
  double other_mu = 0.0;
  std::thread t([&] {
    ClsProbeCalibration there;
    there.Mu(0.75);
    other_mu = there.Mu();
  });
  t.join();
  EXPECT_EQ(cal.Mu(), 0.25);
  EXPECT_EQ(other_mu, 0.75);
}

}  // namespace
}  // namespace tavric
