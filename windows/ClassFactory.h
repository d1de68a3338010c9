// ClassFactory: the class object of the coclass ClsProbeCalibration, handed
// out by DllGetClassObject. It lives as long as the process (it is a static
// object) and counts only its server locks.
#pragma once

// clang-format off
#include <windows.h>  // before every other Windows header
#include <unknwn.h>
// clang-format on

namespace tavric::com {

class ClassFactory final : public IClassFactory {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** object) override;
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;
};

// The one class object of the DLL.
ClassFactory& TheClassFactory() noexcept;

}  // namespace tavric::com
