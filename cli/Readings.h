// The file of probe readings that `tavric transform -i` converts: one
// "P,Q,R" line per reading (counts, numbers with a period, blanks around
// them allowed); blank lines and lines starting with # are skipped.
#pragma once

#include <istream>
#include <string>
#include <vector>

#include "Commands.h"

namespace tavric::cli {

// Reads every reading of `in` into `out`. Returns an error message naming
// `name` and the line of the first bad reading, or an empty text when every
// line was read.
std::string ReadReadings(std::istream& in, const std::string& name, std::vector<Triple>& out);

}  // namespace tavric::cli
