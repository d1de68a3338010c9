// The calibration-functions loader, polynomial section included, on any
// bytes: a loaded calibration or an Error, never a crash; a loaded one
// converts a reading to finite numbers or raises an Error.
#include <cmath>
#include <cstdlib>

#include "FuzzFile.h"
#include "tavric/Calibration.h"
#include "tavric/Error.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string& path = tavric::fuzz::WriteInput(data, size);
  try {
    const tavric::Calibration cal = tavric::load(path);
    const auto d = cal.deflection({100.0, -200.0, 300.0});
    for (double v : d)
      if (!std::isfinite(v)) std::abort();
  } catch (const tavric::Error& e) {
    if (e.text().empty()) std::abort();
  }
  return 0;
}
