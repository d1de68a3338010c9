// ClsProbeCalibration: the public interface of the Tavric library.
//
// A host creates a ClsProbeCalibration, adjusts the settings of the fit,
// runs a calibration on scan data of a reference sphere (Optimise with a data
// array, OptimiseFromFile with a logged-data file), reads back the quality of
// the fit and the fitted sphere, converts probe readings with Transform, and
// saves or reloads the calibration with SaveCalibrationFunctions and
// LoadCalibrationFunctions.
//
// The members mirror the automation interface one for one: a property get is
// Name(), a let is Name(value); by-reference arguments are C++ references.
// Units: machine positions and the sphere in millimetres, readings in counts,
// head angles in degrees, fit statistics in millimetres.
//
// State is per thread, not per instance: every instance on a thread shares
// one set of settings, calibration polynomial and sphere, and constructing an
// instance resets that set to its defaults (so a second instance discards the
// calibration held for the first). Calibrations on different threads never
// see each other.
//
// Errors: the operations that return a result text ("OK" or a message) never
// throw. The other members throw tavric::RuntimeError when they fail.
//
// Example:
//   tavric::ClsProbeCalibration cal;
//   std::string file = "scan.txt";
//   std::uint8_t order = 3;
//   if (cal.OptimiseFromFile(file, order) == "OK") {
//     double x, y, z;
//     cal.Transform(1200.0, -350.0, 80.0, x, y, z);   // deflection in mm
//     std::string out = "scan.cal";
//     cal.SaveCalibrationFunctions(out);
//   }
#pragma once

#include <cstdint>
#include <string>

#include "tavric/BoundedArray.h"
#include "tavric/RunReport.h"
#include "tavric/RuntimeError.h"

namespace tavric {

// Which tests stop the optimiser (ConvergenceDetectionMethod).
enum NE_ConvergenceDetection : std::int32_t {
  E_GradientNorm = 1,     // the gradient norm is below ConvergenceGradientNormValue
  E_ParameterStable = 2,  // every parameter step is below its stability value
  E_Both = 3,             // both (the default)
};

class ClsProbeCalibration {
 public:
  // Resets this thread's calibration state to its defaults and installs a
  // new, empty order-1 calibration polynomial.
  ClsProbeCalibration();

  // --- Fit statistics of the last optimisation (mm; residuals are signed) --
  double FitMax() const;
  double FitMin() const;
  double FitRMS() const;

  // --- Settings --------------------------------------------------------------
  // Starting gain of the probe, mm per count (default 0.0000625).
  double InitialProbeGain() const;
  void InitialProbeGain(double value);
  // The optimiser runs at most IterationMaxNumber + 1 outer iterations
  // (default 10). Reaching the limit still returns "OK": see LastRunReport().
  std::uint8_t IterationMaxNumber() const;
  void IterationMaxNumber(std::uint8_t value);
  // A polynomial coefficient step counts as stable below 1000 times this
  // value (the fit works in thousands of counts; default 0.000000001).
  double ConvergencePolyParamValue() const;
  void ConvergencePolyParamValue(double value);
  // A sphere centre or radius step below this value (mm) counts as stable
  // (default 0.00001).
  double ConvergenceSphereValue() const;
  void ConvergenceSphereValue(double value);
  // A gradient norm below this value counts as converged (default 0.001).
  double ConvergenceGradientNormValue() const;
  void ConvergenceGradientNormValue(double value);
  // Stop test (default E_Both). Values below 1 are stored as 1, above 3 as 3.
  NE_ConvergenceDetection ConvergenceDetectionMethod() const;
  void ConvergenceDetectionMethod(std::int32_t value);
  // Damping factor of the Levenberg-Marquardt algorithm (default 10).
  // Reset to the default at the end of every Optimise.
  double nu() const;
  void nu(double value);
  // Damping of the Levenberg-Marquardt algorithm (default 0.0001).
  // Reset to the default at the end of every Optimise.
  double Mu() const;
  void Mu(double value);
  // Show the progress display while optimising (default false).
  bool ProgressDisplay() const;
  void ProgressDisplay(bool value);

  // --- Other small operations -------------------------------------------------
  // Product banner and version, e.g. "Tavric Scanning Probe Calibration 1.0.0".
  std::string DLLVersion() const;
  // Radius of the fitted sphere (mm; 0 before any fit).
  double SphereRadius() const;
  // Centre component i (1, 2, 3) of the fitted sphere (mm); other i give 0.
  double SphereCentre(const std::uint8_t& i) const;
  // Probe offsets (counts): the negated constant term of the polynomial.
  void GetProbeOffsets(double& P, double& Q, double& R) const;
  void LetProbeOffsets(const double& P, const double& Q, const double& R);
  // Coefficients of the term P^PowerP * Q^powerQ * R^powerR for X, Y, Z
  // (zeros, and ignored when set, for a term the polynomial does not hold).
  void GetPolyParameters(const std::int16_t& PowerP, const std::int16_t& powerQ,
                         const std::int16_t& powerR, double& Xcoeff, double& Ycoeff,
                         double& Zcoeff) const;
  void SetPolyParameters(const std::int16_t& PowerP, const std::int16_t& powerQ,
                         const std::int16_t& powerR, const double& Xcoeff, const double& Ycoeff,
                         const double& Zcoeff);
  // Order of the calibration polynomial; setting it clears every coefficient.
  std::uint8_t PolynomialOrder() const;
  void PolynomialOrder(const std::uint8_t& Order);

  // --- Head orientation (degrees) and directions (unit vectors) ---------------
  double InitialHX7a() const;
  void InitialHX7a(double degrees);
  double InitialHX7b() const;
  void InitialHX7b(double degrees);
  void LetHX7aDir(const double& i, const double& j, const double& k);
  void GetHX7aDir(double& i, double& j, double& k) const;
  void LetHX7bDir(const double& i, const double& j, const double& k);
  void GetHX7bDir(double& i, double& j, double& k) const;

  // Probe readings (counts) to deflection (mm) with the calibration polynomial.
  void Transform(double P, double Q, double R, double& X, double& Y, double& Z) const;

  // --- Calibration -------------------------------------------------------------
  // Fits the calibration to Data (fields x samples, any lower bounds: fields
  // P, Q, R, X, Y, Z at offsets 0..5 of the first dimension; at most 32,767
  // samples). Order is clamped in place to 1..3. Returns "OK" or a message;
  // on failure the calibration polynomial is left as it was.
  std::string Optimise(const DataArray& Data, std::uint8_t& Order);
  // The same from a logged-data file in the marked or the generic layout.
  std::string OptimiseFromFile(const std::string& FileName, std::uint8_t& Order);

  // Writes / reads the sphere, the fit statistics and the polynomial.
  std::string SaveCalibrationFunctions(const std::string& FileName);
  std::string LoadCalibrationFunctions(std::string FileName);
};

}  // namespace tavric
