// The DLL's entry points: DllMain and the four exports of an in-process
// automation server (Tavric.def lists them).
#include <windows.h>

// The GUIDs of the type library are defined in this one source file.
#include <initguid.h>

#include "ClassFactory.h"
#include "Registration.h"
#include "ServerModule.h"
#include "Tavric_h.h"
#include "UserLocale.h"
#include "tavric/DecimalSeparator.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    tavric::com::SetModule(instance);
    // Numbers the user reads or writes follow the user's locale.
    tavric::SetDecimalSeparatorSource(&tavric::com::UserDecimalSeparator);
  }
  return TRUE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID riid, LPVOID* object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (!IsEqualCLSID(clsid, CLSID_ClsProbeCalibration)) return CLASS_E_CLASSNOTAVAILABLE;
  return tavric::com::TheClassFactory().QueryInterface(riid, object);
}

STDAPI DllCanUnloadNow() { return tavric::com::CanUnload() ? S_OK : S_FALSE; }

STDAPI DllRegisterServer() { return tavric::com::RegisterServer(); }

STDAPI DllUnregisterServer() { return tavric::com::UnregisterServer(); }
