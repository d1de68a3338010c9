// The file of probe readings that `tavric transform -i` converts: one
// reading P, Q, R a line (counts, numbers with a period), separated by
// commas, or by spaces or tabs; blank lines and lines starting with # are
// skipped, and so is a header line ("P,Q,R") before the first reading.
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
