// The Linux side of the Windows server's end-to-end test.
//
//   linux_reference OUT_DIR [DATA_FILE...]
//
// Simulates a calibration scan (fixed seed), writes it as OUT_DIR/scan.bin
// for the Windows test client (int32 sample count N, then the 6 x N doubles
// of the fields P, Q, R, X, Y, Z, sample after sample, little-endian) and
// calibrates it with the portable library exactly as the client does
// through the server: a fresh calibration on a fresh thread, Optimise on the
// data with bounds (0 To 5, 3 To N + 2) and order 3, then
// SaveCalibrationFunctions to OUT_DIR/linux-scan.cal. The same for the
// largest scan a calibration takes, 32,767 samples of a third-order probe
// (OUT_DIR/big.bin, bounds (0 To 5, 1 To 32767), OUT_DIR/linux-big.cal;
// "BIG: <result text>"). Each DATA_FILE is
// calibrated the same way with OptimiseFromFile (order 3) and saved to
// OUT_DIR/linux-<name>.cal when it succeeds, <name> being the file's name
// without folders. Prints "SCAN: <result text>" for the scan and
// "EXAMPLE <name>: <result text>" per data file (the test compares these
// lines with the client's); exits with 1 if the scan's calibration is not
// "OK".
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <thread>

#include "tavric/ClsProbeCalibration.h"
#include "tavric/ScanSimulator.h"

namespace {

// A scan both sides calibrate: the simulator's documented defaults with
// `samples` samples of a probe of order `probe_order` and a little noise,
// the samples from `first_sample` on (the fields from 0).
tavric::DataArray SimulatedScan(int samples, int probe_order, std::int32_t first_sample) {
  tavric::sim::Scenario scenario;
  scenario.plan.total_samples = samples;
  scenario.calibration.order = probe_order;
  scenario.noise.counts_sigma = 0.5;
  scenario.noise.position_sigma_um = 0.2;
  scenario.noise.seed = 20240611;
  tavric::DataArray data = tavric::sim::Simulate(scenario).data;
  const std::int32_t n = data.UBound(2) - data.LBound(2) + 1;
  tavric::DataArray rebased(0, 5, first_sample, first_sample + n - 1);
  for (std::int32_t k = 0; k < n; ++k) {
    for (std::int32_t f = 0; f < 6; ++f) rebased(f, first_sample + k) = data(1 + f, 1 + k);
  }
  return rebased;
}

bool WriteScan(const std::string& path, const tavric::DataArray& data) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) return false;
  const std::int32_t n = data.UBound(2) - data.LBound(2) + 1;
  bool ok = std::fwrite(&n, sizeof n, 1, f) == 1;
  const std::size_t count = 6 * static_cast<std::size_t>(n);
  ok = ok && std::fwrite(data.Data(), sizeof(double), count, f) == count;
  return std::fclose(f) == 0 && ok;
}

// Runs `body` on a new thread, whose calibration state starts fresh.
template <class Body>
void OnFreshThread(Body body) {
  std::thread worker(body);
  worker.join();
}

bool Report(const std::string& label, const std::string& result) {
  std::cout << label << ": " << result << "\n";
  return result == "OK";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "usage: linux_reference OUT_DIR [DATA_FILE...]\n";
    return 2;
  }
  const std::string out = argv[1];
  bool ok = true;

  const struct {
    const char* name;
    const char* label;
    tavric::DataArray data;
  } scans[] = {{"scan", "SCAN", SimulatedScan(1500, 3, 3)},
               {"big", "BIG", SimulatedScan(32767, 3, 1)}};
  for (const auto& scan : scans) {
    const std::string bin = out + "/" + scan.name + ".bin";
    if (!WriteScan(bin, scan.data)) {
      std::cerr << "cannot write " << bin << "\n";
      return 2;
    }
    OnFreshThread([&] {
      tavric::ClsProbeCalibration cal;
      std::uint8_t order = 3;
      ok = Report(scan.label, cal.Optimise(scan.data, order)) && ok;
      ok = Report(std::string(scan.label) + " SAVE",
                  cal.SaveCalibrationFunctions(out + "/linux-" + scan.name + ".cal")) &&
           ok;
    });
  }

  for (int i = 2; i < argc; ++i) {
    const std::string file = argv[i];
    const std::string name = std::filesystem::path(file).filename().string();
    OnFreshThread([&] {
      tavric::ClsProbeCalibration cal;
      std::uint8_t order = 3;
      if (Report("EXAMPLE " + name, cal.OptimiseFromFile(file, order))) {
        ok = Report("EXAMPLE " + name + " SAVE",
                    cal.SaveCalibrationFunctions(out + "/linux-" + name + ".cal")) &&
             ok;
      }
    });
  }
  return ok ? 0 : 1;
}
