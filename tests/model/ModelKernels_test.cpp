// The calibration model's kernels against its plain loops, bit for bit.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "TestSupport.h"
#include "geometry/Matrix33.h"
#include "interface/ProjectState.h"
#include "model/IterativeCal.h"
#include "polynomial/Polynome3Variables.h"
#include "runtime/CheckedMath.h"
#include "solvers/NormalEquations.h"
#include "sphere/ClsSphere.h"
#include "tavric/ScanSimulator.h"

namespace tavric {
namespace {

bool SameBits(const Array1<double>& a, const Array1<double>& b) {
  if (a.LBound() != b.LBound() || a.UBound() != b.UBound()) return false;
  for (Int32 i = a.LBound(); i <= a.UBound(); ++i)
    if (std::bit_cast<std::uint64_t>(a(i)) != std::bit_cast<std::uint64_t>(b(i))) return false;
  return true;
}

bool SameBits(const Array2<double>& a, const Array2<double>& b) {
  if (a.UBound(1) != b.UBound(1) || a.UBound(2) != b.UBound(2)) return false;
  for (Int32 j = 1; j <= a.UBound(2); ++j)
    for (Int32 i = 1; i <= a.UBound(1); ++i)
      if (std::bit_cast<std::uint64_t>(a(i, j)) != std::bit_cast<std::uint64_t>(b(i, j)))
        return false;
  return true;
}

// A simulated scan (701 samples: not a whole number of blocks or vectors)
// and a model of the given order initialised on it, with the sphere at the
// truth, or the radius held when asked.
class Model {
 public:
  Model(Byte order, bool hold_radius) {
    sim::Scenario scenario;
    scenario.plan.total_samples = 701;
    scenario.calibration.offsets = {20.0, -13.0, 7.0};
    scenario.noise.counts_sigma = 1.0;
    scenario.noise.position_sigma_um = 0.3;
    scan_ = sim::Simulate(scenario);
    ClsSphere& sphere = StateSphere();
    sphere.Pt()->C1(scan_.truth.centre[0] + 0.01);
    sphere.Pt()->C2(scan_.truth.centre[1] - 0.02);
    sphere.Pt()->C3(scan_.truth.centre[2] + 0.005);
    sphere.R(scan_.truth.radius);
    if (hold_radius) State().held_radius = scan_.truth.radius;
    Matrix33 m0;
    for (Byte i = 1; i <= 3; ++i) m0.Mij(i, i, 6.25e-5);
    EXPECT_EQ(model_.INIT(scan_.data, order, m0, CoefficientTriple(-20.0, 13.0, -7.0)), "OK");
  }

  // A parameter vector near the model's start, every coefficient moved.
  Array1<double> Parameters(std::uint64_t seed) {
    Array1<double> X = model_.Pack();
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    for (Int32 i = model_.SphereParameterCount() + 1; i <= X.UBound(); ++i)
      X(i) += 1e-4 * unit(rng);
    return X;
  }

  IterativeCal& operator*() { return model_; }
  IterativeCal* operator->() { return &model_; }

 private:
  sim::SimulatedData scan_;
  IterativeCal model_;
};

class ModelKernels : public testing::PerInstructionSet {
 protected:
  void TearDown() override {
    State().held_radius.reset();
    PerInstructionSet::TearDown();
  }
};

TEST_P(ModelKernels, ResidualsEqualThePlainLoopBitForBit) {
  for (Byte order = 1; order <= 3; ++order)
    for (bool held : {false, true}) {
      Model model(order, held);
      Array1<double> X = model.Parameters(order);
      Int16 which = 0;
      model->Getfi(which, X);
      Array1<double> reference(1, 701);
      model->ResidualsReference(reference);
      EXPECT_TRUE(SameBits(model->LM().fi(), reference)) << "order " << +order << " held " << held;
    }
}

// The kernel stores w1..w4 of several samples at once (by a transpose with
// 4 lanes); the outward normals read them back, sample by sample.
TEST_P(ModelKernels, ResidualsLeaveEachSamplesWorkValuesAsThePlainLoop) {
  for (Byte order = 1; order <= 3; ++order) {
    Model model(order, false);
    Array1<double> X = model.Parameters(20u + order);
    Int16 which = 0;
    model->Getfi(which, X);
    std::vector<std::array<double, 3>> fast;
    for (Int32 k = 1; k <= 701; ++k) fast.push_back(model->OutwardNormal(k));
    Array1<double> reference(1, 701);
    model->ResidualsReference(reference);
    for (Int32 k = 1; k <= 701; ++k) {
      const std::array<double, 3> plain = model->OutwardNormal(k);
      for (std::size_t a = 0; a < 3; ++a)
        ASSERT_EQ(std::bit_cast<std::uint64_t>(fast[static_cast<std::size_t>(k - 1)][a]),
                  std::bit_cast<std::uint64_t>(plain[a]))
            << "order " << +order << " sample " << k << " axis " << a;
    }
  }
}

TEST_P(ModelKernels, NormalEquationsEqualThePlainLoopsOverTheStoredJacobian) {
  for (Byte order = 1; order <= 3; ++order)
    for (bool held : {false, true}) {
      Model model(order, held);
      Array1<double> X = model.Parameters(10u + order);
      Int16 which = 1;
      model->Getfi(which, X);
      const Array1<double> f = model->LM().fip1();
      Array2<double> A;
      Array1<double> g;
      ASSERT_TRUE(model->FormNormalEquations(f, A, g));
      model->GetJacobian();
      const Int32 n = model->ParameterCount();
      EXPECT_TRUE(SameBits(A, NormalMatrixReference(model->LM().Jacobian(), n, 701)))
          << "order " << +order << " held " << held;
      EXPECT_TRUE(SameBits(g, DescentVectorReference(model->LM().Jacobian(), f, n, 701)))
          << "order " << +order << " held " << held;
    }
}

TEST_P(ModelKernels, AReadingWhoseMonomialsOverflowRaisesThePlainLoopsOverflow) {
  sim::Scenario scenario;
  scenario.plan.total_samples = 300;
  sim::SimulatedData scan = sim::Simulate(scenario);
  scan.data(3, 123) = 1e150;  // its cube overflows
  IterativeCal model;
  Matrix33 m0;
  for (Byte i = 1; i <= 3; ++i) m0.Mij(i, i, 6.25e-5);
  ASSERT_EQ(model.INIT(scan.data, 3, m0, CoefficientTriple(0.0, 0.0, 0.0)), "OK");
  Array1<double> X = model.Pack();
  Int16 which = 0;
  EXPECT_RUNTIME_ERROR(model.Getfi(which, X), err::kOverflow);
  EXPECT_FALSE(fp::FaultPending());
  Array2<double> A;
  Array1<double> g;
  EXPECT_FALSE(model.FormNormalEquations(Array1<double>(1, 300), A, g));
}

TAVRIC_FOR_EACH_INSTRUCTION_SET(ModelKernels);

TEST(ModelKernels, TheOutwardNormalIsMinusTheCentreRowsOfTheJacobian) {
  Model model(2, false);
  Array1<double> X = model.Parameters(3);
  Int16 which = 0;
  model->Getfi(which, X);
  model->GetJacobian();
  const Array2<double>& J = model->LM().Jacobian();
  for (Int32 k = 1; k <= 701; ++k) {
    const auto n = model->OutwardNormal(k);
    for (Int32 a = 0; a < 3; ++a)
      EXPECT_EQ(std::bit_cast<std::uint64_t>(n[static_cast<std::size_t>(a)]),
                std::bit_cast<std::uint64_t>(-J(a + 1, k)));
  }
}

}  // namespace
}  // namespace tavric
