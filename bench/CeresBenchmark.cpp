// The same calibrations with Ceres Solver, as an anchor: the same residuals
// (distance of each deflected sample from the sphere centre minus the
// radius) with the same analytic Jacobian, from Tavric's own starting point,
// Levenberg-Marquardt with dense normal Cholesky on one thread, stopped as
// soon as its cost reaches Tavric's final cost (or when it converges). The
// counters give both RMS values so the comparison can be checked.
#include <benchmark/benchmark.h>
#include <ceres/ceres.h>

#include <cmath>
#include <memory>
#include <vector>

#include "BenchData.h"

namespace tavric::bench {
namespace {

// One sample's residual. Parameter blocks: centre (3), radius (1), the X, Y
// and Z coefficients of terms 2..N (3 (N - 1)).
template <int kCoefficients>
class SampleResidual : public ceres::SizedCostFunction<1, 3, 1, kCoefficients> {
 public:
  SampleResidual(const double* monomials, const double* position)
      : m_(monomials), p_(position) {}

  bool Evaluate(double const* const* parameters, double* residuals,
                double** jacobians) const override {
    constexpr int kTerms = kCoefficients / 3;  // N - 1
    const double* centre = parameters[0];
    const double radius = parameters[1][0];
    const double* c = parameters[2];
    double w[3];
    for (int a = 0; a < 3; ++a) {
      double d = 0.0;
      for (int t = 0; t < kTerms; ++t) d += c[a * kTerms + t] * m_[t + 1];
      w[a] = d + p_[a] - centre[a];
    }
    const double w4 = std::sqrt(w[0] * w[0] + w[1] * w[1] + w[2] * w[2]);
    residuals[0] = w4 - radius;
    if (jacobians != nullptr) {
      if (jacobians[0] != nullptr)
        for (int a = 0; a < 3; ++a) jacobians[0][a] = -w[a] / w4;
      if (jacobians[1] != nullptr) jacobians[1][0] = -1.0;
      if (jacobians[2] != nullptr)
        for (int a = 0; a < 3; ++a)
          for (int t = 0; t < kTerms; ++t) jacobians[2][a * kTerms + t] = w[a] / w4 * m_[t + 1];
    }
    return true;
  }

 private:
  const double* m_;
  const double* p_;
};

class StopAtCost : public ceres::IterationCallback {
 public:
  explicit StopAtCost(double target) : target_(target) {}
  ceres::CallbackReturnType operator()(const ceres::IterationSummary& summary) override {
    return summary.cost <= target_ ? ceres::SOLVER_TERMINATE_SUCCESSFULLY
                                   : ceres::SOLVER_CONTINUE;
  }

 private:
  double target_;
};

template <int kCoefficients>
ceres::Solver::Summary Solve(const StartPoint& start, double target_cost,
                             std::vector<double>& parameters) {
  parameters = start.parameters;
  double* centre = parameters.data();
  double* radius = parameters.data() + 3;
  double* coefficients = parameters.data() + 4;
  ceres::Problem problem;
  const std::size_t samples = start.positions.size() / 3;
  for (std::size_t k = 0; k < samples; ++k)
    problem.AddResidualBlock(
        new SampleResidual<kCoefficients>(
            start.monomials.data() + k * static_cast<std::size_t>(start.terms),
            start.positions.data() + 3 * k),
        nullptr, centre, radius, coefficients);
  ceres::Solver::Options options;
  options.linear_solver_type = ceres::DENSE_NORMAL_CHOLESKY;
  options.trust_region_strategy_type = ceres::LEVENBERG_MARQUARDT;
  options.num_threads = 1;
  options.max_num_iterations = 200;
  options.function_tolerance = 1e-15;
  options.gradient_tolerance = 1e-20;
  options.parameter_tolerance = 1e-15;
  options.logging_type = ceres::SILENT;
  StopAtCost stop(target_cost);
  options.callbacks.push_back(&stop);
  ceres::Solver::Summary summary;
  ceres::Solve(options, &problem, &summary);
  return summary;
}

void BM_Ceres(benchmark::State& state) {
  const int order = static_cast<int>(state.range(0));
  const int samples = static_cast<int>(state.range(1));
  const StartPoint start = StartOf(Scan(order, samples), order);
  const TavricResult& tavric = TavricRun(order, samples);
  // Ceres's cost is half the sum of squares; a relative 1e-9 above Tavric's
  // final cost counts as reached.
  const double target = 0.5 * tavric.S * (1.0 + 1e-9);
  std::vector<double> parameters;
  ceres::Solver::Summary summary;
  for (auto _ : state) {
    switch (order) {
      case 1:
        summary = Solve<9>(start, target, parameters);
        break;
      case 2:
        summary = Solve<27>(start, target, parameters);
        break;
      default:
        summary = Solve<57>(start, target, parameters);
        break;
    }
    benchmark::DoNotOptimize(parameters.data());
  }
  state.counters["iterations"] = static_cast<double>(summary.iterations.size() - 1);
  state.counters["rms_um"] = std::sqrt(2.0 * summary.final_cost / samples) * 1000.0;
  state.counters["tavric_rms_um"] = std::sqrt(tavric.S / samples) * 1000.0;
  state.counters["reached"] = summary.final_cost <= target ? 1 : 0;
}

BENCHMARK(BM_Ceres)
    ->ArgNames({"order", "samples"})
    ->ArgsProduct({{1, 2, 3}, {kSampleCounts[0], kSampleCounts[1], kSampleCounts[2]}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tavric::bench
