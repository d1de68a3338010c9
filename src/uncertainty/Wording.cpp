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

std::string AxisName(const std::array<double, 3>& u) {
  std::size_t axis = 0;
  for (std::size_t a = 1; a < 3; ++a)
    if (std::fabs(u[a]) > std::fabs(u[axis])) axis = a;
  if (std::fabs(u[axis]) >= 0.966) return std::string(1, "XYZ"[axis]);
  return "the axis (" + FormatFixed(u[0], 2) + ", " + FormatFixed(u[1], 2) + ", " +
         FormatFixed(u[2], 2) + ")";
}

std::string Percent(double share, int decimals) {
  return FormatFixed(100.0 * share, decimals) + " %";
}

}  // namespace tavric::uncertainty
