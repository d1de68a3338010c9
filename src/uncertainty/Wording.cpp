#include "uncertainty/Wording.h"

#include <cmath>

#include "runtime/NumberText.h"

namespace tavric::uncertainty {

std::string Fixed(double value, int decimals) { return FormatFixed(value, decimals, "."); }

std::string Micrometres(double mm) {
  const double um = mm * 1000.0;
  const double size = std::fabs(um);
  const int decimals = size >= 10.0 ? 0 : size >= 1.0 ? 1 : size >= 0.1 ? 2 : 3;
  return Fixed(um, decimals) + " \u00b5m";
}

std::string AxisName(const std::array<double, 3>& u) {
  std::size_t axis = 0;
  for (std::size_t a = 1; a < 3; ++a)
    if (std::fabs(u[a]) > std::fabs(u[axis])) axis = a;
  if (std::fabs(u[axis]) >= 0.966) return std::string(1, "XYZ"[axis]);
  return "the axis (" + Fixed(u[0], 2) + ", " + Fixed(u[1], 2) + ", " + Fixed(u[2], 2) + ")";
}

std::string Percent(double share, int decimals) { return Fixed(100.0 * share, decimals) + " %"; }

}  // namespace tavric::uncertainty
