// Numbers in the sentences of the uncertainty analysis and the warnings,
// written the same way whatever the process locale.
#pragma once

#include <array>
#include <string>

namespace tavric::uncertainty {

// A number with `decimals` decimals after a period (the "#0.00" patterns
// of FormatFixed, whatever decimal separator is in force).
std::string Fixed(double value, int decimals);

// Micrometres from millimetres, with about two significant figures:
// "63 \u00b5m", "2.7 \u00b5m", "0.31 \u00b5m", "0.003 \u00b5m".
std::string Micrometres(double mm);

// "X", "Y" or "Z" when the unit vector u is within about 15 degrees of an
// axis, else "the axis (0.71, 0.71, 0.00)".
std::string AxisName(const std::array<double, 3>& u);

// A share as a percentage with `decimals` decimals: "12 %", "0.3 %".
std::string Percent(double share, int decimals = 0);

}  // namespace tavric::uncertainty
