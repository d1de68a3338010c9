#include "ServerModule.h"

#include <atomic>
#include <mutex>

#include "Tavric_h.h"

namespace tavric::com {
namespace {

HMODULE g_module = nullptr;
std::atomic<long> g_objects{0};
std::atomic<long> g_locks{0};

// The two type descriptions, loaded on first use and kept until the process
// ends (oleaut32's type information is safe to share between apartments).
std::once_flag g_type_info_once;
HRESULT g_type_info_result = E_UNEXPECTED;
ITypeInfo* g_dispatch_info = nullptr;
ITypeInfo* g_vtable_info = nullptr;

void LoadTypeInfo() {
  ITypeLib* library = nullptr;
  HRESULT hr = LoadEmbeddedTypeLib(&library);
  if (FAILED(hr)) {
    g_type_info_result = hr;
    return;
  }
  ITypeInfo* dispatch = nullptr;
  hr = library->GetTypeInfoOfGuid(IID__ClsProbeCalibration, &dispatch);
  library->Release();
  if (FAILED(hr)) {
    g_type_info_result = hr;
    return;
  }
  // For a dual interface the library hands out the dispatch description;
  // its reference -1 is the vtable description of the same interface.
  ITypeInfo* vtable = nullptr;
  HREFTYPE href = 0;
  hr = dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &href);
  if (SUCCEEDED(hr)) hr = dispatch->GetRefTypeInfo(href, &vtable);
  if (FAILED(hr)) {
    dispatch->Release();
    g_type_info_result = hr;
    return;
  }
  g_dispatch_info = dispatch;
  g_vtable_info = vtable;
  g_type_info_result = S_OK;
}

HRESULT SharedTypeInfo(ITypeInfo* shared, ITypeInfo** info) {
  if (info == nullptr) return E_POINTER;
  *info = nullptr;
  if (FAILED(g_type_info_result)) return g_type_info_result;
  shared->AddRef();
  *info = shared;
  return S_OK;
}

}  // namespace

void SetModule(HMODULE module) noexcept { g_module = module; }
HMODULE Module() noexcept { return g_module; }

std::wstring ModulePath() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD n = GetModuleFileNameW(g_module, path.data(), static_cast<DWORD>(path.size()));
    if (n == 0) return {};
    if (n < path.size()) {
      path.resize(n);
      return path;
    }
    path.resize(path.size() * 2);  // truncated: try a larger buffer
  }
}

void ObjectCreated() noexcept { ++g_objects; }
void ObjectDestroyed() noexcept { --g_objects; }
void LockServer(bool lock) noexcept {
  if (lock) {
    ++g_locks;
  } else {
    --g_locks;
  }
}
bool CanUnload() noexcept { return g_objects.load() == 0 && g_locks.load() == 0; }

HRESULT LoadEmbeddedTypeLib(ITypeLib** library) {
  if (library == nullptr) return E_POINTER;
  *library = nullptr;
  const std::wstring path = ModulePath();
  if (path.empty()) return HRESULT_FROM_WIN32(GetLastError());
  // The DLL's own path loads its first TYPELIB resource.
  return LoadTypeLibEx(path.c_str(), REGKIND_NONE, library);
}

HRESULT DispatchTypeInfo(ITypeInfo** info) {
  std::call_once(g_type_info_once, LoadTypeInfo);
  return SharedTypeInfo(g_dispatch_info, info);
}

HRESULT VtableTypeInfo(ITypeInfo** info) {
  std::call_once(g_type_info_once, LoadTypeInfo);
  return SharedTypeInfo(g_vtable_info, info);
}

}  // namespace tavric::com
