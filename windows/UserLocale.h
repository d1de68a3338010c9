// UserLocale: the Windows user's locale for the library's locale-aware
// number conversions.
//
// DllMain installs UserDecimalSeparator as the library's decimal separator
// source (tavric/DecimalSeparator.h), so that data files, the radius of a
// calibration-functions file and the progress window follow the decimal
// separator the user chose in the regional settings, not the C runtime's
// "C" locale. Under Wine the user's locale comes from the Unix locale
// (LC_ALL, LC_NUMERIC or LANG).
#pragma once

#include <string>

namespace tavric::com {

// The decimal separator of the user's default locale (LOCALE_SDECIMAL), in
// UTF-8; a period if it cannot be read.
std::string UserDecimalSeparator();

}  // namespace tavric::com
