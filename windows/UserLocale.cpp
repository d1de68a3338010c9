#include "UserLocale.h"

#include <windows.h>

#include "WideText.h"

namespace tavric::com {

std::string UserDecimalSeparator() {
  // The longest separator Windows allows is three characters.
  wchar_t separator[8] = {};
  const int length = GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, separator, 8);
  if (length <= 1) return ".";
  return WideToUtf8(std::wstring_view(separator, static_cast<std::size_t>(length - 1)));
}

}  // namespace tavric::com
