// Calibrates a data file through the automation class, as hosts written for
// that interface do: settings after construction, result texts, Transform.
#include <cstdint>
#include <iostream>
#include <string>

#include "tavric/ClsProbeCalibration.h"
#include "tavric/RunReport.h"

int main(int argc, char** argv) {
  const char* data = argc > 1 ? argv[1] : "examples/sphere-scan-marked.txt";
  const char* out = argc > 2 ? argv[2] : "sphere-scan.cal";
  tavric::ClsProbeCalibration cal;  // every setting at its default
  cal.IterationMaxNumber(20);       // settings after construction
  std::uint8_t order = 3;
  std::string result = cal.OptimiseFromFile(data, order);
  if (result != "OK") {
    std::cerr << result << '\n';  // the library's failure text
    return 1;
  }
  std::cout << "FitRMS " << cal.FitRMS() * 1000.0 << " um, "
            << tavric::ToString(tavric::LastRunReport().stop_reason) << '\n';
  double x, y, z;
  cal.Transform(1200.0, -350.0, 80.0, x, y, z);  // polynomial at the raw readings, mm
  std::cout << "Transform " << x << ", " << y << ", " << z << " mm\n";
  return cal.SaveCalibrationFunctions(out) == "OK" ? 0 : 1;
}
