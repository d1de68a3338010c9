// ClsSphere: the sphere record (centre Pt, radius R) and its least-squares fit
// to measured points.
//
// Pt is held by reference: setting it stores the given vector object itself,
// and reading it hands out that object (creating a zero vector first if none
// is held), so a sphere never exposes an absent centre.
#pragma once

#include <string>

#include "geometry/ClsVector.h"
#include "runtime/Narrow.h"
#include "runtime/ObjectRef.h"
#include "tavric/BoundedArray.h"

namespace tavric {

class ClsSphere {
 public:
  ClsSphere() = default;

  // The centre object itself (created as a zero vector on first read).
  const Ref<ClsVector>& Pt();
  void Pt(Ref<ClsVector> centre) { pt_ = std::move(centre); }

  double R() const noexcept { return r_; }
  void R(double radius) noexcept { r_ = radius; }

  // Variance of the radial deviations of the last fit; writes their minimum
  // and maximum.
  double MinMaxVar(double& Min, double& Max) const;

  // Fits centre and radius to points 1..NPoints of Points: a linear estimate
  // from bisector planes, then Gauss-Newton steps until every correction is
  // within Tolerance or MaxIter is passed. Result: "OK" or a failure text.
  // Failure texts: "Sphere fit failure : Initial parameter computation"
  // (the points do not fix a linear estimate: fewer than four, or all in
  // one plane) and "Sphere optimisation failure : " + the basis message of a
  // correction step. On a failure the centre and radius are left as they
  // were. Run-time errors (a missing point object, ...) are not trapped.
  void Fit(Int16& NPoints, Array1<Ref<ClsVector>>& Points, double& Tolerance, Int16& MaxIter,
           std::string& Result);

  // Diagnostics of the last Fit: the number of Gauss-Newton correction
  // steps it ran, and the largest absolute component (radius or centre
  // coordinate) of the last correction applied.
  int LastStepCount() const noexcept { return step_count_; }
  double LastCorrection() const noexcept { return last_correction_; }

 private:
  // One Gauss-Newton correction of Current (radius and centre); returns the
  // basis message, "OK" when the step was applied.
  std::string En_NPoints();
  // Geometry(i, 1..3) = unit direction from Current's centre to point i,
  // Geometry(i, 4) = the distance.
  void PointDirections();
  // The sum over the points of their squared distance from `centre`.
  double SumOfSquaredDistances(const ClsVector& centre);
  void ReleaseWork();

  Ref<ClsVector> pt_;
  double r_ = 0.0;
  // Statistics of the last fit.
  double min_ = 0.0;
  double max_ = 0.0;
  double var_ = 0.0;

  // Work data of a fit.
  Int16 n_points_ = 0;
  Array1<Ref<ClsVector>> points_;
  Array2<double> geometry_;  // (1 To NPoints, 1 To 4)
  Array2<double> design_;    // rows are the vectors handed to BuildBON
  Array1<double> rhs_;       // right-hand side; finally the radial deviations
  Array2<double> basis_;     // W of BuildBON
  Array2<double> coef_;      // R of BuildBON
  Array1<double> solution_;  // x of SolveBON
  Array1<double> proj_;      // y of SolveBON
  double residual_ = 0.0;
  Ref<ClsSphere> current_;  // the sphere being refined
  Ref<ClsSphere> step_;     // the last correction (radius in R, centre in Pt)
  int step_count_ = 0;
  double last_correction_ = 0.0;
};

}  // namespace tavric
