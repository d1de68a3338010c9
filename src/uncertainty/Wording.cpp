#include "uncertainty/Wording.h"

#include <cmath>

#include "runtime/NumberText.h"

namespace tavric::uncertainty {

std::string Micrometres(double mm) {
  const double um = mm * 1000.0;
  const double size = std::fabs(um);
  const int decimals = size >= 10.0 ? 0 : size >= 1.0 ? 1 : size >= 0.1 ? 2 : 3;
  return FormatFixed(um, decimals) + " \u00b5m";
}

std::string Percent(double share, int decimals) {
  return FormatFixed(100.0 * share, decimals) + " %";
}

}  // namespace tavric::uncertainty
