#include "tavric/ClsProbeCalibration.h"

#include "geometry/ClsVector.h"
#include "interface/CalibrationFile.h"
#include "interface/CalibrationProcedure.h"
#include "interface/HeadOrientation.h"
#include "interface/ProjectState.h"
#include "polynomial/Polynome3Variables.h"
#include "runtime/CheckedMath.h"
#include "sphere/ClsSphere.h"

namespace tavric {
namespace {

Polynome3Variables& Polynomial() { return Deref(State().polynomial); }

ClsVector& Direction(Ref<ClsVector>& slot) {
  if (!slot) slot = NewVector();
  return *slot;
}

}  // namespace

ClsProbeCalibration::ClsProbeCalibration() {
  fp::Boundary boundary;
  ResetForNewInstance(State());
}

double ClsProbeCalibration::FitMax() const { return State().FitMax; }
double ClsProbeCalibration::FitMin() const { return State().FitMin; }
double ClsProbeCalibration::FitRMS() const { return State().FitRMS; }

double ClsProbeCalibration::InitialProbeGain() const { return State().InitialProbeGain; }
void ClsProbeCalibration::InitialProbeGain(double value) { State().InitialProbeGain = value; }
std::uint8_t ClsProbeCalibration::IterationMaxNumber() const { return State().IterationMaxNumber; }
void ClsProbeCalibration::IterationMaxNumber(std::uint8_t value) {
  State().IterationMaxNumber = value;
}
double ClsProbeCalibration::ConvergencePolyParamValue() const {
  return State().ConvergencePolyParamValue;
}
void ClsProbeCalibration::ConvergencePolyParamValue(double value) {
  State().ConvergencePolyParamValue = value;
}
double ClsProbeCalibration::ConvergenceSphereValue() const {
  return State().ConvergenceSphereValue;
}
void ClsProbeCalibration::ConvergenceSphereValue(double value) {
  State().ConvergenceSphereValue = value;
}
double ClsProbeCalibration::ConvergenceGradientNormValue() const {
  return State().ConvergenceGradientNormValue;
}
void ClsProbeCalibration::ConvergenceGradientNormValue(double value) {
  State().ConvergenceGradientNormValue = value;
}
NE_ConvergenceDetection ClsProbeCalibration::ConvergenceDetectionMethod() const {
  return static_cast<NE_ConvergenceDetection>(State().ConvergenceDetectionMethod);
}
void ClsProbeCalibration::ConvergenceDetectionMethod(std::int32_t value) {
  State().ConvergenceDetectionMethod = static_cast<Byte>(value < 1 ? 1 : (value > 3 ? 3 : value));
}
double ClsProbeCalibration::nu() const { return State().nu; }
void ClsProbeCalibration::nu(double value) { State().nu = value; }
double ClsProbeCalibration::Mu() const { return State().Mu; }
void ClsProbeCalibration::Mu(double value) { State().Mu = value; }
bool ClsProbeCalibration::ProgressDisplay() const { return State().progress_display; }
void ClsProbeCalibration::ProgressDisplay(bool value) { State().progress_display = value; }

std::string ClsProbeCalibration::DLLVersion() const { return State().version_text; }

double ClsProbeCalibration::SphereRadius() const { return StateSphere().R(); }

double ClsProbeCalibration::SphereCentre(const std::uint8_t& i) const {
  return Deref(StateSphere().Pt()).C(i);
}

void ClsProbeCalibration::GetProbeOffsets(double& P, double& Q, double& R) const {
  fp::Boundary boundary;
  const Array1<double> t = Polynomial().TheCoeff(0, 0, 0);
  P = -t(1);
  Q = -t(2);
  R = -t(3);
}

void ClsProbeCalibration::LetProbeOffsets(const double& P, const double& Q, const double& R) {
  fp::Boundary boundary;
  Polynomial().TheCoeff(0, 0, 0, CoefficientTriple(-P, -Q, -R));
}

void ClsProbeCalibration::GetPolyParameters(const std::int16_t& PowerP, const std::int16_t& powerQ,
                                            const std::int16_t& powerR, double& Xcoeff,
                                            double& Ycoeff, double& Zcoeff) const {
  const Array1<double> t = Polynomial().TheCoeff(PowerP, powerQ, powerR);
  Xcoeff = t(1);
  Ycoeff = t(2);
  Zcoeff = t(3);
}

void ClsProbeCalibration::SetPolyParameters(const std::int16_t& PowerP, const std::int16_t& powerQ,
                                            const std::int16_t& powerR, const double& Xcoeff,
                                            const double& Ycoeff, const double& Zcoeff) {
  Polynomial().TheCoeff(PowerP, powerQ, powerR, CoefficientTriple(Xcoeff, Ycoeff, Zcoeff));
}

std::uint8_t ClsProbeCalibration::PolynomialOrder() const { return Polynomial().Order(); }

void ClsProbeCalibration::PolynomialOrder(const std::uint8_t& Order) {
  fp::Boundary boundary;
  Polynomial().Order(Order);
}

double ClsProbeCalibration::InitialHX7a() const {
  fp::Boundary boundary;
  return RadiansToDegrees(State().head_angle_a);
}
void ClsProbeCalibration::InitialHX7a(double degrees) {
  fp::Boundary boundary;
  State().head_angle_a = DegreesToRadians(degrees);
}
double ClsProbeCalibration::InitialHX7b() const {
  fp::Boundary boundary;
  return RadiansToDegrees(State().head_angle_b);
}
void ClsProbeCalibration::InitialHX7b(double degrees) {
  fp::Boundary boundary;
  State().head_angle_b = DegreesToRadians(degrees);
}

void ClsProbeCalibration::LetHX7aDir(const double& i, const double& j, const double& k) {
  fp::Boundary boundary;
  State().head_direction_a = UnitDirection(i, j, k);
}
void ClsProbeCalibration::GetHX7aDir(double& i, double& j, double& k) const {
  const ClsVector& v = Direction(State().head_direction_a);
  i = v.C1();
  j = v.C2();
  k = v.C3();
}
void ClsProbeCalibration::LetHX7bDir(const double& i, const double& j, const double& k) {
  fp::Boundary boundary;
  State().head_direction_b = UnitDirection(i, j, k);
}
void ClsProbeCalibration::GetHX7bDir(double& i, double& j, double& k) const {
  const ClsVector& v = Direction(State().head_direction_b);
  i = v.C1();
  j = v.C2();
  k = v.C3();
}

void ClsProbeCalibration::Transform(double P, double Q, double R, double& X, double& Y,
                                    double& Z) const {
  fp::Boundary boundary;
  Polynomial().Value(fp::RequireFinite(P), fp::RequireFinite(Q), fp::RequireFinite(R), X, Y, Z);
}

std::string ClsProbeCalibration::Optimise(const DataArray& Data, std::uint8_t& Order) {
  fp::Boundary boundary;
  return tavric::Optimise(Data, Order);
}

std::string ClsProbeCalibration::OptimiseFromFile(const std::string& FileName,
                                                  std::uint8_t& Order) {
  fp::Boundary boundary;
  return tavric::OptimiseFromFile(FileName, Order);
}

std::string ClsProbeCalibration::SaveCalibrationFunctions(const std::string& FileName) {
  fp::Boundary boundary;
  return tavric::SaveCalibrationFunctions(FileName);
}

std::string ClsProbeCalibration::LoadCalibrationFunctions(std::string FileName) {
  fp::Boundary boundary;
  return tavric::LoadCalibrationFunctions(FileName);
}

}  // namespace tavric
