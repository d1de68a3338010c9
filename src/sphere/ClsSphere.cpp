#include "sphere/ClsSphere.h"

#include <cmath>

#include "interface/ProjectState.h"
#include "runtime/CheckedMath.h"
#include "solvers/Tools.h"
#include "sphere/BON.h"

namespace tavric {

const Ref<ClsVector>& ClsSphere::Pt() {
  if (!pt_) pt_ = NewVector();
  return pt_;
}

double ClsSphere::MinMaxVar(double& Min, double& Max) const {
  Min = min_;
  Max = max_;
  return var_;
}

void ClsSphere::Fit(Int16& NPoints, Array1<Ref<ClsVector>>& Points, double& Tolerance,
                    Int16& MaxIter, std::string& Result) {
  Result = "OK";
  step_count_ = 0;
  last_correction_ = 0.0;

  // Linear estimate: with point 1 as reference, every other point j gives
  // the bisector-plane equation (p_j - p_1) . centre = (|p_j|^2 - |p_1|^2) / 2.
  // Column j - 1 of Design holds p_j - p_1, so its three rows are the
  // vectors of the x, y and z differences.
  n_points_ = NPoints;
  points_ = Points;
  geometry_.ReDim(1, n_points_, 1, 4);
  const Int16 m = CheckedSub<Int16>(n_points_, 1);
  design_.ReDim(1, 3, 1, m);
  rhs_.ReDim(1, m);
  for (Int32 j = 2; j <= n_points_; ++j) {
    const ClsVector& p1 = Deref(points_(1));
    const ClsVector& pj = Deref(points_(j));
    design_(1, j - 1) = pj.C1() - p1.C1();
    design_(2, j - 1) = pj.C2() - p1.C2();
    design_(3, j - 1) = pj.C3() - p1.C3();
    rhs_(j - 1) = (fp::Square(pj.C1()) - fp::Square(p1.C1())) / 2.0 +
                  (fp::Square(pj.C2()) - fp::Square(p1.C2())) / 2.0 +
                  (fp::Square(pj.C3()) - fp::Square(p1.C3())) / 2.0;
  }
  fp::Check();

  if (BON::BuildBON(3, m, design_, basis_, coef_) != "OK") {
    Result = "Sphere fit failure : Initial parameter computation";
    return;
  }
  residual_ = BON::SolveBON(3, m, rhs_, design_, basis_, coef_, solution_, proj_);
  current_ = std::make_shared<ClsSphere>();
  ClsVector& centre = *current_->Pt();
  centre.C1(solution_(1));
  centre.C2(solution_(2));
  centre.C3(solution_(3));

  // Starting radius: the root-mean-square distance of the points from that
  // centre.
  const double mean_square = SumOfSquaredDistances(centre) / static_cast<double>(n_points_);
  fp::Check();
  current_->R(fp::Sqr(mean_square));

  // Gauss-Newton refinement. The counter starts at 0 and the loop ends only
  // once it is greater than MaxIter, so up to MaxIter + 1 steps follow the
  // first one.
  PointDirections();
  std::string text = En_NPoints();
  if (text != "OK") {
    Result = "Sphere optimisation failure : " + text;
    return;
  }
  Int16 iteration = 0;
  for (;;) {
    const bool converged =
        std::fabs(step_->R()) <= Tolerance && std::fabs(step_->Pt()->C1()) <= Tolerance &&
        std::fabs(step_->Pt()->C2()) <= Tolerance && std::fabs(step_->Pt()->C3()) <= Tolerance;
    if (converged || iteration > MaxIter) break;
    text = En_NPoints();
    if (text != "OK") {
      Result = "Sphere optimisation failure : " + text;
      return;
    }
    PointDirections();
    iteration = CheckedAdd<Int16>(iteration, 1);
  }

  // The sphere takes the refined centre object itself and its radius.
  pt_ = current_->Pt();
  r_ = current_->R();

  // Radial deviations of the points from the fitted surface.
  PointDirections();
  rhs_.ReDim(1, n_points_);
  for (Int32 i = 1; i <= n_points_; ++i) rhs_(i) = geometry_(i, 4) - r_;
  fp::Check();
  Int16 index_max = 0;
  Int16 index_min = 0;
  Tools::ExtremeIndices(rhs_, index_max, index_min);
  max_ = rhs_(index_max);
  min_ = rhs_(index_min);
  var_ = Tools::Variance(rhs_);

  ReleaseWork();
}

std::string ClsSphere::En_NPoints() {
  ++step_count_;
  // Unknowns: radius correction (column of ones) and centre correction (the
  // unit directions); right-hand side: distance minus current radius.
  design_.ReDim(1, 4, 1, n_points_);
  rhs_.ReDim(1, n_points_);
  const double radius = current_->R();
  for (Int32 i = 1; i <= n_points_; ++i) {
    design_(1, i) = 1.0;
    design_(2, i) = geometry_(i, 1);
    design_(3, i) = geometry_(i, 2);
    design_(4, i) = geometry_(i, 3);
    rhs_(i) = geometry_(i, 4) - radius;
  }
  fp::Check();

  std::string text = BON::BuildBON(4, n_points_, design_, basis_, coef_);
  if (text == "OK") {
    residual_ = BON::SolveBON(4, n_points_, rhs_, design_, basis_, coef_, solution_, proj_);
    if (!step_) step_ = std::make_shared<ClsSphere>();
    step_->R(solution_(1));
    ClsVector& delta = *step_->Pt();
    delta.C1(solution_(2));
    delta.C2(solution_(3));
    delta.C3(solution_(4));

    current_->R(current_->R() + step_->R());
    ClsVector& centre = *current_->Pt();
    centre.C1(centre.C1() + delta.C1());
    centre.C2(centre.C2() + delta.C2());
    centre.C3(centre.C3() + delta.C3());
    fp::Check();

    last_correction_ = std::fmax(std::fmax(std::fabs(step_->R()), std::fabs(delta.C1())),
                                 std::fmax(std::fabs(delta.C2()), std::fabs(delta.C3())));
  }
  return text;
}

// The loops below form, without creating a vector object per point, what
// ClsVector::Add(centre, -1.0), Scal and Norme give: d = p + (-1) c per
// component, |d|^2 = (d2 d2 + d1 d1) + d3 d3. They check for faults once at
// their end; when one shows (or a point is missing), the object loops,
// checked at every point, run instead and raise what they always raised.
namespace {

bool AllPresent(const Array1<Ref<ClsVector>>& points, Int16 n) {
  if (n >= 1 && (!points.Allocated() || points.LBound() > 1 || points.UBound() < n)) return false;
  for (Int32 i = 1; i <= n; ++i)
    if (!points.Unchecked(i)) return false;
  return true;
}

}  // namespace

double ClsSphere::SumOfSquaredDistances(const ClsVector& centre) {
  const double c1 = centre.C1(), c2 = centre.C2(), c3 = centre.C3();
  double sum = 0.0;
  if (!fp::FaultPending() && AllPresent(points_, n_points_)) {
    for (Int32 i = 1; i <= n_points_; ++i) {
      const ClsVector& p = *points_.Unchecked(i);
      const double d1 = p.C1() + -1.0 * c1, d2 = p.C2() + -1.0 * c2, d3 = p.C3() + -1.0 * c3;
      sum += (d2 * d2 + d1 * d1) + d3 * d3;
    }
    if (!fp::FaultPending()) return sum;
    fp::ClearFaults();
  }
  sum = 0.0;
  for (Int32 i = 1; i <= n_points_; ++i) {
    const auto d = Deref(points_(i)).Add(centre, -1.0);
    sum += d->Scal(*d);
  }
  return sum;
}

void ClsSphere::PointDirections() {
  const ClsVector& centre = *current_->Pt();
  if (!fp::FaultPending() && AllPresent(points_, n_points_)) {
    const double c1 = centre.C1(), c2 = centre.C2(), c3 = centre.C3();
    geometry_.CheckRange(1, n_points_, 1, 4);
    for (Int32 i = 1; i <= n_points_; ++i) {
      const ClsVector& p = *points_.Unchecked(i);
      const double d1 = p.C1() + -1.0 * c1, d2 = p.C2() + -1.0 * c2, d3 = p.C3() + -1.0 * c3;
      const double length = std::sqrt((d2 * d2 + d1 * d1) + d3 * d3);
      geometry_.Unchecked(i, 1) = d1 / length;
      geometry_.Unchecked(i, 2) = d2 / length;
      geometry_.Unchecked(i, 3) = d3 / length;
      geometry_.Unchecked(i, 4) = length;
    }
    if (!fp::FaultPending()) return;
    fp::ClearFaults();
  }
  for (Int32 i = 1; i <= n_points_; ++i) {
    const auto d = Deref(points_(i)).Add(centre, -1.0);
    geometry_(i, 1) = d->C1();
    geometry_(i, 2) = d->C2();
    geometry_(i, 3) = d->C3();
    geometry_(i, 4) = d->Norme();
    geometry_(i, 1) = geometry_(i, 1) / geometry_(i, 4);
    geometry_(i, 2) = geometry_(i, 2) / geometry_(i, 4);
    geometry_(i, 3) = geometry_(i, 3) / geometry_(i, 4);
  }
  fp::Check();
}

void ClsSphere::ReleaseWork() {
  points_.Erase();
  geometry_.Erase();
  design_.Erase();
  rhs_.Erase();
  basis_.Erase();
  coef_.Erase();
  solution_.Erase();
  proj_.Erase();
  current_.reset();
  step_.reset();
}

ClsSphere& StateSphere() {
  auto& sphere = State().sphere;
  if (!sphere) sphere = std::make_shared<ClsSphere>();
  return *sphere;
}

}  // namespace tavric
