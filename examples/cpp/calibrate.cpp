// Calibrates a data file with the modern API, says how far the calibration
// can be trusted, converts one reading and saves the calibration.
#include <iostream>

#include "tavric/Calibration.h"

int main(int argc, char** argv) {
  const char* data = argc > 1 ? argv[1] : "examples/sphere-scan-marked.txt";
  const char* out = argc > 2 ? argv[2] : "sphere-scan.cal";
  try {
    tavric::Options options;  // every setting at its default
    options.order = 3;
    const tavric::Calibration cal = tavric::calibrate_file(data, options);
    const tavric::FitUncertainty& u = cal.uncertainty();
    std::cout << "FitRMS " << cal.statistics().rms * 1000.0 << " um, radius " << cal.sphere().radius
              << " +- " << 2.0 * u.radius_u * 1000.0 << " um (95 %)\n"
              << "deflection (95 %): normal +- " << 2.0 * u.at_samples.normal.p95 * 1000.0
              << " um, across +- " << 2.0 * u.at_samples.across.p95 * 1000.0 << " um\n";
    for (const tavric::Warning& w : cal.warnings())  // empty for a sound scan
      std::cout << "warning [" << w.code << "] " << w.text << '\n';
    const tavric::Vec3 d = cal.deflection({1200.0, -350.0, 80.0});  // mm
    std::cout << "deflection " << d[0] << ", " << d[1] << ", " << d[2] << " mm\n";
    cal.save(out);
  } catch (const tavric::Error& e) {
    std::cerr << e.what() << " (" << tavric::to_string(e.code()) << ")\n";
    return 1;
  }
}
