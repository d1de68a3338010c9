// The data every benchmark works on: simulated scans of the reference sphere
// with noise, the same for every run, and the files written from them.
#pragma once

#include <string>
#include <vector>

#include "tavric/BoundedArray.h"

namespace tavric::bench {

// The sample counts of the calibration benchmarks; 32,767 is the most a
// calibration takes.
inline constexpr int kSampleCounts[] = {2000, 8000, 32767};

// A scan of `samples` samples whose true calibration has order `order`
// (1.5 counts and 0.2 um of noise, seed 1), with every value rounded as the
// data files hold it: calibrating it gives the same bits as calibrating its
// file with `tavric calibrate`.
const DataArray& Scan(int order, int samples);

// The folder of the data files: $TAVRIC_BENCH_DATA_DIR, else a folder in the
// temporary directory. Created when missing.
const std::string& DataDir();

// The marked and the generic data file of Scan(order, samples), written on
// first use: <DataDir>/scan-o<order>-n<samples>-marked.txt and -generic.txt.
std::string MarkedFile(int order, int samples);
std::string GenericFile(int order, int samples);

// Tavric's own calibration of Scan(order, samples) (run once): its final sum
// of squared residuals (mm^2) and outer iterations.
struct TavricResult {
  double S = 0.0;
  int iterations = 0;
};
const TavricResult& TavricRun(int order, int samples);

// The calibration model's view of a run at its starting point: what the
// optimiser starts from after the sphere fit and the starting matrix.
struct StartPoint {
  int terms = 0;                     // polynomial terms N
  std::vector<double> monomials;     // N per sample, readings in thousands of counts
  std::vector<double> positions;     // X, Y, Z per sample, mm
  std::vector<double> parameters;    // centre, radius, X, Y, Z coefficients of terms 2..N
};
StartPoint StartOf(const DataArray& data, int order);

}  // namespace tavric::bench
