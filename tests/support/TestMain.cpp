// Test entry point: every test starts with clear floating-point fault flags
// and a fresh per-thread calibration state, so tests never see each other.
#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

class CleanStateListener : public ::testing::EmptyTestEventListener {
  void OnTestStart(const ::testing::TestInfo&) override { tavric::testing::ResetThreadState(); }
};

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  ::testing::UnitTest::GetInstance()->listeners().Append(new CleanStateListener);
  return RUN_ALL_TESTS();
}
