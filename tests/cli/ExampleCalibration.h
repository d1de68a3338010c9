// A test suite whose tests share one calibration of the marked example,
// made by the tool once before the suite's first test.
#pragma once

#include <memory>
#include <string>

#include "CliRun.h"

namespace tavric::testing {

class ExampleCalibrationSuite : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = std::make_unique<TempDir>();
    calibration_ = dir_->File("example.cal");
    ASSERT_EQ(RunCli({"calibrate", Example("sphere-scan-marked.txt"), "-o", calibration_}).status,
              0);
  }
  static void TearDownTestSuite() { dir_.reset(); }

  // The calibration file.
  static inline std::string calibration_;

 private:
  static inline std::unique_ptr<TempDir> dir_;
};

}  // namespace tavric::testing
