// Compares the JSON that `tavric calibrate --json` printed with a run of the
// library, key by key (so that keys added later do not disturb it).
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tavric/ClsProbeCalibration.h"
#include "tavric/RunReport.h"

namespace tavric::testing {

// `j` holds the result, sample count, order, fit statistics (µm), sphere,
// iteration count, stop reason and per-iteration history of the run that
// left `cal` and `report` behind.
inline void ExpectCalibrateJsonHoldsTheRun(const nlohmann::json& j, const std::string& result,
                                           int order, const ClsProbeCalibration& cal,
                                           const RunReport& report) {
  EXPECT_EQ(j["result"], result);
  EXPECT_EQ(j["samples"], report.samples);
  EXPECT_EQ(j["order"], order);
  EXPECT_EQ(j["stop_reason"], ToString(report.stop_reason));
  if (result != "OK") return;
  EXPECT_EQ(j["fit_rms_um"].get<double>(), cal.FitRMS() * 1000.0);
  EXPECT_EQ(j["fit_min_um"].get<double>(), cal.FitMin() * 1000.0);
  EXPECT_EQ(j["fit_max_um"].get<double>(), cal.FitMax() * 1000.0);
  for (std::uint8_t i = 1; i <= 3; ++i) {
    EXPECT_EQ(j["sphere"]["centre"][i - 1].get<double>(), cal.SphereCentre(i));
  }
  EXPECT_EQ(j["sphere"]["radius"].get<double>(), cal.SphereRadius());
  EXPECT_EQ(j["iterations"], report.outer_iterations);
  ASSERT_EQ(j["history"].size(), report.iterations.size());
  for (std::size_t i = 0; i < report.iterations.size(); ++i) {
    const IterationRecord& it = report.iterations[i];
    const auto& h = j["history"][i];
    EXPECT_EQ(h["iteration"], it.iteration);
    EXPECT_EQ(h["S"].get<double>(), it.S);
    EXPECT_EQ(h["fit_rms_um"].get<double>(), it.FitRMS * 1000.0);
    EXPECT_EQ(h["fit_min_um"].get<double>(), it.FitMin * 1000.0);
    EXPECT_EQ(h["fit_max_um"].get<double>(), it.FitMax * 1000.0);
    EXPECT_EQ(h["mu"].get<double>(), it.Mu);
    EXPECT_EQ(h["rejected_trials"], it.rejected_trials);
  }
}

}  // namespace tavric::testing
