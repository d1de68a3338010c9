// ModBiDirDetection: checks that the reference sphere was scanned along at
// least three great-circle planes, each in both senses of travel.
//
// The measured positions are cut into chords of a fixed stride; each chord
// gives the unit normal of the plane through the sphere centre that holds it.
// A scan ends where the chord normal turns away (cosine below 0.95) from the
// normal recorded at the scan's start; the chord after the turn gives the next
// scan's normal. Scans whose normals are within about 18 degrees (|cosine|
// above 0.95) share a plane; a plane counts when one of its scans runs
// against another (cosine below -0.95).
#pragma once

#include "geometry/ClsVector.h"
#include "runtime/Collections.h"
#include "runtime/Narrow.h"
#include "runtime/ObjectRef.h"
#include "tavric/BoundedArray.h"

namespace tavric::ModBiDirDetection {

// The number of planes that must be scanned in both senses.
inline constexpr Int16 kRequiredPlanes = 3;

// True when at least three planes were scanned in both senses. Reads
// Points(1) .. Points(N), N = UBound(Points). Raises 9 when the points give
// no chord at all (N < 1 + ChordStep(N)).
bool DetectBiDirScans(ClsVector& Centre, Array1<Ref<ClsVector>>& Points);

// What the check found: scans detected, plane groups, and the planes among
// them that were scanned in both senses.
struct ScanPlanes {
  Int32 scans = 0;
  Int16 planes = 0;
  Int16 bidirectional_planes = 0;
};

// The counting behind DetectBiDirScans, for reports; same failures.
ScanPlanes CountScanPlanes(ClsVector& Centre, Array1<Ref<ClsVector>>& Points);

// The chord stride for N points: N / 200 rounded half to even, at least 1,
// so that about 200 chords are taken whatever the sampling density.
Int32 ChordStep(Int32 n);

// True as soon as a member of `normals` has a scalar product with V below
// -0.95 (the same plane travelled the other way).
bool HasOpposite(ClsVector& V, OrderedCollection<Ref<ClsVector>>& normals);

// Removes every member whose scalar product with V has an absolute value
// above 0.95 (the same plane, either sense). Reads the first member without
// checking, so an empty collection raises 9.
void RemoveSamePlane(ClsVector& V, OrderedCollection<Ref<ClsVector>>& normals);

}  // namespace tavric::ModBiDirDetection
