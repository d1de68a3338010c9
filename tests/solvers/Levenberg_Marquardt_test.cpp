#include "solvers/Levenberg_Marquardt.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <stdexcept>
#include <vector>

#include "TestSupport.h"
#include "interface/ProjectState.h"
#include "solvers/ModCholesky.h"

namespace tavric {
namespace {

Array1<double> Vec(std::initializer_list<double> values) {
  Array1<double> v(1, static_cast<std::int32_t>(values.size()));
  std::int32_t i = 1;
  for (double x : values) v(i++) = x;
  return v;
}

// A model holding its optimiser, as the calibration model does. Subclasses
// give the residuals and the Jacobian; the base records every event.
class TestModel : public LMModel {
 public:
  TestModel() : lm(*this) {}

  void Getfi(Int16& which, Array1<double>& x) override {
    ++getfi_calls;
    if (which != 0) {
      trial_mu.push_back(State().Mu);
      trial_points.push_back(x);
    } else {
      start_point = x;
    }
    current = x;
    Array1<double> r = Residuals(x, which);
    if (which == 0)
      lm.fi(std::move(r));
    else
      lm.fip1(std::move(r));
  }

  void GetJacobian() override {
    ++jacobian_calls;
    lm.Jacobian(Jacobian(current));
  }

  void GetTol(Array1<double>& Dx, double& GradientNorm) override {
    ++tol_calls;
    steps.push_back(Dx);
    gradient_norms.push_back(GradientNorm);
    stats_at_tol.push_back({State().FitRMS, State().FitMin, State().FitMax});
    lm.SmalldX(small_dx ? small_dx(Dx) : false);
    lm.SmallGradient(small_gradient ? small_gradient(GradientNorm) : false);
  }

  virtual Array1<double> Residuals(const Array1<double>& x, Int16 which) = 0;
  virtual Array2<double> Jacobian(const Array1<double>& x) = 0;

  struct Stats {
    double rms, min, max;
  };

  Levenberg_Marquardt lm;
  std::function<bool(const Array1<double>&)> small_dx;
  std::function<bool(double)> small_gradient;
  int getfi_calls = 0;
  int jacobian_calls = 0;
  int tol_calls = 0;
  Array1<double> current;
  Array1<double> start_point;
  std::vector<double> trial_mu;  // the shared Mu at every trial evaluation
  std::vector<Array1<double>> trial_points;
  std::vector<Array1<double>> steps;
  std::vector<double> gradient_norms;
  std::vector<Stats> stats_at_tol;
};

// Converged when every step component and the gradient norm are tiny.
void UseTightTolerances(TestModel& model) {
  model.small_dx = [](const Array1<double>& dx) {
    for (std::int32_t i = dx.LBound(); i <= dx.UBound(); ++i)
      if (std::fabs(dx(i)) > 1e-10) return false;
    return true;
  };
  model.small_gradient = [](double g) { return g < 1e-9; };
}

// Straight line y = a + b t through noisy points.
class LineModel : public TestModel {
 public:
  std::vector<double> t{0, 1, 2, 3, 4, 5};
  std::vector<double> y{1.1, 2.9, 5.2, 6.8, 9.1, 11.0};

  Array1<double> Residuals(const Array1<double>& x, Int16) override {
    Array1<double> r(1, static_cast<std::int32_t>(t.size()));
    for (std::size_t i = 0; i < t.size(); ++i)
      r(static_cast<std::int32_t>(i + 1)) = x(1) + x(2) * t[i] - y[i];
    return r;
  }
  Array2<double> Jacobian(const Array1<double>&) override {
    Array2<double> j(1, 2, 1, static_cast<std::int32_t>(t.size()));
    for (std::size_t i = 0; i < t.size(); ++i) {
      j(1, static_cast<std::int32_t>(i + 1)) = 1.0;
      j(2, static_cast<std::int32_t>(i + 1)) = t[i];
    }
    return j;
  }
};

// y = a exp(b t), exact data from a = 2, b = -0.5.
class ExponentialModel : public TestModel {
 public:
  static constexpr int kPoints = 10;
  Array1<double> Residuals(const Array1<double>& x, Int16) override {
    Array1<double> r(1, kPoints);
    for (int i = 1; i <= kPoints; ++i) {
      const double t = i - 1;
      r(i) = x(1) * std::exp(x(2) * t) - 2.0 * std::exp(-0.5 * t);
    }
    return r;
  }
  Array2<double> Jacobian(const Array1<double>& x) override {
    Array2<double> j(1, 2, 1, kPoints);
    for (int i = 1; i <= kPoints; ++i) {
      const double t = i - 1;
      j(1, i) = std::exp(x(2) * t);
      j(2, i) = x(1) * t * std::exp(x(2) * t);
    }
    return j;
  }
};

// Rosenbrock's valley as two residuals: 10 (x2 - x1^2) and 1 - x1; minimum
// S = 0 at (1, 1).
class RosenbrockModel : public TestModel {
 public:
  Array1<double> Residuals(const Array1<double>& x, Int16) override {
    return Vec({10.0 * (x(2) - x(1) * x(1)), 1.0 - x(1)});
  }
  Array2<double> Jacobian(const Array1<double>& x) override {
    Array2<double> j(1, 2, 1, 2);
    j(1, 1) = -20.0 * x(1);
    j(2, 1) = 10.0;
    j(1, 2) = -1.0;
    j(2, 2) = 0.0;
    return j;
  }
};

// Residuals and Jacobian fixed by the test: `start` at the start point, then
// the trial residuals in turn (the last one repeats), whatever x is.
class ScriptedModel : public TestModel {
 public:
  Array1<double> start = Vec({2.0});
  std::vector<Array1<double>> trials;
  Array2<double> jacobian = Array2<double>(1, 1, 1, 1);
  std::function<void(Int16)> before_residuals;

  ScriptedModel() { jacobian(1, 1) = 1.0; }

  Array1<double> Residuals(const Array1<double>&, Int16 which) override {
    if (before_residuals) before_residuals(which);
    if (which == 0) return start;
    const std::size_t i = std::min(trial_count++, trials.size() - 1);
    return trials[i];
  }
  Array2<double> Jacobian(const Array1<double>&) override { return jacobian; }

  std::size_t trial_count = 0;
};

// A model whose residuals never depend on x: every trial has S1 == S.
ScriptedModel& MakeConstant(ScriptedModel& model) {
  model.start = Vec({1.0, 2.0});
  model.trials = {Vec({1.0, 2.0})};
  model.jacobian = Array2<double>(1, 1, 1, 2);
  model.jacobian(1, 1) = 1.0;
  model.jacobian(1, 2) = 1.0;
  return model;
}

// A model whose residuals grow at every evaluation: every trial is rejected.
class GrowingModel : public TestModel {
 public:
  double level = 1.0;
  Array1<double> Residuals(const Array1<double>&, Int16) override {
    level += 1.0;
    return Vec({level});
  }
  Array2<double> Jacobian(const Array1<double>&) override {
    Array2<double> j(1, 1, 1, 1);
    j(1, 1) = 1.0;
    return j;
  }
};

// ---------------------------------------------------------------------------
// Convergence to known optima

TEST(LevenbergMarquardt, FitsAStraightLineToTheLeastSquaresSolution) {
  LineModel model;
  UseTightTolerances(model);
  Array1<double> x = Vec({0.0, 0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");

  // Closed-form least squares.
  double st = 0, sy = 0, stt = 0, sty = 0;
  const double n = static_cast<double>(model.t.size());
  for (std::size_t i = 0; i < model.t.size(); ++i) {
    st += model.t[i];
    sy += model.y[i];
    stt += model.t[i] * model.t[i];
    sty += model.t[i] * model.y[i];
  }
  const double b = (n * sty - st * sy) / (n * stt - st * st);
  const double a = (sy - b * st) / n;
  EXPECT_NEAR(x(1), a, 1e-9);
  EXPECT_NEAR(x(2), b, 1e-9);
  EXPECT_EQ(State().run_report.stop_reason, StopReason::kConverged);
}

TEST(LevenbergMarquardt, FitsAnExponentialToExactData) {
  ExponentialModel model;
  UseTightTolerances(model);
  State().IterationMaxNumber = 100;
  Array1<double> x = Vec({1.0, 0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  EXPECT_NEAR(x(1), 2.0, 1e-9);
  EXPECT_NEAR(x(2), -0.5, 1e-9);
  EXPECT_EQ(State().run_report.stop_reason, StopReason::kConverged);
  EXPECT_LT(State().FitRMS, 1e-9);
}

TEST(LevenbergMarquardt, FindsTheMinimumOfRosenbrocksValley) {
  RosenbrockModel model;
  UseTightTolerances(model);
  State().IterationMaxNumber = 200;
  Array1<double> x = Vec({-1.2, 1.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  EXPECT_NEAR(x(1), 1.0, 1e-9);
  EXPECT_NEAR(x(2), 1.0, 1e-9);
  EXPECT_EQ(State().run_report.stop_reason, StopReason::kConverged);
}

TEST(LevenbergMarquardt, ReturnsTheLastAcceptedPoint) {
  ExponentialModel model;
  State().IterationMaxNumber = 3;  // stops on the limit, not at the optimum
  Array1<double> x = Vec({1.0, 0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  EXPECT_EQ(x, model.lm.X());
  EXPECT_EQ(State().run_report.stop_reason, StopReason::kIterationLimit);
}

// ---------------------------------------------------------------------------
// Events

TEST(LevenbergMarquardt, StartResidualsAreAskedAtTheCallersPointAndTrialsAtXPlusDx) {
  LineModel model;
  State().ConvergenceDetectionMethod = 0;
  Array1<double> x = Vec({0.5, 1.5});
  const Array1<double> start = x;
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  EXPECT_EQ(model.start_point, start);
  ASSERT_EQ(model.trial_points.size(), 1u);
  ASSERT_EQ(model.steps.size(), 1u);
  EXPECT_EQ(model.trial_points[0](1), start(1) + model.steps[0](1));
  EXPECT_EQ(model.trial_points[0](2), start(2) + model.steps[0](2));
  EXPECT_EQ(model.lm.Dx(), model.steps[0]);
}

TEST(LevenbergMarquardt, ResidualLetSetsTheResidualCountAndPointLetTheParameterCount) {
  // The optimiser takes m from the start residuals and n from x: a Jacobian
  // that does not cover (1 To n, 1 To m) is out of range.
  ScriptedModel model;
  model.start = Vec({1.0, 1.0, 1.0});
  model.trials = {Vec({0.0, 0.0, 0.0})};
  model.jacobian = Array2<double>(1, 2, 1, 2);
  Array1<double> x = Vec({0.0, 0.0});
  EXPECT_EQ(model.lm.Optimize(x), "LM Error n°9 : Subscript out of range");
  EXPECT_EQ(model.lm.X().UBound(), 2);
}

TEST(LevenbergMarquardt, GradientNormIsTwiceTheNormOfTheDescentVector) {
  // One parameter, J = (1, 1), f = (1, 2): g = -3, gradient of S = 2 * 3.
  ScriptedModel model;
  MakeConstant(model);
  State().ConvergenceDetectionMethod = 0;
  Array1<double> x = Vec({0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  ASSERT_EQ(model.gradient_norms.size(), 1u);
  EXPECT_EQ(model.gradient_norms[0], 6.0);
}

TEST(LevenbergMarquardt, StepSolvesTheDampedNormalEquationsBitForBit) {
  // A random Jacobian: the step the optimiser proposes must equal the one
  // obtained from the plain formulas A(i,j) = sum_k J(i,k) J(j,k) and
  // g(i) = -sum_k J(i,k) f(k), both summed in increasing k.
  constexpr std::int32_t n = 5;
  constexpr std::int32_t m = 37;
  std::mt19937 rng(99);
  std::uniform_real_distribution<double> dist(-3.0, 3.0);
  ScriptedModel model;
  model.start = Array1<double>(1, m);
  for (std::int32_t k = 1; k <= m; ++k) model.start(k) = dist(rng);
  model.trials = {Array1<double>(1, m)};
  model.jacobian = Array2<double>(1, n, 1, m);
  for (std::int32_t k = 1; k <= m; ++k)
    for (std::int32_t i = 1; i <= n; ++i) model.jacobian(i, k) = dist(rng);
  State().ConvergenceDetectionMethod = 0;
  Array1<double> x(1, n);
  ASSERT_EQ(model.lm.Optimize(x), "OK");

  Array2<double> a(1, n, 1, n);
  Array1<double> g(1, n);
  for (std::int32_t i = 1; i <= n; ++i) {
    for (std::int32_t j = i; j <= n; ++j) {
      double s = 0.0;
      for (std::int32_t k = 1; k <= m; ++k) s = s + model.jacobian(i, k) * model.jacobian(j, k);
      a(i, j) = s;
      a(j, i) = s;
    }
    double s = 0.0;
    for (std::int32_t k = 1; k <= m; ++k) s = s - model.jacobian(i, k) * model.start(k);
    g(i) = s;
  }
  Array2<double> l, d;
  ASSERT_EQ(ModCholesky::Factorise(a, 0.0001 / 10.0, l, d), "OK");
  Array1<double> y(1, n), dx(1, n);
  ModCholesky::Solve("L", l, y, g);
  for (std::int32_t i = 1; i <= n; ++i) y(i) = y(i) / d(i, i);
  ModCholesky::Solve("U", l, dx, y);
  ASSERT_EQ(model.steps.size(), 1u);
  for (std::int32_t i = 1; i <= n; ++i) EXPECT_EQ(model.steps[0](i), dx(i)) << "i=" << i;
}

// ---------------------------------------------------------------------------
// Stop rules

// A model that never reports convergence and always accepts its trials.
struct NeverConverging : ScriptedModel {
  NeverConverging() {
    start = Vec({4.0});
    trials = {Vec({3.0}), Vec({2.0}), Vec({1.0})};  // then 1 forever (S1 == S)
  }
};

TEST(LevenbergMarquardt, ConvergenceDetectionMethodZeroAcceptsExactlyOneStep) {
  NeverConverging model;
  State().ConvergenceDetectionMethod = 0;
  Array1<double> x = Vec({0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  EXPECT_EQ(model.jacobian_calls, 1);
  EXPECT_EQ(model.trial_points.size(), 1u);
  EXPECT_EQ(State().run_report.iterations.size(), 1u);
  EXPECT_EQ(State().run_report.stop_reason, StopReason::kConverged);
}

TEST(LevenbergMarquardt, IterationMaxNumberZeroStillPerformsOneOuterIteration) {
  NeverConverging model;
  State().IterationMaxNumber = 0;
  Array1<double> x = Vec({0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  EXPECT_EQ(model.jacobian_calls, 1);
  EXPECT_EQ(State().run_report.outer_iterations, 1);
  EXPECT_EQ(State().run_report.stop_reason, StopReason::kIterationLimit);
}

TEST(LevenbergMarquardt, NeverConvergingRunsIterationMaxNumberPlusOneOuterIterations) {
  {
    NeverConverging model;  // default limit 10
    Array1<double> x = Vec({0.0});
    ASSERT_EQ(model.lm.Optimize(x), "OK");
    EXPECT_EQ(model.jacobian_calls, 11);
    EXPECT_EQ(State().run_report.outer_iterations, 11);
    EXPECT_EQ(State().run_report.iterations.size(), 11u);
    EXPECT_EQ(State().run_report.stop_reason, StopReason::kIterationLimit);
  }
  {
    NeverConverging model;
    State().IterationMaxNumber = 3;
    Array1<double> x = Vec({0.0});
    ASSERT_EQ(model.lm.Optimize(x), "OK");
    EXPECT_EQ(model.jacobian_calls, 4);
  }
}

TEST(LevenbergMarquardt, IterationMaxNumber255OverflowsTheIterationCounter) {
  // The 8-bit counter cannot reach 256, the value that would end the loop.
  NeverConverging model;
  State().IterationMaxNumber = 255;
  Array1<double> x = Vec({0.0});
  const Array1<double> before = x;
  EXPECT_EQ(model.lm.Optimize(x), "LM Error n°6 : Overflow");
  EXPECT_EQ(model.jacobian_calls, 256);
  EXPECT_EQ(State().run_report.iterations.size(), 255u);
  EXPECT_EQ(x, before);
}

TEST(LevenbergMarquardt, MethodBitTwoWaitsForSmallStepOnly) {
  NeverConverging model;
  model.small_dx = [](const Array1<double>&) { return true; };
  model.small_gradient = [](double) { return false; };
  State().ConvergenceDetectionMethod = 2;
  Array1<double> x = Vec({0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  EXPECT_EQ(model.jacobian_calls, 1);
  EXPECT_EQ(State().run_report.stop_reason, StopReason::kConverged);
}

TEST(LevenbergMarquardt, MethodBitOneWaitsForSmallGradientOnly) {
  NeverConverging model;
  model.small_dx = [](const Array1<double>&) { return true; };
  model.small_gradient = [](double) { return false; };
  State().ConvergenceDetectionMethod = 1;
  Array1<double> x = Vec({0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  EXPECT_EQ(model.jacobian_calls, 11);
  EXPECT_EQ(State().run_report.stop_reason, StopReason::kIterationLimit);
}

TEST(LevenbergMarquardt, MethodThreeNeedsBothFlags) {
  NeverConverging model;
  int calls = 0;
  model.small_dx = [](const Array1<double>&) { return true; };
  model.small_gradient = [&calls](double) { return ++calls >= 3; };
  Array1<double> x = Vec({0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  EXPECT_EQ(model.jacobian_calls, 3);
}

TEST(LevenbergMarquardt, MethodBitsAboveTheFirstTwoAreIgnored) {
  NeverConverging model;
  State().ConvergenceDetectionMethod = 4;  // like 0
  Array1<double> x = Vec({0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  EXPECT_EQ(model.jacobian_calls, 1);
}

// ---------------------------------------------------------------------------
// Damping

TEST(LevenbergMarquardt, TrialWithEqualSumOfSquaresIsAccepted) {
  ScriptedModel model;
  MakeConstant(model);
  State().ConvergenceDetectionMethod = 0;
  Array1<double> x = Vec({0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  EXPECT_EQ(model.trial_points.size(), 1u);
  EXPECT_EQ(State().run_report.rejected_trials, 0);
  // The accepted trial moved x: J = (1, 1), f = (1, 2), step -3 / (2 + Mu).
  EXPECT_EQ(x(1), -3.0 / (2.0 + 0.0001 / 10.0));
  EXPECT_EQ(State().Mu, 0.0001 / 10.0);
}

TEST(LevenbergMarquardt, FirstFactorisationUsesMuOverNuAndRejectionsMultiplyByNu) {
  ScriptedModel model;  // start f = 2, J = 1
  model.trials = {Vec({100.0}), Vec({100.0}), Vec({100.0}), Vec({1.0})};
  State().ConvergenceDetectionMethod = 0;
  Array1<double> x = Vec({0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");

  ASSERT_EQ(model.trial_mu.size(), 4u);
  EXPECT_DOUBLE_EQ(model.trial_mu[0], 1e-5);
  EXPECT_DOUBLE_EQ(model.trial_mu[1], 1e-4);
  EXPECT_DOUBLE_EQ(model.trial_mu[2], 1e-3);
  EXPECT_DOUBLE_EQ(model.trial_mu[3], 1e-2);
  double mu = 0.0001 / 10.0;
  for (double used : model.trial_mu) {
    EXPECT_EQ(used, mu);
    mu = mu * 10.0;
  }
  // The first step solves (1 + mu) dx = 2 with mu = 1e-4 / 10.
  EXPECT_EQ(model.steps[0](1), -2.0 / (1.0 + 0.0001 / 10.0));
  // The damping of the accepted step stays in the shared settings.
  EXPECT_EQ(State().Mu, model.trial_mu[3]);
  const RunReport& report = State().run_report;
  ASSERT_EQ(report.iterations.size(), 1u);
  EXPECT_EQ(report.iterations[0].rejected_trials, 3);
  EXPECT_EQ(report.iterations[0].Mu, model.trial_mu[3]);
  EXPECT_EQ(report.rejected_trials, 3);
  EXPECT_EQ(report.final_mu, model.trial_mu[3]);
}

TEST(LevenbergMarquardt, DampingIsDividedAtEveryOuterIteration) {
  NeverConverging model;
  State().IterationMaxNumber = 2;
  State().Mu = 0.5;
  State().nu = 2.0;
  Array1<double> x = Vec({0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  ASSERT_EQ(model.trial_mu.size(), 3u);
  EXPECT_EQ(model.trial_mu[0], 0.25);
  EXPECT_EQ(model.trial_mu[1], 0.125);
  EXPECT_EQ(model.trial_mu[2], 0.0625);
}

TEST(LevenbergMarquardt, ASecondOptimizeStartsFromTheDampingTheFirstLeft) {
  NeverConverging model;
  State().ConvergenceDetectionMethod = 0;
  Array1<double> x = Vec({0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  ASSERT_EQ(model.trial_mu.size(), 2u);
  EXPECT_EQ(model.trial_mu[1], model.trial_mu[0] / 10.0);
}

TEST(LevenbergMarquardt, DestroyingTheOptimiserResetsMuAndNu) {
  State().Mu = 0.5;
  State().nu = 3.0;
  {
    NeverConverging model;
    Array1<double> x = Vec({0.0});
    ASSERT_EQ(model.lm.Optimize(x), "OK");
    EXPECT_NE(State().Mu, 0.0001);
    EXPECT_EQ(State().nu, 3.0);
  }
  EXPECT_EQ(State().Mu, 0.0001);
  EXPECT_EQ(State().nu, 10.0);

  State().Mu = 7.0;
  State().nu = 8.0;
  { NeverConverging unused; }
  EXPECT_EQ(State().Mu, 0.0001);
  EXPECT_EQ(State().nu, 10.0);
}

TEST(LevenbergMarquardt, OverflowingDampingEndsInOverflowText) {
  GrowingModel model;
  Array1<double> x = Vec({3.0});
  EXPECT_EQ(model.lm.Optimize(x), "LM Error n°6 : Overflow");
  EXPECT_EQ(x(1), 3.0);
  // Mu went up by factors of 10 from 1e-5 until it could not grow further,
  // and the failing product was not stored.
  EXPECT_GT(State().run_report.rejected_trials, 300);
  EXPECT_TRUE(std::isfinite(State().Mu));
  EXPECT_GT(State().Mu, 1e300);
  EXPECT_EQ(State().run_report.stop_reason, StopReason::kFailed);
  EXPECT_EQ(State().run_report.final_mu, State().Mu);
}

TEST(LevenbergMarquardt, HugeNuOverflowsAfterAFewRejections) {
  GrowingModel model;
  State().nu = 1e100;
  Array1<double> x = Vec({3.0});
  EXPECT_EQ(model.lm.Optimize(x), "LM Error n°6 : Overflow");
  EXPECT_LE(model.trial_points.size(), 5u);
}

TEST(LevenbergMarquardt, DampingThatCannotGrowIsAnInvalidArgument) {
  {
    GrowingModel model;  // nu = 1: the rejected trial would repeat for ever
    State().nu = 1.0;
    Array1<double> x = Vec({3.0});
    EXPECT_EQ(model.lm.Optimize(x), "LM Error n°5 : Invalid procedure call or argument");
    EXPECT_EQ(model.trial_points.size(), 1u);
    EXPECT_EQ(x(1), 3.0);
  }
  {
    GrowingModel model;  // Mu = 0 stays 0 whatever nu is
    State().Mu = 0.0;
    Array1<double> x = Vec({3.0});
    EXPECT_EQ(model.lm.Optimize(x), "LM Error n°5 : Invalid procedure call or argument");
    EXPECT_EQ(model.trial_points.size(), 1u);
  }
  {
    GrowingModel model;  // nu = -1: Mu alternates between two values
    State().nu = -1.0;
    Array1<double> x = Vec({3.0});
    EXPECT_EQ(model.lm.Optimize(x), "LM Error n°5 : Invalid procedure call or argument");
    EXPECT_EQ(model.trial_points.size(), 2u);
  }
}

TEST(LevenbergMarquardt, ShrinkingDampingStillEndsWhenItUnderflows) {
  GrowingModel model;
  State().nu = 0.5;  // Mu = 2e-4, then halves at each rejection down to 0
  Array1<double> x = Vec({3.0});
  EXPECT_EQ(model.lm.Optimize(x), "LM Error n°5 : Invalid procedure call or argument");
  EXPECT_GT(model.trial_points.size(), 1000u);
}

TEST(LevenbergMarquardt, ZeroNuRaisesDivisionByZero) {
  NeverConverging model;
  State().nu = 0.0;
  Array1<double> x = Vec({0.0});
  EXPECT_EQ(model.lm.Optimize(x), "LM Error n°11 : Division by zero");
  EXPECT_EQ(State().Mu, 0.0001);  // the failing quotient was not stored
}

// ---------------------------------------------------------------------------
// Statistics

TEST(LevenbergMarquardt, StatisticsDescribeTheRejectedTrialWhileRejecting) {
  ScriptedModel model;
  model.start = Vec({1.0, 1.0, 1.0});
  model.trials = {Vec({5.0, -7.0, 1.0}), Vec({0.5, -0.25, 0.1})};
  model.jacobian = Array2<double>(1, 1, 1, 3);
  model.jacobian(1, 1) = 1.0;
  State().ConvergenceDetectionMethod = 0;
  Array1<double> x = Vec({0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");

  ASSERT_EQ(model.stats_at_tol.size(), 2u);
  // Before the first trial: the start point (1, 1, 1).
  EXPECT_EQ(model.stats_at_tol[0].rms, 1.0);
  EXPECT_EQ(model.stats_at_tol[0].min, 1.0);
  EXPECT_EQ(model.stats_at_tol[0].max, 1.0);
  // Before the second trial: the rejected first trial (5, -7, 1), signed.
  EXPECT_EQ(model.stats_at_tol[1].rms, 5.0);
  EXPECT_EQ(model.stats_at_tol[1].min, -7.0);
  EXPECT_EQ(model.stats_at_tol[1].max, 5.0);
  // After the return: the returned point.
  EXPECT_EQ(model.lm.fi(), Vec({0.5, -0.25, 0.1}));
  EXPECT_EQ(State().FitRMS, std::sqrt((0.25 + 0.0625 + 0.01) / 3.0));
  EXPECT_EQ(State().FitMin, -0.25);
  EXPECT_EQ(State().FitMax, 0.5);
}

TEST(LevenbergMarquardt, StatisticsAfterReturnDescribeTheReturnedPoint) {
  ExponentialModel model;
  State().IterationMaxNumber = 4;
  Array1<double> x = Vec({1.0, 0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  const Array1<double> r = model.Residuals(x, 1);
  double s = 0.0, mn = r(1), mx = r(1);
  for (std::int32_t i = 1; i <= r.UBound(); ++i) {
    s += r(i) * r(i);
    mn = std::min(mn, r(i));
    mx = std::max(mx, r(i));
  }
  EXPECT_EQ(State().FitRMS, std::sqrt(s / r.UBound()));
  EXPECT_EQ(State().FitMin, mn);
  EXPECT_EQ(State().FitMax, mx);
}

// ---------------------------------------------------------------------------
// Failures

TEST(LevenbergMarquardt, ErrorInStartResidualsGivesTrapTextAndLeavesXUnchanged) {
  ScriptedModel model;
  model.before_residuals = [](Int16) { Raise(err::kSubscriptOutOfRange); };
  Array1<double> x = Vec({1.25});
  EXPECT_EQ(model.lm.Optimize(x), "LM Error n°9 : Subscript out of range");
  EXPECT_EQ(x, Vec({1.25}));
  EXPECT_EQ(State().run_report.stop_reason, StopReason::kFailed);
}

TEST(LevenbergMarquardt, ErrorInALaterTrialLeavesXUnchanged) {
  NeverConverging model;
  int trials = 0;
  model.before_residuals = [&trials](Int16 which) {
    if (which == 1 && ++trials == 3) Raise(err::kSubscriptOutOfRange);
  };
  Array1<double> x = Vec({1.25});
  EXPECT_EQ(model.lm.Optimize(x), "LM Error n°9 : Subscript out of range");
  EXPECT_EQ(x, Vec({1.25}));
  EXPECT_NE(model.lm.X(), x);  // two steps had been accepted
  EXPECT_EQ(State().run_report.iterations.size(), 2u);
}

TEST(LevenbergMarquardt, OtherExceptionsFromTheModelAreInternalErrors) {
  ScriptedModel model;
  model.before_residuals = [](Int16) { throw std::logic_error("model defect"); };
  Array1<double> x = Vec({1.0});
  EXPECT_EQ(model.lm.Optimize(x), "LM Error n°51 : Internal error");
}

TEST(LevenbergMarquardt, NotANumberResidualGivesOverflowText) {
  ScriptedModel model;
  model.trials = {Vec({std::numeric_limits<double>::quiet_NaN()})};
  Array1<double> x = Vec({1.0});
  EXPECT_EQ(model.lm.Optimize(x), "LM Error n°6 : Overflow");
  EXPECT_EQ(x, Vec({1.0}));
}

TEST(LevenbergMarquardt, UnallocatedStartPointGivesSubscriptText) {
  ScriptedModel model;
  Array1<double> x;
  EXPECT_EQ(model.lm.Optimize(x), "LM Error n°9 : Subscript out of range");
}

TEST(LevenbergMarquardt, ZeroJacobianWithoutDampingGivesCholeskyText) {
  ScriptedModel model;
  model.start = Vec({1.0, 2.0});
  model.jacobian = Array2<double>(1, 2, 1, 2);  // all zero
  model.trials = {Vec({0.0, 0.0})};
  State().Mu = 0.0;
  Array1<double> x = Vec({4.0, 5.0});
  EXPECT_EQ(model.lm.Optimize(x), "Levenberg-Marquardt; Cholesky resolution error : D(1,1)=0");
  EXPECT_EQ(x, Vec({4.0, 5.0}));
  EXPECT_EQ(State().run_report.stop_reason, StopReason::kFailed);
}

TEST(LevenbergMarquardt, RankDeficientJacobianWithoutDampingNamesTheZeroPivot) {
  ScriptedModel model;
  model.start = Vec({1.0, 2.0});
  model.jacobian = Array2<double>(1, 2, 1, 2);  // two equal columns of parameters
  model.jacobian(1, 1) = 1.0;
  model.jacobian(2, 1) = 1.0;
  model.jacobian(1, 2) = 2.0;
  model.jacobian(2, 2) = 2.0;
  model.trials = {Vec({0.0, 0.0})};
  State().Mu = 0.0;
  Array1<double> x = Vec({4.0, 5.0});
  EXPECT_EQ(model.lm.Optimize(x), "Levenberg-Marquardt; Cholesky resolution error : D(2,2)=0");
  EXPECT_EQ(x, Vec({4.0, 5.0}));
}

// The Jacobian vanishes once the first step has been accepted.
class VanishingSlopeModel : public TestModel {
 public:
  Array1<double> Residuals(const Array1<double>& x, Int16) override {
    return Vec({x(1) >= 0.5 ? 0.0 : 1.0 - x(1)});
  }
  Array2<double> Jacobian(const Array1<double>& x) override {
    Array2<double> j(1, 1, 1, 1);
    j(1, 1) = x(1) >= 0.5 ? 0.0 : -1.0;
    return j;
  }
};

TEST(LevenbergMarquardt, CholeskyFailureAfterAcceptedStepKeepsXAndTheLastAcceptedPoint) {
  VanishingSlopeModel model;
  State().Mu = 0.0;
  Array1<double> x = Vec({0.0});
  EXPECT_EQ(model.lm.Optimize(x), "Levenberg-Marquardt; Cholesky resolution error : D(1,1)=0");
  EXPECT_EQ(x, Vec({0.0}));
  EXPECT_EQ(model.lm.X(), Vec({1.0}));  // the Gauss-Newton step from 0
  EXPECT_EQ(State().run_report.iterations.size(), 1u);
  EXPECT_EQ(State().run_report.outer_iterations, 2);
}

// ---------------------------------------------------------------------------
// Run report and display

TEST(LevenbergMarquardt, RunReportRecordsEveryAcceptedIteration) {
  ExponentialModel model;
  UseTightTolerances(model);
  State().IterationMaxNumber = 100;
  State().run_report.samples = 10;  // left to the caller
  State().run_report.iterations.push_back({});
  Array1<double> x = Vec({1.0, 0.0});
  const Array1<double> start_residuals = model.Residuals(x, 0);
  ASSERT_EQ(model.lm.Optimize(x), "OK");

  const RunReport& report = State().run_report;
  EXPECT_EQ(report.samples, 10);
  double s0 = 0.0;
  for (std::int32_t i = 1; i <= start_residuals.UBound(); ++i)
    s0 += start_residuals(i) * start_residuals(i);
  EXPECT_EQ(report.initial_S, s0);
  EXPECT_EQ(report.stop_reason, StopReason::kConverged);
  ASSERT_EQ(static_cast<int>(report.iterations.size()), report.outer_iterations);
  ASSERT_EQ(report.outer_iterations, model.jacobian_calls);
  int rejected = 0;
  double previous = report.initial_S;
  for (std::size_t i = 0; i < report.iterations.size(); ++i) {
    const IterationRecord& it = report.iterations[i];
    EXPECT_EQ(it.iteration, static_cast<int>(i + 1));
    EXPECT_LE(it.S, previous);
    EXPECT_EQ(it.FitRMS, std::sqrt(it.S / ExponentialModel::kPoints));
    EXPECT_LE(it.FitMin, it.FitMax);
    EXPECT_GT(it.Mu, 0.0);
    rejected += it.rejected_trials;
    previous = it.S;
  }
  EXPECT_EQ(rejected, report.rejected_trials);
  EXPECT_EQ(static_cast<std::size_t>(report.rejected_trials) + report.iterations.size(),
            model.trial_points.size());
  EXPECT_EQ(report.iterations.back().FitRMS, State().FitRMS);
  EXPECT_EQ(report.final_mu, State().Mu);
  EXPECT_EQ(report.iterations.back().Mu, State().Mu);
}

TEST(LevenbergMarquardt, RunReportTextNamesTheStopReasonAndIterations) {
  NeverConverging model;
  State().IterationMaxNumber = 1;
  Array1<double> x = Vec({0.0});
  ASSERT_EQ(model.lm.Optimize(x), "OK");
  State().run_report.result = "OK";
  const std::string text = State().run_report.ToString();
  EXPECT_NE(text.find("stop reason: iteration limit"), std::string::npos) << text;
  EXPECT_NE(text.find("outer iterations: 2"), std::string::npos) << text;
  EXPECT_NE(text.find("iteration 1: S=9"), std::string::npos) << text;
  EXPECT_NE(text.find("iteration 2: S=4"), std::string::npos) << text;
  EXPECT_NE(text.find("result: OK"), std::string::npos) << text;
}

TEST(RunReport, StopReasonTexts) {
  EXPECT_STREQ(ToString(StopReason::kNotRun), "not run");
  EXPECT_STREQ(ToString(StopReason::kConverged), "converged");
  EXPECT_STREQ(ToString(StopReason::kIterationLimit), "iteration limit");
  EXPECT_STREQ(ToString(StopReason::kFailed), "failed");
}

TEST(LevenbergMarquardt, ProgressDisplayCreatesTheFormAndDoesNotChangeTheResult) {
  Array1<double> quiet = Vec({1.0, 0.0});
  {
    ExponentialModel model;
    UseTightTolerances(model);
    ASSERT_EQ(model.lm.Optimize(quiet), "OK");
  }
  EXPECT_FALSE(State().form);
  State().progress_display = true;
  Array1<double> shown = Vec({1.0, 0.0});
  {
    ExponentialModel model;
    UseTightTolerances(model);
    ASSERT_EQ(model.lm.Optimize(shown), "OK");
  }
  EXPECT_TRUE(State().form);
  EXPECT_EQ(shown, quiet);
}

}  // namespace
}  // namespace tavric
