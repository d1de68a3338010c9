#include "data/ModBiDirDetection.h"

#include <cmath>

#include "runtime/CheckedMath.h"

namespace tavric::ModBiDirDetection {
namespace {

// Cosine limits between two scan normals.
constexpr double kSamePlane = 0.95;
constexpr double kOppositeSense = -0.95;

// The unit direction from the centre to a point (left zero when the point is
// the centre).
Ref<ClsVector> DirectionFrom(ClsVector& centre, const Ref<ClsVector>& point) {
  Ref<ClsVector> d = Deref(point).Add(centre, -1.0);
  d->Normer();
  return d;
}

}  // namespace

Int32 ChordStep(Int32 n) {
  Int32 step = CLng(static_cast<double>(n) / 200.0);
  if (step == 0) step = 1;
  return step;
}

bool DetectBiDirScans(ClsVector& Centre, Array1<Ref<ClsVector>>& Points) {
  return CountScanPlanes(Centre, Points).bidirectional_planes >= kRequiredPlanes;
}

ScanPlanes CountScanPlanes(ClsVector& Centre, Array1<Ref<ClsVector>>& Points) {
  const Int32 n = Points.UBound();
  const Int32 step = ChordStep(n);

  // One normal per scan, in the order the scans were met.
  OrderedCollection<Ref<ClsVector>> scan_normals;
  Ref<ClsVector> prev = NewVector();
  bool new_scan = true;

  for (Int32 i = 1; step > 0 ? i <= n : i >= n; i = CheckedAdd<Int32>(i, step)) {
    Ref<ClsVector> a = DirectionFrom(Centre, Points(i));
    if (CheckedAdd<Int32>(i, step) > n) break;
    Ref<ClsVector> b = DirectionFrom(Centre, Points(i + step));
    // Parallel directions (or a repeated point) leave the normal zero.
    Ref<ClsVector> nrm = a->Cross(*b);
    nrm->Normer();
    if (new_scan) {
      prev->SetVal(*nrm);
      scan_normals.Add(nrm);
      new_scan = false;
    } else if (nrm->Scal(*prev) < kSamePlane) {
      // The chord that shows the turn may straddle it: the next chord gives
      // the new scan's normal.
      new_scan = true;
    }
  }

  // Take the planes one at a time: the first remaining normal and all that
  // share its plane.
  ScanPlanes result;
  result.scans = scan_normals.Count();
  Int16 planes = 0;
  Int16 groups = 0;
  ClsVector v;
  do {
    const Ref<ClsVector> first = scan_normals.Item(1);
    v.SetVal(Deref(first));
    groups = CheckedAdd<Int16>(groups, 1);
    if (HasOpposite(v, scan_normals)) planes = CheckedAdd<Int16>(planes, 1);
    RemoveSamePlane(v, scan_normals);
    // A zero normal (repeated points, or a chord whose ends are seen in
    // parallel directions from the centre) shares no plane, not even with
    // itself, and is left in place: it forms a group of its own and goes
    // with it, so that every pass removes the first normal.
    if (scan_normals.Count() > 0 && scan_normals.Item(1) == first) scan_normals.Remove(1);
  } while (scan_normals.Count() > 0);

  result.planes = groups;
  result.bidirectional_planes = planes;
  return result;
}

bool HasOpposite(ClsVector& V, OrderedCollection<Ref<ClsVector>>& normals) {
  for (Int32 p = 1; p <= normals.Count(); ++p)
    if (Deref(normals.Item(p)).Scal(V) < kOppositeSense) return true;
  return false;
}

void RemoveSamePlane(ClsVector& V, OrderedCollection<Ref<ClsVector>>& normals) {
  Int32 p = 1;
  do {
    const double d = Deref(normals.Item(p)).Scal(V);
    if (std::fabs(d) > kSamePlane) {
      normals.Remove(p);
    } else {
      ++p;
    }
  } while (p <= normals.Count());
}

}  // namespace tavric::ModBiDirDetection
