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
  void Fit(Int16& NPoints, Array1<Ref<ClsVector>>& Points, double& Tolerance, Int16& MaxIter,
           std::string& Result);

 private:
  Ref<ClsVector> pt_;
  double r_ = 0.0;
  // Statistics of the last fit.
  double min_ = 0.0;
  double max_ = 0.0;
  double var_ = 0.0;
};

}  // namespace tavric
