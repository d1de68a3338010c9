#include "ClassFactory.h"

#include "ComProbeCalibration.h"
#include "ServerModule.h"

namespace tavric::com {

HRESULT ClassFactory::QueryInterface(REFIID riid, void** object) {
  if (object == nullptr) return E_POINTER;
  if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IClassFactory)) {
    *object = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

// The class object is static: its references do not keep the DLL loaded,
// its server locks do.
ULONG ClassFactory::AddRef() { return 2; }
ULONG ClassFactory::Release() { return 1; }

HRESULT ClassFactory::CreateInstance(IUnknown* outer, REFIID riid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (outer != nullptr) return CLASS_E_NOAGGREGATION;
  return ComProbeCalibration::Create(riid, object);
}

HRESULT ClassFactory::LockServer(BOOL lock) {
  tavric::com::LockServer(lock != FALSE);
  return S_OK;
}

ClassFactory& TheClassFactory() noexcept {
  static ClassFactory factory;
  return factory;
}

}  // namespace tavric::com
