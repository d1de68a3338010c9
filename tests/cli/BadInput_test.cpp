// Hand-made bad data and calibration files, each run through the tool: the
// library's failure text alone on the first line of standard error, the exit
// status, and the line of context that explains it. Every run is bounded by
// `timeout 5`: a run that needs longer counts as a hang.
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <ostream>

#include "CliRun.h"
#include "tavric/ScanSimulator.h"

namespace tavric {
namespace {

using testing::Contains;
using testing::Example;
using testing::FirstLine;
using testing::ReadFileBytes;
using testing::TempDir;

constexpr const char* kHeader = "\"DATA START\"\r\n\"P\",\"Q\",\"R\",\"X\",\"Y\",\"Z\"\r\n";
constexpr const char* kEnd = "\"DATA END\"\r\n";

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.15g", value);
  return text;
}

std::string Marked(const std::string& records) { return kHeader + records + kEnd; }

std::string Repeat(const std::string& text, int times) {
  std::string out;
  out.reserve(text.size() * static_cast<std::size_t>(times));
  for (int i = 0; i < times; ++i) out += text;
  return out;
}

std::string MarkedExample() { return ReadFileBytes(Example("sphere-scan-marked.txt")); }
std::string GenericExample() { return ReadFileBytes(Example("sphere-scan-generic.txt")); }
std::string CalibrationExample() {
  return ReadFileBytes(testing::SourceFile("fuzz/seeds/order-1.cal"));
}

// The lines of `text`, CR LF kept, 1-based.
std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = text.find('\n', start);
    const std::size_t stop = end == std::string::npos ? text.size() : end + 1;
    lines.push_back(text.substr(start, stop - start));
    start = stop;
  }
  return lines;
}

std::string Join(const std::vector<std::string>& lines) {
  std::string out;
  for (const std::string& l : lines) out += l;
  return out;
}

// `text` with line `number` (1-based) replaced by `line` (its line end kept).
std::string WithLine(const std::string& text, std::size_t number, const std::string& line) {
  std::vector<std::string> lines = Lines(text);
  const std::string& old = lines.at(number - 1);
  const std::string ending = old.ends_with("\r\n") ? "\r\n" : old.ends_with("\n") ? "\n" : "";
  lines[number - 1] = line + ending;
  return Join(lines);
}

std::string FirstLines(const std::string& text, std::size_t count) {
  std::vector<std::string> lines = Lines(text);
  lines.resize(std::min(count, lines.size()));
  return Join(lines);
}

// Each character of an ASCII text as UTF-16, little- or big-endian, after
// its byte-order mark.
std::string Utf16(const std::string& text, bool little_endian) {
  std::string out = little_endian ? "\xFF\xFE" : "\xFE\xFF";
  for (char c : text) {
    out += little_endian ? std::string{c, '\0'} : std::string{'\0', c};
  }
  return out;
}

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos;
       at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

// A simulated scan, as a marked file, keeping only the samples `keep` takes.
std::string Simulated(const std::function<bool(const sim::ScanInfo&)>& keep) {
  const sim::SimulatedData s = sim::Simulate();
  std::string records;
  for (const sim::ScanInfo& scan : s.truth.scans) {
    if (!keep(scan)) continue;
    for (std::int32_t k = scan.first_sample; k < scan.first_sample + scan.sample_count; ++k) {
      for (std::int32_t r = 1; r <= 6; ++r) {
        records += Number(s.data(r, k));
        records += r < 6 ? "," : "\r\n";
      }
    }
  }
  return Marked(records);
}

// The machine positions of the example with every reading replaced.
std::string ExampleWithReadings(const std::string& readings) {
  std::vector<std::string> lines = Lines(MarkedExample());
  for (std::size_t i = 2; i + 1 < lines.size(); ++i) {
    std::string& l = lines[i];
    std::size_t third = 0;
    for (int c = 0; c < 3; ++c) third = l.find(',', third) + 1;
    l = readings + "," + l.substr(third);
  }
  return Join(lines);
}

// The generic example's header replaced by `header`.
std::string GenericWithHeader(const std::string& header) {
  return WithLine(GenericExample(), 5, header);
}

constexpr const char* kFieldsMissing = "Fields missing";
constexpr const char* kNoData = "No Data identified.";

struct BadFile {
  const char* name;
  // calibrate, calibrate-strict (with --strict), check, show, transform (with
  // the reading 1 2 3) or transform-data (the example calibration with
  // --data FILE).
  const char* command;
  // The file's bytes; kDirectory and kMissing make a folder or nothing.
  std::function<std::string()> content;
  int status;
  // The first line of standard error; {FILE} stands for the file's path.
  const char* text;
  // A text the lines after it contain (the explanation), or "" for none.
  const char* context;
};

// Names a case by its name in test output (instead of its bytes).
void PrintTo(const BadFile& file, std::ostream* os) { *os << file.name; }

const std::string kDirectory = "<directory>";
const std::string kMissing = "<missing>";

const std::vector<BadFile>& Table() {
  static const std::vector<BadFile> table = {
      // Not a data file at all.
      {"EmptyFile", "calibrate", [] { return std::string(); }, 1, kNoData,
       "hint: the file is empty"},
      {"OnlyBlankLines", "calibrate", [] { return std::string("\r\n  \r\n\t\r\n"); }, 1, kNoData,
       "neither layout's start was found"},
      {"PlainNotes", "calibrate", [] { return std::string("nothing to calibrate here\r\n"); }, 1,
       kNoData, "neither layout's start was found"},
      {"BinaryGarbage", "calibrate",
       [] {
         std::string b;
         for (int i = 0; i < 1024; ++i) b += static_cast<char>((i * 37 + 11) % 256);
         return b;
       },
       1, kNoData, "binary data"},
      {"Utf16LittleEndian", "calibrate",
       [] { return Utf16(FirstLines(MarkedExample(), 50), true); }, 1, kNoData, "UTF-16"},
      {"Utf16BigEndian", "calibrate", [] { return Utf16(FirstLines(MarkedExample(), 50), false); },
       1, kNoData, "UTF-16"},
      {"CalibrationFileGivenAsData", "calibrate", CalibrationExample, 1, kNoData,
       "this is a calibration file"},
      {"Directory", "calibrate", [] { return kDirectory; }, 2,
       "DATA: File is actually a directory: {FILE}", ""},
      {"MissingFile", "calibrate", [] { return kMissing; }, 2, "DATA: File does not exist: {FILE}",
       ""},
      // Marked layout, cut or misshapen.
      {"MarkedTruncatedMidRecord", "calibrate", [] { return MarkedExample().substr(0, 3000); }, 1,
       kNoData, "the DATA END record is missing"},
      {"MarkedWithoutDataEnd", "calibrate",
       [] { return Replace(MarkedExample(), "\"DATA END\"\r\n", ""); }, 1, kNoData,
       "the DATA END record is missing"},
      {"MarkedOnlyDataStart", "calibrate", [] { return std::string("\"DATA START\"\r\n"); }, 1,
       kNoData, "the file ended inside a DATA START block after 0 samples"},
      {"MarkedNoSamples", "calibrate", [] { return Marked(""); }, 1,
       "Optimise Error 9 : Subscript out of range", "the file holds no samples"},
      {"MarkedTypoOnLine1501", "calibrate",
       [] {
         return WithLine(MarkedExample(), 1501, "2x206.04,3305.35,3669.64,155.29,-72.43,47.90");
       },
       1, kNoData, "line 1501, column 1: found \"2x206.04\""},
      {"MarkedSemicolons", "calibrate", [] { return Replace(MarkedExample(), ",", ";"); }, 1,
       kNoData, "separated by semicolons"},
      {"MarkedTabs", "calibrate", [] { return Replace(MarkedExample(), ",", "\t"); }, 1, kNoData,
       "separated by tabs"},
      {"MarkedDecimalCommas", "calibrate", [] { return Marked("1,5,2,5,3,5,150,-80,52,5\r\n"); }, 1,
       kNoData, "after 1 sample:"},
      {"MarkedSevenFields", "calibrate",
       [] { return WithLine(MarkedExample(), 10, "1,2,3,150,-80,40,7"); }, 1, kNoData,
       "after 4000 samples"},
      {"MarkedFiveFields", "calibrate",
       [] { return WithLine(MarkedExample(), 10, "1,2,3,150,-80"); }, 1, kNoData,
       "DATA END came inside a record"},
      {"MarkedEmptyField", "calibrate",
       [] { return WithLine(MarkedExample(), 10, "1,,3,150,-80,40"); }, 1, kNoData,
       "line 10, column 3: found \"\""},
      {"MarkedNaNText", "calibrate",
       [] { return WithLine(MarkedExample(), 10, "NaN,2,3,150,-80,40"); }, 1, kNoData,
       "found \"NaN\""},
      {"MarkedInfinityText", "calibrate",
       [] { return WithLine(MarkedExample(), 10, "1,Infinity,3,150,-80,40"); }, 1, kNoData,
       "found \"Infinity\""},
      {"MarkedInfText", "calibrate",
       [] { return WithLine(MarkedExample(), 10, "1,2,-inf,150,-80,40"); }, 1, kNoData,
       "found \"-inf\""},
      {"MarkedHugeExponent", "calibrate",
       [] { return WithLine(MarkedExample(), 10, "1,2,3,1e999,-80,40"); }, 1, kNoData,
       "too large for a double"},
      {"MarkedTinyExponent", "calibrate",
       [] { return WithLine(MarkedExample(), 10, "1e-999,2,3,150,-80,40"); }, 0, "", ""},
      {"MarkedUtf8ByteOrderMark", "calibrate", [] { return "\xEF\xBB\xBF" + MarkedExample(); }, 1,
       kNoData, "UTF-8 byte-order mark"},
      {"MarkedCarriageReturnsOnly", "calibrate",
       [] { return Replace(MarkedExample(), "\r\n", "\r"); }, 0, "", ""},
      // Too few, degenerate or too many samples.
      {"OnePoint", "calibrate", [] { return Marked("0,0,0,150,-80,52.5\r\n"); }, 1,
       "Sphere fit failure : Initial parameter computation", "(marked layout, 1 sample)"},
      {"TwoPoints", "calibrate",
       [] { return Marked("0,0,0,150,-80,52.5\r\n0,0,0,150,-67.5,40\r\n"); }, 1,
       "Sphere fit failure : Initial parameter computation", "(marked layout, 2 samples)"},
      {"ThreePoints", "calibrate",
       [] { return Marked("0,0,0,162.5,-80,40\r\n0,0,0,150,-67.5,40\r\n0,0,0,150,-80,52.5\r\n"); },
       1, "Sphere fit failure : Initial parameter computation", "do not outline a sphere"},
      {"FourPoints", "calibrate",
       [] {
         return Marked(
             "0,0,0,162.5,-80,40\r\n0,0,0,150,-67.5,40\r\n0,0,0,150,-80,52.5\r\n"
             "0,0,0,137.5,-80,40\r\n");
       },
       1, "Bi-directionnal scans detection error.",
       "at least three planes each scanned in both senses"},
      {"IdenticalPoints", "calibrate", [] { return Marked(Repeat("1,2,3,150,-80,52.5\r\n", 500)); },
       1, "Sphere fit failure : Initial parameter computation", "do not outline a sphere"},
      {"CoplanarPoints", "calibrate",
       [] {
         std::string records;
         for (int i = 0; i < 400; ++i) {
           const double a = i * 0.05;
           records += "0,0,0," + Number(150 + 12.5 * std::cos(a)) + "," +
                      Number(-80 + 12.5 * std::sin(a)) + ",40\r\n";
         }
         return Marked(records);
       },
       1, "Sphere fit failure : Initial parameter computation", "all of them in one plane"},
      {"StationaryProbe", "calibrate-strict", [] { return ExampleWithReadings("100,200,300"); }, 3,
       "", ""},
      {"OneScanDirection", "calibrate",
       [] { return Simulated([](const sim::ScanInfo& s) { return s.sense == 1; }); }, 1,
       "Bi-directionnal scans detection error.", "0 of them scanned in both senses"},
      {"Samples32767", "calibrate", [] { return Marked(Repeat("1,2,3,150,-80,52.5\r\n", 32767)); },
       1, "Sphere fit failure : Initial parameter computation", "(marked layout, 32767 samples)"},
      {"Samples32768", "calibrate", [] { return Marked(Repeat("1,2,3,150,-80,52.5\r\n", 32768)); },
       1, "Optimise Error 6 : Overflow",
       "data files hold at most 32,767 samples; this one has 32,768"},
      {"Samples40000", "calibrate", [] { return Marked(Repeat("1,2,3,150,-80,52.5\r\n", 40000)); },
       1, "Optimise Error 6 : Overflow",
       "data files hold at most 32,767 samples; this one has 40,000"},
      // Generic layout.
      {"GenericEndsOnLoggedParameters", "calibrate",
       [] { return std::string("scan log\r\nLOGGED PARAMETERS"); }, 1,
       "File reading(Generic) error 62 : Input past end of file", "header line naming the columns"},
      {"GenericHeaderMissingAColumn", "calibrate",
       [] { return GenericWithHeader("Time TQ800Axis2.0 X.51 TQ800Axis0.0 Y.51 Status Z.51"); }, 1,
       kFieldsMissing, "missing: TQ800Axis1.0"},
      {"GenericHeaderWithTabs", "calibrate",
       [] {
         return GenericWithHeader(
             "Time\tTQ800Axis2.0\tX.51\tTQ800Axis0.0\tY.51\tStatus\tTQ800Axis1.0\tZ.51");
       },
       1, kFieldsMissing, "separated by tabs"},
      {"GenericHeaderNamesAColumnTwice", "calibrate",
       [] {
         return GenericWithHeader(
             "Time TQ800Axis2.0 X.51 TQ800Axis0.0 Y.51 Status TQ800Axis1.0 Z.51 X.51");
       },
       1, kFieldsMissing, "named twice"},
      {"GenericDuplicateReplacesAColumn", "calibrate",
       [] {
         return GenericWithHeader("Time TQ800Axis2.0 X.51 TQ800Axis0.0 Y.51 Status X.51 Z.51");
       },
       1,
       "File reading(Generic) error 457 : This key is already associated with an element of this "
       "collection",
       "appears twice"},
      {"GenericHeader255Fields", "calibrate",
       [] {
         return GenericWithHeader("TQ800Axis0.0 TQ800Axis1.0 TQ800Axis2.0 X.51 Y.51 Z.51" +
                                  Repeat(" f", 249));
       },
       1, "File reading(Generic) error 6 : Overflow", "at most 254 fields"},
      {"GenericDataLine300Fields", "calibrate",
       [] { return WithLine(GenericExample(), 8, "0 1 2 3 4 5 6 7" + Repeat(" 9", 292)); }, 1,
       "File reading(Generic) error 6 : Overflow", "at most 254 fields"},
      {"GenericTrailingBlankLine", "calibrate", [] { return GenericExample() + "\r\n"; }, 1,
       "File reading(Generic) error 9 : Subscript out of range", "trailing blank line"},
      {"GenericNoFooter", "calibrate",
       [] {
         const std::string g = GenericExample();
         return g.substr(0, g.rfind("END OF LOG"));
       },
       1, "File reading(Generic) error 62 : Input past end of file",
       "the file's last line is data"},
      {"GenericTypo", "calibrate",
       [] { return WithLine(GenericExample(), 100, "0.4 1 2 3 4 1 oops 6"); }, 1,
       "File reading(Generic) error 13 : Type mismatch", "line 100, column 15: found \"oops\""},
      {"GenericDoubleSpaces", "calibrate",
       [] { return WithLine(GenericExample(), 7, "0  1 2 3 4 1 5 6"); }, 1,
       "File reading(Generic) error 13 : Type mismatch", "line 7, column 3: found \"\""},
      {"GenericTabSeparatedData", "calibrate",
       [] { return WithLine(GenericExample(), 7, "0\t1\t2\t3\t4\t1\t5\t6"); }, 1,
       "File reading(Generic) error 9 : Subscript out of range", "separated by tabs"},
      {"GenericDecimalCommas", "calibrate",
       [] { return WithLine(GenericExample(), 7, "0 1,5 2 3 4 1 5 6"); }, 1,
       "File reading(Generic) error 13 : Type mismatch", "decimal separator"},
      {"GenericNaN", "calibrate", [] { return WithLine(GenericExample(), 7, "0 nan 2 3 4 1 5 6"); },
       1, "File reading(Generic) error 13 : Type mismatch", "found \"nan\""},
      {"GenericHugeExponent", "calibrate",
       [] { return WithLine(GenericExample(), 7, "0 1 2 3e400 4 1 5 6"); }, 1,
       "File reading(Generic) error 6 : Overflow", "too large for a double"},
      {"GenericNoSamples", "calibrate",
       [] { return FirstLines(GenericExample(), 5) + "END OF LOG\r\n"; }, 1,
       "Optimise Error 9 : Subscript out of range", "the file holds no samples"},
      {"DataFileChecked", "check", [] { return Marked("0,0,0,150,-80,52.5\r\n"); }, 1,
       "Sphere fit failure : Initial parameter computation", "do not outline a sphere"},
      {"GarbageChecked", "check", [] { return std::string("\x01\x02\x03", 3); }, 1, kNoData,
       "binary data"},
      {"GarbageAsTransformData", "transform-data", [] { return std::string("garbage\r\n"); }, 1,
       kNoData, "neither layout's start was found"},
      // Calibration files.
      {"CalibrationEmpty", "show", [] { return std::string(); }, 1,
       "LoadCalibrationFunctions Error n\u00b062 Input past end of file",
       "hint: the file is empty"},
      {"CalibrationIsADataFile", "show", MarkedExample, 1,
       "No calibration found in {FILE} (no \"POLYNOMIAL CALIBRATION PARAMETERS\" record)",
       "this is a data file of scans (marked layout)"},
      {"CalibrationTruncated", "show",
       [] { return FirstLines(CalibrationExample(), 15) + "0,0,1,-5.17"; }, 1,
       "Polynome object ReadFile(2) Error n\u00b062 Input past end of file", "cut short"},
      {"CalibrationBadCoefficient", "show",
       [] { return WithLine(CalibrationExample(), 16, "0,0,1,abc,1,1"); }, 1,
       "Polynome object ReadFile(2) Error n\u00b013 Type mismatch",
       "line 16, column 7: found \"abc\"\nhint: a number was expected here"},
      {"CalibrationOrder300", "show", [] { return WithLine(CalibrationExample(), 11, "300"); }, 1,
       "Polynome object ReadFile(0) Error n\u00b06 Overflow",
       "line 11, column 1: found \"300\"\nhint: a number out of range here"},
      {"CalibrationOrder9", "show", [] { return WithLine(CalibrationExample(), 11, "9"); }, 0, "",
       ""},
      {"CalibrationHugePower", "show",
       [] { return WithLine(CalibrationExample(), 16, "99999,0,1,1,1,1"); }, 1,
       "Polynome object ReadFile(2) Error n\u00b06 Overflow", "line 16, column 1"},
      {"CalibrationNaNCoefficient", "show",
       [] { return WithLine(CalibrationExample(), 16, "0,0,1,NaN,1,1"); }, 1,
       "Polynome object ReadFile(2) Error n\u00b013 Type mismatch", "line 16, column 7"},
      {"CalibrationHugeExponent", "show",
       [] { return WithLine(CalibrationExample(), 16, "0,0,1,1e999,1,1"); }, 1,
       "Polynome object ReadFile(2) Error n\u00b06 Overflow", "line 16, column 7"},
      {"CalibrationBinaryGarbage", "show", [] { return std::string("\x7f\x00\xff\x10", 4); }, 1,
       "No calibration found in {FILE} (no \"POLYNOMIAL CALIBRATION PARAMETERS\" record)",
       "binary data"},
      {"CalibrationUtf16", "show", [] { return Utf16(CalibrationExample(), true); }, 1,
       "No calibration found in {FILE} (no \"POLYNOMIAL CALIBRATION PARAMETERS\" record)",
       "UTF-16"},
      {"CalibrationWithoutSphere", "show",
       [] {
         const std::vector<std::string> lines = Lines(CalibrationExample());
         return Join(std::vector<std::string>(lines.begin() + 8, lines.end()));
       },
       0, "", ""},
      {"CalibrationHugeRadius", "show",
       [] { return WithLine(CalibrationExample(), 6, "1,2,3,1e999"); }, 1,
       "LoadCalibrationFunctions Error n\u00b06 Overflow", "line 6, column 7"},
      {"CalibrationIsADataFileForTransform", "transform", GenericExample, 1,
       "No calibration found in {FILE} (no \"POLYNOMIAL CALIBRATION PARAMETERS\" record)",
       "this is a data file of scans (generic layout)"},
      {"CalibrationDirectory", "show", [] { return kDirectory; }, 2,
       "CALFILE: File is actually a directory: {FILE}", ""},
  };
  return table;
}

class BadInput : public ::testing::TestWithParam<BadFile> {};

TEST_P(BadInput, FailsWithTheLibrarysTextAndExplainsIt) {
  const BadFile& row = GetParam();
  TempDir dir;
  const std::string ext =
      std::string(row.command) == "show" || std::string(row.command) == "transform" ? ".cal"
                                                                                    : ".txt";
  const std::string file = dir.File(std::string("input") + ext);
  const std::string content = row.content();
  if (content == kDirectory) {
    std::filesystem::create_directory(file);
  } else if (content != kMissing) {
    testing::WriteFileBytes(file, content);
  }
  std::vector<std::string> args;
  const std::string command = row.command;
  if (command == "calibrate") args = {"calibrate", file, "-o", dir.File("out.cal")};
  if (command == "calibrate-strict")
    args = {"calibrate", file, "-o", dir.File("out.cal"), "--strict"};
  if (command == "check") args = {"check", file};
  if (command == "show") args = {"show", file};
  if (command == "transform") args = {"transform", file, "1", "2", "3"};
  if (command == "transform-data")
    args = {"transform", testing::SourceFile("fuzz/seeds/order-1.cal"), "--data", file};
  const testing::CliResult r = testing::RunCliWithin(5, args);
  ASSERT_NE(r.status, testing::kTimedOut) << "took more than 5 s";
  EXPECT_EQ(r.status, row.status) << r.err;
  EXPECT_EQ(FirstLine(r.err), Replace(row.text, "{FILE}", file)) << r.err;
  const std::string after = r.err.substr(std::min(r.err.size(), r.err.find('\n') + 1));
  EXPECT_TRUE(Contains(after, row.context)) << after;
  if (row.status == 1) {
    EXPECT_TRUE(Contains(after, "file: " + file)) << after;
    EXPECT_FALSE(std::filesystem::exists(dir.File("out.cal")));
  }
}

INSTANTIATE_TEST_SUITE_P(Files, BadInput, ::testing::ValuesIn(Table()),
                         [](const ::testing::TestParamInfo<BadFile>& param) {
                           return std::string(param.param.name);
                         });

TEST(BadInputJson, TheFailureObjectCarriesWhereAndWhyReadingStopped) {
  TempDir dir;
  const std::string file = dir.File("typo.txt");
  testing::WriteFileBytes(file, WithLine(MarkedExample(), 1501, "1,2,x3,4,5,6"));
  const auto r = testing::RunCli({"calibrate", file, "-o", dir.File("out.cal"), "--json"});
  EXPECT_EQ(r.status, 1);
  const nlohmann::json j = testing::Json(r);
  EXPECT_EQ(j["result"], kNoData);
  const nlohmann::json& d = j["diagnostic"];
  EXPECT_EQ(d["file"], file);
  EXPECT_EQ(d["line"], 1501);
  EXPECT_EQ(d["column"], 5);
  EXPECT_EQ(d["found"], "x3");
  EXPECT_EQ(d["at_end_of_file"], false);
  EXPECT_EQ(d["layout"], "marked");
  EXPECT_EQ(d["tried"], nlohmann::json::array({"marked: File reading(1) error 13 : Type mismatch",
                                               "generic: No Data identified."}));
  EXPECT_EQ(d["samples"], 1499);
  EXPECT_TRUE(d["hint"].is_string());
}

TEST(BadInputJson, TooManySamplesGiveTheirCountAndAHint) {
  TempDir dir;
  const std::string file = dir.File("many.txt");
  testing::WriteFileBytes(file, Marked(Repeat("1,2,3,150,-80,52.5\r\n", 40000)));
  const auto r = testing::RunCli({"calibrate", file, "-o", dir.File("out.cal"), "--json"});
  EXPECT_EQ(r.status, 1);
  const nlohmann::json j = testing::Json(r);
  EXPECT_EQ(j["result"], "Optimise Error 6 : Overflow");
  EXPECT_EQ(j["samples"], 40000);
  EXPECT_EQ(j["diagnostic"]["line"], nullptr);
  EXPECT_EQ(j["diagnostic"]["found"], nullptr);
  EXPECT_EQ(j["diagnostic"]["layout"], "marked");
  EXPECT_EQ(j["diagnostic"]["hint"], "data files hold at most 32,767 samples; this one has 40,000");
}

TEST(BadInputJson, AFailureThatReadNoFileHasANullDiagnostic) {
  TempDir dir;
  const auto r = testing::RunCli(
      {"simulate", "-o", dir.File("no/such/folder/scan.txt"), "--samples", "600", "--json"});
  EXPECT_EQ(r.status, 1);
  const nlohmann::json j = testing::Json(r);
  EXPECT_NE(j["result"], "OK");
  ASSERT_TRUE(j.contains("diagnostic"));
  EXPECT_TRUE(j["diagnostic"].is_null());
}

TEST(BadInputTable, HoldsAtLeastSixtyFiles) { EXPECT_GE(Table().size(), 60u); }

}  // namespace
}  // namespace tavric
