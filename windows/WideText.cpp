#include "WideText.h"

#include <climits>

namespace tavric::com {

std::wstring Utf8ToWide(std::string_view text) {
  if (text.empty() || text.size() > INT_MAX) return {};
  const int size = static_cast<int>(text.size());
  const int n = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
  if (n <= 0) return {};
  std::wstring wide(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), n);
  return wide;
}

std::string WideToUtf8(std::wstring_view text) {
  if (text.empty() || text.size() > INT_MAX) return {};
  const int size = static_cast<int>(text.size());
  const int n = WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
  if (n <= 0) return {};
  std::string narrow(static_cast<std::size_t>(n), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), n, nullptr, nullptr);
  return narrow;
}

std::string BstrToUtf8(BSTR text) {
  if (text == nullptr) return {};
  return WideToUtf8(std::wstring_view(text, SysStringLen(text)));
}

HRESULT Utf8ToBstr(std::string_view text, BSTR* out) {
  if (out == nullptr) return E_POINTER;
  const std::wstring wide = Utf8ToWide(text);
  *out = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
  return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}

}  // namespace tavric::com
