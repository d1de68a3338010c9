// Helpers shared by the tests.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "runtime/Simd.h"
#include "tavric/RuntimeError.h"

namespace tavric::testing {

// Clears the floating-point fault flags and resets this thread's project
// state to a default-constructed one.
void ResetThreadState();

// The folder of the shared reference data, if it is present: the one named
// by the environment variable TAVRIC_SHARED_DIR when that is set, else the
// one beside the project checkout.
std::optional<std::filesystem::path> SharedDir();

// True when the environment variable CI is "true": the test runs under
// continuous integration, where the reference data and the decimal-comma
// locales must be present.
bool UnderContinuousIntegration();

// A fresh, empty temporary folder, removed when the object goes away.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::filesystem::path& Path() const { return path_; }
  std::string File(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

// A test fixture that switches LC_NUMERIC to a locale with a decimal comma
// for the test and restores the previous one. Without such a locale the test
// is skipped, or fails under continuous integration
// (TAVRIC_SKIP_UNLESS_AVAILABLE).
class DecimalCommaLocale : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

 private:
  std::string saved_;
};

// A test fixture run once per instruction set of the vector kernels
// (runtime/Simd.h): the kernels use the parameter's for the whole test, and
// a test whose instruction set this machine does not run is skipped.
class PerInstructionSet : public ::testing::TestWithParam<simd::Isa> {
 protected:
  void SetUp() override;
  void TearDown() override;
};

// Instantiates a PerInstructionSet test suite for both instruction sets.
#define TAVRIC_FOR_EACH_INSTRUCTION_SET(suite)                                                   \
  INSTANTIATE_TEST_SUITE_P(                                                                      \
      Isa, suite, ::testing::Values(::tavric::simd::Isa::kBaseline, ::tavric::simd::Isa::kAvx2), \
      [](const ::testing::TestParamInfo<::tavric::simd::Isa>& i) {                               \
        return std::string(::tavric::simd::Name(i.param));                                       \
      })

// The variance of `values` about their mean with divisor n - 1, computed
// plainly in the tests as an independent expectation (at least two values).
double SampleVariance(const std::vector<double>& values);

// Writes `content` to a file byte for byte.
void WriteFileBytes(const std::string& path, const std::string& content);
// Reads a whole file byte for byte.
std::string ReadFileBytes(const std::string& path);

}  // namespace tavric::testing

// Ends the current test (or fixture SetUp) when a prerequisite is missing:
// reported as skipped, so that ctest lists it, and as a failure under
// continuous integration (CI=true), where every prerequisite is required.
// `what` names the prerequisite for the message.
#define TAVRIC_SKIP_UNLESS_AVAILABLE(available, what)                      \
  do {                                                                     \
    if (!(available)) {                                                    \
      if (::tavric::testing::UnderContinuousIntegration()) {               \
        FAIL() << "missing prerequisite, required when CI=true: " << what; \
      }                                                                    \
      GTEST_SKIP() << "missing prerequisite: " << what;                    \
    }                                                                      \
  } while (0)

// Expects `statement` to raise RuntimeError with the given error number.
#define EXPECT_RUNTIME_ERROR(statement, number)                                   \
  do {                                                                            \
    try {                                                                         \
      statement;                                                                  \
      ADD_FAILURE() << "expected run-time error " << (number) << ", none raised"; \
    } catch (const ::tavric::RuntimeError& e_) {                                  \
      EXPECT_EQ(e_.Number(), (number)) << e_.Description();                       \
    }                                                                             \
  } while (0)
