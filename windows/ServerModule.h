// ServerModule: process-wide state of the automation server DLL.
//
// Holds the DLL's module handle (set by DllMain), the counts of live objects
// and of server locks that DllCanUnloadNow reads, and the type information
// of the dual interface, loaded once from the type library embedded in the
// DLL's resources (so the objects work whether or not the library is
// registered).
#pragma once

// clang-format off
#include <windows.h>  // before every other Windows header
#include <oaidl.h>
// clang-format on

#include <string>

namespace tavric::com {

void SetModule(HMODULE module) noexcept;
HMODULE Module() noexcept;
// Full path of the DLL, as registered under InprocServer32.
std::wstring ModulePath();

// Live COM objects (class objects excluded) and IClassFactory::LockServer.
void ObjectCreated() noexcept;
void ObjectDestroyed() noexcept;
void LockServer(bool lock) noexcept;
bool CanUnload() noexcept;

// The embedded type library (AddRef'd).
HRESULT LoadEmbeddedTypeLib(ITypeLib** library);
// Type information of _ClsProbeCalibration: the dispatch description that
// clients see (GetTypeInfo) and the vtable description that IDispatch::Invoke
// and GetIDsOfNames use to call through the dual interface. Both AddRef'd.
HRESULT DispatchTypeInfo(ITypeInfo** info);
HRESULT VtableTypeInfo(ITypeInfo** info);

}  // namespace tavric::com
