#include "sphere/ClsSphere.h"

#include "interface/ProjectState.h"

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

ClsSphere& StateSphere() {
  auto& sphere = State().sphere;
  if (!sphere) sphere = std::make_shared<ClsSphere>();
  return *sphere;
}

}  // namespace tavric
