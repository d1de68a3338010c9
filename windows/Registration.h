// Registration: the registry entries of the automation server.
//
//   HKCR\CLSID\{7DF9006F-2689-4B56-88BB-55FCD70AC51C}       "Tavric.ClsProbeCalibration"
//       InprocServer32   (default) = full path of the DLL, ThreadingModel = Apartment
//       ProgID           (default) = Tavric.ClsProbeCalibration
//       TypeLib          (default) = {7441726E-66D4-46CB-B91B-960E2BA94B7B}
//       Version          (default) = the type library's version, "1.0"
//   HKCR\Tavric.ClsProbeCalibration                         "Tavric.ClsProbeCalibration"
//       CLSID            (default) = {7DF9006F-2689-4B56-88BB-55FCD70AC51C}
//   and the type library embedded in the DLL, registered with RegisterTypeLib
//   (HKCR\TypeLib\{LIBID}\1.0 and the interface's HKCR\Interface\{IID}).
#pragma once

#include <windows.h>

namespace tavric::com {

// Writes every entry; on failure removes what was written and returns
// SELFREG_E_CLASS or SELFREG_E_TYPELIB.
HRESULT RegisterServer();
// Removes every entry; entries already missing are no error.
HRESULT UnregisterServer();

}  // namespace tavric::com
