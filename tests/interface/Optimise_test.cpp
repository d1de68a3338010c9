// End-to-end calibrations on simulated scans with a known truth.
#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "TestSupport.h"
#include "interface/ProjectState.h"
#include "polynomial/Polynome3Variables.h"
#include "runtime/NumberText.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/HeadlessProgressView.h"
#include "tavric/ScanSimulator.h"

namespace tavric {
namespace {

using testing::TempDir;

constexpr double kUm = 0.001;  // one micrometre in mm

sim::SimulatedData Simulate(int true_order, int samples, bool noisy, std::uint64_t seed = 1) {
  sim::Scenario scenario;
  scenario.calibration.order = true_order;
  scenario.plan.total_samples = samples;
  if (noisy) {
    scenario.noise.counts_sigma = 1.5;
    scenario.noise.position_sigma_um = 0.2;
    scenario.noise.seed = seed;
  }
  return sim::Simulate(scenario);
}

// RMS over the samples of the residuals of the true calibration: the radial
// noise the simulator put into the data.
double TrueResidualRms(const sim::SimulatedData& s) {
  Polynome3Variables truth;
  Byte order = static_cast<Byte>(s.truth.order);
  truth.INIT(order);
  truth.Coeff(s.truth.coefficients);
  double sum = 0.0;
  const int n = s.data.UBound(2);
  for (int k = 1; k <= n; ++k) {
    double d[3];
    truth.Value(s.data(1, k) - s.truth.offsets[0], s.data(2, k) - s.truth.offsets[1],
                s.data(3, k) - s.truth.offsets[2], d[0], d[1], d[2]);
    double r2 = 0.0;
    for (int a = 0; a < 3; ++a) {
      const double w = s.data(4 + a, k) + d[a] - s.truth.centre[static_cast<std::size_t>(a)];
      r2 += w * w;
    }
    const double residual = std::sqrt(r2) - s.truth.radius;
    sum += residual * residual;
  }
  return std::sqrt(sum / n);
}

// RMS over the samples of the error of Transform along the surface normal.
double NormalDeflectionErrorRms(const ClsProbeCalibration& cal, const sim::SimulatedData& s) {
  double sum = 0.0;
  const int n = s.data.UBound(2);
  for (int k = 1; k <= n; ++k) {
    double d[3];
    cal.Transform(s.data(1, k), s.data(2, k), s.data(3, k), d[0], d[1], d[2]);
    double error = 0.0;
    for (int a = 1; a <= 3; ++a)
      error += (d[a - 1] - s.truth.deflections(a, k)) * s.truth.normals(a, k);
    sum += error * error;
  }
  return std::sqrt(sum / n);
}

void ExpectSphereWithin(const ClsProbeCalibration& cal, const sim::SimulatedData& s, double tol) {
  EXPECT_NEAR(cal.SphereRadius(), s.truth.radius, tol);
  for (Byte i = 1; i <= 3; ++i)
    EXPECT_NEAR(cal.SphereCentre(i), s.truth.centre[i - 1u], tol) << "centre " << +i;
}

// (fit order, true order, samples)
class NoiseFreeCalibration : public ::testing::TestWithParam<std::tuple<int, int, int>> {};

TEST_P(NoiseFreeCalibration, RecoversTheSphereAndTheDeflections) {
  const auto [fit_order, true_order, samples] = GetParam();
  const auto s = Simulate(true_order, samples, false);
  ClsProbeCalibration cal;
  Byte order = static_cast<Byte>(fit_order);
  ASSERT_EQ(cal.Optimise(s.data, order), "OK");
  EXPECT_LT(cal.FitRMS(), 0.01 * kUm);
  ExpectSphereWithin(cal, s, 0.01 * kUm);
  EXPECT_LT(NormalDeflectionErrorRms(cal, s), 0.01 * kUm);
}

INSTANTIATE_TEST_SUITE_P(OrdersAndSizes, NoiseFreeCalibration,
                         ::testing::Values(std::make_tuple(1, 1, 2000), std::make_tuple(2, 2, 8000),
                                           std::make_tuple(3, 3, 30000),
                                           std::make_tuple(3, 1, 2000), std::make_tuple(2, 1, 4000),
                                           std::make_tuple(3, 2, 8000)));

class NoisyCalibration : public ::testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(NoisyCalibration, StaysWithinHalfAMicrometreAndMatchesTheNoise) {
  const auto [order_value, samples] = GetParam();
  const auto s = Simulate(order_value, samples, true, 7);
  ClsProbeCalibration cal;
  Byte order = static_cast<Byte>(order_value);
  ASSERT_EQ(cal.Optimise(s.data, order), "OK");
  ExpectSphereWithin(cal, s, 0.5 * kUm);
  const double noise = TrueResidualRms(s);
  EXPECT_NEAR(cal.FitRMS(), noise, 0.2 * noise);
  EXPECT_LT(NormalDeflectionErrorRms(cal, s), 0.5 * kUm);
}

INSTANTIATE_TEST_SUITE_P(OrdersAndSizes, NoisyCalibration,
                         ::testing::Values(std::make_tuple(1, 2000), std::make_tuple(2, 8000),
                                           std::make_tuple(3, 30000)));

TEST(Optimise, BothFileLayoutsGiveBitIdenticalCalibrations) {
  TempDir dir;
  const auto s = Simulate(2, 3000, true);
  const std::string marked = dir.File("scan-marked.txt");
  const std::string generic = dir.File("scan-generic.txt");
  ASSERT_EQ(sim::WriteMarkedDataFile(marked, s.data), "OK");
  ASSERT_EQ(sim::WriteGenericDataFile(generic, s.data), "OK");

  ClsProbeCalibration cal;
  Byte order = 2;
  ASSERT_EQ(cal.OptimiseFromFile(marked, order), "OK");
  const std::string marked_cal = dir.File("marked.cal");
  ASSERT_EQ(cal.SaveCalibrationFunctions(marked_cal), "OK");
  const double marked_rms = cal.FitRMS();
  const Array2<double> marked_coeff = State().polynomial->Coeff();

  ClsProbeCalibration again;
  ASSERT_EQ(again.OptimiseFromFile(generic, order), "OK");
  const std::string generic_cal = dir.File("generic.cal");
  ASSERT_EQ(again.SaveCalibrationFunctions(generic_cal), "OK");
  EXPECT_EQ(again.FitRMS(), marked_rms);
  EXPECT_TRUE(State().polynomial->Coeff() == marked_coeff);
  EXPECT_EQ(testing::ReadFileBytes(generic_cal), testing::ReadFileBytes(marked_cal));

  // The same values in memory (rounded as the files hold them) give the same bits.
  DataArray rounded = s.data;
  sim::RoundToRecordPrecision(rounded);
  ClsProbeCalibration in_memory;
  ASSERT_EQ(in_memory.Optimise(rounded, order), "OK");
  EXPECT_TRUE(State().polynomial->Coeff() == marked_coeff);
}

TEST(Optimise, OrderZeroRunsAFirstOrderFitAndReadsOneAfterwards) {
  const auto s = Simulate(1, 2000, false);
  ClsProbeCalibration cal;
  Byte order = 0;
  ASSERT_EQ(cal.Optimise(s.data, order), "OK");
  EXPECT_EQ(order, 1);
  EXPECT_EQ(cal.PolynomialOrder(), 1);
}

TEST(Optimise, OrderFiveRunsAThirdOrderFitAndReadsThreeAfterwards) {
  const auto s = Simulate(1, 2000, false);
  ClsProbeCalibration cal;
  Byte order = 5;
  ASSERT_EQ(cal.Optimise(s.data, order), "OK");
  EXPECT_EQ(order, 3);
  EXPECT_EQ(cal.PolynomialOrder(), 3);
}

TEST(Optimise, FewerThanSixFieldsIsASubscriptError) {
  const auto s = Simulate(1, 2000, false);
  DataArray five(1, 5, 1, 2000);
  for (int f = 1; f <= 5; ++f)
    for (int k = 1; k <= 2000; ++k) five(f, k) = s.data(f, k);
  ClsProbeCalibration cal;
  Byte order = 1;
  EXPECT_EQ(cal.Optimise(five, order), "Optimise Error 9 : Subscript out of range");
}

TEST(Optimise, MoreThan32767SamplesOverflow) {
  DataArray big(1, 6, 1, 32768);
  ClsProbeCalibration cal;
  Byte order = 1;
  EXPECT_EQ(cal.Optimise(big, order), "Optimise Error 6 : Overflow");
}

// The samples of `data` (bounds 1 To 6, 1 To n) with the samples' bounds
// moved to (first To first + n - 1).
DataArray WithSampleBounds(const DataArray& data, int first) {
  const int n = data.UBound(2);
  DataArray moved(1, 6, first, first + n - 1);
  for (int f = 1; f <= 6; ++f)
    for (int k = 1; k <= n; ++k) moved(f, first + k - 1) = data(f, k);
  return moved;
}

TEST(Optimise, SampleBoundsBeyondSixteenBitsOverflow) {
  const auto s = Simulate(1, 2000, false);
  for (int first : {32768, 32767, -50000, -32769}) {
    ClsProbeCalibration cal;
    cal.Mu(0.5);
    Byte order = 1;
    EXPECT_EQ(cal.Optimise(WithSampleBounds(s.data, first), order), "Optimise Error 6 : Overflow")
        << "first sample at " << first;
    EXPECT_EQ(cal.Mu(), 0.0001);
  }
}

TEST(Optimise, SampleBoundsAtTheSixteenBitLimitsCalibrate) {
  const auto s = Simulate(2, 2000, true);
  ClsProbeCalibration cal;
  Byte order = 2;
  ASSERT_EQ(cal.Optimise(s.data, order), "OK");
  const Array2<double> one_based = State().polynomial->Coeff();
  // The last sample at 32,767, and the first at -32,768.
  for (int first : {32767 - 1999, -32768}) {
    ClsProbeCalibration again;
    ASSERT_EQ(again.Optimise(WithSampleBounds(s.data, first), order), "OK") << first;
    EXPECT_TRUE(State().polynomial->Coeff() == one_based) << first;
  }
}

TEST(Optimise, AnyLowerBoundsGiveTheSameCalibration) {
  const auto s = Simulate(2, 2000, true);
  ClsProbeCalibration cal;
  Byte order = 2;
  ASSERT_EQ(cal.Optimise(s.data, order), "OK");
  const Array2<double> one_based = State().polynomial->Coeff();
  const double rms = cal.FitRMS();

  DataArray shifted(0, 5, 3, 2002);
  for (int f = 0; f <= 5; ++f)
    for (int k = 3; k <= 2002; ++k) shifted(f, k) = s.data(f + 1, k - 2);
  ClsProbeCalibration again;
  ASSERT_EQ(again.Optimise(shifted, order), "OK");
  EXPECT_TRUE(State().polynomial->Coeff() == one_based);
  EXPECT_EQ(again.FitRMS(), rms);
}

TEST(Optimise, ASphereFitFailureReturnsItsMessageAndKeepsThePolynomial) {
  DataArray three(1, 6, 1, 3);
  const double xyz[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  for (int k = 1; k <= 3; ++k)
    for (int a = 0; a < 3; ++a) three(4 + a, k) = xyz[k - 1][a];
  ClsProbeCalibration cal;
  cal.SetPolyParameters(1, 0, 0, 1.0, 2.0, 3.0);
  Byte order = 1;
  EXPECT_EQ(cal.Optimise(three, order), "Sphere fit failure : Initial parameter computation");
  double x, y, z;
  cal.GetPolyParameters(1, 0, 0, x, y, z);
  EXPECT_EQ(x, 1.0);
  EXPECT_EQ(y, 2.0);
  EXPECT_EQ(z, 3.0);
}

TEST(Optimise, ScansInOneSenseOnlyFailTheScanCheck) {
  auto s = Simulate(1, 4000, false);
  // Keep only the forward scans.
  int kept = 0;
  for (const auto& scan : s.truth.scans)
    if (scan.sense > 0) kept += scan.sample_count;
  DataArray forward(1, 6, 1, kept);
  int col = 0;
  for (const auto& scan : s.truth.scans) {
    if (scan.sense < 0) continue;
    for (int k = scan.first_sample; k < scan.first_sample + scan.sample_count; ++k) {
      ++col;
      for (int f = 1; f <= 6; ++f) forward(f, col) = s.data(f, k);
    }
  }
  ClsProbeCalibration cal;
  Byte order = 1;
  EXPECT_EQ(cal.Optimise(forward, order), "Bi-directionnal scans detection error.");
}

TEST(Optimise, ProbeOffsetsSurviveASuccessfulRun) {
  sim::Scenario scenario;
  scenario.calibration.order = 2;
  scenario.calibration.offsets = {120.0, -75.5, 33.0};
  scenario.plan.total_samples = 3000;
  const auto s = sim::Simulate(scenario);
  ClsProbeCalibration cal;
  cal.LetProbeOffsets(120.0, -75.5, 33.0);
  Byte order = 2;
  ASSERT_EQ(cal.Optimise(s.data, order), "OK");
  double p, q, r;
  cal.GetProbeOffsets(p, q, r);
  EXPECT_EQ(p, 120.0);
  EXPECT_EQ(q, -75.5);
  EXPECT_EQ(r, 33.0);
  EXPECT_LT(cal.FitRMS(), 0.01 * kUm);
  ExpectSphereWithin(cal, s, 0.01 * kUm);
}

TEST(Optimise, MuAndNuReadTheirDefaultsAfterAnyCall) {
  const auto s = Simulate(1, 2000, false);
  ClsProbeCalibration cal;
  Byte order = 1;
  cal.Mu(0.5);
  cal.nu(3.0);
  ASSERT_EQ(cal.Optimise(s.data, order), "OK");
  EXPECT_EQ(cal.Mu(), 0.0001);
  EXPECT_EQ(cal.nu(), 10.0);

  cal.Mu(0.5);
  cal.nu(3.0);
  DataArray empty(1, 6, 1, 3);
  EXPECT_NE(cal.Optimise(empty, order), "OK");
  EXPECT_EQ(cal.Mu(), 0.0001);
  EXPECT_EQ(cal.nu(), 10.0);
}

TEST(Optimise, ADampingThatOverflowsEndsInTheOptimisersOverflowText) {
  const auto s = Simulate(1, 2000, false);
  ClsProbeCalibration cal;
  cal.Mu(1e308);
  cal.nu(0.5);  // Mu / nu overflows at the first outer iteration
  Byte order = 1;
  EXPECT_EQ(cal.Optimise(s.data, order), "LM Error n°6 : Overflow");
}

TEST(Optimise, ANonFiniteReadingFailsTheModelInitialisation) {
  auto s = Simulate(1, 2000, false);
  s.data(2, 10) = std::numeric_limits<double>::infinity();
  ClsProbeCalibration cal;
  Byte order = 1;
  EXPECT_EQ(cal.Optimise(s.data, order), "Iterate INIT error n°6 : Overflow");
}

TEST(Optimise, ANonFinitePositionIsAnOverflow) {
  auto s = Simulate(1, 2000, false);
  s.data(5, 10) = std::numeric_limits<double>::quiet_NaN();
  ClsProbeCalibration cal;
  Byte order = 1;
  EXPECT_EQ(cal.Optimise(s.data, order), "Optimise Error 6 : Overflow");
}

TEST(Optimise, ReachingTheIterationLimitStillReturnsOkAndTheReportSaysSo) {
  const auto s = Simulate(3, 3000, true);
  ClsProbeCalibration cal;
  cal.IterationMaxNumber(0);
  Byte order = 3;
  ASSERT_EQ(cal.Optimise(s.data, order), "OK");
  const RunReport& report = LastRunReport();
  EXPECT_EQ(report.stop_reason, StopReason::kIterationLimit);
  EXPECT_EQ(report.outer_iterations, 1);
  EXPECT_EQ(report.samples, 3000);
  EXPECT_EQ(report.order, 3);
  EXPECT_EQ(report.result, "OK");
  ASSERT_EQ(report.iterations.size(), 1u);
  EXPECT_EQ(report.iterations[0].FitRMS, cal.FitRMS());
}

TEST(Optimise, AConvergedRunIsReportedAsConverged) {
  const auto s = Simulate(2, 2000, false);
  ClsProbeCalibration cal;
  Byte order = 2;
  ASSERT_EQ(cal.Optimise(s.data, order), "OK");
  const RunReport& report = LastRunReport();
  EXPECT_EQ(report.stop_reason, StopReason::kConverged);
  EXPECT_GE(report.outer_iterations, 1);
  EXPECT_EQ(report.iterations.size(), static_cast<std::size_t>(report.outer_iterations));
  EXPECT_EQ(report.iterations.back().FitRMS, cal.FitRMS());
}

// Runs Optimise with ProgressDisplay on, shown by a headless view installed
// for the call; returns the result text.
std::string OptimiseDisplayed(const DataArray& data, Byte order, HeadlessProgressView& view) {
  // The view belongs to the caller: the thread only borrows it for the call.
  SetProgressView(std::shared_ptr<HeadlessProgressView>(&view, [](HeadlessProgressView*) {}));
  ClsProbeCalibration cal;
  cal.ProgressDisplay(true);
  const std::string result = cal.Optimise(data, order);
  SetProgressView(nullptr);
  return result;
}

TEST(Optimise, WithProgressDisplayTheStoredResultIsReturned) {
  const auto s = Simulate(2, 2000, false);
  HeadlessProgressView view;
  const std::string result = OptimiseDisplayed(s.data, 2, view);
  EXPECT_EQ(result, "OK");
  EXPECT_EQ(result, State().last_result);
  EXPECT_EQ(view.ShowCount(), 1);
  EXPECT_FALSE(view.IsShown());
  EXPECT_GT(view.UpdateCount(), 10);
  const ProgressWindowContent& last = view.Last();
  EXPECT_EQ(last.Label2, "Second order optimisation on 2000 points");
  EXPECT_EQ(last.LabStep, "Levenberg-Marquardt : \nFinished");
  EXPECT_EQ(last.ChConvergence.Value, 1);
  // A new instance keeps the thread's fitted sphere.
  EXPECT_EQ(last.Label10[3], FormatFixed(ClsProbeCalibration().SphereRadius(), 4));
}

TEST(Optimise, WithProgressDisplayCheckingPathYieldsOnce) {
  const auto s = Simulate(1, 2000, false);
  HeadlessProgressView view;
  ASSERT_EQ(OptimiseDisplayed(s.data, 1, view), "OK");
  // The yields from the update that shows "Checking Path" up to the one
  // that shows the fitted sphere (the scan-path check runs in between).
  using Call = HeadlessProgressView::Call;
  const auto& contents = view.Contents();
  std::size_t content = 0;
  int yields_while_checking = 0;
  for (const Call call : view.Calls()) {
    if (call == Call::kShow || call == Call::kUpdate) {
      const ProgressWindowContent& shown = contents[content++];
      if (yields_while_checking > 0 && !shown.Label10[0].empty()) break;
      if (shown.LabStep == "Checking Path") ++yields_while_checking;
    } else if (call == Call::kPumpMessages && yields_while_checking > 0) {
      ++yields_while_checking;
    }
  }
  EXPECT_EQ(yields_while_checking, 1);
}

TEST(Optimise, WithProgressDisplayTheNextRunStartsFromTheDesignedWindow) {
  const auto s = Simulate(1, 2000, false);
  HeadlessProgressView view;
  ASSERT_EQ(OptimiseDisplayed(s.data, 1, view), "OK");
  ASSERT_EQ(view.Last().ChSphereStable.Value, 1);
  view.Clear();
  ASSERT_EQ(OptimiseDisplayed(s.data, 1, view), "OK");
  // The window was unloaded after the first run: the second one shows the
  // designed stage caption and an unchecked sphere box until they change.
  ASSERT_FALSE(view.Contents().empty());
  const ProgressWindowContent& first = view.Contents().front();
  EXPECT_EQ(first.LabStep, "...");
  EXPECT_EQ(first.ChSphereStable.Value, 0);
}

TEST(Optimise, WithProgressDisplayAFailureTextIsReturnedToo) {
  HeadlessProgressView view;
  const DataArray three(1, 6, 1, 3);
  EXPECT_EQ(OptimiseDisplayed(three, 1, view),
            "Sphere fit failure : Initial parameter computation");
  EXPECT_FALSE(view.IsShown());
}

TEST(OptimiseFromFile, AMissingFileReturnsTheGenericReadersMessage) {
  TempDir dir;
  ClsProbeCalibration cal;
  Byte order = 1;
  EXPECT_EQ(cal.OptimiseFromFile(dir.File("missing.txt"), order),
            "File reading(Generic) error 53 : File not found");
}

TEST(OptimiseFromFile, AFileInNeitherLayoutIsNoData) {
  TempDir dir;
  const std::string path = dir.File("other.txt");
  testing::WriteFileBytes(path, "just,some\r\ntext\r\n");
  ClsProbeCalibration cal;
  Byte order = 1;
  EXPECT_EQ(cal.OptimiseFromFile(path, order), "No Data identified.");
}

}  // namespace
}  // namespace tavric
