#include "Registration.h"

#include <oleauto.h>
#include <olectl.h>

#include <string>

#include "ServerModule.h"
#include "Tavric_h.h"

namespace tavric::com {
namespace {

constexpr const wchar_t* kProgId = L"Tavric.ClsProbeCalibration";

std::wstring GuidText(REFGUID guid) {
  wchar_t text[40] = {};
  StringFromGUID2(guid, text, 40);
  return text;
}

std::wstring ClassKey() { return L"CLSID\\" + GuidText(CLSID_ClsProbeCalibration); }

// Creates HKCR\path (and its parents) and sets its value `name` (nullptr:
// the default value).
bool SetValue(const std::wstring& path, const wchar_t* name, const std::wstring& value) {
  HKEY key = nullptr;
  if (RegCreateKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                      KEY_WRITE, nullptr, &key, nullptr) != ERROR_SUCCESS) {
    return false;
  }
  const auto bytes = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
  const LSTATUS status =
      RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()), bytes);
  RegCloseKey(key);
  return status == ERROR_SUCCESS;
}

bool DeleteTree(const std::wstring& path) {
  const LSTATUS status = RegDeleteTreeW(HKEY_CLASSES_ROOT, path.c_str());
  return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
}

// The version of the embedded type library as "major.minor".
std::wstring VersionText(const TLIBATTR& attributes) {
  return std::to_wstring(attributes.wMajorVerNum) + L"." + std::to_wstring(attributes.wMinorVerNum);
}

}  // namespace

HRESULT RegisterServer() {
  const std::wstring path = ModulePath();
  if (path.empty()) return SELFREG_E_CLASS;

  ITypeLib* library = nullptr;
  if (FAILED(LoadEmbeddedTypeLib(&library))) return SELFREG_E_TYPELIB;
  TLIBATTR* attributes = nullptr;
  std::wstring version = L"1.0";
  if (SUCCEEDED(library->GetLibAttr(&attributes))) {
    version = VersionText(*attributes);
    library->ReleaseTLibAttr(attributes);
  }

  const std::wstring clsid = GuidText(CLSID_ClsProbeCalibration);
  const std::wstring key = ClassKey();
  const bool classes_written =
      SetValue(key, nullptr, kProgId) && SetValue(key + L"\\InprocServer32", nullptr, path) &&
      SetValue(key + L"\\InprocServer32", L"ThreadingModel", L"Apartment") &&
      SetValue(key + L"\\ProgID", nullptr, kProgId) &&
      SetValue(key + L"\\TypeLib", nullptr, GuidText(LIBID_Tavric)) &&
      SetValue(key + L"\\Version", nullptr, version) && SetValue(kProgId, nullptr, kProgId) &&
      SetValue(std::wstring(kProgId) + L"\\CLSID", nullptr, clsid);
  if (!classes_written) {
    library->Release();
    UnregisterServer();
    return SELFREG_E_CLASS;
  }

  std::wstring library_path = path;  // RegisterTypeLib takes a non-const text
  const HRESULT hr = RegisterTypeLib(library, library_path.data(), nullptr);
  library->Release();
  if (FAILED(hr)) {
    UnregisterServer();
    return SELFREG_E_TYPELIB;
  }
  return S_OK;
}

HRESULT UnregisterServer() {
  bool ok = DeleteTree(ClassKey());
  ok = DeleteTree(kProgId) && ok;

  ITypeLib* library = nullptr;
  if (SUCCEEDED(LoadEmbeddedTypeLib(&library))) {
    TLIBATTR* a = nullptr;
    if (SUCCEEDED(library->GetLibAttr(&a))) {
      // Not registered (any more) is fine.
      UnRegisterTypeLib(a->guid, a->wMajorVerNum, a->wMinorVerNum, a->lcid, a->syskind);
      library->ReleaseTLibAttr(a);
    }
    library->Release();
  }
  // Nothing of the type library may stay behind, even if it was registered
  // from another copy of the DLL.
  ok = DeleteTree(L"TypeLib\\" + GuidText(LIBID_Tavric)) && ok;
  ok = DeleteTree(L"Interface\\" + GuidText(IID__ClsProbeCalibration)) && ok;
  return ok ? S_OK : SELFREG_E_CLASS;
}

}  // namespace tavric::com
