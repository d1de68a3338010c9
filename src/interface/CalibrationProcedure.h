// The calibration procedure: one calibration run on a data array, and the two
// entry points Optimise and OptimiseFromFile that lead to it.
//
// Steps of a run: clamp the order; fit the reference sphere to the machine
// positions; check that enough planes were scanned in both senses; build the
// starting matrix from the head orientation; initialise and iterate the
// calibration model; on success install the fitted polynomial (scaled back to
// raw counts, probe offsets restored) as the calibration polynomial.
#pragma once

#include <string>

#include "runtime/Narrow.h"
#include "runtime/ObjectRef.h"
#include "tavric/BoundedArray.h"

namespace tavric {

class ClsVector;

// The reference sphere is fitted with this tolerance (mm) and iteration limit.
inline constexpr double kSphereFitTolerance = 0.005;
inline constexpr Int16 kSphereFitIterations = 10;

// Puts Mu and nu back at their defaults when it goes out of scope, so that
// every Optimise call leaves the defaults behind, whether or not the
// optimiser was reached (and also when a host's call is refused before it
// reaches the procedure).
struct DampingReset {
  DampingReset() = default;
  DampingReset(const DampingReset&) = delete;
  DampingReset& operator=(const DampingReset&) = delete;
  ~DampingReset();
};

// Number of samples of a calibration data array. The bounds of the samples'
// dimension and the count are 16-bit values: a bound outside -32,768..32,767
// or a count beyond 32,767 raises 6.
Int16 SampleCount(const Array2<double>& data);

// The machine positions (fields 3..5 from the first lower bound) of samples
// 1..n as vectors, in an array (0 To n) whose element 0 stays empty.
Array1<Ref<ClsVector>> MachinePositions(const Array2<double>& data, Int16 n);

// One run on `data` with `order` (clamped in place). Returns the result text
// ("OK" or the first failing step's message) and stores it as the last
// result. Run-time errors propagate to the caller's trap.
std::string RunCalibration(const Array2<double>& data, Byte& order);

// The entry points behind ClsProbeCalibration::Optimise / OptimiseFromFile.
std::string Optimise(const Array2<double>& data, Byte& order);
std::string OptimiseFromFile(const std::string& file_name, Byte& order);

}  // namespace tavric
