// WideText: conversions between the library's UTF-8 texts and the UTF-16
// texts of Windows and automation (BSTR).
#pragma once

// clang-format off
#include <windows.h>  // before every other Windows header
#include <oleauto.h>
// clang-format on

#include <string>
#include <string_view>

namespace tavric::com {

std::wstring Utf8ToWide(std::string_view text);
std::string WideToUtf8(std::wstring_view text);

// A BSTR's text (a null BSTR is the empty text, as automation defines it).
std::string BstrToUtf8(BSTR text);
// A new BSTR holding `text`; E_OUTOFMEMORY when it cannot be allocated.
HRESULT Utf8ToBstr(std::string_view text, BSTR* out);

}  // namespace tavric::com
