// The parameter combinations a scan pins down least, explained in words.
//
// A weak direction is an eigenvector of the column-scaled normal matrix with
// a small eigenvalue. What it means to a metrologist shows in how it changes
// the first-order part M of the calibration: with dM its change, the matrix
// W = dM M^-1 splits into an isotropic gain change (trace), a rotation of the
// probe's axes (antisymmetric part) and unequal gains (symmetric, trace-free
// part). Higher-order terms are read the same way, as first-order changes
// modulated by a monomial (X from Q·R is "X from Q" growing with R). Together
// with its shares of the sphere centre and the radius, that names the
// direction: e.g. "rotation of the probe's axes about Z that grows with R",
// "overall probe gain against the sphere radius".
#pragma once

#include <Eigen/Dense>
#include <string>
#include <vector>

#include "tavric/Uncertainty.h"
#include "uncertainty/DeflectionCovariance.h"

namespace tavric::uncertainty {

// "centre x", ..., "radius" (unless held), then "X coefficient of P·Q²", ...
std::vector<std::string> ParameterNames(const CoefficientLayout& layout);

// The first-order part of the parameters p: M[a][b] is the coefficient of
// output axis a for reading b (P, Q, R).
Mat3 LinearPart(const Eigen::VectorXd& p, const CoefficientLayout& layout);

// Describes the weak direction with scaled unit eigenvector `v`, parameter
// change `step` for one standard uncertainty along it, at the fitted
// parameters `fitted`; `reach` is the typical size of the readings (in the
// parameters' reading units). `effect` holds its deflection figures
// (normal_rms, across_rms, max, radius_change) already; the rest is filled in
// here.
void Explain(const Eigen::VectorXd& v, const Eigen::VectorXd& step, const Eigen::VectorXd& fitted,
             const CoefficientLayout& layout, const std::vector<std::string>& names, double reach,
             WeakDirection& effect);

}  // namespace tavric::uncertainty
