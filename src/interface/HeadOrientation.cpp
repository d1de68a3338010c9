#include "interface/HeadOrientation.h"

#include "geometry/ClsQuaternion.h"
#include "geometry/ClsVector.h"
#include "geometry/Matrix33.h"
#include "interface/ProjectState.h"
#include "runtime/CheckedMath.h"

namespace tavric {
namespace {
constexpr double kPi = 3.14159265358979;
}

double DegreesToRadians(double degrees) {
  const double r = degrees * kPi / 180.0;
  fp::Check();
  return r;
}

double RadiansToDegrees(double radians) {
  const double d = radians * 180.0 / kPi;
  fp::Check();
  return d;
}

Ref<ClsVector> UnitDirection(double i, double j, double k) {
  auto v = NewVector();
  v->C1(i);
  v->C2(j);
  v->C3(k);
  v->Normer();  // a zero vector stays zero
  return v;
}

Ref<Matrix33> StartingMatrix(const std::string& result) {
  ProjectState& s = State();
  if (!s.head_direction_a) s.head_direction_a = NewVector();
  if (!s.head_direction_b) s.head_direction_b = NewVector();

  // G: the gain on the diagonal.
  auto G = std::make_shared<Matrix33>();
  for (Byte i = 1; i <= 3; ++i) {
    Byte row = i, col = i;
    G->Mij(row, col, s.InitialProbeGain);
  }
  // qb: rotation by -b about direction b; a' = direction a carried by it.
  ClsQuaternion qb;
  qb.From_u(-s.head_angle_b, *s.head_direction_b);
  Ref<ClsVector> a_carried = qb.Rotate(*s.head_direction_a);
  // qa: rotation by -a about a'; q = qa * qb.
  ClsQuaternion qa;
  qa.From_u(-s.head_angle_a, Deref(a_carried));
  Ref<ClsQuaternion> q = qa.Mul(qb);
  if (result != "OK") return G;
  Ref<Matrix33> Rq = Deref(q).Rotate_Matrix();
  return Deref(Rq).TimesM33(*G);
}

}  // namespace tavric
