// The uncertainty analysis: covariance from the normal matrix, the
// deflection's covariance field, its split along and across the normal, the
// summaries, and the weak directions in words.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "uncertainty/Covariance.h"
#include "uncertainty/DeflectionCovariance.h"
#include "uncertainty/WeakDirections.h"

namespace tavric::uncertainty {
namespace {

TEST(ParameterCovariance, AStraightLineFitHasTheTextbookCovariance) {
  // y = a + b x at x = 0..9: C = sigma^2 (X^T X)^-1.
  const int m = 10;
  Eigen::MatrixXd J(m, 2);
  for (int i = 0; i < m; ++i) J.row(i) << 1.0, i;
  const double sigma = 0.3;
  const ParameterCovariance c(J.transpose() * J, sigma);
  const double sx = 45.0, sxx = 285.0, det = m * sxx - sx * sx;
  EXPECT_EQ(c.Rank(), 2);
  EXPECT_NEAR(c.Covariance()(0, 0), sigma * sigma * sxx / det, 1e-14);
  EXPECT_NEAR(c.Covariance()(1, 1), sigma * sigma * m / det, 1e-14);
  EXPECT_NEAR(c.Covariance()(0, 1), -sigma * sigma * sx / det, 1e-14);
}

TEST(ParameterCovariance, ScalingAParameterScalesItsUncertaintyInversely) {
  Eigen::MatrixXd J(6, 2);
  J << 1, 0.5, 1, -1, 1, 2, 1, 0, 1, 3, 1, -2;
  const ParameterCovariance plain(J.transpose() * J, 1.0);
  J.col(1) *= 1000.0;
  const ParameterCovariance scaled(J.transpose() * J, 1.0);
  EXPECT_NEAR(scaled.Covariance()(1, 1) * 1.0e6, plain.Covariance()(1, 1), 1e-12);
  EXPECT_NEAR(scaled.Covariance()(0, 0), plain.Covariance()(0, 0), 1e-12);
}

TEST(ParameterCovariance, ARepeatedColumnLowersTheRankAndStaysFinite) {
  Eigen::MatrixXd J(5, 3);
  J << 1, 1, 2, 1, 1, -1, 1, 1, 0.5, 1, 1, 3, 1, 1, 1;  // columns 0 and 1 equal
  const ParameterCovariance c(J.transpose() * J, 1.0);
  EXPECT_EQ(c.Rank(), 2);
  EXPECT_TRUE(c.Covariance().allFinite());
  EXPECT_FALSE(c.Retained(0));
  // The undetermined combination (x0 - x1) gets no variance from the
  // pseudo-inverse; their sum does.
  const Eigen::Vector3d difference(1, -1, 0);
  EXPECT_NEAR(difference.dot(c.Covariance() * difference), 0.0, 1e-12);
  EXPECT_GT(c.Covariance()(2, 2), 0.0);
}

TEST(ParameterCovariance, ASigmaStepMovesOneStandardUncertaintyAlongItsDirection) {
  Eigen::MatrixXd J(8, 2);
  J << 1, 0.1, 1, 0.2, 1, 0.15, 1, 0.12, 1, 0.3, 1, 0.22, 1, 0.18, 1, 0.25;
  const double sigma = 0.01;
  const ParameterCovariance c(J.transpose() * J, sigma);
  for (int i = 0; i < 2; ++i) {
    // Along its own direction the step is exactly one standard deviation
    // of the residual sum: |J step| = sigma.
    EXPECT_NEAR((J * c.SigmaStep(i)).norm(), sigma, 1e-12);
  }
}

CoefficientLayout LayoutOfOrder(int order, int first = 4) {
  CoefficientLayout layout;
  layout.first = first;
  for (int i = 0; i <= order; ++i)
    for (int j = 0; j <= order - i; ++j)
      for (int k = 0; k <= order - i - j; ++k) layout.powers.push_back({i, j, k});
  return layout;
}

TEST(DeflectionCovarianceField, EqualsTheQuadraticFormOfTheCoefficientsAtAnyReading) {
  const CoefficientLayout layout = LayoutOfOrder(3);
  const int n = 4 + 3 * 19;
  std::mt19937_64 random(7);
  std::normal_distribution<double> normal;
  Eigen::MatrixXd B(n, n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) B(i, j) = normal(random);
  const Eigen::MatrixXd C = B * B.transpose() * 1e-6;
  const DeflectionCovarianceField field(C, layout);
  for (int trial = 0; trial < 5; ++trial) {
    const double r[3] = {normal(random), normal(random), normal(random)};
    // g_a: the derivative of deflection axis a with respect to the parameters.
    std::array<Eigen::VectorXd, 3> g;
    for (int a = 0; a < 3; ++a) {
      g[static_cast<std::size_t>(a)] = Eigen::VectorXd::Zero(n);
      for (int t = 2; t <= layout.Terms(); ++t) {
        const auto& e = layout.powers[static_cast<std::size_t>(t - 1)];
        g[static_cast<std::size_t>(a)](layout.Index(a, t)) =
            std::pow(r[0], e[0]) * std::pow(r[1], e[1]) * std::pow(r[2], e[2]);
      }
    }
    const Mat3 cov = field.At(r[0], r[1], r[2]);
    for (int a = 0; a < 3; ++a)
      for (int b = 0; b < 3; ++b) {
        const double expected =
            g[static_cast<std::size_t>(a)].dot(C * g[static_cast<std::size_t>(b)]);
        EXPECT_NEAR(cov[static_cast<std::size_t>(a)][static_cast<std::size_t>(b)], expected,
                    1e-9 * (1.0 + std::fabs(expected)));
      }
  }
}

TEST(Split, GivesTheNormalTheLargestAcrossAndTheAxes) {
  const Mat3 c = {{{4e-6, 0.0, 0.0}, {0.0, 9e-6, 0.0}, {0.0, 0.0, 1e-6}}};
  const DirectionalUncertainty along_z = Split(c, {0.0, 0.0, 1.0});
  EXPECT_NEAR(along_z.normal, 1e-3, 1e-15);
  EXPECT_NEAR(along_z.across, 3e-3, 1e-15);
  EXPECT_NEAR(along_z.axes[0], 2e-3, 1e-15);
  const DirectionalUncertainty along_y = Split(c, {0.0, 1.0, 0.0});
  EXPECT_NEAR(along_y.normal, 3e-3, 1e-15);
  EXPECT_NEAR(along_y.across, 2e-3, 1e-15);
  // A correlated covariance seen along a tilted normal: the across part is
  // the larger eigenvalue of the covariance projected onto the plane.
  const double s = std::sqrt(0.5);
  const Mat3 tilted = {{{5e-6, 4e-6, 0.0}, {4e-6, 5e-6, 0.0}, {0.0, 0.0, 2e-6}}};
  const DirectionalUncertainty u = Split(tilted, {s, s, 0.0});
  EXPECT_NEAR(u.normal, 3e-3, 1e-12);             // eigenvalue 9e-6 along (1, 1, 0)
  EXPECT_NEAR(u.across, std::sqrt(2e-6), 1e-12);  // max(1e-6, 2e-6)
}

TEST(Summarise, UsesTheNearestRank) {
  std::vector<double> values;
  for (int i = 100; i >= 1; --i) values.push_back(i);
  const Spread s = Summarise(values);
  EXPECT_EQ(s.max, 100.0);
  EXPECT_EQ(s.p95, 95.0);
  EXPECT_EQ(s.median, 50.0);
  EXPECT_EQ(Summarise({}).max, 0.0);
  EXPECT_EQ(Summarise({3.0}).p95, 3.0);
}

TEST(ParameterNames, NameTheSphereThenEveryCoefficientInTermOrder) {
  const std::vector<std::string> names = ParameterNames(LayoutOfOrder(1));
  const std::vector<std::string> expected = {
      "centre x",           "centre y",           "centre z",           "radius",
      "X coefficient of R", "X coefficient of Q", "X coefficient of P", "Y coefficient of R",
      "Y coefficient of Q", "Y coefficient of P", "Z coefficient of R", "Z coefficient of Q",
      "Z coefficient of P"};
  EXPECT_EQ(names, expected);
  const std::vector<std::string> held = ParameterNames(LayoutOfOrder(2, 3));
  EXPECT_EQ(held[3], "X coefficient of R");
  EXPECT_EQ(held[4], "X coefficient of R\u00b2");
  EXPECT_EQ(held.size(), 3u + 3u * 9u);
}

// The fitted parameters of a first-order calibration with gain g on the
// diagonal.
Eigen::VectorXd Fitted(const CoefficientLayout& layout, double g) {
  Eigen::VectorXd p = Eigen::VectorXd::Zero(layout.first + 3 * (layout.Terms() - 1));
  p(3) = 12.5;
  for (int t = 2; t <= layout.Terms(); ++t) {
    const auto& e = layout.powers[static_cast<std::size_t>(t - 1)];
    if (e[0] + e[1] + e[2] != 1) continue;
    const int reading = e[0] == 1 ? 0 : e[1] == 1 ? 1 : 2;
    p(layout.Index(reading, t)) = g;
  }
  return p;
}

WeakDirection Describe(const CoefficientLayout& layout, const Eigen::VectorXd& step, double g) {
  WeakDirection w;
  const std::vector<std::string> names = ParameterNames(layout);
  Explain(step.normalized(), step, Fitted(layout, g), layout, names, 5.0, w);
  return w;
}

// The index of the coefficient of output `axis` for the term with powers e.
int Coefficient(const CoefficientLayout& layout, int axis, std::array<int, 3> e) {
  for (int t = 2; t <= layout.Terms(); ++t)
    if (layout.powers[static_cast<std::size_t>(t - 1)] == e) return layout.Index(axis, t);
  ADD_FAILURE() << "no such term";
  return 0;
}

TEST(WeakDirections, ATurnOfTheLinearPartAboutZIsARotationAboutZ) {
  const CoefficientLayout layout = LayoutOfOrder(1);
  Eigen::VectorXd step = Eigen::VectorXd::Zero(13);
  step(Coefficient(layout, 0, {0, 1, 0})) = -1e-6;  // X from Q
  step(Coefficient(layout, 1, {1, 0, 0})) = 1e-6;   // Y from P
  const WeakDirection w = Describe(layout, step, 0.0625);
  EXPECT_EQ(w.kind, "rotation");
  EXPECT_EQ(w.summary.rfind("rotation of the probe's axes about Z", 0), 0u) << w.summary;
  EXPECT_EQ(w.parameters.size(), 2u);
  EXPECT_NEAR(w.shares[0], 0.5, 1e-12);
}

TEST(WeakDirections, AThirdOrderTurnThatGrowsWithRIsNamedSo) {
  const CoefficientLayout layout = LayoutOfOrder(3);
  Eigen::VectorXd step = Eigen::VectorXd::Zero(61);
  step(Coefficient(layout, 0, {0, 1, 1})) = -1e-6;  // X from Q·R
  step(Coefficient(layout, 1, {1, 0, 1})) = 1e-6;   // Y from P·R
  const WeakDirection w = Describe(layout, step, 0.0625);
  EXPECT_EQ(w.kind, "rotation");
  EXPECT_NE(w.summary.find("about Z that grows with R"), std::string::npos) << w.summary;
}

TEST(WeakDirections, GainAgainstRadiusAndCentreAreRecognised) {
  const CoefficientLayout layout = LayoutOfOrder(1);
  Eigen::VectorXd gain = Eigen::VectorXd::Zero(13);
  gain(3) = 0.6;  // the radius
  for (int a = 0; a < 3; ++a) gain(Coefficient(layout, a, {a == 0, a == 1, a == 2})) = 0.4;
  EXPECT_EQ(Describe(layout, gain, 0.0625).kind, "gain-radius");
  Eigen::VectorXd centre = Eigen::VectorXd::Zero(13);
  centre(1) = 1.0;
  const WeakDirection w = Describe(layout, centre, 0.0625);
  EXPECT_EQ(w.kind, "centre");
  EXPECT_EQ(w.summary, "position of the sphere centre along Y");
  Eigen::VectorXd stretch = Eigen::VectorXd::Zero(13);
  stretch(Coefficient(layout, 2, {0, 0, 1})) = 1e-6;  // Z from R only
  stretch(Coefficient(layout, 0, {1, 0, 0})) = -0.5e-6;
  stretch(Coefficient(layout, 1, {0, 1, 0})) = -0.5e-6;
  const WeakDirection s = Describe(layout, stretch, 0.0625);
  EXPECT_EQ(s.kind, "gain-anisotropy");
  EXPECT_EQ(s.summary, "gain along Z against the gains across it");
}

}  // namespace
}  // namespace tavric::uncertainty
