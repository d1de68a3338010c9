#include "ComErrors.h"

#include <oleauto.h>

#include "Tavric_h.h"
#include "WideText.h"
#include "runtime/ErrorTrap.h"

namespace tavric::com {

HRESULT ErrorHResult(int number) noexcept {
  return MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, static_cast<unsigned>(number) & 0xFFFFu);
}

HRESULT ReportError(HRESULT hr, const std::string& description) noexcept {
  try {
    ICreateErrorInfo* create = nullptr;
    if (FAILED(CreateErrorInfo(&create))) return hr;
    create->SetGUID(IID__ClsProbeCalibration);
    std::wstring source = L"Tavric.ClsProbeCalibration";
    create->SetSource(source.data());
    std::wstring text = Utf8ToWide(description);
    create->SetDescription(text.data());
    IErrorInfo* info = nullptr;
    if (SUCCEEDED(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)))) {
      SetErrorInfo(0, info);
      info->Release();
    }
    create->Release();
  } catch (...) {
    // Out of memory while describing the error: the HRESULT still tells it.
  }
  return hr;
}

HRESULT ReportRuntimeError(int number, const std::string& description) noexcept {
  return ReportError(ErrorHResult(number), description);
}

HRESULT ReportCurrentException() noexcept {
  try {
    const ErrorInfo info = CurrentErrorInfo();
    return ReportRuntimeError(info.number, info.description);
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

void ClearErrorInfo() noexcept { SetErrorInfo(0, nullptr); }

}  // namespace tavric::com
