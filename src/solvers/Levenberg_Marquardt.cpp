#include "solvers/Levenberg_Marquardt.h"

#include "display/FormDisplay.h"
#include "interface/ProjectState.h"
#include "runtime/CheckedMath.h"
#include "runtime/ErrorTrap.h"
#include "solvers/ModCholesky.h"
#include "solvers/Tools.h"

namespace tavric {

namespace {

// Progress steps shown on the form (see FormDisplay::ProgressCaption).
constexpr Int16 kStepStarted = 2;
constexpr Int16 kStepJacobian = 3;
constexpr Int16 kStepSolving = 4;
constexpr Int16 kStepChecking = 5;
constexpr Int16 kStepSystem = 6;
constexpr Int16 kStepFinished = 7;

bool Displaying() { return State().progress_display; }

void Caption(Int16 step) {
  if (Displaying()) StateForm().ProgressCaption(step);
}

void ClearOptimiserFields(RunReport& report) {
  report.outer_iterations = 0;
  report.rejected_trials = 0;
  report.stop_reason = StopReason::kNotRun;
  report.final_mu = 0.0;
  report.initial_S = 0.0;
  report.iterations.clear();
  report.residuals.clear();
  report.last_step.clear();
}

}  // namespace

Levenberg_Marquardt::Levenberg_Marquardt(LMModel& model) : model_(model) {}

// Every optimiser leaves the default damping behind, whatever the host had
// set: each calibration run starts from the host's values and ends with the
// defaults.
Levenberg_Marquardt::~Levenberg_Marquardt() {
  State().Mu = defaults::kMu;
  State().nu = defaults::kNu;
}

void Levenberg_Marquardt::fi(const Array1<double>& value) {
  const Int16 m = Narrow<Int16>(value.UBound());
  fi_ = value;
  m_ = m;
}

void Levenberg_Marquardt::fi(Array1<double>&& value) {
  const Int16 m = Narrow<Int16>(value.UBound());
  fi_ = std::move(value);
  m_ = m;
}

void Levenberg_Marquardt::X(const Array1<double>& value) {
  const Int16 n = Narrow<Int16>(value.UBound());
  x_ = value;
  n_ = n;
}

double Levenberg_Marquardt::Statistics(const Array1<double>& r) {
  Int16 index_max = 0;
  Int16 index_min = 0;
  Tools::ExtremeIndices(r, index_max, index_min);
  const double r_min = fp::RequireFinite(r(index_min));
  const double r_max = fp::RequireFinite(r(index_max));

  const Int32 m = m_;
  if (m >= 1) r.CheckRange(1, m);
  double s = 0.0;
  for (Int32 i = 1; i <= m; ++i) s += fp::Square(r.Unchecked(i));
  fp::Check();
  fp::RequireFinite(s);
  const double mean_square = s / static_cast<double>(m);
  fp::Check();

  ProjectState& state = State();
  state.FitMin = r_min;
  state.FitMax = r_max;
  state.FitRMS = fp::Sqr(mean_square);
  return s;
}

Array2<double> Levenberg_Marquardt::NormalMatrix(const Array2<double>& J) const {
  return tavric::NormalMatrix(J, n_, m_);
}

// The products of each element are accumulated in increasing k, as in
// a(i,j) = sum over k of J(i,k)*J(j,k); k runs outermost so that every column
// of J (one residual, all parameters) is read contiguously.
Array2<double> NormalMatrix(const Array2<double>& J, Int32 n, Int32 m) {
  Array2<double> A(1, n, 1, n);
  if (n >= 1 && m >= 1) {
    J.CheckRange(1, n, 1, m);
    double* a = A.Data();
    const std::size_t stride = static_cast<std::size_t>(n);
    for (Int32 k = 1; k <= m; ++k) {
      const double* column = &J.Unchecked(1, k);
      for (Int32 j = 0; j < n; ++j) {
        const double jk = column[j];
        double* a_j = a + stride * static_cast<std::size_t>(j);  // elements (i, j), i <= j
        for (Int32 i = 0; i <= j; ++i) a_j[i] = a_j[i] + column[i] * jk;
      }
    }
    for (Int32 j = 0; j < n; ++j)
      for (Int32 i = 0; i < j; ++i)
        a[static_cast<std::size_t>(j) + stride * static_cast<std::size_t>(i)] =
            a[static_cast<std::size_t>(i) + stride * static_cast<std::size_t>(j)];
  }
  fp::Check();
  return A;
}

// g(i) = 0 - J(i,1)*f(1) - J(i,2)*f(2) - ..., each g(i) in increasing k.
Array1<double> Levenberg_Marquardt::DescentVector(const Array2<double>& J,
                                                  const Array1<double>& f) const {
  const Int32 n = n_;
  const Int32 m = m_;
  Array1<double> g(1, n);
  if (n >= 1 && m >= 1) {
    J.CheckRange(1, n, 1, m);
    f.CheckRange(1, m);
    double* gp = g.Data();
    for (Int32 k = 1; k <= m; ++k) {
      const double* column = &J.Unchecked(1, k);
      const double fk = f.Unchecked(k);
      for (Int32 i = 0; i < n; ++i) gp[i] = gp[i] - column[i] * fk;
    }
  }
  fp::Check();
  return g;
}

std::string Levenberg_Marquardt::Optimize(Array1<double>& x) {
  ProjectState& state = State();
  RunReport& report = state.run_report;
  ClearOptimiserFields(report);
  try {
    if (Displaying()) StateForm().ProgressCaption(kStepStarted);
    std::string result = "OK";
    X(x);
    const Int32 n = n_;
    Array1<double> trial(1, n);
    dx_.ReDim(1, n);
    Array2<double> L(1, n, 1, n);
    Array2<double> D(1, n, 1, n);
    Array1<double> y(1, n);
    Byte k = 0;

    Int16 which = 0;
    model_.Getfi(which, x);
    double S = Statistics(fi_);
    report.initial_S = S;

    bool stop = false;
    do {
      Caption(kStepJacobian);
      model_.GetJacobian();
      Caption(kStepSystem);
      const Array2<double> A = NormalMatrix(jacobian_);
      const Array1<double> g = DescentVector(jacobian_, fi_);

      // The stored damping is divided at the start of every outer iteration,
      // so the first trial of a run uses Mu / nu. A faulty quotient is never
      // stored: the check comes first.
      const double mu_divided = state.Mu / state.nu;
      fp::Check();
      state.Mu = fp::RequireFinite(mu_divided);

      k = CheckedAdd<Byte>(k, 1);
      report.outer_iterations = k;
      if (Displaying()) {
        StateForm().UpdateNbIter(k);
        StateForm().ProgressCaption(kStepSolving);
      }

      // Trial steps with growing damping until one does not increase S. A
      // trial is only ever repeated unchanged when the damping stops changing
      // (nu = 1, Mu = 0, or a damping that underflowed) or alternates between
      // two values (nu = -1): that trial was rejected already, so the loop
      // could not end and is reported as an invalid argument instead.
      int rejected = 0;
      double S1 = 0.0;
      double mu_before_last = 0.0;
      for (;;) {
        const std::string text = ModCholesky::Factorise(A, state.Mu, L, D);
        if (text != "OK") {
          result = "Levenberg-Marquardt; Cholesky resolution error : " + text;
          report.stop_reason = StopReason::kFailed;
          report.final_mu = state.Mu;
          return result;
        }
        ModCholesky::Solve("L", L, y, g);
        for (Int32 i = 1; i <= n; ++i) y.Unchecked(i) = y.Unchecked(i) / D.Unchecked(i, i);
        fp::Check();
        ModCholesky::Solve("U", L, dx_, y);

        Caption(kStepChecking);
        double gradient_norm = 2.0 * Tools::Norm(g);
        fp::Check();
        model_.GetTol(dx_, gradient_norm);

        // The model may have replaced Dx through its let.
        x_.CheckRange(1, n);
        dx_.CheckRange(1, n);
        for (Int32 i = 1; i <= n; ++i) trial.Unchecked(i) = x_.Unchecked(i) + dx_.Unchecked(i);
        fp::Check();
        which = 1;
        model_.Getfi(which, trial);
        S1 = Statistics(fip1_);
        if (Displaying()) StateForm().UpdateRMSMinMax(state.FitRMS, state.FitMin, state.FitMax);

        if (!(S1 > S)) break;  // equality is a success

        ++rejected;
        ++report.rejected_trials;
        const double mu_rejected = state.Mu;
        const double mu_next = state.Mu * state.nu;
        fp::Check();  // a damping that overflows ends here with error 6
        state.Mu = fp::RequireFinite(mu_next);
        if (mu_next == mu_rejected || (rejected > 1 && mu_next == mu_before_last))
          Raise(err::kInvalidCall);
        mu_before_last = mu_rejected;
        Caption(kStepSolving);
      }

      X(trial);
      fi(fip1_);
      S = S1;
      report.iterations.push_back(
          {k, S, state.FitRMS, state.FitMin, state.FitMax, state.Mu, rejected});

      const Byte method = state.ConvergenceDetectionMethod;
      stop = true;
      if ((method & 2) != 0) stop = stop && small_dx_;
      if ((method & 1) != 0) stop = stop && small_gradient_;
      if (Displaying()) StateForm().UpdateConvergence(stop);
      if (stop) break;
      // Tested after k was incremented: IterationMaxNumber + 1 outer
      // iterations at most.
    } while (k <= state.IterationMaxNumber);

    report.stop_reason = stop ? StopReason::kConverged : StopReason::kIterationLimit;
    report.final_mu = state.Mu;
    // The residuals at the optimum and the step that reached it.
    report.residuals.assign(fi_.Data(), fi_.Data() + m_);
    report.last_step.assign(dx_.Data(), dx_.Data() + n_);
    Caption(kStepFinished);
    x = x_;
    return result;
  } catch (...) {
    report.stop_reason = StopReason::kFailed;
    report.final_mu = state.Mu;
    return TrapText("LM Error n°", CurrentErrorInfo(), " : ");
  }
}

}  // namespace tavric
