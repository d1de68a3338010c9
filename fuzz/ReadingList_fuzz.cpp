// The reading-list parser of `tavric transform -i` on any bytes: readings or
// a message naming the line, never a crash.
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "Readings.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
  std::vector<tavric::cli::Triple> readings;
  const std::string error = tavric::cli::ReadReadings(in, "input", readings);
  if (!error.empty() && error.rfind("input:", 0) != 0) std::abort();
  return 0;
}
