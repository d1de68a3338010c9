// Test client of the Tavric automation server (Tavric.dll).
//
// Uses nothing of the library: only the header widl generates from the type
// library, the control numbers of the progress window, and the server as
// registered (CoCreateInstance from the ProgID). Every check prints a line
// when it fails; the last line is "RESULT: <passed> passed, <failed> failed"
// and the exit code is 0 only when nothing failed.
//
//   TavricComClient api --scan SCAN.BIN --big BIG.BIN --out DIR [--example FILE]...
//     Calls every member early bound (vtable) and late bound (IDispatch),
//     checks the registered type library, the defaults, clamps and edge
//     cases, errors and bad arguments, that a host's messages are dispatched
//     during Optimise without the progress window, and writes the
//     calibrations that the test compares with the Linux build:
//     DIR\windows-scan.cal (Optimise on the scan with bounds (0 To 5,
//     3 To N + 2), order 3), DIR\windows-big.cal (the 32,767 samples of
//     BIG.BIN, bounds (0 To 5, 1 To 32767), order 3) and
//     DIR\windows-<name>.cal per example that calibrates (OptimiseFromFile,
//     order 3; the line "EXAMPLE <name>: <result text>" gives each result).
//
//   TavricComClient display --scan SCAN.BIN --out DIR --ready FILE --done FILE
//     Run with a desktop and a decimal-comma user's locale. Runs Optimise
//     with ProgressDisplay on, reads the progress window from a second thread
//     while it runs (its values written with decimal commas), and holds the
//     window open at its second iteration: it creates the file READY and
//     waits (at most 90 s) for the file DONE, so that a screenshot can be
//     taken meanwhile. Writes DIR\windows-scan-display.cal. Then the locale's
//     other effects: the scan written as generic data with decimal commas
//     calibrates (DIR\windows-comma.cal), with periods it does not, a saved
//     file's radius does not read back and a quoted "12,5" does.
//
// SCAN.BIN: int32 N, then 6 x N doubles (P, Q, R, X, Y, Z sample after
// sample), as linux_reference writes it.
// clang-format off
#include <windows.h>  // before every other Windows header
#include <initguid.h>  // the GUIDs of Tavric_h.h are defined here
#include <oleauto.h>
#include <olectl.h>
// clang-format on

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ProgressWindowIds.h"
#include "Tavric_h.h"

namespace {

// --- Checks ---------------------------------------------------------------------

int g_passed = 0;
int g_failed = 0;

std::string Utf8(const std::wstring& text) {
  if (text.empty()) return {};
  const int n = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr,
                                    0, nullptr, nullptr);
  std::string out(static_cast<std::size_t>(n), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), n,
                      nullptr, nullptr);
  return out;
}

std::wstring Wide(const std::string& text) {
  if (text.empty()) return {};
  const int n =
      MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring out(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), n);
  return out;
}

// Makes line feeds visible in messages.
std::string Shown(const std::wstring& text) {
  std::string out;
  for (char c : Utf8(text)) {
    if (c == '\n') {
      out += "\\n";
    } else {
      out += c;
    }
  }
  return out;
}

bool Check(bool ok, const std::string& what) {
  if (ok) {
    ++g_passed;
  } else {
    ++g_failed;
    std::printf("FAIL: %s\n", what.c_str());
    std::fflush(stdout);
  }
  return ok;
}

std::string Hex(HRESULT hr) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08lX", static_cast<unsigned long>(hr));
  return text;
}

bool CheckHr(HRESULT hr, HRESULT expected, const std::string& what) {
  return Check(hr == expected, what + ": HRESULT " + Hex(hr) + ", expected " + Hex(expected));
}

bool CheckOk(HRESULT hr, const std::string& what) { return CheckHr(hr, S_OK, what); }

bool Near(double a, double b, double tolerance = 1e-12) {
  return std::fabs(a - b) <= tolerance * std::max(1.0, std::fabs(b));
}

bool CheckNear(double actual, double expected, const std::string& what, double tolerance = 1e-12) {
  char text[128];
  std::snprintf(text, sizeof text, ": %.17g, expected %.17g", actual, expected);
  return Check(Near(actual, expected, tolerance), what + text);
}

bool CheckText(const std::wstring& actual, const std::wstring& expected, const std::string& what) {
  return Check(actual == expected,
               what + ": \"" + Shown(actual) + "\", expected \"" + Shown(expected) + "\"");
}

void Section(const char* name) {
  std::printf("== %s\n", name);
  std::fflush(stdout);
}

// --- Small COM helpers ------------------------------------------------------------

// An owned BSTR.
class Bstr {
 public:
  Bstr() = default;
  explicit Bstr(const std::wstring& text)
      : value_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
  ~Bstr() { SysFreeString(value_); }
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;

  BSTR* Out() {
    SysFreeString(value_);
    value_ = nullptr;
    return &value_;
  }
  BSTR& Ref() { return value_; }
  BSTR Get() const { return value_; }
  std::wstring Text() const {
    return value_ != nullptr ? std::wstring(value_, SysStringLen(value_)) : std::wstring();
  }

 private:
  BSTR value_ = nullptr;
};

// An owned interface pointer.
template <class T>
class Ptr {
 public:
  Ptr() = default;
  ~Ptr() { Reset(); }
  Ptr(const Ptr&) = delete;
  Ptr& operator=(const Ptr&) = delete;

  T** Out() {
    Reset();
    return &p_;
  }
  void** OutVoid() { return reinterpret_cast<void**>(Out()); }
  T* operator->() const { return p_; }
  T* Get() const { return p_; }
  explicit operator bool() const { return p_ != nullptr; }
  void Reset() {
    if (p_ != nullptr) p_->Release();
    p_ = nullptr;
  }

 private:
  T* p_ = nullptr;
};

// An owned SAFEARRAY.
class Array {
 public:
  Array() = default;
  explicit Array(SAFEARRAY* a) : a_(a) {}
  ~Array() {
    if (a_ != nullptr) SafeArrayDestroy(a_);
  }
  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;
  SAFEARRAY*& Ref() { return a_; }

 private:
  SAFEARRAY* a_ = nullptr;
};

std::wstring ErrorDescription() {
  Ptr<IErrorInfo> info;
  if (GetErrorInfo(0, info.Out()) != S_OK || !info) return {};
  Bstr description;
  info->GetDescription(description.Out());
  return description.Text();
}

constexpr HRESULT ControlError(int number) {
  return static_cast<HRESULT>(0x800A0000u | static_cast<unsigned>(number));
}

// --- Data -------------------------------------------------------------------------

struct Scan {
  std::int32_t count = 0;
  std::vector<double> values;  // 6 per sample
};

Scan ReadScan(const std::wstring& path) {
  Scan scan;
  std::FILE* f = _wfopen(path.c_str(), L"rb");
  if (f == nullptr) return scan;
  if (std::fread(&scan.count, sizeof scan.count, 1, f) == 1 && scan.count > 0) {
    scan.values.resize(6 * static_cast<std::size_t>(scan.count));
    if (std::fread(scan.values.data(), sizeof(double), scan.values.size(), f) !=
        scan.values.size()) {
      scan = {};
    }
  }
  std::fclose(f);
  return scan;
}

// A SAFEARRAY of doubles (lower1 To lower1 + 5, lower2 To lower2 + N - 1)
// holding the scan.
SAFEARRAY* ScanArray(const Scan& scan, LONG lower1, LONG lower2) {
  SAFEARRAYBOUND bounds[2];
  bounds[0].cElements = 6;  // leftmost dimension first
  bounds[0].lLbound = lower1;
  bounds[1].cElements = static_cast<ULONG>(scan.count);
  bounds[1].lLbound = lower2;
  SAFEARRAY* a = SafeArrayCreate(VT_R8, 2, bounds);
  if (a == nullptr) return nullptr;
  void* data = nullptr;
  if (SUCCEEDED(SafeArrayAccessData(a, &data))) {
    std::copy(scan.values.begin(), scan.values.end(), static_cast<double*>(data));
    SafeArrayUnaccessData(a);
  }
  return a;
}

bool WriteFileBytes(const std::wstring& path, const std::string& bytes) {
  std::FILE* f = _wfopen(path.c_str(), L"wb");
  if (f == nullptr) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return std::fclose(f) == 0 && written;
}

std::string ReadFileBytes(const std::wstring& path) {
  std::string bytes;
  std::FILE* f = _wfopen(path.c_str(), L"rb");
  if (f == nullptr) return bytes;
  char chunk[4096];
  std::size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) bytes.append(chunk, n);
  std::fclose(f);
  return bytes;
}

bool FileExists(const std::wstring& path) {
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::wstring FileName(const std::wstring& path) {
  const auto slash = path.find_last_of(L"\\/");
  return slash == std::wstring::npos ? path : path.substr(slash + 1);
}

// --- Objects --------------------------------------------------------------------------

const wchar_t* const kProgId = L"Tavric.ClsProbeCalibration";

HRESULT CreateCalibration(Ptr<_ClsProbeCalibration>& object) {
  CLSID clsid;
  HRESULT hr = CLSIDFromProgID(kProgId, &clsid);
  if (FAILED(hr)) return hr;
  return CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID__ClsProbeCalibration,
                          object.OutVoid());
}

// Writes a calibration-functions file holding `content` to `path` and loads
// it; returns the result text.
std::wstring LoadWritten(_ClsProbeCalibration* cal, const std::wstring& path,
                         const std::string& content) {
  Check(WriteFileBytes(path, content), "write " + Utf8(FileName(path)));
  Bstr name(path);
  Bstr result;
  CheckOk(cal->LoadCalibrationFunctions(name.Get(), result.Out()),
          "LoadCalibrationFunctions " + Utf8(FileName(path)));
  return result.Text();
}

// Runs `body` on a new single-threaded apartment, whose calibration state
// starts fresh.
void OnFreshApartment(const std::function<void()>& body) {
  std::thread worker([&] {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    body();
    CoUninitialize();
  });
  worker.join();
}

// Optimise (order 3) and SaveCalibrationFunctions on a fresh apartment, the
// samples from `first_sample` on (the fields from 0).
void CalibrateAndSave(const Scan& scan, bool display, const std::wstring& out,
                      const std::string& what, LONG first_sample = 3) {
  OnFreshApartment([&] {
    Ptr<_ClsProbeCalibration> cal;
    if (!CheckOk(CreateCalibration(cal), what + ": create")) return;
    if (display) CheckOk(cal->put_ProgressDisplay(VARIANT_TRUE), what + ": ProgressDisplay");
    Array data(ScanArray(scan, 0, first_sample));
    unsigned char order = 3;
    Bstr result;
    CheckOk(cal->Optimise(&data.Ref(), &order, result.Out()), what + ": Optimise");
    CheckText(result.Text(), L"OK", what + ": Optimise result");
    Bstr file(out);
    Bstr saved;
    CheckOk(cal->SaveCalibrationFunctions(&file.Ref(), saved.Out()), what + ": save");
    CheckText(saved.Text(), L"OK", what + ": save result");
  });
}

// --- Late binding ---------------------------------------------------------------------

VARIANT R8(double v) {
  VARIANT x;
  VariantInit(&x);
  x.vt = VT_R8;
  x.dblVal = v;
  return x;
}
VARIANT I4(LONG v) {
  VARIANT x;
  VariantInit(&x);
  x.vt = VT_I4;
  x.lVal = v;
  return x;
}
VARIANT UI1(unsigned char v) {
  VARIANT x;
  VariantInit(&x);
  x.vt = VT_UI1;
  x.bVal = v;
  return x;
}
VARIANT Bool(bool v) {
  VARIANT x;
  VariantInit(&x);
  x.vt = VT_BOOL;
  x.boolVal = v ? VARIANT_TRUE : VARIANT_FALSE;
  return x;
}
VARIANT Str(BSTR v) {  // borrowed
  VARIANT x;
  VariantInit(&x);
  x.vt = VT_BSTR;
  x.bstrVal = v;
  return x;
}
VARIANT RefR8(double& v) {
  VARIANT x;
  VariantInit(&x);
  x.vt = VT_BYREF | VT_R8;
  x.pdblVal = &v;
  return x;
}
VARIANT RefUI1(unsigned char& v) {
  VARIANT x;
  VariantInit(&x);
  x.vt = VT_BYREF | VT_UI1;
  x.pbVal = &v;
  return x;
}
VARIANT RefI2(short& v) {
  VARIANT x;
  VariantInit(&x);
  x.vt = VT_BYREF | VT_I2;
  x.piVal = &v;
  return x;
}
VARIANT RefBstr(BSTR& v) {
  VARIANT x;
  VariantInit(&x);
  x.vt = VT_BYREF | VT_BSTR;
  x.pbstrVal = &v;
  return x;
}
VARIANT RefArray(SAFEARRAY*& v, VARTYPE element) {
  VARIANT x;
  VariantInit(&x);
  x.vt = static_cast<VARTYPE>(VT_BYREF | VT_ARRAY | element);
  x.pparray = &v;
  return x;
}

// IDispatch::Invoke by name; `args` in the order of the member's parameters.
struct Dispatch {
  IDispatch* d;
  EXCEPINFO exception{};

  ~Dispatch() { ClearException(); }
  void ClearException() {
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrDescription);
    SysFreeString(exception.bstrHelpFile);
    exception = EXCEPINFO{};
  }

  HRESULT Call(const wchar_t* name, WORD flags, std::vector<VARIANT> args, VARIANT* result) {
    ClearException();
    DISPID id = 0;
    LPOLESTR names[1] = {const_cast<LPOLESTR>(name)};
    HRESULT hr = d->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(hr)) return hr;
    std::reverse(args.begin(), args.end());
    DISPPARAMS params{args.data(), nullptr, static_cast<UINT>(args.size()), 0};
    DISPID put = DISPID_PROPERTYPUT;
    if ((flags & DISPATCH_PROPERTYPUT) != 0) {
      params.rgdispidNamedArgs = &put;
      params.cNamedArgs = 1;
    }
    VARIANT ignored;
    VariantInit(&ignored);
    if (result != nullptr) VariantInit(result);
    UINT bad = 0;
    hr = d->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &params,
                   result != nullptr ? result : &ignored, &exception, &bad);
    VariantClear(&ignored);
    return hr;
  }
  HRESULT Method(const wchar_t* name, std::vector<VARIANT> args, VARIANT* result = nullptr) {
    return Call(name, DISPATCH_METHOD, std::move(args), result);
  }
  HRESULT GetProperty(const wchar_t* name, VARIANT* result, std::vector<VARIANT> args = {}) {
    return Call(name, DISPATCH_PROPERTYGET, std::move(args), result);
  }
  HRESULT PutProperty(const wchar_t* name, VARIANT value) {
    return Call(name, DISPATCH_PROPERTYPUT, {value}, nullptr);
  }
};

// --- Type library -------------------------------------------------------------------

std::wstring TypeName(ITypeInfo* info, const TYPEDESC& t) {
  switch (t.vt) {
    case VT_PTR:
      return TypeName(info, *t.lptdesc) + L"*";
    case VT_SAFEARRAY:
      return L"SAFEARRAY(" + TypeName(info, *t.lptdesc) + L")";
    case VT_USERDEFINED: {
      Ptr<ITypeInfo> ref;
      if (FAILED(info->GetRefTypeInfo(t.hreftype, ref.Out()))) return L"?";
      Bstr name;
      ref->GetDocumentation(MEMBERID_NIL, name.Out(), nullptr, nullptr, nullptr);
      return name.Text();
    }
    case VT_R8:
      return L"double";
    case VT_UI1:
      return L"unsigned char";
    case VT_I2:
      return L"short";
    case VT_I4:
      return L"long";
    case VT_BOOL:
      return L"VARIANT_BOOL";
    case VT_BSTR:
      return L"BSTR";
    case VT_HRESULT:
      return L"HRESULT";
    default:
      return L"vt" + std::to_wstring(t.vt);
  }
}

// "get Name([in,out] unsigned char*, [out,retval] double*)" for one function.
std::wstring Signature(ITypeInfo* info, const FUNCDESC& f) {
  Bstr names[16];
  BSTR raw[16] = {};
  UINT count = 0;
  info->GetNames(f.memid, raw, 16, &count);
  for (UINT i = 0; i < count; ++i) *names[i].Out() = raw[i];
  std::wstring s;
  if (f.invkind == INVOKE_PROPERTYGET) s = L"get ";
  if (f.invkind == INVOKE_PROPERTYPUT) s = L"put ";
  s += names[0].Text() + L"(";
  for (SHORT p = 0; p < f.cParams; ++p) {
    const ELEMDESC& e = f.lprgelemdescParam[p];
    const USHORT flags = e.paramdesc.wParamFlags;
    if (p > 0) s += L", ";
    std::wstring attributes;
    if (flags & PARAMFLAG_FIN) attributes += L"in";
    if (flags & PARAMFLAG_FOUT) attributes += attributes.empty() ? L"out" : L",out";
    if (flags & PARAMFLAG_FRETVAL) attributes += L",retval";
    s += L"[" + attributes + L"] " + TypeName(info, e.tdesc);
  }
  return s + L") " + TypeName(info, f.elemdescFunc.tdesc);
}

const wchar_t* const kExpectedSignatures[] = {
    L"get FitMax([out,retval] double*) HRESULT",
    L"get FitMin([out,retval] double*) HRESULT",
    L"get FitRMS([out,retval] double*) HRESULT",
    L"get InitialProbeGain([out,retval] double*) HRESULT",
    L"put InitialProbeGain([in] double) HRESULT",
    L"get IterationMaxNumber([out,retval] unsigned char*) HRESULT",
    L"put IterationMaxNumber([in] unsigned char) HRESULT",
    L"get ConvergencePolyParamValue([out,retval] double*) HRESULT",
    L"put ConvergencePolyParamValue([in] double) HRESULT",
    L"get ConvergenceSphereValue([out,retval] double*) HRESULT",
    L"put ConvergenceSphereValue([in] double) HRESULT",
    L"get ConvergenceGradientNormValue([out,retval] double*) HRESULT",
    L"put ConvergenceGradientNormValue([in] double) HRESULT",
    L"get ConvergenceDetectionMethod([out,retval] NE_ConvergenceDetection*) HRESULT",
    L"put ConvergenceDetectionMethod([in] NE_ConvergenceDetection) HRESULT",
    L"get nu([out,retval] double*) HRESULT",
    L"put nu([in] double) HRESULT",
    L"get Mu([out,retval] double*) HRESULT",
    L"put Mu([in] double) HRESULT",
    L"get ProgressDisplay([out,retval] VARIANT_BOOL*) HRESULT",
    L"put ProgressDisplay([in] VARIANT_BOOL) HRESULT",
    L"get DLLVersion([out,retval] BSTR*) HRESULT",
    L"get SphereRadius([out,retval] double*) HRESULT",
    L"get SphereCentre([in,out] unsigned char*, [out,retval] double*) HRESULT",
    L"GetProbeOffsets([in,out] double*, [in,out] double*, [in,out] double*) HRESULT",
    L"LetProbeOffsets([in,out] double*, [in,out] double*, [in,out] double*) HRESULT",
    L"GetPolyParameters([in,out] short*, [in,out] short*, [in,out] short*, [in,out] double*, "
    L"[in,out] double*, [in,out] double*) HRESULT",
    L"SetPolyParameters([in,out] short*, [in,out] short*, [in,out] short*, [in,out] double*, "
    L"[in,out] double*, [in,out] double*) HRESULT",
    L"get PolynomialOrder([out,retval] unsigned char*) HRESULT",
    L"put PolynomialOrder([in,out] unsigned char*) HRESULT",
    L"get InitialHX7a([out,retval] double*) HRESULT",
    L"put InitialHX7a([in] double) HRESULT",
    L"get InitialHX7b([out,retval] double*) HRESULT",
    L"put InitialHX7b([in] double) HRESULT",
    L"LetHX7aDir([in,out] double*, [in,out] double*, [in,out] double*) HRESULT",
    L"GetHX7aDir([in,out] double*, [in,out] double*, [in,out] double*) HRESULT",
    L"LetHX7bDir([in,out] double*, [in,out] double*, [in,out] double*) HRESULT",
    L"GetHX7bDir([in,out] double*, [in,out] double*, [in,out] double*) HRESULT",
    L"Transform([in] double, [in] double, [in] double, [in,out] double*, [in,out] double*, "
    L"[in,out] double*) HRESULT",
    L"Optimise([in,out] SAFEARRAY(double)*, [in,out] unsigned char*, [out,retval] BSTR*) HRESULT",
    L"OptimiseFromFile([in,out] BSTR*, [in,out] unsigned char*, [out,retval] BSTR*) HRESULT",
    L"SaveCalibrationFunctions([in,out] BSTR*, [out,retval] BSTR*) HRESULT",
    L"LoadCalibrationFunctions([in] BSTR, [out,retval] BSTR*) HRESULT",
};

// Help strings by member (members not listed have none).
const std::pair<const wchar_t*, const wchar_t*> kHelpStrings[] = {
    {L"GetProbeOffsets", L"This method returns probe offsets."},
    {L"LetProbeOffsets", L"This method sets probe offsets."},
    {L"DLLVersion", L"Returns the DLL version."},
    {L"InitialHX7b",
     L"Returns or sets the initial B angle of HX7 that handles the scanning probe (initial "
     L"value=0)."},
    {L"LetHX7bDir", L"This method sets co-ordinates of the HX7 B axis of rotation."},
    {L"GetHX7bDir",
     L"This method returns co-ordinates of the HX7 B axis of rotation (initial value=+z)."},
    {L"InitialHX7a",
     L"Returns or sets the initial A angle of the HX7 that handles the scanning probe (initial "
     L"value=0)."},
    {L"LetHX7aDir",
     L"This method sets co-ordinates of the HX7 A axis of rotation when B angle equals zero."},
    {L"GetHX7aDir",
     L"This method returns co-ordinates of the HX7 A axis of rotation when B angle equals zero "
     L"(initial value=-x)."},
    {L"InitialProbeGain", L"Returns or sets the initial probes gain. (initial value=0.625e-4)."},
    {L"IterationMaxNumber", L"Returns or sets the maximum number of iteration"},
    {L"ConvergencePolyParamValue",
     L"Returns or sets the stability value of polynomial parameters."},
    {L"ConvergenceSphereValue", L"Returns or sets the stability value of sphere parameters."},
    {L"ConvergenceGradientNormValue",
     L"Returns or sets the convergence detection value of the gradient norm."},
    {L"nu", L"Returns or sets the nu parameter of the Levenberg-Marquardt algorithm."},
    {L"Mu", L"Returns or sets the Mu parameter of the Levenberg-Marquardt algorithm."},
    {L"SphereRadius", L"Returns the radius of the best-fitted sphere."},
    {L"SphereCentre", L"Returns co-ordinates of the best fitted sphere centre (i =1,2 or 3)."},
    {L"ProgressDisplay",
     L"Returns/Sets whether the optimisation displays a form showing convergence progression of "
     L"Levenberg-Marquardt algorithm."},
    {L"OptimiseFromFile",
     L"This method is equivalent to the optimise method except the fact that it reads data from "
     L"a text file."},
    {L"GetPolyParameters",
     L"This method returns polynomial coefficients, powers of which are specified by PowerP, "
     L"powerQ and powerR parameters."},
    {L"SetPolyParameters",
     L"This method sets polynomial coefficients, powers of which are specified by PowerP, powerQ "
     L"and powerR parameters."},
    {L"SaveCalibrationFunctions", L"This method saves calibration parameters into a text file."},
    {L"LoadCalibrationFunctions", L"This method loads calibration parameters from a text file."},
    {L"PolynomialOrder", L"Returns the order of polynomial functions."},
    {L"Transform",
     L"This method transforms probe outputs (P,Q and R) into probe deflection (X,Y and Z) by "
     L"evaluating polynomial functions."},
    {L"FitMax", L""},
    {L"FitMin", L""},
    {L"FitRMS", L""},
    {L"Optimise", L""},
};

std::wstring HelpString(ITypeInfo* info, const wchar_t* member) {
  MEMBERID id = 0;
  LPOLESTR names[1] = {const_cast<LPOLESTR>(member)};
  if (FAILED(info->GetIDsOfNames(names, 1, &id))) return L"<no member>";
  Bstr doc;
  if (FAILED(info->GetDocumentation(id, nullptr, doc.Out(), nullptr, nullptr))) {
    return L"<no documentation>";
  }
  return doc.Text();
}

void CheckTypeLibrary() {
  Section("registered type library");
  Ptr<ITypeLib> library;
  if (!CheckOk(LoadRegTypeLib(LIBID_Tavric, 1, 0, LOCALE_NEUTRAL, library.Out()),
               "LoadRegTypeLib(Tavric 1.0)")) {
    return;
  }
  Bstr name;
  library->GetDocumentation(-1, name.Out(), nullptr, nullptr, nullptr);
  CheckText(name.Text(), L"Tavric", "type library name");
  TLIBATTR* attributes = nullptr;
  if (SUCCEEDED(library->GetLibAttr(&attributes))) {
    const SYSKIND expected = sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32;
    Check(attributes->syskind == expected, "type library SYSKIND " +
                                               std::to_string(attributes->syskind) + ", expected " +
                                               std::to_string(expected));
    Check(attributes->wMajorVerNum == 1 && attributes->wMinorVerNum == 0,
          "type library version 1.0");
    library->ReleaseTLibAttr(attributes);
  }
  Bstr path;
  CheckOk(QueryPathOfRegTypeLib(LIBID_Tavric, 1, 0, LOCALE_NEUTRAL, path.Out()),
          "QueryPathOfRegTypeLib");
  Check(path.Text().find(L"Tavric.dll") != std::wstring::npos,
        "registered type library path names Tavric.dll: " + Utf8(path.Text()));

  // Its three types.
  std::set<std::wstring> types;
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    Bstr type;
    library->GetDocumentation(static_cast<INT>(i), type.Out(), nullptr, nullptr, nullptr);
    types.insert(type.Text());
  }
  Check(types == std::set<std::wstring>{L"NE_ConvergenceDetection", L"_ClsProbeCalibration",
                                        L"ClsProbeCalibration"},
        "the type library holds NE_ConvergenceDetection, _ClsProbeCalibration and "
        "ClsProbeCalibration");

  // The creatable class and its help string.
  Ptr<ITypeInfo> coclass;
  if (CheckOk(library->GetTypeInfoOfGuid(CLSID_ClsProbeCalibration, coclass.Out()),
              "type information of the class")) {
    Bstr doc;
    coclass->GetDocumentation(MEMBERID_NIL, nullptr, doc.Out(), nullptr, nullptr);
    CheckText(doc.Text(), L"This class is the interface of the Scanning Probe Calibration DLL",
              "help string of the class");
    TYPEATTR* a = nullptr;
    if (SUCCEEDED(coclass->GetTypeAttr(&a))) {
      Check(a->typekind == TKIND_COCLASS && (a->wTypeFlags & TYPEFLAG_FCANCREATE) != 0,
            "ClsProbeCalibration is a creatable coclass");
      coclass->ReleaseTypeAttr(a);
    }
    HREFTYPE href = 0;
    Ptr<ITypeInfo> default_interface;
    INT flags = 0;
    coclass->GetImplTypeFlags(0, &flags);
    Check((flags & IMPLTYPEFLAG_FDEFAULT) != 0, "the class's interface is its default");
    if (SUCCEEDED(coclass->GetRefTypeOfImplType(0, &href)) &&
        SUCCEEDED(coclass->GetRefTypeInfo(href, default_interface.Out()))) {
      Bstr iname;
      default_interface->GetDocumentation(MEMBERID_NIL, iname.Out(), nullptr, nullptr, nullptr);
      CheckText(iname.Text(), L"_ClsProbeCalibration", "default interface");
    }
  }

  // The enumeration.
  Ptr<ITypeInfo> enumeration;
  TYPEATTR* ea = nullptr;
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    Bstr type;
    library->GetDocumentation(static_cast<INT>(i), type.Out(), nullptr, nullptr, nullptr);
    if (type.Text() == L"NE_ConvergenceDetection") library->GetTypeInfo(i, enumeration.Out());
  }
  if (Check(static_cast<bool>(enumeration), "enumeration NE_ConvergenceDetection") &&
      SUCCEEDED(enumeration->GetTypeAttr(&ea))) {
    Check(ea->typekind == TKIND_ENUM && ea->cVars == 3, "NE_ConvergenceDetection has 3 values");
    std::map<std::wstring, LONG> values;
    for (WORD v = 0; v < ea->cVars; ++v) {
      VARDESC* var = nullptr;
      if (FAILED(enumeration->GetVarDesc(v, &var))) continue;
      BSTR raw = nullptr;
      UINT count = 0;
      enumeration->GetNames(var->memid, &raw, 1, &count);
      Bstr owned;
      *owned.Out() = raw;
      VARIANT value;
      VariantInit(&value);
      VariantChangeType(&value, var->lpvarValue, 0, VT_I4);
      values[owned.Text()] = value.lVal;
      enumeration->ReleaseVarDesc(var);
    }
    enumeration->ReleaseTypeAttr(ea);
    Check(values == std::map<std::wstring, LONG>{{L"E_GradientNorm", 1},
                                                 {L"E_ParameterStable", 2},
                                                 {L"E_Both", 3}},
          "E_GradientNorm = 1, E_ParameterStable = 2, E_Both = 3");
  }

  // The interface: dual, its help strings and every member's signature.
  Ptr<ITypeInfo> dispatch;
  if (!CheckOk(library->GetTypeInfoOfGuid(IID__ClsProbeCalibration, dispatch.Out()),
               "type information of _ClsProbeCalibration")) {
    return;
  }
  TYPEATTR* da = nullptr;
  if (SUCCEEDED(dispatch->GetTypeAttr(&da))) {
    Check((da->wTypeFlags & TYPEFLAG_FDUAL) != 0, "_ClsProbeCalibration is dual");
    dispatch->ReleaseTypeAttr(da);
  }
  for (const auto& [member, help] : kHelpStrings) {
    CheckText(HelpString(dispatch.Get(), member), help,
              std::string("help string of ") + Utf8(member));
  }
  const std::wstring method_help = HelpString(dispatch.Get(), L"ConvergenceDetectionMethod");
  Check(method_help.find(L"1") != std::wstring::npos &&
            method_help.find(L"gradient norm") != std::wstring::npos &&
            method_help.find(L"2") != std::wstring::npos &&
            method_help.find(L"parameter stability") != std::wstring::npos &&
            method_help.find(L"3") != std::wstring::npos &&
            method_help.find(L"both") != std::wstring::npos,
        "help string of ConvergenceDetectionMethod lists its values: " + Utf8(method_help));

  HREFTYPE href = 0;
  Ptr<ITypeInfo> vtable;
  if (!CheckOk(dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &href),
               "vtable part of the dual interface") ||
      !CheckOk(dispatch->GetRefTypeInfo(href, vtable.Out()), "vtable type information")) {
    return;
  }
  TYPEATTR* va = nullptr;
  if (FAILED(vtable->GetTypeAttr(&va))) return;
  std::set<std::wstring> signatures;
  for (WORD i = 0; i < va->cFuncs; ++i) {
    FUNCDESC* f = nullptr;
    if (FAILED(vtable->GetFuncDesc(i, &f))) continue;
    signatures.insert(Signature(vtable.Get(), *f));
    vtable->ReleaseFuncDesc(f);
  }
  vtable->ReleaseTypeAttr(va);
  const std::set<std::wstring> expected(std::begin(kExpectedSignatures),
                                        std::end(kExpectedSignatures));
  for (const auto& s : expected) {
    Check(signatures.count(s) == 1, "member signature " + Utf8(s));
  }
  for (const auto& s : signatures) {
    Check(expected.count(s) == 1, "no unexpected member: " + Utf8(s));
  }
}

// --- Registration, version, class object ------------------------------------------------

std::wstring RegisteredServerPath() {
  wchar_t clsid[40] = {};
  StringFromGUID2(CLSID_ClsProbeCalibration, clsid, 40);
  const std::wstring key = std::wstring(L"CLSID\\") + clsid + L"\\InprocServer32";
  wchar_t path[MAX_PATH * 2] = {};
  DWORD size = sizeof path;
  if (RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, path, &size) !=
      ERROR_SUCCESS) {
    return {};
  }
  return path;
}

std::wstring FileVersion(const std::wstring& path) {
  DWORD handle = 0;
  const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &handle);
  if (size == 0) return {};
  std::vector<BYTE> block(size);
  if (!GetFileVersionInfoW(path.c_str(), 0, size, block.data())) return {};
  VS_FIXEDFILEINFO* info = nullptr;
  UINT length = 0;
  if (!VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &length) ||
      info == nullptr) {
    return {};
  }
  return std::to_wstring(HIWORD(info->dwFileVersionMS)) + L"." +
         std::to_wstring(LOWORD(info->dwFileVersionMS)) + L"." +
         std::to_wstring(HIWORD(info->dwFileVersionLS));
}

void CheckRegistrationAndClassObject() {
  Section("registration, version resource, class object");
  CLSID clsid{};
  CheckOk(CLSIDFromProgID(kProgId, &clsid), "CLSIDFromProgID");
  Check(IsEqualCLSID(clsid, CLSID_ClsProbeCalibration), "the ProgID names the class's CLSID");
  LPOLESTR progid = nullptr;
  if (CheckOk(ProgIDFromCLSID(CLSID_ClsProbeCalibration, &progid), "ProgIDFromCLSID")) {
    CheckText(progid, kProgId, "ProgID of the CLSID");
    CoTaskMemFree(progid);
  }
  const std::wstring path = RegisteredServerPath();
  Check(path.find(L"Tavric.dll") != std::wstring::npos,
        "InprocServer32 names Tavric.dll: " + Utf8(path));

  // The version resource holds the numbers DLLVersion reports.
  const std::wstring file_version = FileVersion(path);
  CheckText(file_version, Wide(TAVRIC_EXPECTED_VERSION), "FILEVERSION of Tavric.dll");
  Ptr<_ClsProbeCalibration> cal;
  if (CheckOk(CreateCalibration(cal), "CoCreateInstance from the ProgID")) {
    Bstr version;
    CheckOk(cal->get_DLLVersion(version.Out()), "DLLVersion");
    const std::wstring v = version.Text();
    const std::wstring tail = L" " + file_version;
    Check(v.size() > tail.size() && v.compare(v.size() - tail.size(), tail.size(), tail) == 0,
          "DLLVersion \"" + Utf8(v) + "\" ends with the file version");
    Ptr<ISupportErrorInfo> support;
    if (CheckOk(cal->QueryInterface(IID_ISupportErrorInfo, support.OutVoid()),
                "QueryInterface(ISupportErrorInfo)")) {
      CheckOk(support->InterfaceSupportsErrorInfo(IID__ClsProbeCalibration),
              "InterfaceSupportsErrorInfo(_ClsProbeCalibration)");
    }
    Ptr<IDispatch> dispatch;
    CheckOk(cal->QueryInterface(IID_IDispatch, dispatch.OutVoid()), "QueryInterface(IDispatch)");
    Ptr<IUnknown> other;
    CheckHr(cal->QueryInterface(IID_IClassFactory, other.OutVoid()), E_NOINTERFACE,
            "QueryInterface(IClassFactory) on the object");
  }

  // The entry points, called directly in the DLL the server loaded.
  HMODULE dll = LoadLibraryW(path.c_str());
  if (!Check(dll != nullptr, "LoadLibrary of the registered server")) return;
  using CanUnloadNow = HRESULT(STDAPICALLTYPE*)();
  using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
  auto can_unload = reinterpret_cast<CanUnloadNow>(
      reinterpret_cast<void*>(GetProcAddress(dll, "DllCanUnloadNow")));
  auto get_class = reinterpret_cast<GetClassObject>(
      reinterpret_cast<void*>(GetProcAddress(dll, "DllGetClassObject")));
  if (Check(can_unload != nullptr && get_class != nullptr, "DllCanUnloadNow, DllGetClassObject")) {
    CheckHr(can_unload(), S_FALSE, "DllCanUnloadNow while an object lives");
    cal.Reset();
    CheckHr(can_unload(), S_OK, "DllCanUnloadNow once every object is released");
    Ptr<IClassFactory> factory;
    CheckHr(get_class(IID_IUnknown, IID_IClassFactory, factory.OutVoid()),
            CLASS_E_CLASSNOTAVAILABLE, "DllGetClassObject for another CLSID");
    if (CheckOk(get_class(CLSID_ClsProbeCalibration, IID_IClassFactory, factory.OutVoid()),
                "DllGetClassObject")) {
      CheckOk(factory->LockServer(TRUE), "LockServer(TRUE)");
      CheckHr(can_unload(), S_FALSE, "DllCanUnloadNow while the server is locked");
      CheckOk(factory->LockServer(FALSE), "LockServer(FALSE)");
      CheckHr(can_unload(), S_OK, "DllCanUnloadNow after unlocking");
      Ptr<IUnknown> aggregated;
      CheckHr(factory->CreateInstance(reinterpret_cast<IUnknown*>(factory.Get()), IID_IUnknown,
                                      aggregated.OutVoid()),
              CLASS_E_NOAGGREGATION, "CreateInstance with an outer object");
      Ptr<_ClsProbeCalibration> made;
      CheckOk(factory->CreateInstance(nullptr, IID__ClsProbeCalibration, made.OutVoid()),
              "CreateInstance");
      CheckHr(can_unload(), S_FALSE, "DllCanUnloadNow with an object from the factory");
    }
  }
  FreeLibrary(dll);
}

// --- Early binding -----------------------------------------------------------------------

// The defaults of a new object. Creating an object sets one component of
// each head direction (a: C1 = -1, b: C3 = 1) and keeps the others, so after
// LetHX7bDir(3, 4, 0) a new object reads (0.6, 0.8, 1): `a_dir` and `b_dir`
// say what to expect.
void CheckDefaults(_ClsProbeCalibration* cal, const std::string& when,
                   const double (&a_dir)[3] = {-1.0, 0.0, 0.0},
                   const double (&b_dir)[3] = {0.0, 0.0, 1.0}) {
  double d = -1;
  unsigned char b = 0;
  VARIANT_BOOL flag = VARIANT_TRUE;
  ::NE_ConvergenceDetection method = E_GradientNorm;
  CheckOk(cal->get_Mu(&d), when + "Mu") && CheckNear(d, 0.0001, when + "Mu");
  CheckOk(cal->get_nu(&d), when + "nu") && CheckNear(d, 10.0, when + "nu");
  CheckOk(cal->get_ConvergenceDetectionMethod(&method), when + "ConvergenceDetectionMethod") &&
      Check(method == E_Both, when + "ConvergenceDetectionMethod is 3");
  CheckOk(cal->get_ConvergenceGradientNormValue(&d), when + "ConvergenceGradientNormValue") &&
      CheckNear(d, 0.001, when + "ConvergenceGradientNormValue");
  CheckOk(cal->get_ConvergenceSphereValue(&d), when + "ConvergenceSphereValue") &&
      CheckNear(d, 0.00001, when + "ConvergenceSphereValue");
  CheckOk(cal->get_ConvergencePolyParamValue(&d), when + "ConvergencePolyParamValue") &&
      CheckNear(d, 0.000000001, when + "ConvergencePolyParamValue");
  CheckOk(cal->get_IterationMaxNumber(&b), when + "IterationMaxNumber") &&
      Check(b == 10, when + "IterationMaxNumber is 10");
  CheckOk(cal->get_InitialProbeGain(&d), when + "InitialProbeGain") &&
      CheckNear(d, 0.0000625, when + "InitialProbeGain");
  CheckOk(cal->get_ProgressDisplay(&flag), when + "ProgressDisplay") &&
      Check(flag == VARIANT_FALSE, when + "ProgressDisplay is false");
  CheckOk(cal->get_FitRMS(&d), when + "FitRMS") && CheckNear(d, 0.0, when + "FitRMS");
  CheckOk(cal->get_FitMin(&d), when + "FitMin") && CheckNear(d, 0.0, when + "FitMin");
  CheckOk(cal->get_FitMax(&d), when + "FitMax") && CheckNear(d, 0.0, when + "FitMax");
  CheckOk(cal->get_InitialHX7a(&d), when + "InitialHX7a") &&
      CheckNear(d, 0.0, when + "InitialHX7a");
  CheckOk(cal->get_InitialHX7b(&d), when + "InitialHX7b") &&
      CheckNear(d, 0.0, when + "InitialHX7b");
  double i = 9, j = 9, k = 9;
  const auto triple = [](const double(&v)[3]) {
    return "(" + std::to_string(v[0]) + ", " + std::to_string(v[1]) + ", " + std::to_string(v[2]) +
           ")";
  };
  CheckOk(cal->GetHX7aDir(&i, &j, &k), when + "GetHX7aDir") &&
      Check(i == a_dir[0] && j == a_dir[1] && k == a_dir[2],
            when + "GetHX7aDir is " + triple(a_dir));
  CheckOk(cal->GetHX7bDir(&i, &j, &k), when + "GetHX7bDir") &&
      Check(i == b_dir[0] && j == b_dir[1] && k == b_dir[2],
            when + "GetHX7bDir is " + triple(b_dir));
  unsigned char order = 0;
  CheckOk(cal->get_PolynomialOrder(&order), when + "PolynomialOrder") &&
      Check(order == 1, when + "PolynomialOrder is 1");
  double P = 9, Q = 9, R = 9;
  CheckOk(cal->GetProbeOffsets(&P, &Q, &R), when + "GetProbeOffsets") &&
      Check(P == 0.0 && Q == 0.0 && R == 0.0, when + "probe offsets are 0");
  double x = 9, y = 9, z = 9;
  short p = 1, q = 0, r = 0;
  CheckOk(cal->GetPolyParameters(&p, &q, &r, &x, &y, &z), when + "GetPolyParameters(1, 0, 0)") &&
      Check(x == 0.0 && y == 0.0 && z == 0.0, when + "the polynomial is empty");
}

void EarlyBound(const Scan& scan, const std::wstring& out) {
  Section("early binding: defaults, settings, clamps, accessors");
  Ptr<_ClsProbeCalibration> cal;
  if (!CheckOk(CreateCalibration(cal), "create")) return;
  CheckDefaults(cal.Get(), "fresh object: ");

  // Settings are stored unchanged.
  double d = 0;
  unsigned char b = 0;
  VARIANT_BOOL flag = VARIANT_FALSE;
  CheckOk(cal->put_InitialProbeGain(0.00007), "put InitialProbeGain");
  CheckOk(cal->get_InitialProbeGain(&d), "get InitialProbeGain");
  CheckNear(d, 0.00007, "InitialProbeGain round trip", 0);
  CheckOk(cal->put_IterationMaxNumber(255), "put IterationMaxNumber");
  CheckOk(cal->get_IterationMaxNumber(&b), "get IterationMaxNumber");
  Check(b == 255, "IterationMaxNumber round trip 255");
  CheckOk(cal->put_ConvergencePolyParamValue(2e-9), "put ConvergencePolyParamValue");
  CheckOk(cal->get_ConvergencePolyParamValue(&d), "get ConvergencePolyParamValue");
  CheckNear(d, 2e-9, "ConvergencePolyParamValue round trip", 0);
  CheckOk(cal->put_ConvergenceSphereValue(3e-5), "put ConvergenceSphereValue");
  CheckOk(cal->get_ConvergenceSphereValue(&d), "get ConvergenceSphereValue");
  CheckNear(d, 3e-5, "ConvergenceSphereValue round trip", 0);
  CheckOk(cal->put_ConvergenceGradientNormValue(0.002), "put ConvergenceGradientNormValue");
  CheckOk(cal->get_ConvergenceGradientNormValue(&d), "get ConvergenceGradientNormValue");
  CheckNear(d, 0.002, "ConvergenceGradientNormValue round trip", 0);
  CheckOk(cal->put_nu(4.5), "put nu");
  CheckOk(cal->get_nu(&d), "get nu");
  CheckNear(d, 4.5, "nu round trip", 0);
  CheckOk(cal->put_Mu(0.25), "put Mu");
  CheckOk(cal->get_Mu(&d), "get Mu");
  CheckNear(d, 0.25, "Mu round trip", 0);
  CheckOk(cal->put_ProgressDisplay(VARIANT_TRUE), "put ProgressDisplay");
  CheckOk(cal->get_ProgressDisplay(&flag), "get ProgressDisplay");
  Check(flag == VARIANT_TRUE, "ProgressDisplay true reads VARIANT_TRUE (-1)");
  CheckOk(cal->put_ProgressDisplay(VARIANT_FALSE), "put ProgressDisplay false");

  // ConvergenceDetectionMethod clamps to 1..3.
  const std::pair<LONG, LONG> clamps[] = {{0, 1}, {-5, 1}, {1, 1}, {2, 2}, {3, 3}, {7, 3}};
  for (const auto& [set, expected] : clamps) {
    ::NE_ConvergenceDetection method = E_Both;
    CheckOk(cal->put_ConvergenceDetectionMethod(static_cast<::NE_ConvergenceDetection>(set)),
            "put ConvergenceDetectionMethod " + std::to_string(set));
    CheckOk(cal->get_ConvergenceDetectionMethod(&method), "get ConvergenceDetectionMethod");
    Check(method == expected, "ConvergenceDetectionMethod " + std::to_string(set) + " reads " +
                                  std::to_string(method) + ", expected " +
                                  std::to_string(expected));
  }

  // Head orientation.
  CheckOk(cal->put_InitialHX7a(90.0), "put InitialHX7a");
  CheckOk(cal->get_InitialHX7a(&d), "get InitialHX7a");
  CheckNear(d, 90.0, "InitialHX7a 90 reads 90", 1e-14);
  CheckOk(cal->put_InitialHX7b(-30.0), "put InitialHX7b");
  CheckOk(cal->get_InitialHX7b(&d), "get InitialHX7b");
  CheckNear(d, -30.0, "InitialHX7b -30 reads -30", 1e-14);
  double i = 0, j = 0, k = 2;
  CheckOk(cal->LetHX7aDir(&i, &j, &k), "LetHX7aDir(0, 0, 2)");
  CheckOk(cal->GetHX7aDir(&i, &j, &k), "GetHX7aDir");
  Check(i == 0.0 && j == 0.0 && k == 1.0, "LetHX7aDir(0, 0, 2) reads (0, 0, 1)");
  i = 3, j = 4, k = 0;
  CheckOk(cal->LetHX7bDir(&i, &j, &k), "LetHX7bDir(3, 4, 0)");
  CheckOk(cal->GetHX7bDir(&i, &j, &k), "GetHX7bDir");
  Check(Near(i, 0.6) && Near(j, 0.8) && k == 0.0, "LetHX7bDir(3, 4, 0) reads (0.6, 0.8, 0)");
  i = 0, j = 0, k = 0;
  CheckOk(cal->LetHX7aDir(&i, &j, &k), "LetHX7aDir(0, 0, 0) is no error");
  i = j = k = 5;
  CheckOk(cal->GetHX7aDir(&i, &j, &k), "GetHX7aDir");
  Check(i == 0.0 && j == 0.0 && k == 0.0, "LetHX7aDir(0, 0, 0) stores the zero vector");

  // Probe offsets and coefficients.
  double P = 1, Q = 2, R = 3;
  CheckOk(cal->LetProbeOffsets(&P, &Q, &R), "LetProbeOffsets(1, 2, 3)");
  double x = 0, y = 0, z = 0;
  short p0 = 0, q0 = 0, r0 = 0;
  CheckOk(cal->GetPolyParameters(&p0, &q0, &r0, &x, &y, &z), "GetPolyParameters(0, 0, 0)");
  Check(x == -1.0 && y == -2.0 && z == -3.0, "LetProbeOffsets(1, 2, 3) stores (-1, -2, -3)");
  P = Q = R = 0;
  CheckOk(cal->GetProbeOffsets(&P, &Q, &R), "GetProbeOffsets");
  Check(P == 1.0 && Q == 2.0 && R == 3.0, "GetProbeOffsets gives (1, 2, 3) back");

  unsigned char order = 3;
  CheckOk(cal->put_PolynomialOrder(&order), "put PolynomialOrder 3");
  CheckOk(cal->get_PolynomialOrder(&b), "get PolynomialOrder");
  Check(b == 3, "PolynomialOrder reads 3");
  short p1 = 1, q1 = 0, r1 = 0;
  x = 0.5, y = 0.25, z = -0.125;
  CheckOk(cal->SetPolyParameters(&p1, &q1, &r1, &x, &y, &z), "SetPolyParameters(1, 0, 0)");
  short p2 = 0, q2 = 2, r2 = 1;
  double x2 = 1e-9, y2 = -2e-9, z2 = 3e-9;
  CheckOk(cal->SetPolyParameters(&p2, &q2, &r2, &x2, &y2, &z2), "SetPolyParameters(0, 2, 1)");
  x = y = z = 0;
  CheckOk(cal->GetPolyParameters(&p1, &q1, &r1, &x, &y, &z), "GetPolyParameters(1, 0, 0)");
  Check(x == 0.5 && y == 0.25 && z == -0.125, "coefficients of P read back");
  CheckOk(cal->GetPolyParameters(&p2, &q2, &r2, &x, &y, &z), "GetPolyParameters(0, 2, 1)");
  Check(x == 1e-9 && y == -2e-9 && z == 3e-9, "coefficients of Q^2 R read back");
  order = 1;
  CheckOk(cal->put_PolynomialOrder(&order), "put PolynomialOrder 1");
  CheckOk(cal->GetPolyParameters(&p1, &q1, &r1, &x, &y, &z), "GetPolyParameters(1, 0, 0)");
  Check(x == 0.0 && y == 0.0 && z == 0.0, "setting the order clears the coefficients");

  // Transform with a known first-order polynomial: X = 2 P, Y = 3 Q, Z = 4 R.
  short one = 1, zero = 0;
  double two = 2, three = 3, four = 4, nil = 0;
  CheckOk(cal->SetPolyParameters(&one, &zero, &zero, &two, &nil, &nil), "P term");
  CheckOk(cal->SetPolyParameters(&zero, &one, &zero, &nil, &three, &nil), "Q term");
  CheckOk(cal->SetPolyParameters(&zero, &zero, &one, &nil, &nil, &four), "R term");
  x = y = z = 9;
  CheckOk(cal->Transform(10.0, 100.0, 1000.0, &x, &y, &z), "Transform");
  Check(x == 20.0 && y == 300.0 && z == 4000.0,
        "Transform(10, 100, 1000) with X = 2P, Y = 3Q, Z = 4R gives (20, 300, 4000)");

  // The fitted sphere before any fit, and indices outside 1..3.
  for (const int index : {0, 1, 2, 3, 4, 255}) {
    auto ii = static_cast<unsigned char>(index);
    d = -7;
    CheckOk(cal->get_SphereCentre(&ii, &d), "SphereCentre(" + std::to_string(index) + ")");
    Check(d == 0.0, "SphereCentre(" + std::to_string(index) + ") is 0 before a fit");
  }
  CheckOk(cal->get_SphereRadius(&d), "SphereRadius");
  Check(d == 0.0, "SphereRadius is 0 before a fit");

  // A second object resets every setting of the thread, the fit statistics
  // and the polynomial; the fitted sphere stays.
  Section("early binding: a second object resets the first one's settings");
  CheckText(LoadWritten(cal.Get(), out + L"\\statistics.cal",
                        "\"SPHERE :\"\r\n\"X\",\"Y\",\"Z\",\"R\"\r\n1,2,3,12.5\r\n"
                        "\"RMS\",\"MIN\",\"MAX\"\r\n0.25,-0.5,0.75\r\n"),
            L"OK", "a sphere and fit statistics loaded");
  Bstr result;
  CheckOk(cal->put_Mu(5.0), "put Mu");
  CheckOk(cal->put_nu(3.0), "put nu");
  CheckOk(cal->put_ConvergenceDetectionMethod(E_GradientNorm), "put ConvergenceDetectionMethod");
  CheckOk(cal->put_ConvergenceGradientNormValue(0.5), "put ConvergenceGradientNormValue");
  CheckOk(cal->put_ConvergenceSphereValue(0.25), "put ConvergenceSphereValue");
  CheckOk(cal->put_ConvergencePolyParamValue(0.125), "put ConvergencePolyParamValue");
  CheckOk(cal->put_IterationMaxNumber(3), "put IterationMaxNumber");
  CheckOk(cal->put_InitialProbeGain(1.0), "put InitialProbeGain");
  CheckOk(cal->put_ProgressDisplay(VARIANT_TRUE), "put ProgressDisplay");
  CheckOk(cal->put_InitialHX7a(30.0), "put InitialHX7a");
  CheckOk(cal->put_InitialHX7b(-45.0), "put InitialHX7b");
  i = 0, j = 3, k = 4;
  CheckOk(cal->LetHX7aDir(&i, &j, &k), "LetHX7aDir(0, 3, 4)");
  order = 2;
  CheckOk(cal->put_PolynomialOrder(&order), "put PolynomialOrder 2");
  P = 1, Q = 2, R = 3;
  CheckOk(cal->LetProbeOffsets(&P, &Q, &R), "LetProbeOffsets(1, 2, 3)");
  {
    Ptr<_ClsProbeCalibration> second;
    if (CheckOk(CreateCalibration(second), "create a second object")) {
      // The directions were (0, 0.6, 0.8) and (0.6, 0.8, 0): creation sets
      // only the first component of a and the third of b.
      for (_ClsProbeCalibration* object : {cal.Get(), second.Get()}) {
        const std::string who = object == cal.Get() ? "first object" : "second object";
        CheckDefaults(object, who + " after a second was created: ", {-1.0, 0.6, 0.8},
                      {0.6, 0.8, 1.0});
        x = y = z = 9;
        CheckOk(object->GetPolyParameters(&one, &zero, &zero, &x, &y, &z), "GetPolyParameters");
        Check(x == 0.0 && y == 0.0 && z == 0.0, who + ": a second object empties the polynomial");
        CheckOk(object->get_SphereRadius(&d), "SphereRadius");
        Check(d == 12.5, who + ": the fitted sphere stays");
      }
    }
  }

  // Errors of accessors: run-time error number and description.
  Section("early binding: errors");
  const double nan = std::numeric_limits<double>::quiet_NaN();
  HRESULT hr = cal->Transform(nan, 0.0, 0.0, &x, &y, &z);
  CheckHr(hr, ControlError(6), "Transform(NaN) fails with error 6");
  CheckText(ErrorDescription(), L"Overflow", "error information of Transform(NaN)");
  hr = cal->put_InitialHX7a(1e308);
  CheckHr(hr, ControlError(6), "InitialHX7a = 1E308 fails with error 6 (overflow)");
  CheckText(ErrorDescription(), L"Overflow", "error information of InitialHX7a = 1E308");
  CheckOk(cal->get_Mu(&d), "a call after an error");
  CheckText(ErrorDescription(), L"", "a successful call clears the error information");

  // Null pointers.
  CheckHr(cal->get_FitMax(nullptr), E_POINTER, "get FitMax(null)");
  CheckHr(cal->get_DLLVersion(nullptr), E_POINTER, "get DLLVersion(null)");
  CheckHr(cal->GetProbeOffsets(nullptr, &Q, &R), E_POINTER, "GetProbeOffsets(null, ...)");
  CheckHr(cal->LetHX7aDir(&i, nullptr, &k), E_POINTER, "LetHX7aDir(..., null, ...)");
  CheckHr(cal->get_SphereCentre(nullptr, &d), E_POINTER, "SphereCentre(null)");
  CheckHr(cal->put_PolynomialOrder(nullptr), E_POINTER, "put PolynomialOrder(null)");
  CheckHr(cal->Transform(1, 2, 3, &x, &y, nullptr), E_POINTER, "Transform(..., null)");
  CheckHr(cal->GetPolyParameters(&one, nullptr, &zero, &x, &y, &z), E_POINTER,
          "GetPolyParameters(..., null, ...)");

  // Bad data arrays. Every Optimise call, refused or failed, leaves Mu and nu
  // at their defaults.
  Section("early binding: bad data arrays");
  order = 3;
  const auto damping_set = [&] {
    CheckOk(cal->put_Mu(0.5), "put Mu");
    CheckOk(cal->put_nu(3.0), "put nu");
  };
  const auto damping_reset = [&](const std::string& call) {
    CheckOk(cal->get_Mu(&d), "get Mu") && CheckNear(d, 0.0001, "Mu after " + call, 0);
    CheckOk(cal->get_nu(&d), "get nu") && CheckNear(d, 10.0, "nu after " + call, 0);
  };
  damping_set();
  CheckHr(cal->Optimise(nullptr, &order, result.Out()), E_POINTER, "Optimise(null pointer)");
  damping_reset("Optimise(null pointer)");
  {
    Array data(ScanArray(scan, 1, 1));
    CheckHr(cal->Optimise(&data.Ref(), nullptr, result.Out()), E_POINTER, "Optimise(order null)");
    CheckHr(cal->Optimise(&data.Ref(), &order, nullptr), E_POINTER, "Optimise(result null)");
  }
  SAFEARRAY* none = nullptr;
  damping_set();
  CheckOk(cal->Optimise(&none, &order, result.Out()), "Optimise(no array)");
  CheckText(result.Text(), L"Optimise Error 9 : Subscript out of range",
            "Optimise(no array) result");
  damping_reset("Optimise(no array)");
  {
    Array one_dim(SafeArrayCreateVector(VT_R8, 1, 60));
    damping_set();
    CheckOk(cal->Optimise(&one_dim.Ref(), &order, result.Out()), "Optimise(1-D array)");
    CheckText(result.Text(), L"Optimise Error 9 : Subscript out of range",
              "Optimise(1-D array) result");
    damping_reset("Optimise(1-D array)");
  }
  {
    SAFEARRAYBOUND bounds[2] = {{6, 1}, {50, 1}};
    Array longs(SafeArrayCreate(VT_I4, 2, bounds));
    damping_set();
    CheckHr(cal->Optimise(&longs.Ref(), &order, result.Out()), DISP_E_TYPEMISMATCH,
            "Optimise(array of VT_I4)");
    CheckText(ErrorDescription(), L"Type mismatch", "error information of Optimise(VT_I4)");
    damping_reset("Optimise(array of VT_I4)");
  }
  {
    SAFEARRAYBOUND bounds[2] = {{5, 0}, {40, 1}};  // five fields only
    Array five(SafeArrayCreate(VT_R8, 2, bounds));
    damping_set();
    CheckOk(cal->Optimise(&five.Ref(), &order, result.Out()), "Optimise(5 fields)");
    CheckText(result.Text(), L"Optimise Error 9 : Subscript out of range",
              "Optimise with fewer than six fields");
    damping_reset("Optimise(5 fields)");
  }
  {
    SAFEARRAYBOUND bounds[2] = {{6, 1}, {2000, 32768}};  // samples 32768 To 34767
    Array high(SafeArrayCreate(VT_R8, 2, bounds));
    CheckOk(cal->Optimise(&high.Ref(), &order, result.Out()), "Optimise(samples 32768 To 34767)");
    CheckText(result.Text(), L"Optimise Error 6 : Overflow",
              "a samples' bound beyond 32,767 overflows");
    bounds[1] = {2000, -50000};  // samples -50000 To -48001
    Array low(SafeArrayCreate(VT_R8, 2, bounds));
    CheckOk(cal->Optimise(&low.Ref(), &order, result.Out()), "Optimise(samples -50000 To -48001)");
    CheckText(result.Text(), L"Optimise Error 6 : Overflow",
              "a samples' bound below -32,768 overflows");
  }

  // Result texts hold non-ASCII characters.
  Section("early binding: result texts and file names");
  Bstr missing(out + L"\\no such folder\\x.cal");
  CheckOk(cal->SaveCalibrationFunctions(&missing.Ref(), result.Out()),
          "SaveCalibrationFunctions into a missing folder");
  CheckText(result.Text(), L"SaveCalibrationFunctions Error n\u00B076 Path not found",
            "SaveCalibrationFunctions into a missing folder");
  Bstr absent(out + L"\\absent.cal");
  CheckOk(cal->LoadCalibrationFunctions(absent.Get(), result.Out()),
          "LoadCalibrationFunctions of a missing file");
  CheckText(result.Text(), L"LoadCalibrationFunctions Error n\u00B053 File not found",
            "LoadCalibrationFunctions of a missing file");
  Bstr absent_data(out + L"\\absent-data.txt");
  order = 2;
  CheckOk(cal->OptimiseFromFile(&absent_data.Ref(), &order, result.Out()),
          "OptimiseFromFile of a missing file");
  Check(!result.Text().empty() && result.Text() != L"OK",
        "OptimiseFromFile of a missing file reports it: " + Utf8(result.Text()));

  // A calibration, saved and loaded under a non-ASCII file name.
  Section("early binding: Optimise with bounds (0 To 5, 3 To N + 2), save, load");
  CheckOk(CreateCalibration(cal), "create");
  CheckOk(cal->put_Mu(0.5), "put Mu before Optimise");
  CheckOk(cal->put_nu(3.0), "put nu before Optimise");
  P = 12.0, Q = -7.5, R = 3.25;
  CheckOk(cal->LetProbeOffsets(&P, &Q, &R), "LetProbeOffsets before Optimise");
  Array data(ScanArray(scan, 0, 3));
  order = 5;
  CheckOk(cal->Optimise(&data.Ref(), &order, result.Out()), "Optimise");
  CheckText(result.Text(), L"OK", "Optimise result");
  Check(order == 3, "Optimise clamps Order 5 to 3 in the caller's variable");
  CheckOk(cal->get_Mu(&d), "get Mu") && CheckNear(d, 0.0001, "Mu after Optimise");
  CheckOk(cal->get_nu(&d), "get nu") && CheckNear(d, 10.0, "nu after Optimise");
  P = Q = R = 0;
  CheckOk(cal->GetProbeOffsets(&P, &Q, &R), "GetProbeOffsets after Optimise");
  Check(P == 12.0 && Q == -7.5 && R == 3.25, "probe offsets survive Optimise unchanged");
  double rms = 0, radius = 0, cx = 0;
  unsigned char one_index = 1;
  CheckOk(cal->get_FitRMS(&rms), "FitRMS");
  Check(rms > 0.0 && rms < 0.01, "FitRMS after the fit is small and positive");
  CheckOk(cal->get_SphereRadius(&radius), "SphereRadius");
  CheckNear(radius, 12.5, "SphereRadius after the fit", 1e-3);
  CheckOk(cal->get_SphereCentre(&one_index, &cx), "SphereCentre(1)");
  CheckNear(cx, 150.0, "SphereCentre(1) after the fit", 1e-4);
  short tp = 1, tq = 0, tr = 0;
  double cx1 = 0, cy1 = 0, cz1 = 0;
  CheckOk(cal->GetPolyParameters(&tp, &tq, &tr, &cx1, &cy1, &cz1), "P coefficients");
  CheckNear(cx1, 0.0000625 * 1.04, "X coefficient of P near the simulated gain", 0.05);

  const std::wstring accented = out + L"\\calibration-\u00E9t\u00E9.cal";
  Bstr accented_name(accented);
  CheckOk(cal->SaveCalibrationFunctions(&accented_name.Ref(), result.Out()),
          "SaveCalibrationFunctions (non-ASCII file name)");
  CheckText(result.Text(), L"OK", "save under a non-ASCII file name");
  Check(FileExists(accented), "the file has the non-ASCII name");
  CheckOk(CreateCalibration(cal), "create (empties the polynomial)");
  CheckOk(cal->LoadCalibrationFunctions(accented_name.Get(), result.Out()),
          "LoadCalibrationFunctions (non-ASCII file name)");
  CheckText(result.Text(), L"OK", "load from a non-ASCII file name");
  double loaded = 0;
  CheckOk(cal->get_FitRMS(&loaded), "FitRMS after load");
  CheckNear(loaded, rms, "FitRMS restored by the load", 1e-13);
  CheckOk(cal->get_SphereRadius(&loaded), "SphereRadius after load");
  CheckNear(loaded, radius, "SphereRadius restored by the load", 1e-13);
  CheckOk(cal->GetPolyParameters(&tp, &tq, &tr, &x, &y, &z), "P coefficients after load");
  CheckNear(x, cx1, "X coefficient of P restored by the load", 1e-13);
  const std::wstring again = out + L"\\resaved.cal";
  Bstr again_name(again);
  CheckOk(cal->SaveCalibrationFunctions(&again_name.Ref(), result.Out()), "save again");
  Check(ReadFileBytes(again) == ReadFileBytes(accented),
        "saving a loaded calibration writes the same file again");
}

// --- Late binding --------------------------------------------------------------------------

double AsDouble(const VARIANT& v) { return v.vt == VT_R8 ? v.dblVal : -12345.0; }

void LateBound(const Scan& scan, const std::wstring& out,
               const std::vector<std::wstring>& examples) {
  Section("late binding (IDispatch)");
  Ptr<_ClsProbeCalibration> cal;
  if (!CheckOk(CreateCalibration(cal), "create")) return;
  Ptr<IDispatch> object;
  if (!CheckOk(cal->QueryInterface(IID_IDispatch, object.OutVoid()), "IDispatch")) return;
  Dispatch call{object.Get()};
  UINT count = 0;
  CheckOk(object->GetTypeInfoCount(&count), "GetTypeInfoCount") &&
      Check(count == 1, "one type information");
  Ptr<ITypeInfo> info;
  CheckOk(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.Out()), "GetTypeInfo(0)");
  CheckHr(object->GetTypeInfo(1, LOCALE_USER_DEFAULT, info.Out()), DISP_E_BADINDEX,
          "GetTypeInfo(1)");
  DISPID unknown_id = 0;
  LPOLESTR unknown[1] = {const_cast<LPOLESTR>(L"NoSuchMember")};
  CheckHr(object->GetIDsOfNames(IID_NULL, unknown, 1, LOCALE_USER_DEFAULT, &unknown_id),
          DISP_E_UNKNOWNNAME, "GetIDsOfNames(NoSuchMember)");

  VARIANT v;
  VariantInit(&v);
  // Defaults through IDispatch.
  const std::pair<const wchar_t*, double> doubles[] = {
      {L"Mu", 0.0001},
      {L"nu", 10.0},
      {L"ConvergenceGradientNormValue", 0.001},
      {L"ConvergenceSphereValue", 0.00001},
      {L"ConvergencePolyParamValue", 0.000000001},
      {L"InitialProbeGain", 0.0000625},
      {L"FitRMS", 0.0},
      {L"FitMin", 0.0},
      {L"FitMax", 0.0},
      {L"InitialHX7a", 0.0},
      {L"InitialHX7b", 0.0},
  };
  for (const auto& [name, expected] : doubles) {
    CheckOk(call.GetProperty(name, &v), "get " + Utf8(name)) &&
        Check(v.vt == VT_R8, Utf8(name) + " is VT_R8") &&
        CheckNear(v.dblVal, expected, "late-bound default of " + Utf8(name));
  }
  CheckOk(call.GetProperty(L"IterationMaxNumber", &v), "get IterationMaxNumber") &&
      Check(v.vt == VT_UI1 && v.bVal == 10, "IterationMaxNumber is VT_UI1 10");
  CheckOk(call.GetProperty(L"ConvergenceDetectionMethod", &v), "get ConvergenceDetectionMethod") &&
      Check(v.vt == VT_I4 && v.lVal == 3, "ConvergenceDetectionMethod is VT_I4 3");
  CheckOk(call.GetProperty(L"ProgressDisplay", &v), "get ProgressDisplay") &&
      Check(v.vt == VT_BOOL && v.boolVal == VARIANT_FALSE, "ProgressDisplay is VT_BOOL false");
  CheckOk(call.GetProperty(L"DLLVersion", &v), "get DLLVersion") &&
      Check(v.vt == VT_BSTR && std::wstring(v.bstrVal).rfind(L"Tavric", 0) == 0,
            "DLLVersion is a VT_BSTR");
  VariantClear(&v);

  // Settings through property puts.
  const std::pair<const wchar_t*, double> puts[] = {
      {L"Mu", 0.003},
      {L"nu", 7.0},
      {L"ConvergenceGradientNormValue", 0.01},
      {L"InitialHX7a", 45.0},
      {L"InitialHX7b", 12.0},
      {L"ConvergenceSphereValue", 1e-6},
      {L"ConvergencePolyParamValue", 1e-10},
      {L"InitialProbeGain", 0.00006},
  };
  for (const auto& [name, value] : puts) {
    CheckOk(call.PutProperty(name, R8(value)), "put " + Utf8(name));
    CheckOk(call.GetProperty(name, &v), "get " + Utf8(name));
    CheckNear(AsDouble(v), value, "late-bound round trip of " + Utf8(name), 1e-14);
  }
  CheckOk(call.PutProperty(L"IterationMaxNumber", UI1(42)), "put IterationMaxNumber");
  CheckOk(call.GetProperty(L"IterationMaxNumber", &v), "get IterationMaxNumber") &&
      Check(v.vt == VT_UI1 && v.bVal == 42, "IterationMaxNumber 42");
  CheckOk(call.PutProperty(L"ProgressDisplay", Bool(true)), "put ProgressDisplay");
  CheckOk(call.GetProperty(L"ProgressDisplay", &v), "get ProgressDisplay") &&
      Check(v.vt == VT_BOOL && v.boolVal == VARIANT_TRUE, "ProgressDisplay true");
  CheckOk(call.PutProperty(L"ProgressDisplay", Bool(false)), "put ProgressDisplay false");
  const std::pair<LONG, LONG> clamps[] = {{0, 1}, {-5, 1}, {1, 1}, {2, 2}, {7, 3}};
  for (const auto& [set, expected] : clamps) {
    CheckOk(call.PutProperty(L"ConvergenceDetectionMethod", I4(set)),
            "put ConvergenceDetectionMethod " + std::to_string(set));
    CheckOk(call.GetProperty(L"ConvergenceDetectionMethod", &v), "get ConvergenceDetectionMethod");
    Check(v.vt == VT_I4 && v.lVal == expected, "late-bound ConvergenceDetectionMethod " +
                                                   std::to_string(set) + " reads " +
                                                   std::to_string(expected));
  }

  // By-reference arguments.
  double P = 4, Q = 5, R = 6;
  CheckOk(call.Method(L"LetProbeOffsets", {RefR8(P), RefR8(Q), RefR8(R)}), "LetProbeOffsets");
  short p0 = 0, q0 = 0, r0 = 0;
  double x = 0, y = 0, z = 0;
  CheckOk(call.Method(L"GetPolyParameters",
                      {RefI2(p0), RefI2(q0), RefI2(r0), RefR8(x), RefR8(y), RefR8(z)}),
          "GetPolyParameters(0, 0, 0)");
  Check(x == -4.0 && y == -5.0 && z == -6.0, "late-bound offsets stored negated");
  P = Q = R = 0;
  CheckOk(call.Method(L"GetProbeOffsets", {RefR8(P), RefR8(Q), RefR8(R)}), "GetProbeOffsets");
  Check(P == 4.0 && Q == 5.0 && R == 6.0, "late-bound GetProbeOffsets");

  unsigned char order = 2;
  CheckOk(call.PutProperty(L"PolynomialOrder", RefUI1(order)), "put PolynomialOrder (by ref)");
  CheckOk(call.GetProperty(L"PolynomialOrder", &v), "get PolynomialOrder") &&
      Check(v.vt == VT_UI1 && v.bVal == 2, "PolynomialOrder 2");
  CheckOk(call.PutProperty(L"PolynomialOrder", UI1(3)), "put PolynomialOrder (by value)");
  CheckOk(call.GetProperty(L"PolynomialOrder", &v), "get PolynomialOrder") &&
      Check(v.vt == VT_UI1 && v.bVal == 3, "PolynomialOrder 3");

  short p1 = 1, q1 = 1, r1 = 1;
  x = 0.125, y = -0.5, z = 2.0;
  CheckOk(call.Method(L"SetPolyParameters",
                      {RefI2(p1), RefI2(q1), RefI2(r1), RefR8(x), RefR8(y), RefR8(z)}),
          "SetPolyParameters(1, 1, 1)");
  x = y = z = 0;
  CheckOk(call.Method(L"GetPolyParameters",
                      {RefI2(p1), RefI2(q1), RefI2(r1), RefR8(x), RefR8(y), RefR8(z)}),
          "GetPolyParameters(1, 1, 1)");
  Check(x == 0.125 && y == -0.5 && z == 2.0, "late-bound coefficients of P Q R read back");
  x = y = z = 0;
  CheckOk(call.Method(L"Transform", {R8(1.0), R8(1.0), R8(1.0), RefR8(x), RefR8(y), RefR8(z)}),
          "Transform");
  // Setting the order cleared the offsets: only the P Q R term is left.
  Check(x == 0.125 && y == -0.5 && z == 2.0, "late-bound Transform(1, 1, 1) = the P Q R term");

  double i = 0, j = 2, k = 0;
  CheckOk(call.Method(L"LetHX7aDir", {RefR8(i), RefR8(j), RefR8(k)}), "LetHX7aDir(0, 2, 0)");
  CheckOk(call.Method(L"GetHX7aDir", {RefR8(i), RefR8(j), RefR8(k)}), "GetHX7aDir");
  Check(i == 0.0 && j == 1.0 && k == 0.0, "late-bound LetHX7aDir normalises");
  i = 0, j = 0, k = -5;
  CheckOk(call.Method(L"LetHX7bDir", {RefR8(i), RefR8(j), RefR8(k)}), "LetHX7bDir(0, 0, -5)");
  CheckOk(call.Method(L"GetHX7bDir", {RefR8(i), RefR8(j), RefR8(k)}), "GetHX7bDir");
  Check(i == 0.0 && j == 0.0 && k == -1.0, "late-bound LetHX7bDir normalises");

  unsigned char index = 4;
  CheckOk(call.GetProperty(L"SphereCentre", &v, {RefUI1(index)}), "SphereCentre(4)") &&
      Check(v.vt == VT_R8 && v.dblVal == 0.0, "late-bound SphereCentre(4) is 0");
  index = 0;
  CheckOk(call.GetProperty(L"SphereCentre", &v, {RefUI1(index)}), "SphereCentre(0)") &&
      Check(v.vt == VT_R8 && v.dblVal == 0.0, "late-bound SphereCentre(0) is 0");

  // An error through IDispatch.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  HRESULT hr = call.Method(L"Transform", {R8(nan), R8(0), R8(0), RefR8(x), RefR8(y), RefR8(z)});
  CheckHr(hr, DISP_E_EXCEPTION, "late-bound Transform(NaN)");
  CheckHr(call.exception.scode, ControlError(6), "EXCEPINFO scode of Transform(NaN)");
  CheckText(call.exception.bstrDescription != nullptr ? call.exception.bstrDescription : L"",
            L"Overflow", "EXCEPINFO description of Transform(NaN)");

  // Optimise with a by-reference array (any bounds) and a by-reference order.
  Section("late binding: Optimise, files");
  CheckOk(CreateCalibration(cal), "create");
  object.Reset();
  CheckOk(cal->QueryInterface(IID_IDispatch, object.OutVoid()), "IDispatch");
  call.d = object.Get();
  Array data(ScanArray(scan, 0, 3));
  order = 7;
  CheckOk(call.Method(L"Optimise", {RefArray(data.Ref(), VT_R8), RefUI1(order)}, &v),
          "late-bound Optimise");
  Check(v.vt == VT_BSTR && std::wstring(v.bstrVal) == L"OK", "late-bound Optimise result OK");
  VariantClear(&v);
  Check(order == 3, "late-bound Optimise clamps Order 7 to 3 by reference");
  double early_radius = -1;
  CheckOk(cal->get_SphereRadius(&early_radius), "SphereRadius");
  CheckOk(call.GetProperty(L"SphereRadius", &v), "late-bound SphereRadius") &&
      Check(v.vt == VT_R8 && v.dblVal == early_radius && early_radius > 12.0,
            "late-bound SphereRadius is the fitted radius");
  BSTR late_file = SysAllocString((out + L"\\late-bound.cal").c_str());
  CheckOk(call.Method(L"SaveCalibrationFunctions", {RefBstr(late_file)}, &v),
          "late-bound SaveCalibrationFunctions");
  Check(v.vt == VT_BSTR && std::wstring(v.bstrVal) == L"OK", "late-bound save result OK");
  VariantClear(&v);
  CheckOk(call.Method(L"LoadCalibrationFunctions", {Str(late_file)}, &v),
          "late-bound LoadCalibrationFunctions");
  Check(v.vt == VT_BSTR && std::wstring(v.bstrVal) == L"OK", "late-bound load result OK");
  VariantClear(&v);
  SysFreeString(late_file);
  const std::string late_bytes = ReadFileBytes(out + L"\\late-bound.cal");
  const std::string early_bytes = ReadFileBytes(out + L"\\windows-scan.cal");
  Check(!late_bytes.empty() && late_bytes == early_bytes,
        "late-bound calibration writes the same file as the early-bound one");

  BSTR missing = SysAllocString((out + L"\\absent-data.txt").c_str());
  order = 1;
  CheckOk(call.Method(L"OptimiseFromFile", {RefBstr(missing), RefUI1(order)}, &v),
          "late-bound OptimiseFromFile");
  Check(v.vt == VT_BSTR && v.bstrVal != nullptr && std::wstring(v.bstrVal) != L"OK",
        "late-bound OptimiseFromFile of a missing file reports it");
  VariantClear(&v);
  SysFreeString(missing);
  if (!examples.empty()) {
    BSTR example = SysAllocString(examples.front().c_str());
    order = 0;
    CheckOk(call.Method(L"OptimiseFromFile", {RefBstr(example), RefUI1(order)}, &v),
            "late-bound OptimiseFromFile of an example");
    Check(v.vt == VT_BSTR && v.bstrVal != nullptr && std::wstring(v.bstrVal) == L"OK",
          "late-bound OptimiseFromFile of " + Utf8(FileName(examples.front())) + " gives OK");
    Check(order == 1, "late-bound OptimiseFromFile clamps Order 0 to 1 by reference");
    VariantClear(&v);
    SysFreeString(example);
  }

  // Bad arrays through IDispatch.
  SAFEARRAY* none = nullptr;
  order = 3;
  CheckOk(call.Method(L"Optimise", {RefArray(none, VT_R8), RefUI1(order)}, &v),
          "late-bound Optimise(no array)");
  Check(v.vt == VT_BSTR && std::wstring(v.bstrVal) == L"Optimise Error 9 : Subscript out of range",
        "late-bound Optimise(no array) result");
  VariantClear(&v);
  Array one_dim(SafeArrayCreateVector(VT_R8, 0, 12));
  CheckOk(call.Method(L"Optimise", {RefArray(one_dim.Ref(), VT_R8), RefUI1(order)}, &v),
          "late-bound Optimise(1-D array)");
  Check(v.vt == VT_BSTR && std::wstring(v.bstrVal) == L"Optimise Error 9 : Subscript out of range",
        "late-bound Optimise(1-D array) result");
  VariantClear(&v);
  SAFEARRAYBOUND bounds[2] = {{6, 1}, {20, 1}};
  Array longs(SafeArrayCreate(VT_I4, 2, bounds));
  hr = call.Method(L"Optimise", {RefArray(longs.Ref(), VT_I4), RefUI1(order)}, &v);
  Check(FAILED(hr), "late-bound Optimise(VT_I4 array) fails: " + Hex(hr));
  Check(hr == DISP_E_TYPEMISMATCH ||
            (hr == DISP_E_EXCEPTION && call.exception.scode == DISP_E_TYPEMISMATCH),
        "late-bound Optimise(VT_I4 array) is a type mismatch: " + Hex(hr));
  VariantClear(&v);
}

// --- Calibrations compared with the Linux build and the progress display ------------------

void Calibrations(const Scan& scan, const Scan& big, const std::wstring& out,
                  const std::vector<std::wstring>& examples) {
  Section("calibrations for comparison with the Linux build");
  CalibrateAndSave(scan, false, out + L"\\windows-scan.cal", "scan");
  if (Check(big.count == 32767, "the large scan holds 32,767 samples")) {
    CalibrateAndSave(big, false, out + L"\\windows-big.cal", "32,767 samples", 1);
  }
  for (const std::wstring& file : examples) {
    const std::string what = Utf8(FileName(file));
    OnFreshApartment([&] {
      Ptr<_ClsProbeCalibration> cal;
      if (!CheckOk(CreateCalibration(cal), what + ": create")) return;
      Bstr name(file);
      unsigned char order = 3;
      Bstr result;
      CheckOk(cal->OptimiseFromFile(&name.Ref(), &order, result.Out()),
              what + ": OptimiseFromFile");
      // The test compares this line with the Linux build's.
      std::printf("EXAMPLE %s: %s\n", what.c_str(), Utf8(result.Text()).c_str());
      if (result.Text() != L"OK") return;
      Bstr saved_name(out + L"\\windows-" + FileName(file) + L".cal");
      Bstr saved;
      CheckOk(cal->SaveCalibrationFunctions(&saved_name.Ref(), saved.Out()), what + ": save");
      CheckText(saved.Text(), L"OK", what + ": save result");
    });
  }
}

// The progress display, without a desktop of any use: the calibration must
// still run and give the same result.
void HeadlessDisplay(const Scan& scan, const std::wstring& out) {
  Section("ProgressDisplay without a visible desktop");
  CalibrateAndSave(scan, true, out + L"\\windows-scan-headless-display.cal", "headless display");
  Check(ReadFileBytes(out + L"\\windows-scan-headless-display.cal") ==
            ReadFileBytes(out + L"\\windows-scan.cal"),
        "the calibration with ProgressDisplay on is the one without");
}

// --- Host messages during a calibration --------------------------------------------------

int g_timer_calls_in_optimise = 0;
bool g_in_optimise = false;

void CALLBACK CountTimer(HWND, UINT, UINT_PTR, DWORD) {
  if (g_in_optimise) ++g_timer_calls_in_optimise;
}

constexpr UINT kHostPing = WM_APP + 42;

// A host's user interface stays alive during a long fit without the progress
// window: the server lets the thread's pending messages through (a due timer
// of the host's, a message posted to its thread), as the host runtime's
// DoEvents would.
void HostMessagesDuringOptimise(const Scan& scan) {
  Section("host messages are dispatched during Optimise without the progress window");
  OnFreshApartment([&] {
    Ptr<_ClsProbeCalibration> cal;
    if (!CheckOk(CreateCalibration(cal), "create")) return;
    VARIANT_BOOL display = VARIANT_TRUE;
    CheckOk(cal->get_ProgressDisplay(&display), "get ProgressDisplay");
    Check(display == VARIANT_FALSE, "ProgressDisplay is off");
    Array data(ScanArray(scan, 0, 3));
    unsigned char order = 3;
    Bstr result;
    MSG message;
    PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);  // the thread's queue exists
    const UINT_PTR timer = SetTimer(nullptr, 0, 10, &CountTimer);
    Check(timer != 0, "a timer of the host's thread");
    Sleep(50);  // the timer is due before Optimise starts
    Check(PostThreadMessageW(GetCurrentThreadId(), kHostPing, 0, 0) != FALSE,
          "a message posted to the host's thread");
    g_in_optimise = true;
    CheckOk(cal->Optimise(&data.Ref(), &order, result.Out()), "Optimise");
    g_in_optimise = false;
    KillTimer(nullptr, timer);
    CheckText(result.Text(), L"OK", "Optimise result");
    Check(g_timer_calls_in_optimise >= 1, "the host's timer was dispatched during Optimise (" +
                                              std::to_string(g_timer_calls_in_optimise) +
                                              " times)");
    Check(PeekMessageW(&message, nullptr, kHostPing, kHostPing, PM_REMOVE) == FALSE,
          "the message posted to the host's thread was taken from its queue during Optimise");
  });
}

// --- Watching the progress window -------------------------------------------------------

const wchar_t* const kWindowTitle = L"Scanning Probe Calibration display";

struct Watch {
  std::atomic<bool> run_done{false};
  std::atomic<bool> holding{false};
  bool found = false;
  bool visible = false;
  std::wstring title;
  int children = 0;
  std::map<int, std::wstring> first_texts;
  std::set<std::wstring> iterations, rms, steps, points, radius;
  std::set<int> convergence_states;
  std::wstring label_font, large_font;
  LONG label_height = 0, large_height = 0;
  int reads = 0;
};
Watch g_watch;

std::wstring g_ready_file, g_done_file;
bool g_held = false;
bool g_hold_released = false;

bool ReadText(HWND window, std::wstring& text) {
  wchar_t buffer[512] = {};
  DWORD_PTR length = 0;
  if (!SendMessageTimeoutW(window, WM_GETTEXT, 512, reinterpret_cast<LPARAM>(buffer), SMTO_NORMAL,
                           2000, &length)) {
    return false;
  }
  text.assign(buffer, static_cast<std::size_t>(length));
  return true;
}

bool ReadFont(HWND control, std::wstring& face, LONG& height) {
  DWORD_PTR font = 0;
  if (!SendMessageTimeoutW(control, WM_GETFONT, 0, 0, SMTO_NORMAL, 2000, &font) || font == 0) {
    return false;
  }
  LOGFONTW log{};
  if (GetObjectW(reinterpret_cast<HFONT>(font), sizeof log, &log) == 0) return false;
  face = log.lfFaceName;
  height = std::labs(log.lfHeight);
  return true;
}

BOOL CALLBACK CollectChild(HWND child, LPARAM lparam) {
  reinterpret_cast<std::vector<HWND>*>(lparam)->push_back(child);
  return TRUE;
}

// The second thread: finds the window by its title and reads its controls
// while the calibration runs.
void WatchWindow() {
  Watch& w = g_watch;
  while (!w.run_done) {
    if (w.holding) {
      Sleep(20);
      continue;
    }
    HWND window = FindWindowW(nullptr, kWindowTitle);
    if (window == nullptr) {
      Sleep(2);
      continue;
    }
    if (!w.found) {
      w.found = true;
      w.visible = IsWindowVisible(window) != FALSE;
      ReadText(window, w.title);
      std::vector<HWND> children;
      EnumChildWindows(window, &CollectChild, reinterpret_cast<LPARAM>(&children));
      w.children = static_cast<int>(children.size());
      for (HWND child : children) {
        std::wstring text;
        if (ReadText(child, text)) w.first_texts[GetDlgCtrlID(child)] = text;
      }
      ReadFont(GetDlgItem(window, IDC_LABEL4), w.label_font, w.label_height);
      ReadFont(GetDlgItem(window, IDC_LABEL3), w.large_font, w.large_height);
    }
    if (IsWindowVisible(window)) w.visible = true;
    std::wstring text;
    if (ReadText(GetDlgItem(window, IDC_LABEL3), text)) w.iterations.insert(text);
    if (ReadText(GetDlgItem(window, IDC_LABEL7), text)) w.rms.insert(text);
    if (ReadText(GetDlgItem(window, IDC_LABSTEP), text)) w.steps.insert(text);
    if (ReadText(GetDlgItem(window, IDC_LABEL2), text)) w.points.insert(text);
    if (ReadText(GetDlgItem(window, IDC_LABEL10 + 3), text)) w.radius.insert(text);
    DWORD_PTR state = 0;
    if (SendMessageTimeoutW(GetDlgItem(window, IDC_CHCONVERGENCE), BM_GETCHECK, 0, 0, SMTO_NORMAL,
                            2000, &state)) {
      w.convergence_states.insert(static_cast<int>(state));
    }
    ++w.reads;
  }
}

// Runs on the calibration's thread for every message sent to its windows.
// When the iteration label is first set to 2 or more, the window is held
// open (fully painted) until the screenshot is done.
LRESULT CALLBACK HoldForScreenshot(int code, WPARAM wparam, LPARAM lparam) {
  const auto* message = reinterpret_cast<const CWPSTRUCT*>(lparam);
  if (code == HC_ACTION && !g_held && message->message == WM_SETTEXT &&
      GetDlgCtrlID(message->hwnd) == IDC_LABEL3 && message->lParam != 0 &&
      std::wcstol(reinterpret_cast<const wchar_t*>(message->lParam), nullptr, 10) >= 2) {
    g_held = true;
    g_watch.holding = true;
    HWND window = GetParent(message->hwnd);
    RedrawWindow(window, nullptr, nullptr,
                 RDW_INVALIDATE | RDW_ERASE | RDW_UPDATENOW | RDW_ALLCHILDREN | RDW_FRAME);
    if (std::FILE* f = _wfopen(g_ready_file.c_str(), L"wb")) std::fclose(f);
    for (int waited = 0; waited < 90000 && !FileExists(g_done_file); waited += 50) {
      // Repaint what needs it, and let the display driver flush the window.
      MSG paint;
      while (PeekMessageW(&paint, nullptr, WM_PAINT, WM_PAINT, PM_REMOVE)) DispatchMessageW(&paint);
      MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_PAINT);
    }
    g_hold_released = FileExists(g_done_file);
    g_watch.holding = false;
  }
  return CallNextHookEx(nullptr, code, wparam, lparam);
}

void Display(const Scan& scan, const std::wstring& out) {
  Section("progress window");
  HHOOK hook = SetWindowsHookExW(WH_CALLWNDPROC, &HoldForScreenshot, nullptr, GetCurrentThreadId());
  Check(hook != nullptr, "message hook of the calibration thread");
  std::thread watcher(WatchWindow);

  Ptr<_ClsProbeCalibration> cal;
  Bstr result;
  unsigned char order = 3;
  if (CheckOk(CreateCalibration(cal), "create")) {
    CheckOk(cal->put_ProgressDisplay(VARIANT_TRUE), "put ProgressDisplay");
    Array data(ScanArray(scan, 0, 3));
    CheckOk(cal->Optimise(&data.Ref(), &order, result.Out()), "Optimise with ProgressDisplay");
  }
  g_watch.run_done = true;
  watcher.join();
  if (hook != nullptr) UnhookWindowsHookEx(hook);

  Watch& w = g_watch;
  CheckText(result.Text(), L"OK", "Optimise with ProgressDisplay result");
  Check(FindWindowW(nullptr, kWindowTitle) == nullptr, "the window is closed after Optimise");
  if (!Check(w.found, "the progress window was found by its title while Optimise ran")) return;
  Check(w.visible, "the progress window was visible");
  CheckText(w.title, kWindowTitle, "window title");
  Check(w.children == 43, "the window has 43 controls: " + std::to_string(w.children));
  const std::pair<int, const wchar_t*> captions[] = {
      {IDC_FRAME1, L"Iteration"},
      {IDC_LABEL4, L"RMS error ="},
      {IDC_LABEL5, L"Max error ="},
      {IDC_LABEL6, L"Min error ="},
      {IDC_LABEL8, L"\u00B5m"},
      {IDC_LABEL8 + 1, L"\u00B5m"},
      {IDC_LABEL8 + 2, L"\u00B5m"},
      {IDC_FRAME2, L"Interim Sphere Results"},
      {IDC_CHSPHERESTABLE, L"Stable"},
      {IDC_LABEL9, L"Centre.x ="},
      {IDC_LABEL9 + 1, L"Centre.y ="},
      {IDC_LABEL9 + 2, L"Centre.z ="},
      {IDC_LABEL9 + 3, L"Radius  ="},
      {IDC_LABEL8 + 3, L"mm"},
      {IDC_LABEL8 + 4, L"mm"},
      {IDC_LABEL8 + 5, L"mm"},
      {IDC_LABEL8 + 6, L"mm"},
      {IDC_FRAME3, L"Interim first order results ( \u00D7 0.0001)"},
      {IDC_CHMATRIXSTABLE, L"Stable"},
      {IDC_FRAME4, L"Gradient "},
      {IDC_CHGRADSTABLE, L"Stable"},
      {IDC_FRAME5, L"Convergence"},
      {IDC_CHCONVERGENCE, L"Has converged"},
  };
  for (const auto& [id, caption] : captions) {
    const auto it = w.first_texts.find(id);
    CheckText(it != w.first_texts.end() ? it->second : L"<missing>", caption,
              "caption of control " + std::to_string(id));
  }
  Check(w.points.count(L"Third order optimisation on " + std::to_wstring(scan.count) +
                       L" points") == 1,
        "Label2 shows the order and the number of points");
  Check(w.iterations.size() >= 2, "the iteration label changed during the run (" +
                                      std::to_string(w.iterations.size()) + " values)");
  std::set<std::wstring> rms_values;
  for (const auto& text : w.rms) {
    if (!text.empty()) rms_values.insert(text);
  }
  Check(rms_values.size() >= 2,
        "the RMS error changed during the run (" + std::to_string(rms_values.size()) + " values)");
  bool lm_stage = false;
  for (const auto& step : w.steps) {
    lm_stage = lm_stage || step.rfind(L"Levenberg-Marquardt : \n", 0) == 0;
  }
  Check(lm_stage, "LabStep showed a Levenberg-Marquardt stage");
  CheckText(w.label_font, L"MS Sans Serif", "font of the labels");
  CheckText(w.large_font, L"MS Sans Serif", "font of the iteration label");
  Check(w.large_height > w.label_height,
        "the iteration label's font (" + std::to_string(w.large_height) +
            " px) is larger than the labels' (" + std::to_string(w.label_height) + " px)");
  Check(g_held && g_hold_released, "the window was held open for the screenshot");
  std::printf("progress window: %d reads, %zu iteration values, %zu RMS values\n", w.reads,
              w.iterations.size(), rms_values.size());

  Bstr file(out + L"\\windows-scan-display.cal");
  Bstr saved;
  if (cal) {
    CheckOk(cal->SaveCalibrationFunctions(&file.Ref(), saved.Out()), "save");
    CheckText(saved.Text(), L"OK", "save after the displayed run");
  }
}

// --- The user's locale ---------------------------------------------------------------------

// The scan as a generic data file: every number in its shortest exact form,
// with `point` as the decimal separator.
std::string GenericText(const Scan& scan, char point) {
  std::string text =
      "LOGGED PARAMETERS\r\nTQ800Axis0.0 TQ800Axis1.0 TQ800Axis2.0 X.51 Y.51 Z.51\r\n";
  char number[64];
  for (std::size_t v = 0; v < scan.values.size(); ++v) {
    const auto written = std::to_chars(number, number + sizeof number, scan.values[v]);
    std::string field(number, written.ptr);
    std::replace(field.begin(), field.end(), '.', point);
    text += field + (v % 6 == 5 ? "\r\n" : " ");
  }
  return text + "END\r\n";
}

bool HasComma(const std::set<std::wstring>& texts) {
  return std::any_of(texts.begin(), texts.end(),
                     [](const std::wstring& t) { return t.find(L',') != std::wstring::npos; });
}
bool HasPeriod(const std::set<std::wstring>& texts) {
  return std::any_of(texts.begin(), texts.end(),
                     [](const std::wstring& t) { return t.find(L'.') != std::wstring::npos; });
}

// Run after Display, with a user's locale whose decimal separator is a comma
// (under Wine: LC_ALL=de_DE.UTF-8): data files are read with it, the
// calibration file is written with periods and its radius alone is read back
// with the locale's conversion, and the progress window wrote commas.
void UserLocale(const Scan& scan, const std::wstring& out) {
  Section("the user's locale: a decimal comma");
  wchar_t separator[8] = {};
  GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, separator, 8);
  if (!CheckText(separator, L",", "the user's locale has a decimal comma")) return;

  const std::wstring comma = out + L"\\comma.txt";
  const std::wstring period = out + L"\\period.txt";
  const std::wstring saved = out + L"\\windows-comma.cal";
  Check(WriteFileBytes(comma, GenericText(scan, ',')), "write the data with decimal commas");
  Check(WriteFileBytes(period, GenericText(scan, '.')), "write the data with periods");
  // On this (the main) thread: under a desktop, Wine does not end a worker
  // apartment that created the server's object (see docs/windows.md).
  {
    Ptr<_ClsProbeCalibration> cal;
    if (!CheckOk(CreateCalibration(cal), "create")) return;
    Bstr name(comma);
    unsigned char order = 3;
    Bstr result;
    CheckOk(cal->OptimiseFromFile(&name.Ref(), &order, result.Out()), "OptimiseFromFile (commas)");
    CheckText(result.Text(), L"OK", "data with decimal commas calibrate");
    Bstr saved_name(saved);
    CheckOk(cal->SaveCalibrationFunctions(&saved_name.Ref(), result.Out()), "save");
    CheckText(result.Text(), L"OK", "save result");
    // Read back, the centre and statistics are invariant numbers but the
    // radius goes through the locale's conversion, where a period is no
    // decimal point.
    CheckOk(cal->LoadCalibrationFunctions(saved_name.Get(), result.Out()), "load");
    CheckText(result.Text(), L"LoadCalibrationFunctions Error n\u00B013 Type mismatch",
              "loading a calibration file fails on its radius");

    Section("the user's locale: data written with periods");
    Bstr period_name(period);
    order = 3;
    CheckOk(cal->OptimiseFromFile(&period_name.Ref(), &order, result.Out()),
            "OptimiseFromFile (periods)");
    CheckText(result.Text(), L"File reading(Generic) error 13 : Type mismatch",
              "data with periods are not numbers in this locale");

    Section("the user's locale: a radius written with a decimal comma");
    CheckText(LoadWritten(cal.Get(), out + L"\\quoted-radius.cal",
                          "\"SPHERE :\"\r\n\"X\",\"Y\",\"Z\",\"R\"\r\n1.5,2,3,\"12,5\"\r\n"
                          "\"RMS\",\"MIN\",\"MAX\"\r\n0.25,0,0\r\n"),
              L"OK", "a radius written with a decimal comma loads");
    double value = 0;
    unsigned char one = 1;
    CheckOk(cal->get_SphereRadius(&value), "SphereRadius") &&
        Check(value == 12.5, "the radius \"12,5\" reads 12.5");
    CheckOk(cal->get_SphereCentre(&one, &value), "SphereCentre(1)") &&
        Check(value == 1.5, "the centre 1.5 is read with its period");
    CheckOk(cal->get_FitRMS(&value), "FitRMS") && Check(value == 0.25, "FitRMS 0.25");
  }

  // The display run of this process (Display) ran under the same locale.
  Section("the user's locale: the progress window");
  const Watch& w = g_watch;
  if (!w.found) return;  // Display said so already
  Check(HasComma(w.radius) && !HasPeriod(w.radius), "the radius was shown with a decimal comma (" +
                                                        std::to_string(w.radius.size()) +
                                                        " values read)");
  Check(HasComma(w.rms) && !HasPeriod(w.rms), "the RMS error was shown with a decimal comma");
}

// --- Main ------------------------------------------------------------------------------

struct Options {
  std::wstring mode, scan, big, out, ready, done;
  std::vector<std::wstring> examples;
};

bool Parse(int argc, wchar_t** argv, Options& o) {
  if (argc < 2) return false;
  o.mode = argv[1];
  for (int i = 2; i + 1 < argc; i += 2) {
    const std::wstring key = argv[i];
    const std::wstring value = argv[i + 1];
    if (key == L"--scan") {
      o.scan = value;
    } else if (key == L"--big") {
      o.big = value;
    } else if (key == L"--out") {
      o.out = value;
    } else if (key == L"--example") {
      o.examples.push_back(value);
    } else if (key == L"--ready") {
      o.ready = value;
    } else if (key == L"--done") {
      o.done = value;
    } else {
      return false;
    }
  }
  return (o.mode == L"api" || o.mode == L"display") && !o.scan.empty() && !o.out.empty();
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  // Unbuffered: what was printed survives a run stopped by a timeout.
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  Options options;
  if (!Parse(argc, argv, options)) {
    std::printf(
        "usage: TavricComClient api|display --scan FILE --out DIR [--big FILE] "
        "[--example FILE]... [--ready FILE --done FILE]\n");
    return 2;
  }
  if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
    std::printf("CoInitializeEx failed\n");
    return 2;
  }
  const Scan scan = ReadScan(options.scan);
  if (Check(scan.count > 0, "scan data read from " + Utf8(options.scan))) {
    if (options.mode == L"api") {
      CheckRegistrationAndClassObject();
      CheckTypeLibrary();
      Calibrations(scan, ReadScan(options.big), options.out, options.examples);
      EarlyBound(scan, options.out);
      LateBound(scan, options.out, options.examples);
      HeadlessDisplay(scan, options.out);
      HostMessagesDuringOptimise(scan);
    } else {
      g_ready_file = options.ready;
      g_done_file = options.done;
      Display(scan, options.out);
      UserLocale(scan, options.out);
    }
  }
  CoUninitialize();
  std::printf("RESULT: %d passed, %d failed\n", g_passed, g_failed);
  std::fflush(stdout);
  return g_failed == 0 ? 0 : 1;
}
