#include "solvers/NormalEquations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <random>

#include "TestSupport.h"
#include "runtime/CheckedMath.h"
#include "runtime/Simd.h"

namespace tavric {
namespace {

// Values over many binades and both signs, so that any change in the order
// or the rounding of a sum shows in its last bits.
double RandomValue(std::mt19937_64& rng) {
  std::uniform_real_distribution<double> mantissa(-1.0, 1.0);
  std::uniform_int_distribution<int> exponent(-12, 12);
  return std::ldexp(mantissa(rng), exponent(rng));
}

Array2<double> RandomJacobian(Int32 n, Int32 m, std::uint64_t seed) {
  std::mt19937_64 rng(seed);
  Array2<double> J(1, n, 1, m);
  for (Int32 k = 1; k <= m; ++k)
    for (Int32 i = 1; i <= n; ++i) J(i, k) = RandomValue(rng);
  return J;
}

bool SameBits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

bool SameBits(const Array2<double>& a, const Array2<double>& b) {
  if (a.LBound(1) != b.LBound(1) || a.UBound(1) != b.UBound(1) || a.LBound(2) != b.LBound(2) ||
      a.UBound(2) != b.UBound(2))
    return false;
  for (Int32 j = a.LBound(2); j <= a.UBound(2); ++j)
    for (Int32 i = a.LBound(1); i <= a.UBound(1); ++i)
      if (!SameBits(a(i, j), b(i, j))) return false;
  return true;
}

bool SameBits(const Array1<double>& a, const Array1<double>& b) {
  if (a.LBound() != b.LBound() || a.UBound() != b.UBound()) return false;
  for (Int32 i = a.LBound(); i <= a.UBound(); ++i)
    if (!SameBits(a(i), b(i))) return false;
  return true;
}

// Parameter counts around the vector and tile widths and the calibration's
// own (13, 31, 61), residual counts around the block size.
const Int32 kParameterCounts[] = {1, 2, 3, 4, 5, 7, 8, 9, 12, 13, 16, 17, 30, 31, 60, 61, 64, 70};
const Int32 kResidualCounts[] = {1, 2, 63, 64, 65, 129, 200};

using NormalKernels = testing::PerInstructionSet;

TEST_P(NormalKernels, NormalMatrixEqualsThePlainLoopBitForBit) {
  for (Int32 n : kParameterCounts)
    for (Int32 m : kResidualCounts) {
      const Array2<double> J = RandomJacobian(n, m, static_cast<std::uint64_t>(1000 * n + m));
      EXPECT_TRUE(SameBits(NormalMatrix(J, n, m), NormalMatrixReference(J, n, m)))
          << "n " << n << " m " << m;
    }
}

TEST_P(NormalKernels, BlocksSumAsThePlainLoopsSumTheWholeJacobian) {
  for (Int32 n : kParameterCounts)
    for (Int32 m : kResidualCounts) {
      const Array2<double> J = RandomJacobian(n, m, static_cast<std::uint64_t>(7 * n + m));
      std::mt19937_64 rng(static_cast<std::uint64_t>(n * m));
      Array1<double> f(1, m);
      for (Int32 k = 1; k <= m; ++k) f(k) = RandomValue(rng);

      NormalEquations sums;
      sums.Start(n);
      for (Int32 first = 1; first <= m; first += NormalEquations::kBlock) {
        const Int32 count = std::min(NormalEquations::kBlock, m - first + 1);
        for (Int32 c = 0; c < count; ++c)
          for (Int32 i = 1; i <= n; ++i) sums.Column(c)[i - 1] = J(i, first + c);
        sums.Add(count, &f(first));
      }
      Array2<double> A;
      Array1<double> g;
      sums.Finish(A, g);
      EXPECT_TRUE(SameBits(A, NormalMatrixReference(J, n, m))) << "n " << n << " m " << m;
      EXPECT_TRUE(SameBits(g, DescentVectorReference(J, f, n, m))) << "n " << n << " m " << m;
    }
}

TEST_P(NormalKernels, AnOverflowingProductRaisesTheOverflowOfThePlainLoop) {
  Array2<double> J = RandomJacobian(13, 100, 3);
  J(5, 77) = 1e200;
  J(9, 77) = 1e200;
  EXPECT_RUNTIME_ERROR(NormalMatrix(J, 13, 100), err::kOverflow);
  EXPECT_FALSE(fp::FaultPending());
}

TAVRIC_FOR_EACH_INSTRUCTION_SET(NormalKernels);

TEST(NormalEquations, StartingAgainClearsTheSums) {
  NormalEquations sums;
  sums.Start(3);
  for (Int32 i = 0; i < 3; ++i) sums.Column(0)[i] = 2.0;
  const double f = 1.0;
  sums.Add(1, &f);
  sums.Start(3);
  sums.Column(0)[0] = 3.0;
  sums.Add(1, &f);
  Array2<double> A;
  Array1<double> g;
  sums.Finish(A, g);
  EXPECT_EQ(A(1, 1), 9.0);
  EXPECT_EQ(A(2, 2), 0.0);
  EXPECT_EQ(g(1), -3.0);
  EXPECT_EQ(g(2), 0.0);
}

TEST(NormalMatrix, AFaultPendingBeforehandIsRaisedAsThePlainLoopRaisesIt) {
  const Array2<double> J = RandomJacobian(4, 10, 4);
  volatile double zero = 0.0;
  volatile double quotient = 1.0 / zero;  // raises the division-by-zero flag
  (void)quotient;
  EXPECT_RUNTIME_ERROR(NormalMatrix(J, 4, 10), err::kDivisionByZero);
}

TEST(NormalMatrix, NoResidualsGiveZeros) {
  const Array2<double> J(1, 3, 1, 0);
  const Array2<double> A = NormalMatrix(J, 3, 0);
  ASSERT_EQ(A.UBound(1), 3);
  for (Int32 j = 1; j <= 3; ++j)
    for (Int32 i = 1; i <= 3; ++i) EXPECT_EQ(A(i, j), 0.0);
}

TEST(Simd, TheAutomaticChoiceIsTheWidestAvailableAndCanBeForced) {
  const simd::Isa automatic =
      simd::Available(simd::Isa::kAvx2) ? simd::Isa::kAvx2 : simd::Isa::kBaseline;
  EXPECT_EQ(simd::Active(), automatic);
  EXPECT_TRUE(simd::Force(simd::Isa::kBaseline));
  EXPECT_EQ(simd::Active(), simd::Isa::kBaseline);
  EXPECT_TRUE(simd::Force(std::nullopt));
  EXPECT_EQ(simd::Active(), automatic);
}

}  // namespace
}  // namespace tavric
