#include "ComProbeCalibration.h"

#include <xmmintrin.h>

#include <new>
#include <string>

#include "ComErrors.h"
#include "SafeArrayData.h"
#include "ServerModule.h"
#include "WideText.h"
#include "Win32ProgressView.h"
#include "interface/CalibrationProcedure.h"
#include "runtime/ErrorTrap.h"

namespace tavric::com {
namespace {

// Every call runs in the floating-point environment the library is built
// for, whatever the host has set (hosts that unmask floating-point
// exceptions exist): SSE and x87 exceptions masked, rounding to nearest, no
// flush to zero, flags clear. The host's own environment, flags included,
// is back in place when the call returns.
class CallScope {
 public:
  CallScope() noexcept : csr_(_mm_getcsr()) {
    // fnstenv also masks every x87 exception; the control word then gets
    // the library's value and the status its clear flags.
    __asm__ __volatile__("fnstenv %0" : "=m"(x87_));
    const unsigned short control = kX87Control;
    __asm__ __volatile__("fldcw %0\n\tfnclex" : : "m"(control));
    _mm_setcsr(kMxcsr);
    ClearErrorInfo();
  }
  ~CallScope() {
    _mm_setcsr(csr_);
    __asm__ __volatile__("fldenv %0" : : "m"(x87_));
  }
  CallScope(const CallScope&) = delete;
  CallScope& operator=(const CallScope&) = delete;

 private:
  // MXCSR: every exception masked, round to nearest, no FTZ/DAZ, no flags.
  static constexpr unsigned int kMxcsr = 0x1F80;
  // x87: every exception masked, 64-bit precision, round to nearest.
  static constexpr unsigned short kX87Control = 0x037F;

  unsigned int csr_;
  unsigned char x87_[28] = {};  // the 32-bit protected-mode x87 environment
};

// Runs `body`; an exception becomes a failing HRESULT with error information.
template <class Body>
HRESULT Call(Body&& body) noexcept {
  CallScope scope;
  try {
    body();
    return S_OK;
  } catch (...) {
    return ReportCurrentException();
  }
}

// A property get: stores what `read` returns in *value.
template <class T, class Read>
HRESULT Get(T* value, Read&& read) noexcept {
  if (value == nullptr) return E_POINTER;
  return Call([&] { *value = read(); });
}

template <class... T>
bool AnyNull(T*... pointers) noexcept {
  return ((pointers == nullptr) || ...);
}

// An operation that returns a result text. `run` gives the text; should it
// throw (it is not expected to), the text is the operation's own error text
// built from `prefix` and `separator`.
template <class Run>
HRESULT ResultText(BSTR* result, const char* prefix, const char* separator, Run&& run) noexcept {
  CallScope scope;
  try {
    std::string text;
    try {
      text = run();
    } catch (...) {
      text = TrapText(prefix, CurrentErrorInfo(), separator);
    }
    return Utf8ToBstr(text, result);
  } catch (...) {
    return ReportCurrentException();
  }
}

}  // namespace

HRESULT ComProbeCalibration::Create(REFIID riid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  ComProbeCalibration* created = nullptr;
  const HRESULT hr = Call([&] { created = new ComProbeCalibration(); });
  if (FAILED(hr)) return hr;
  const HRESULT qi = created->QueryInterface(riid, object);
  created->Release();
  return qi;
}

ComProbeCalibration::ComProbeCalibration() { ObjectCreated(); }
ComProbeCalibration::~ComProbeCalibration() { ObjectDestroyed(); }

// --- IUnknown ------------------------------------------------------------------

HRESULT ComProbeCalibration::QueryInterface(REFIID riid, void** object) {
  if (object == nullptr) return E_POINTER;
  if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IDispatch) ||
      IsEqualIID(riid, IID__ClsProbeCalibration)) {
    *object = static_cast<_ClsProbeCalibration*>(this);
  } else if (IsEqualIID(riid, IID_ISupportErrorInfo)) {
    *object = static_cast<ISupportErrorInfo*>(this);
  } else {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

ULONG ComProbeCalibration::AddRef() { return ++references_; }

ULONG ComProbeCalibration::Release() {
  const ULONG left = --references_;
  if (left == 0) delete this;
  return left;
}

// --- IDispatch -----------------------------------------------------------------

HRESULT ComProbeCalibration::GetTypeInfoCount(UINT* count) {
  if (count == nullptr) return E_POINTER;
  *count = 1;
  return S_OK;
}

HRESULT ComProbeCalibration::GetTypeInfo(UINT index, LCID, ITypeInfo** info) {
  if (info == nullptr) return E_POINTER;
  *info = nullptr;
  if (index != 0) return DISP_E_BADINDEX;
  return DispatchTypeInfo(info);
}

HRESULT ComProbeCalibration::GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID,
                                           DISPID* ids) {
  if (!IsEqualIID(riid, IID_NULL)) return DISP_E_UNKNOWNINTERFACE;
  ITypeInfo* info = nullptr;
  HRESULT hr = VtableTypeInfo(&info);
  if (FAILED(hr)) return hr;
  hr = info->GetIDsOfNames(names, count, ids);
  info->Release();
  return hr;
}

HRESULT ComProbeCalibration::Invoke(DISPID id, REFIID riid, LCID, WORD flags, DISPPARAMS* params,
                                    VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) {
  if (!IsEqualIID(riid, IID_NULL)) return DISP_E_UNKNOWNINTERFACE;
  ITypeInfo* info = nullptr;
  HRESULT hr = VtableTypeInfo(&info);
  if (FAILED(hr)) return hr;
  // The type information calls the member through this object's vtable and
  // turns a failing HRESULT into DISP_E_EXCEPTION.
  hr = info->Invoke(static_cast<_ClsProbeCalibration*>(this), id, flags, params, result, exception,
                    bad_argument);
  info->Release();
  if (hr == DISP_E_EXCEPTION && exception != nullptr && exception->bstrDescription == nullptr) {
    IErrorInfo* error = nullptr;
    if (GetErrorInfo(0, &error) == S_OK && error != nullptr) {
      error->GetDescription(&exception->bstrDescription);
      if (exception->bstrSource == nullptr) error->GetSource(&exception->bstrSource);
      error->Release();
    }
  }
  return hr;
}

// --- ISupportErrorInfo ---------------------------------------------------------

HRESULT ComProbeCalibration::InterfaceSupportsErrorInfo(REFIID riid) {
  return IsEqualIID(riid, IID__ClsProbeCalibration) ? S_OK : S_FALSE;
}

// --- Fit statistics and settings -------------------------------------------------

HRESULT ComProbeCalibration::get_FitMax(double* value) {
  return Get(value, [&] { return calibration_.FitMax(); });
}
HRESULT ComProbeCalibration::get_FitMin(double* value) {
  return Get(value, [&] { return calibration_.FitMin(); });
}
HRESULT ComProbeCalibration::get_FitRMS(double* value) {
  return Get(value, [&] { return calibration_.FitRMS(); });
}

HRESULT ComProbeCalibration::get_InitialProbeGain(double* value) {
  return Get(value, [&] { return calibration_.InitialProbeGain(); });
}
HRESULT ComProbeCalibration::put_InitialProbeGain(double value) {
  return Call([&] { calibration_.InitialProbeGain(value); });
}

HRESULT ComProbeCalibration::get_IterationMaxNumber(unsigned char* value) {
  return Get(value, [&] { return calibration_.IterationMaxNumber(); });
}
HRESULT ComProbeCalibration::put_IterationMaxNumber(unsigned char value) {
  return Call([&] { calibration_.IterationMaxNumber(value); });
}

HRESULT ComProbeCalibration::get_ConvergencePolyParamValue(double* value) {
  return Get(value, [&] { return calibration_.ConvergencePolyParamValue(); });
}
HRESULT ComProbeCalibration::put_ConvergencePolyParamValue(double value) {
  return Call([&] { calibration_.ConvergencePolyParamValue(value); });
}

HRESULT ComProbeCalibration::get_ConvergenceSphereValue(double* value) {
  return Get(value, [&] { return calibration_.ConvergenceSphereValue(); });
}
HRESULT ComProbeCalibration::put_ConvergenceSphereValue(double value) {
  return Call([&] { calibration_.ConvergenceSphereValue(value); });
}

HRESULT ComProbeCalibration::get_ConvergenceGradientNormValue(double* value) {
  return Get(value, [&] { return calibration_.ConvergenceGradientNormValue(); });
}
HRESULT ComProbeCalibration::put_ConvergenceGradientNormValue(double value) {
  return Call([&] { calibration_.ConvergenceGradientNormValue(value); });
}

HRESULT ComProbeCalibration::get_ConvergenceDetectionMethod(::NE_ConvergenceDetection* value) {
  return Get(value, [&] {
    return static_cast<::NE_ConvergenceDetection>(calibration_.ConvergenceDetectionMethod());
  });
}
HRESULT ComProbeCalibration::put_ConvergenceDetectionMethod(::NE_ConvergenceDetection value) {
  return Call([&] { calibration_.ConvergenceDetectionMethod(static_cast<std::int32_t>(value)); });
}

HRESULT ComProbeCalibration::get_nu(double* value) {
  return Get(value, [&] { return calibration_.nu(); });
}
HRESULT ComProbeCalibration::put_nu(double value) {
  return Call([&] { calibration_.nu(value); });
}

HRESULT ComProbeCalibration::get_Mu(double* value) {
  return Get(value, [&] { return calibration_.Mu(); });
}
HRESULT ComProbeCalibration::put_Mu(double value) {
  return Call([&] { calibration_.Mu(value); });
}

HRESULT ComProbeCalibration::get_ProgressDisplay(VARIANT_BOOL* value) {
  return Get(value, [&] { return calibration_.ProgressDisplay() ? VARIANT_TRUE : VARIANT_FALSE; });
}
HRESULT ComProbeCalibration::put_ProgressDisplay(VARIANT_BOOL value) {
  return Call([&] { calibration_.ProgressDisplay(value != VARIANT_FALSE); });
}

// --- Other small operations ----------------------------------------------------------

HRESULT ComProbeCalibration::get_DLLVersion(BSTR* value) {
  if (value == nullptr) return E_POINTER;
  *value = nullptr;
  return Call([&] {
    if (FAILED(Utf8ToBstr(calibration_.DLLVersion(), value))) Raise(err::kOutOfMemory);
  });
}

HRESULT ComProbeCalibration::get_SphereRadius(double* value) {
  return Get(value, [&] { return calibration_.SphereRadius(); });
}

HRESULT ComProbeCalibration::get_SphereCentre(unsigned char* i, double* value) {
  if (AnyNull(i, value)) return E_POINTER;
  return Call([&] { *value = calibration_.SphereCentre(*i); });
}

HRESULT ComProbeCalibration::GetProbeOffsets(double* P, double* Q, double* R) {
  if (AnyNull(P, Q, R)) return E_POINTER;
  return Call([&] { calibration_.GetProbeOffsets(*P, *Q, *R); });
}

HRESULT ComProbeCalibration::LetProbeOffsets(double* P, double* Q, double* R) {
  if (AnyNull(P, Q, R)) return E_POINTER;
  return Call([&] { calibration_.LetProbeOffsets(*P, *Q, *R); });
}

HRESULT ComProbeCalibration::GetPolyParameters(short* PowerP, short* powerQ, short* powerR,
                                               double* Xcoeff, double* Ycoeff, double* Zcoeff) {
  if (AnyNull(PowerP, powerQ, powerR, Xcoeff, Ycoeff, Zcoeff)) return E_POINTER;
  return Call([&] {
    calibration_.GetPolyParameters(*PowerP, *powerQ, *powerR, *Xcoeff, *Ycoeff, *Zcoeff);
  });
}

HRESULT ComProbeCalibration::SetPolyParameters(short* PowerP, short* powerQ, short* powerR,
                                               double* Xcoeff, double* Ycoeff, double* Zcoeff) {
  if (AnyNull(PowerP, powerQ, powerR, Xcoeff, Ycoeff, Zcoeff)) return E_POINTER;
  return Call([&] {
    calibration_.SetPolyParameters(*PowerP, *powerQ, *powerR, *Xcoeff, *Ycoeff, *Zcoeff);
  });
}

HRESULT ComProbeCalibration::get_PolynomialOrder(unsigned char* value) {
  return Get(value, [&] { return calibration_.PolynomialOrder(); });
}
HRESULT ComProbeCalibration::put_PolynomialOrder(unsigned char* Order) {
  if (Order == nullptr) return E_POINTER;
  return Call([&] { calibration_.PolynomialOrder(*Order); });
}

// --- Head orientation and Transform ------------------------------------------------

HRESULT ComProbeCalibration::get_InitialHX7a(double* value) {
  return Get(value, [&] { return calibration_.InitialHX7a(); });
}
HRESULT ComProbeCalibration::put_InitialHX7a(double value) {
  return Call([&] { calibration_.InitialHX7a(value); });
}
HRESULT ComProbeCalibration::get_InitialHX7b(double* value) {
  return Get(value, [&] { return calibration_.InitialHX7b(); });
}
HRESULT ComProbeCalibration::put_InitialHX7b(double value) {
  return Call([&] { calibration_.InitialHX7b(value); });
}

HRESULT ComProbeCalibration::LetHX7aDir(double* i, double* j, double* k) {
  if (AnyNull(i, j, k)) return E_POINTER;
  return Call([&] { calibration_.LetHX7aDir(*i, *j, *k); });
}
HRESULT ComProbeCalibration::GetHX7aDir(double* i, double* j, double* k) {
  if (AnyNull(i, j, k)) return E_POINTER;
  return Call([&] { calibration_.GetHX7aDir(*i, *j, *k); });
}
HRESULT ComProbeCalibration::LetHX7bDir(double* i, double* j, double* k) {
  if (AnyNull(i, j, k)) return E_POINTER;
  return Call([&] { calibration_.LetHX7bDir(*i, *j, *k); });
}
HRESULT ComProbeCalibration::GetHX7bDir(double* i, double* j, double* k) {
  if (AnyNull(i, j, k)) return E_POINTER;
  return Call([&] { calibration_.GetHX7bDir(*i, *j, *k); });
}

HRESULT ComProbeCalibration::Transform(double P, double Q, double R, double* X, double* Y,
                                       double* Z) {
  if (AnyNull(X, Y, Z)) return E_POINTER;
  return Call([&] { calibration_.Transform(P, Q, R, *X, *Y, *Z); });
}

// --- Calibration and the calibration-functions file ----------------------------------

HRESULT ComProbeCalibration::Optimise(SAFEARRAY** Data, unsigned char* Order, BSTR* result) {
  // Every call ends with Mu and nu at their defaults, also one refused here.
  const DampingReset damping_reset;
  if (result == nullptr) return E_POINTER;
  *result = nullptr;
  if (AnyNull(Data, Order)) return E_POINTER;
  if (FAILED(CheckDoubleElements(*Data))) {
    CallScope scope;
    return ReportError(DISP_E_TYPEMISMATCH, ErrorDescription(err::kTypeMismatch));
  }
  return ResultText(result, "Optimise Error ", " : ", [&] {
    const HostMessagePump pump;
    const DataArray data = ToDataArray(*Data);
    return calibration_.Optimise(data, *Order);
  });
}

HRESULT ComProbeCalibration::OptimiseFromFile(BSTR* FileName, unsigned char* Order, BSTR* result) {
  if (result == nullptr) return E_POINTER;
  *result = nullptr;
  if (AnyNull(FileName, Order)) return E_POINTER;
  return ResultText(result, "Error ", " : ", [&] {
    const HostMessagePump pump;
    return calibration_.OptimiseFromFile(BstrToUtf8(*FileName), *Order);
  });
}

HRESULT ComProbeCalibration::SaveCalibrationFunctions(BSTR* FileName, BSTR* result) {
  if (result == nullptr) return E_POINTER;
  *result = nullptr;
  if (FileName == nullptr) return E_POINTER;
  return ResultText(result, "SaveCalibrationFunctions Error n\xC2\xB0", " ",
                    [&] { return calibration_.SaveCalibrationFunctions(BstrToUtf8(*FileName)); });
}

HRESULT ComProbeCalibration::LoadCalibrationFunctions(BSTR FileName, BSTR* result) {
  if (result == nullptr) return E_POINTER;
  *result = nullptr;
  return ResultText(result, "LoadCalibrationFunctions Error n\xC2\xB0", " ",
                    [&] { return calibration_.LoadCalibrationFunctions(BstrToUtf8(FileName)); });
}

}  // namespace tavric::com
