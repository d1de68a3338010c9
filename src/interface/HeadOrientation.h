// The probe head's orientation and the starting matrix of a calibration run.
//
// The head has two rotary axes a and b, each with an angle (kept in radians)
// and a direction (a unit vector in machine coordinates). A run starts its
// first-order terms from InitialProbeGain times the rotation of the head:
// the b rotation first, then the a rotation about the a axis as carried by
// the b rotation, both angles with their sign reversed.
#pragma once

#include <string>

#include "runtime/ObjectRef.h"

namespace tavric {

class Matrix33;
class ClsVector;

// Degrees <-> radians with the constant 3.14159265358979 (multiply first,
// divide second).
double DegreesToRadians(double degrees);
double RadiansToDegrees(double radians);

// A new vector along (i, j, k), normalised unless it is the zero vector.
Ref<ClsVector> UnitDirection(double i, double j, double k);

// The starting matrix M0 from InitialProbeGain and the head orientation of
// this thread's state. Its final product is formed only while `result` is
// still "OK"; otherwise the returned matrix is the gain matrix G.
Ref<Matrix33> StartingMatrix(const std::string& result);

}  // namespace tavric
