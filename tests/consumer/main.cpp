// Calibrates a data file with an installed Tavric and prints the result.
#include <cstdint>
#include <cstdio>
#include <string>

#include "tavric/ClsProbeCalibration.h"
#include "tavric/RunReport.h"
#include "tavric/Version.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: consumer DATA\n");
    return 2;
  }
  tavric::ClsProbeCalibration cal;
  std::uint8_t order = 3;
  const std::string result = cal.OptimiseFromFile(argv[1], order);
  std::printf("%s\n", cal.DLLVersion().c_str());
  std::printf("version %d.%d.%d\n", tavric::version::kMajor, tavric::version::kMinor,
              tavric::version::kRevision);
  std::printf("result %s\n", result.c_str());
  if (result != "OK") return 1;
  std::printf("samples %d\n", tavric::LastRunReport().samples);
  std::printf("FitRMS %.6f um\n", cal.FitRMS() * 1000.0);
  std::printf("radius %.6f mm\n", cal.SphereRadius());
  return 0;
}
