// The study behind the uncertainty's claims: simulated scans of many designs
// and seeds are calibrated, each calibration is compared with the truth it
// should have found, and the share of samples whose true deflection error
// lies within the calibration's own expanded uncertainty (k = 2) is tallied,
// together with the largest true errors and the warnings raised.
//
// A small version runs as a unit test (CoverageStudy_test.cpp); the full one
// is the program tavric_coverage_study (scripts/coverage-study.sh), whose
// last table is kept in docs/calibration.md.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tavric/ScanSimulator.h"

namespace tavric::validation {

struct Design {
  std::string name;
  sim::Scenario scenario;  // the noise seed is set per fit
  int order = 3;
  // Whether the design determines the deflection along the normal (the
  // coverage claim is made for these only).
  bool identifiable = true;
  // Refits of the bootstrap uncertainty per fit (0: the linear one).
  int bootstrap = 0;
};

// Noise on the readings (counts) and on the machine positions (um).
struct Noise {
  double counts = 1.5;
  double position_um = 0.2;
};

// The designs of the study: full (five planes), three planes, no equator,
// one side of the sphere, constant deflection; with the given samples, noise
// and order.
std::vector<Design> StudyDesigns(int samples, Noise noise, int order);

struct DesignResult {
  Design design;
  int fits = 0;
  int refused = 0;  // calibrations that failed
  // Shares of all samples of all fits within +-2u.
  double normal_coverage = 0.0;
  double across_coverage = 0.0;
  double axis_coverage = 0.0;    // the three axes together
  double radius_coverage = 0.0;  // share of fits
  // Largest true errors over all fits (mm) and the largest reported
  // expanded uncertainties (95th percentile over a scan, mm).
  double max_normal_error = 0.0;
  double max_across_error = 0.0;
  double max_normal_u95 = 0.0;
  double max_across_u95 = 0.0;
  double min_across_u95 = 0.0;
  // Fits whose true largest normal error exceeds 5 um, and those of them
  // that raised no warning (must be none).
  int large_error_fits = 0;
  int large_error_unwarned = 0;
  // Fits that raised at least one warning, and the warning codes seen.
  int warned = 0;
  std::vector<std::string> codes;
};

DesignResult RunDesign(const Design& design, int seeds, std::uint64_t first_seed = 1);

// The table of results, one row per design.
std::string Table(const std::vector<DesignResult>& results);

}  // namespace tavric::validation
