// ComProbeCalibration: the automation object behind the coclass
// ClsProbeCalibration.
//
// Implements the dual interface _ClsProbeCalibration (IDispatch through the
// embedded type library) and ISupportErrorInfo. Every member delegates to a
// tavric::ClsProbeCalibration, created with the object, which resets the
// calling thread's calibration state exactly as creating the class does in
// any other host. Errors of the accessors come back as failing HRESULTs with
// error information (ComErrors.h); the operations that return a result text
// return it as a BSTR and never fail for a calibration problem. A client
// that passes a null pointer gets E_POINTER, and a data array of anything
// but doubles DISP_E_TYPEMISMATCH.
//
// The server is apartment-threaded: an object is only ever called on the
// thread that created it, which is also the thread whose state it uses.
#pragma once

#include <windows.h>

#include <atomic>

#include "Tavric_h.h"
#include "tavric/ClsProbeCalibration.h"

namespace tavric::com {

class ComProbeCalibration final : public _ClsProbeCalibration, public ISupportErrorInfo {
 public:
  // Creates an object and returns the requested interface of it.
  static HRESULT Create(REFIID riid, void** object);

  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  // IDispatch
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID lcid, ITypeInfo** info) override;
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID lcid,
                                          DISPID* ids) override;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags,
                                   DISPPARAMS* params, VARIANT* result, EXCEPINFO* exception,
                                   UINT* bad_argument) override;

  // ISupportErrorInfo
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) override;

  // _ClsProbeCalibration
  HRESULT STDMETHODCALLTYPE get_FitMax(double* value) override;
  HRESULT STDMETHODCALLTYPE get_FitMin(double* value) override;
  HRESULT STDMETHODCALLTYPE get_FitRMS(double* value) override;
  HRESULT STDMETHODCALLTYPE get_InitialProbeGain(double* value) override;
  HRESULT STDMETHODCALLTYPE put_InitialProbeGain(double value) override;
  HRESULT STDMETHODCALLTYPE get_IterationMaxNumber(unsigned char* value) override;
  HRESULT STDMETHODCALLTYPE put_IterationMaxNumber(unsigned char value) override;
  HRESULT STDMETHODCALLTYPE get_ConvergencePolyParamValue(double* value) override;
  HRESULT STDMETHODCALLTYPE put_ConvergencePolyParamValue(double value) override;
  HRESULT STDMETHODCALLTYPE get_ConvergenceSphereValue(double* value) override;
  HRESULT STDMETHODCALLTYPE put_ConvergenceSphereValue(double value) override;
  HRESULT STDMETHODCALLTYPE get_ConvergenceGradientNormValue(double* value) override;
  HRESULT STDMETHODCALLTYPE put_ConvergenceGradientNormValue(double value) override;
  HRESULT STDMETHODCALLTYPE
  get_ConvergenceDetectionMethod(::NE_ConvergenceDetection* value) override;
  HRESULT STDMETHODCALLTYPE
  put_ConvergenceDetectionMethod(::NE_ConvergenceDetection value) override;
  HRESULT STDMETHODCALLTYPE get_nu(double* value) override;
  HRESULT STDMETHODCALLTYPE put_nu(double value) override;
  HRESULT STDMETHODCALLTYPE get_Mu(double* value) override;
  HRESULT STDMETHODCALLTYPE put_Mu(double value) override;
  HRESULT STDMETHODCALLTYPE get_ProgressDisplay(VARIANT_BOOL* value) override;
  HRESULT STDMETHODCALLTYPE put_ProgressDisplay(VARIANT_BOOL value) override;
  HRESULT STDMETHODCALLTYPE get_DLLVersion(BSTR* value) override;
  HRESULT STDMETHODCALLTYPE get_SphereRadius(double* value) override;
  HRESULT STDMETHODCALLTYPE get_SphereCentre(unsigned char* i, double* value) override;
  HRESULT STDMETHODCALLTYPE GetProbeOffsets(double* P, double* Q, double* R) override;
  HRESULT STDMETHODCALLTYPE LetProbeOffsets(double* P, double* Q, double* R) override;
  HRESULT STDMETHODCALLTYPE GetPolyParameters(short* PowerP, short* powerQ, short* powerR,
                                              double* Xcoeff, double* Ycoeff,
                                              double* Zcoeff) override;
  HRESULT STDMETHODCALLTYPE SetPolyParameters(short* PowerP, short* powerQ, short* powerR,
                                              double* Xcoeff, double* Ycoeff,
                                              double* Zcoeff) override;
  HRESULT STDMETHODCALLTYPE get_PolynomialOrder(unsigned char* value) override;
  HRESULT STDMETHODCALLTYPE put_PolynomialOrder(unsigned char* Order) override;
  HRESULT STDMETHODCALLTYPE get_InitialHX7a(double* value) override;
  HRESULT STDMETHODCALLTYPE put_InitialHX7a(double value) override;
  HRESULT STDMETHODCALLTYPE get_InitialHX7b(double* value) override;
  HRESULT STDMETHODCALLTYPE put_InitialHX7b(double value) override;
  HRESULT STDMETHODCALLTYPE LetHX7aDir(double* i, double* j, double* k) override;
  HRESULT STDMETHODCALLTYPE GetHX7aDir(double* i, double* j, double* k) override;
  HRESULT STDMETHODCALLTYPE LetHX7bDir(double* i, double* j, double* k) override;
  HRESULT STDMETHODCALLTYPE GetHX7bDir(double* i, double* j, double* k) override;
  HRESULT STDMETHODCALLTYPE Transform(double P, double Q, double R, double* X, double* Y,
                                      double* Z) override;
  HRESULT STDMETHODCALLTYPE Optimise(SAFEARRAY** Data, unsigned char* Order, BSTR* result) override;
  HRESULT STDMETHODCALLTYPE OptimiseFromFile(BSTR* FileName, unsigned char* Order,
                                             BSTR* result) override;
  HRESULT STDMETHODCALLTYPE SaveCalibrationFunctions(BSTR* FileName, BSTR* result) override;
  HRESULT STDMETHODCALLTYPE LoadCalibrationFunctions(BSTR FileName, BSTR* result) override;

 private:
  ComProbeCalibration();
  ~ComProbeCalibration();

  std::atomic<ULONG> references_{1};
  tavric::ClsProbeCalibration calibration_;
};

}  // namespace tavric::com
