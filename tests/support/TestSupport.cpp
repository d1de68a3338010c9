#include "TestSupport.h"

#include <clocale>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <string_view>

#include "interface/ProjectState.h"
#include "runtime/CheckedMath.h"

namespace tavric::testing {

void ResetThreadState() {
  fp::ClearFaults();
  State() = ProjectState{};
}

std::optional<std::filesystem::path> SharedDir() {
  // The environment variable TAVRIC_SHARED_DIR, when set, overrides the
  // folder beside the checkout (for worktrees that live elsewhere).
  const char* from_env = std::getenv("TAVRIC_SHARED_DIR");
  std::filesystem::path dir(from_env != nullptr && *from_env != '\0' ? from_env
                                                                     : TAVRIC_SHARED_DIR);
  std::error_code ec;
  if (std::filesystem::is_directory(dir, ec)) return dir;
  return std::nullopt;
}

bool UnderContinuousIntegration() {
  const char* ci = std::getenv("CI");
  return ci != nullptr && std::string_view(ci) == "true";
}

TempDir::TempDir() {
  std::random_device rd;
  const auto base = std::filesystem::temp_directory_path();
  for (;;) {
    path_ = base / ("tavric-test-" + std::to_string(rd()));
    if (std::filesystem::create_directory(path_)) break;
  }
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

void DecimalCommaLocale::SetUp() {
  saved_ = std::setlocale(LC_NUMERIC, nullptr);
  // The locales to try; TAVRIC_DECIMAL_COMMA_LOCALES (names separated by
  // blanks) replaces the list, e.g. to see what a machine without them does.
  const char* from_env = std::getenv("TAVRIC_DECIMAL_COMMA_LOCALES");
  std::istringstream names(from_env != nullptr ? from_env
                                               : "de_DE.UTF-8 de_DE.utf8 fr_FR.UTF-8 fr_FR.utf8");
  for (std::string name; names >> name;) {
    if (std::setlocale(LC_NUMERIC, name.c_str()) != nullptr) return;
  }
  TAVRIC_SKIP_UNLESS_AVAILABLE(false,
                               "a de_DE or fr_FR locale with a decimal comma (apt-get install "
                               "locales-all)");
}

void DecimalCommaLocale::TearDown() { std::setlocale(LC_NUMERIC, saved_.c_str()); }

void PerInstructionSet::SetUp() {
  if (!simd::Force(GetParam()))
    GTEST_SKIP() << "this machine (or this build) has no " << simd::Name(GetParam()) << " kernels";
}

void PerInstructionSet::TearDown() { simd::Force(std::nullopt); }

double SampleVariance(const std::vector<double>& values) {
  double mean = 0.0;
  for (double v : values) mean += v;
  mean /= static_cast<double>(values.size());
  double squares = 0.0;
  for (double v : values) squares += (v - mean) * (v - mean);
  return squares / static_cast<double>(values.size() - 1);
}

void WriteFileBytes(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary);
  out << content;
}

std::string ReadFileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

}  // namespace tavric::testing
