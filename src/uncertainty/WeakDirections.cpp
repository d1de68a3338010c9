#include "uncertainty/WeakDirections.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "runtime/NumberText.h"
#include "uncertainty/Wording.h"

namespace tavric::uncertainty {
namespace {

constexpr const char* kAxisNames[3] = {"X", "Y", "Z"};
constexpr const char* kReadingNames[3] = {"P", "Q", "R"};

std::string Monomial(const std::array<int, 3>& powers) {
  static const char* const kSuperscripts[] = {"", "", "\u00b2", "\u00b3"};
  std::string text;
  for (std::size_t v = 0; v < 3; ++v) {
    const int e = powers[v];
    if (e == 0) continue;
    if (!text.empty()) text += "\u00b7";
    text += kReadingNames[v];
    text += e < 4 ? kSuperscripts[e] : "^" + std::to_string(e);
  }
  return text;
}

std::string AxisName(const Eigen::Vector3d& u) { return uncertainty::AxisName({u(0), u(1), u(2)}); }

Eigen::Matrix3d ToEigen(const Mat3& m) {
  Eigen::Matrix3d e;
  for (int a = 0; a < 3; ++a)
    for (int b = 0; b < 3; ++b)
      e(a, b) = m[static_cast<std::size_t>(a)][static_cast<std::size_t>(b)];
  return e;
}

int Degree(const std::array<int, 3>& powers) { return powers[0] + powers[1] + powers[2]; }

// A change of the coefficients seen as linear maps modulated by monomials.
// By Euler's relation a monomial m of degree d equals sum over the readings j
// of (e_j / d) r_j (m / r_j), so the change dc of its coefficient for output
// a acts like a change (e_j / d) dc of the linear coefficient "a from reading
// j", multiplied by the monomial m / r_j (the modulation: 1 for the
// first-order terms, R for P·R, ...). Grouping by modulation gives one 3 x 3
// matrix per modulating monomial.
struct ModulatedPart {
  std::array<int, 3> modulation{0, 0, 0};
  Eigen::Matrix3d change = Eigen::Matrix3d::Zero();
};

std::vector<ModulatedPart> ByModulation(const Eigen::VectorXd& step,
                                        const CoefficientLayout& layout) {
  std::vector<ModulatedPart> parts;
  for (int t = 2; t <= layout.Terms(); ++t) {
    const auto& e = layout.powers[static_cast<std::size_t>(t - 1)];
    const int d = Degree(e);
    for (int j = 0; j < 3; ++j) {
      if (e[static_cast<std::size_t>(j)] == 0) continue;
      std::array<int, 3> modulation = e;
      --modulation[static_cast<std::size_t>(j)];
      auto it = std::find_if(parts.begin(), parts.end(),
                             [&](const ModulatedPart& p) { return p.modulation == modulation; });
      if (it == parts.end())
        it = parts.insert(parts.end(), ModulatedPart{modulation, Eigen::Matrix3d::Zero()});
      const double weight = static_cast<double>(e[static_cast<std::size_t>(j)]) / d;
      for (int a = 0; a < 3; ++a) it->change(a, j) += weight * step(layout.Index(a, t));
    }
  }
  return parts;
}

// The largest of the three parts of W = dM M^-1: an isotropic gain change, a
// rotation, unequal gains. Sizes are Frobenius norms.
struct Decomposition {
  double gain = 0.0;
  double rotation = 0.0;
  double anisotropy = 0.0;
  Eigen::Vector3d rotation_axis = Eigen::Vector3d::Zero();
  Eigen::Vector3d anisotropy_axis = Eigen::Vector3d::Zero();
  double Largest() const { return std::max({gain, rotation, anisotropy}); }
};

Decomposition Decompose(const Eigen::Matrix3d& W) {
  Decomposition d;
  const double iso = W.trace() / 3.0;
  const Eigen::Matrix3d antisymmetric = 0.5 * (W - W.transpose());
  const Eigen::Matrix3d anisotropic = 0.5 * (W + W.transpose()) - iso * Eigen::Matrix3d::Identity();
  const Eigen::Vector3d rotation(antisymmetric(2, 1), antisymmetric(0, 2), antisymmetric(1, 0));
  d.gain = std::fabs(iso) * std::sqrt(3.0);
  d.rotation = rotation.norm() * std::sqrt(2.0);
  d.anisotropy = anisotropic.norm();
  if (d.rotation > 0.0) d.rotation_axis = rotation.normalized();
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> principal(anisotropic);
  Eigen::Index strongest = 0;
  principal.eigenvalues().cwiseAbs().maxCoeff(&strongest);
  d.anisotropy_axis = principal.eigenvectors().col(strongest);
  return d;
}

// What the direction is, from its shares and its change of the coefficients.
std::pair<std::string, std::string> Classify(const Eigen::VectorXd& shares,
                                             const Eigen::VectorXd& step,
                                             const Eigen::VectorXd& fitted,
                                             const CoefficientLayout& layout, double reach) {
  const double centre = shares.head(3).sum();
  const double radius = layout.first == 4 ? shares(3) : 0.0;
  if (centre >= 0.5) {
    const Eigen::Vector3d dc = step.head(3);
    return {"centre", "position of the sphere centre along " + AxisName(dc.normalized())};
  }

  // Each modulated part relative to the fitted first-order part, weighted by
  // the size its modulation reaches over the scan.
  const Eigen::Matrix3d M = ToEigen(LinearPart(fitted, layout));
  const bool invertible = std::fabs(M.determinant()) > 0.0;
  const Eigen::Matrix3d M_inverse =
      invertible ? Eigen::Matrix3d(M.inverse()) : Eigen::Matrix3d::Identity();
  const ModulatedPart* strongest = nullptr;
  Decomposition parts;
  double strongest_size = -1.0;
  const std::vector<ModulatedPart> modulated = ByModulation(step, layout);
  for (const ModulatedPart& part : modulated) {
    const Decomposition d = Decompose(part.change * M_inverse);
    const double size = d.Largest() * std::pow(reach, Degree(part.modulation));
    if (size > strongest_size) {
      strongest_size = size;
      strongest = &part;
      parts = d;
    }
  }
  const bool linear = strongest == nullptr || Degree(strongest->modulation) == 0;

  if (radius >= 0.15) {
    if (linear && parts.gain >= std::max(parts.rotation, parts.anisotropy))
      return {"gain-radius",
              "overall probe gain against the sphere radius (a larger gain with a smaller sphere "
              "fits as well when the deflection's size hardly varies)"};
    return {"mixed", "the sphere radius against the calibration's terms"};
  }
  const std::string growth = linear ? "" : " that grows with " + Monomial(strongest->modulation);
  if (parts.rotation >= std::max(parts.gain, parts.anisotropy))
    return {"rotation", "rotation of the probe's axes about " + AxisName(parts.rotation_axis) +
                            growth + " (it moves the deflection across the sphere's normal)"};
  if (parts.gain >= parts.anisotropy) return {"gain", "overall probe gain" + growth};
  return {"gain-anisotropy", "gain along " + AxisName(parts.anisotropy_axis) + growth +
                                 " against the gains across it"};
}

}  // namespace

std::vector<std::string> ParameterNames(const CoefficientLayout& layout) {
  std::vector<std::string> names = {"centre x", "centre y", "centre z"};
  if (layout.first == 4) names.emplace_back("radius");
  for (int a = 0; a < 3; ++a)
    for (int t = 2; t <= layout.Terms(); ++t)
      names.push_back(std::string(kAxisNames[a]) + " coefficient of " +
                      Monomial(layout.powers[static_cast<std::size_t>(t - 1)]));
  return names;
}

Mat3 LinearPart(const Eigen::VectorXd& p, const CoefficientLayout& layout) {
  Mat3 m{};
  for (int t = 2; t <= layout.Terms(); ++t) {
    const auto& e = layout.powers[static_cast<std::size_t>(t - 1)];
    if (Degree(e) != 1) continue;
    const auto reading = static_cast<std::size_t>(e[0] == 1 ? 0 : e[1] == 1 ? 1 : 2);
    for (int a = 0; a < 3; ++a) m[static_cast<std::size_t>(a)][reading] = p(layout.Index(a, t));
  }
  return m;
}

void Explain(const Eigen::VectorXd& v, const Eigen::VectorXd& step, const Eigen::VectorXd& fitted,
             const CoefficientLayout& layout, const std::vector<std::string>& names, double reach,
             WeakDirection& effect) {
  const Eigen::VectorXd shares = v.cwiseAbs2();
  auto [kind, what] = Classify(shares, step, fitted, layout, reach);
  effect.kind = kind;
  effect.summary = what;

  std::vector<std::size_t> order(static_cast<std::size_t>(shares.size()));
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return shares(static_cast<Eigen::Index>(a)) > shares(static_cast<Eigen::Index>(b));
  });
  std::string mixes;
  for (std::size_t i = 0; i < order.size() && effect.parameters.size() < 4; ++i) {
    const double share = shares(static_cast<Eigen::Index>(order[i]));
    if (share < 0.03 && !effect.parameters.empty()) break;
    effect.parameters.push_back(names[order[i]]);
    effect.shares.push_back(share);
    if (!mixes.empty()) mixes += ", ";
    mixes += names[order[i]] + " (" + Percent(share) + ")";
  }
  effect.description = what + "; mixes " + mixes +
                       "; one standard uncertainty along it moves the deflection by " +
                       Micrometres(effect.across_rms) + " RMS across the sphere's normal and " +
                       Micrometres(effect.normal_rms) + " along it";
  if (layout.first == 4)
    effect.description += ", and the radius by " + Micrometres(effect.radius_change);
}

}  // namespace tavric::uncertainty
