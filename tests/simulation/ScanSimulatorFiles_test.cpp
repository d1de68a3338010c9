#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "runtime/NumberText.h"
#include "runtime/TextFile.h"
#include "tavric/ScanSimulator.h"

namespace tavric::sim {
namespace {

using tavric::testing::ReadFileBytes;
using tavric::testing::TempDir;

// The lines of a file with CR LF line ends (fails the test on a bare LF).
std::vector<std::string> Lines(const std::string& bytes) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < bytes.size()) {
    const std::size_t end = bytes.find("\r\n", start);
    EXPECT_NE(end, std::string::npos) << "last line without CR LF";
    if (end == std::string::npos) break;
    const std::string line = bytes.substr(start, end - start);
    EXPECT_EQ(line.find('\n'), std::string::npos) << "bare LF in: " << line;
    lines.push_back(line);
    start = end + 2;
  }
  return lines;
}

std::vector<std::string> SplitAt(const std::string& line, char separator) {
  std::vector<std::string> fields;
  std::size_t start = 0;
  while (true) {
    const std::size_t end = line.find(separator, start);
    fields.push_back(line.substr(start, end - start));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  return fields;
}

DataArray SmallData() {
  Scenario s;
  s.plan.total_samples = 2000;
  s.calibration.offsets = {-1500.25, 731.0, 12.0};
  s.noise.counts_sigma = 1.5;
  s.noise.position_sigma_um = 0.3;
  return Simulate(s).data;
}

const char* const kKeys[6] = {"TQ800Axis0.0", "TQ800Axis1.0", "TQ800Axis2.0",
                              "X.51",         "Y.51",         "Z.51"};

// ------------------------------------------------------------------ marked layout

TEST(ScanSimulatorFiles, MarkedFileHasTheExpectedLayout) {
  TempDir dir;
  const DataArray data = SmallData();
  ASSERT_EQ(WriteMarkedDataFile(dir.File("marked.txt"), data), "OK");
  const std::vector<std::string> lines = Lines(ReadFileBytes(dir.File("marked.txt")));
  const std::int32_t n = data.UBound(2);
  ASSERT_EQ(lines.size(), static_cast<std::size_t>(n) + 3);
  EXPECT_EQ(lines[0], "\"DATA START\"");
  EXPECT_EQ(lines[1], "\"P\",\"Q\",\"R\",\"X\",\"Y\",\"Z\"");
  for (std::int32_t j = 1; j <= n; ++j) {
    const std::vector<std::string> fields = SplitAt(lines[j + 1], ',');
    ASSERT_EQ(fields.size(), 6u) << lines[j + 1];
    for (std::int32_t r = 1; r <= 6; ++r)
      ASSERT_EQ(fields[r - 1], FormatRecordNumber(data(r, j))) << "sample " << j;
  }
  EXPECT_EQ(lines.back(), "\"DATA END\"");
}

// Reading the file field by field, the way the marked reader does, gives
// the data at record precision.
TEST(ScanSimulatorFiles, MarkedFileReadsBackFieldByField) {
  TempDir dir;
  const DataArray data = SmallData();
  DataArray expected = data;
  RoundToRecordPrecision(expected);
  ASSERT_EQ(WriteMarkedDataFile(dir.File("marked.txt"), data), "OK");
  TextFile file(dir.File("marked.txt"), TextFile::Mode::kInput);
  DataArray read(1, 6, 1, 0);
  std::int32_t count = 0;
  bool found = false;
  while (!file.Eof()) {
    std::string s1 = file.InputField();
    if (UCase(s1) != "DATA START") continue;
    found = true;
    for (int k = 0; k < 6; ++k) file.InputField();
    s1 = file.InputField();
    while (UCase(s1) != "DATA END") {
      std::string s[6] = {s1};
      for (int k = 1; k < 6; ++k) s[k] = file.InputField();
      ++count;
      read.ReDimPreserve(count);
      for (int r = 0; r < 6; ++r) read(r + 1, count) = CDbl(s[r]);
      s1 = file.InputField();
    }
  }
  EXPECT_TRUE(found);
  EXPECT_TRUE(read == expected);
}

// ------------------------------------------------------------------ generic layout

TEST(ScanSimulatorFiles, GenericFileHasTheExpectedLayout) {
  TempDir dir;
  const DataArray data = SmallData();
  ASSERT_EQ(WriteGenericDataFile(dir.File("generic.txt"), data), "OK");
  const std::vector<std::string> lines = Lines(ReadFileBytes(dir.File("generic.txt")));
  const std::int32_t n = data.UBound(2);

  std::size_t marker = 0;
  while (marker < lines.size() &&
         UCase(lines[marker]).find("LOGGED PARAMETERS") == std::string::npos)
    ++marker;
  ASSERT_LT(marker, lines.size());
  EXPECT_GE(marker, 1u) << "some preamble comes first";
  ASSERT_EQ(lines.size(), marker + 2 + static_cast<std::size_t>(n) + 1);

  // Header: single spaces, every key exactly once, extra columns, and the
  // keys not in P, Q, R, X, Y, Z order.
  const std::string& header = lines[marker + 1];
  EXPECT_EQ(header.find("  "), std::string::npos);
  EXPECT_EQ(Trim(header), header);
  const std::vector<std::string> names = SplitAt(header, ' ');
  EXPECT_GT(names.size(), 6u);
  std::map<std::string, std::size_t> column;
  for (std::size_t c = 0; c < names.size(); ++c) {
    EXPECT_TRUE(column.emplace(names[c], c).second) << "duplicate column " << names[c];
  }
  std::vector<std::size_t> key_columns;
  for (const char* key : kKeys) {
    ASSERT_EQ(column.count(key), 1u) << key;
    key_columns.push_back(column[key]);
  }
  EXPECT_FALSE(std::is_sorted(key_columns.begin(), key_columns.end()));

  // Data lines: the header's single-space pattern, every field a number, the
  // key columns holding the record text of the data.
  for (std::int32_t j = 1; j <= n; ++j) {
    const std::string& line = lines[marker + 1 + j];
    const std::vector<std::string> fields = SplitAt(line, ' ');
    ASSERT_EQ(fields.size(), names.size()) << line;
    for (const std::string& f : fields) ASSERT_TRUE(TryParseInvariant(f).has_value()) << line;
    for (std::int32_t r = 1; r <= 6; ++r)
      ASSERT_EQ(fields[key_columns[r - 1]], FormatRecordNumber(data(r, j))) << "sample " << j;
  }
  // One final non-numeric line, nothing after it.
  const std::string& last = lines.back();
  EXPECT_FALSE(TryParseInvariant(SplitAt(last, ' ')[0]).has_value()) << last;
}

// Reading the file line by line with columns found by name, the way the
// generic reader does, gives the same array as the marked file.
TEST(ScanSimulatorFiles, GenericFileReadsBackByColumnName) {
  TempDir dir;
  const DataArray data = SmallData();
  DataArray expected = data;
  RoundToRecordPrecision(expected);
  ASSERT_EQ(WriteGenericDataFile(dir.File("generic.txt"), data), "OK");
  TextFile file(dir.File("generic.txt"), TextFile::Mode::kInput);
  DataArray read(1, 6, 1, 0);
  std::int32_t count = 0;
  while (!file.Eof()) {
    const std::string line = file.LineInput();
    if (UCase(line).find("LOGGED PARAMETERS") == std::string::npos) continue;
    const std::vector<std::string> names = SplitAt(Trim(file.LineInput()), ' ');
    std::map<std::string, std::size_t> column;
    for (std::size_t c = 0; c < names.size(); ++c) column[names[c]] = c;
    while (true) {
      const std::vector<std::string> fields = SplitAt(Trim(file.LineInput()), ' ');
      if (!TryParseLocale(fields[0]).has_value() && file.Eof()) break;
      ++count;
      read.ReDimPreserve(count);
      for (int r = 0; r < 6; ++r) read(r + 1, count) = CDbl(fields.at(column.at(kKeys[r])));
    }
  }
  EXPECT_TRUE(read == expected);
}

TEST(ScanSimulatorFiles, BothLayoutsWriteTheSameTextForEachValue) {
  TempDir dir;
  const DataArray data = SmallData();
  ASSERT_EQ(WriteMarkedDataFile(dir.File("m.txt"), data), "OK");
  ASSERT_EQ(WriteGenericDataFile(dir.File("g.txt"), data), "OK");
  const std::vector<std::string> marked = Lines(ReadFileBytes(dir.File("m.txt")));
  const std::vector<std::string> generic = Lines(ReadFileBytes(dir.File("g.txt")));
  std::size_t marker = 0;
  while (generic[marker] != "LOGGED PARAMETERS") ++marker;
  const std::vector<std::string> names = SplitAt(generic[marker + 1], ' ');
  std::map<std::string, std::size_t> column;
  for (std::size_t c = 0; c < names.size(); ++c) column[names[c]] = c;
  for (std::int32_t j = 1; j <= data.UBound(2); ++j) {
    const std::vector<std::string> m = SplitAt(marked[j + 1], ',');
    const std::vector<std::string> g = SplitAt(generic[marker + 1 + j], ' ');
    for (int r = 0; r < 6; ++r) ASSERT_EQ(m[r], g[column[kKeys[r]]]) << "sample " << j;
  }
}

TEST(ScanSimulatorFiles, EmptyDataGivesTheFramesOnly) {
  TempDir dir;
  const DataArray empty(1, 6, 1, 0);
  ASSERT_EQ(WriteMarkedDataFile(dir.File("m.txt"), empty), "OK");
  EXPECT_EQ(ReadFileBytes(dir.File("m.txt")),
            "\"DATA START\"\r\n\"P\",\"Q\",\"R\",\"X\",\"Y\",\"Z\"\r\n\"DATA END\"\r\n");
  ASSERT_EQ(WriteGenericDataFile(dir.File("g.txt"), empty), "OK");
  const std::vector<std::string> lines = Lines(ReadFileBytes(dir.File("g.txt")));
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[lines.size() - 3], "LOGGED PARAMETERS");
  EXPECT_EQ(lines.back(), "END OF LOG");
}

// The six fields are taken at offsets 0..5 from the first lower bound,
// whatever the bounds.
TEST(ScanSimulatorFiles, WritersAcceptAnyLowerBounds) {
  TempDir dir;
  DataArray data(0, 5, -1, 0);
  for (std::int32_t j = -1; j <= 0; ++j)
    for (std::int32_t r = 0; r <= 5; ++r) data(r, j) = 10.0 * r + j + 0.5;
  ASSERT_EQ(WriteMarkedDataFile(dir.File("m.txt"), data), "OK");
  const std::vector<std::string> lines = Lines(ReadFileBytes(dir.File("m.txt")));
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[2], "-0.5,9.5,19.5,29.5,39.5,49.5");
  EXPECT_EQ(lines[3], "0.5,10.5,20.5,30.5,40.5,50.5");
  ASSERT_EQ(WriteGenericDataFile(dir.File("g.txt"), data), "OK");
  const std::vector<std::string> g = Lines(ReadFileBytes(dir.File("g.txt")));
  EXPECT_EQ(g[g.size() - 3], "0 19.5 29.5 -0.5 39.5 1 9.5 49.5");
  EXPECT_EQ(g[g.size() - 2], "0.004 20.5 30.5 0.5 40.5 1 10.5 50.5");
}

TEST(ScanSimulatorFiles, WritersReportAMissingFolder) {
  TempDir dir;
  const std::string path = dir.File("no-such-folder/out.txt");
  const DataArray data = SmallData();
  EXPECT_EQ(WriteMarkedDataFile(path, data), "WriteMarkedDataFile error 76 : Path not found");
  EXPECT_EQ(WriteGenericDataFile(path, data), "WriteGenericDataFile error 76 : Path not found");
  EXPECT_EQ(WriteTruthJson(path, Simulate().truth), "WriteTruthJson error 76 : Path not found");
}

TEST(ScanSimulatorFiles, WritersReportAnArrayWithoutSixFields) {
  TempDir dir;
  const DataArray five(1, 5, 1, 3);
  EXPECT_EQ(WriteMarkedDataFile(dir.File("m.txt"), five),
            "WriteMarkedDataFile error 9 : Subscript out of range");
  EXPECT_EQ(WriteGenericDataFile(dir.File("g.txt"), DataArray()),
            "WriteGenericDataFile error 9 : Subscript out of range");
}

TEST(ScanSimulatorFiles, WritersRejectValuesThatAreNotFinite) {
  TempDir dir;
  DataArray data(1, 6, 1, 2);
  data(5, 2) = std::numeric_limits<double>::infinity();
  EXPECT_EQ(WriteMarkedDataFile(dir.File("m.txt"), data), "WriteMarkedDataFile error 6 : Overflow");
  EXPECT_EQ(WriteGenericDataFile(dir.File("g.txt"), data),
            "WriteGenericDataFile error 6 : Overflow");
}

// ------------------------------------------------------------------ record precision

TEST(ScanSimulatorFiles, RoundToRecordPrecisionKeepsTheWrittenTextAndIsIdempotent) {
  DataArray data = SmallData();
  const DataArray original = data;
  RoundToRecordPrecision(data);
  DataArray twice = data;
  RoundToRecordPrecision(twice);
  EXPECT_TRUE(twice == data);
  int changed = 0;
  for (std::int32_t j = 1; j <= data.UBound(2); ++j)
    for (std::int32_t r = 1; r <= 6; ++r) {
      ASSERT_EQ(FormatRecordNumber(data(r, j)), FormatRecordNumber(original(r, j)));
      ASSERT_NEAR(data(r, j), original(r, j), 1e-14 * std::fabs(original(r, j)));
      changed += data(r, j) != original(r, j) ? 1 : 0;
    }
  EXPECT_GT(changed, 0);  // full-precision doubles do lose digits
}

// ------------------------------------------------------------------ truth JSON

TEST(ScanSimulatorFiles, TruthJsonHoldsTheGroundTruth) {
  Scenario s;
  s.calibration.offsets = {10.0, -20.0, 30.5};
  s.noise.seed = 77;
  const GroundTruth truth = Simulate(s).truth;
  const std::string json = TruthJson(truth);
  EXPECT_EQ(json.front(), '{');
  EXPECT_EQ(json.substr(json.size() - 2), "}\n");
  EXPECT_EQ(std::count(json.begin(), json.end(), '{'), std::count(json.begin(), json.end(), '}'));
  EXPECT_EQ(std::count(json.begin(), json.end(), '['), std::count(json.begin(), json.end(), ']'));
  EXPECT_NE(json.find("\"samples\": 4000,"), std::string::npos);
  EXPECT_NE(json.find("\"seed\": 77,"), std::string::npos);
  EXPECT_NE(json.find("\"sphere\": {\"centre\": [150, -80, 40], \"radius\": 12.5}"),
            std::string::npos);
  EXPECT_NE(json.find("\"order\": 3,"), std::string::npos);
  EXPECT_NE(json.find("\"offsets\": [10, -20, 30.5]"), std::string::npos);
  // 20 terms in term order; every coefficient reads back exactly.
  std::size_t pos = 0;
  std::int32_t t = 0;
  const int powers[20][3] = {{0, 0, 0}, {0, 0, 1}, {0, 0, 2}, {0, 0, 3}, {0, 1, 0},
                             {0, 1, 1}, {0, 1, 2}, {0, 2, 0}, {0, 2, 1}, {0, 3, 0},
                             {1, 0, 0}, {1, 0, 1}, {1, 0, 2}, {1, 1, 0}, {1, 1, 1},
                             {1, 2, 0}, {2, 0, 0}, {2, 0, 1}, {2, 1, 0}, {3, 0, 0}};
  while ((pos = json.find("{\"powers\": [", pos)) != std::string::npos) {
    ++t;
    ASSERT_LE(t, 20);
    std::istringstream in(json.substr(pos + 12));
    int i = -1, j = -1, k = -1;
    char sep = 0;
    in >> i >> sep >> j >> sep >> k;
    EXPECT_EQ(i, powers[t - 1][0]);
    EXPECT_EQ(j, powers[t - 1][1]);
    EXPECT_EQ(k, powers[t - 1][2]);
    const std::size_t c = json.find("\"coefficients\": [", pos) + 17;
    const char* p = json.c_str() + c;
    for (std::int32_t a = 1; a <= 3; ++a) {
      char* end = nullptr;
      EXPECT_EQ(std::strtod(p, &end), truth.coefficients(a, t));
      p = end + 1;
    }
    ++pos;
  }
  EXPECT_EQ(t, 20);
  EXPECT_NE(json.find("{\"first\": 2801, \"count\": 400, \"plane\": 4, \"sense\": -1,"),
            std::string::npos);
}

TEST(ScanSimulatorFiles, WriteTruthJsonWritesTheJsonText) {
  TempDir dir;
  const GroundTruth truth = Simulate().truth;
  ASSERT_EQ(WriteTruthJson(dir.File("truth.json"), truth), "OK");
  EXPECT_EQ(ReadFileBytes(dir.File("truth.json")), TruthJson(truth));
}

}  // namespace
}  // namespace tavric::sim
