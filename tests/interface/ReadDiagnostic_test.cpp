// The diagnostic the readers fill: where and why reading stopped, without
// changing the result they return.
#include "tavric/ReadDiagnostic.h"

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "data/ReadCalData.h"
#include "runtime/TextFile.h"
#include "tavric/Calibration.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/DataFile.h"
#include "tavric/Error.h"
#include "tavric/RuntimeError.h"

namespace tavric {
namespace {

using testing::TempDir;
using testing::WriteFileBytes;

constexpr const char* kMarkedStart = "\"DATA START\"\r\n\"P\",\"Q\",\"R\",\"X\",\"Y\",\"Z\"\r\n";
constexpr const char* kGenericHead =
    "log\r\nLOGGED PARAMETERS\r\nTQ800Axis0.0 TQ800Axis1.0 TQ800Axis2.0 X.51 Y.51 Z.51\r\n";

// Files that fail in every way the readers know, as (name, content).
std::vector<std::pair<std::string, std::string>> BadFiles() {
  return {
      {"empty", ""},
      {"notes", "nothing here\r\n"},
      {"marked-typo",
       std::string(kMarkedStart) + "1,2,3,4,5,6\r\n1,2,x3,4,5,6\r\n\"DATA END\"\r\n"},
      {"marked-cut", std::string(kMarkedStart) + "1,2,3,4,5,6\r\n1,2,3"},
      {"marked-huge", std::string(kMarkedStart) + "1,2,3,4,5,1e999\r\n\"DATA END\"\r\n"},
      {"generic-typo", std::string(kGenericHead) + "1 2 3 4 5 6\r\n1 2 3 4 oops 6\r\nEND\r\n"},
      {"generic-short", std::string(kGenericHead) + "1 2 3 4 5 6\r\n1 2 3\r\nEND\r\n"},
      {"generic-last-line-data", std::string(kGenericHead) + "1 2 3 4 5 6\r\n"},
      {"generic-no-header", "LOGGED PARAMETERS"},
      {"generic-missing-column", "LOGGED PARAMETERS\r\nTQ800Axis0.0 X.51 Y.51 Z.51\r\nEND\r\n"},
      {"utf16", std::string("\xFF\xFE"
                            "D\0A\0T\0A\0",
                            10)},
  };
}

TEST(ReadDiagnostic, TheReadersReturnTheSameTextWithOrWithoutADiagnostic) {
  TempDir dir;
  for (const auto& [name, content] : BadFiles()) {
    const std::string file = dir.File(name + ".txt");
    WriteFileBytes(file, content);
    Array2<double> a, b;
    ReadDiagnostic marked;
    EXPECT_EQ(ReadCalData::ReadMarkedFile(file, a, &marked), ReadCalData::ReadMarkedFile(file, b))
        << name;
    ReadDiagnostic generic;
    EXPECT_EQ(ReadCalData::ReadGenericFile(file, a, &generic),
              ReadCalData::ReadGenericFile(file, b))
        << name;
    DataArray c, d;
    std::string layout_c = "x", layout_d = "y";
    ReadDiagnostic both;
    EXPECT_EQ(ReadCalibrationDataFile(file, c, &layout_c, &both),
              ReadCalibrationDataFile(file, d, &layout_d))
        << name;
    EXPECT_EQ(layout_c, layout_d) << name;
    EXPECT_EQ(both.file, file) << name;
    EXPECT_FALSE(both.hint.empty()) << name;
  }
}

TEST(ReadDiagnostic, AMarkedFileWithABadValueNamesItsPlaceBehindNoDataIdentified) {
  TempDir dir;
  const std::string file = dir.File("typo.txt");
  WriteFileBytes(file,
                 std::string(kMarkedStart) + "1,2,3,4,5,6\r\n1,2,x3,4,5,6\r\n\"DATA END\"\r\n");
  DataArray data;
  ReadDiagnostic why;
  EXPECT_EQ(ReadCalibrationDataFile(file, data, nullptr, &why), "No Data identified.");
  EXPECT_EQ(why.layout, "marked");
  EXPECT_EQ(why.line, 4);
  EXPECT_EQ(why.column, 5);
  EXPECT_EQ(why.found, "x3");
  EXPECT_FALSE(why.at_end_of_file);
  EXPECT_EQ(why.samples, 2);
  EXPECT_EQ(why.tried, (std::vector<std::string>{"marked: File reading(1) error 13 : Type mismatch",
                                                 "generic: No Data identified."}));
  EXPECT_NE(why.hint.find("sample 2"), std::string::npos) << why.hint;
}

TEST(ReadDiagnostic, AGenericFileStopsAtTheFieldThatIsNotANumber) {
  TempDir dir;
  const std::string file = dir.File("typo.txt");
  WriteFileBytes(file, std::string(kGenericHead) + "1 2 3 4 5 6\r\n1 2 3 4 oops 6\r\nEND\r\n");
  DataArray data;
  ReadDiagnostic why;
  EXPECT_EQ(ReadCalibrationDataFile(file, data, nullptr, &why),
            "File reading(Generic) error 13 : Type mismatch");
  EXPECT_EQ(why.layout, "generic");
  EXPECT_EQ(why.line, 5);
  EXPECT_EQ(why.column, 9);
  EXPECT_EQ(why.found, "oops");
  EXPECT_EQ(why.samples, 2);
}

TEST(ReadDiagnostic, AFileThatEndsTooSoonIsPlacedAtItsEnd) {
  TempDir dir;
  const std::string file = dir.File("last.txt");
  WriteFileBytes(file, std::string(kGenericHead) + "1 2 3 4 5 6\r\n");
  DataArray data;
  ReadDiagnostic why;
  EXPECT_EQ(ReadCalibrationDataFile(file, data, nullptr, &why),
            "File reading(Generic) error 62 : Input past end of file");
  EXPECT_TRUE(why.at_end_of_file);
  EXPECT_EQ(why.line, 5);
  EXPECT_EQ(why.found, "");
  EXPECT_NE(why.hint.find("last line is data"), std::string::npos) << why.hint;
}

TEST(ReadDiagnostic, AMissingColumnIsNamed) {
  TempDir dir;
  const std::string file = dir.File("header.txt");
  WriteFileBytes(file, "LOGGED PARAMETERS\r\nTQ800Axis0.0 X.51 Y.51 Z.51\r\nEND\r\n");
  DataArray data;
  ReadDiagnostic why;
  EXPECT_EQ(ReadCalibrationDataFile(file, data, nullptr, &why), "Fields missing");
  EXPECT_EQ(why.line, 2);
  EXPECT_NE(why.hint.find("missing: TQ800Axis1.0, TQ800Axis2.0"), std::string::npos) << why.hint;
}

TEST(ReadDiagnostic, AReadFileGivesItsLayoutAndSamples) {
  TempDir dir;
  const std::string file = dir.File("good.txt");
  WriteFileBytes(file, std::string(kGenericHead) + "1 2 3 4 5 6\r\n1 2 3 4 5 6\r\nEND\r\n");
  DataArray data;
  ReadDiagnostic why;
  ASSERT_EQ(ReadCalibrationDataFile(file, data, nullptr, &why), "OK");
  EXPECT_EQ(why.layout, "generic");
  EXPECT_EQ(why.samples, 2);
  EXPECT_EQ(why.line, 0);
  EXPECT_TRUE(why.tried.empty());
}

TEST(ReadDiagnostic, TheModernApiCarriesItOnItsError) {
  TempDir dir;
  const std::string file = dir.File("many.txt");
  std::string records;
  for (int i = 0; i < 40000; ++i) records += "1,2,3,150,-80,52.5\r\n";
  WriteFileBytes(file, std::string(kMarkedStart) + records + "\"DATA END\"\r\n");
  try {
    calibrate_file(file);
    FAIL() << "40,000 samples were calibrated";
  } catch (const Error& e) {
    EXPECT_EQ(e.text(), "Optimise Error 6 : Overflow");
    ASSERT_NE(e.diagnostic(), nullptr);
    EXPECT_EQ(e.diagnostic()->samples, 40000);
    EXPECT_EQ(e.diagnostic()->hint, "data files hold at most 32,767 samples; this one has 40,000");
  }
}

TEST(ReadDiagnostic, ACalibrationFileCutShortIsPlacedAtItsEnd) {
  TempDir dir;
  const std::string file = dir.File("cut.cal");
  WriteFileBytes(file,
                 "\"POLYNOMIAL CALIBRATION PARAMETERS\"\r\n\"POLYNOMIAL ORDER\"\r\n1\r\n"
                 "\"PROBE OFFSETS P Q R IN COUNTS\"\r\n0,0");
  const std::string text = ClsProbeCalibration().LoadCalibrationFunctions(file);
  EXPECT_EQ(text, "Polynome object ReadFile(3) Error n\u00b062 Input past end of file");
  try {
    load(file);
    FAIL() << "a cut calibration file was loaded";
  } catch (const Error& e) {
    EXPECT_EQ(e.text(), text);
    ASSERT_NE(e.diagnostic(), nullptr);
    EXPECT_EQ(e.diagnostic()->layout, "calibration");
    EXPECT_TRUE(e.diagnostic()->at_end_of_file);
    EXPECT_EQ(e.diagnostic()->line, 5);
    EXPECT_NE(e.diagnostic()->hint.find("cut short"), std::string::npos);
  }
}

TEST(TextFileWhere, CountsLinesWithEveryLineEndAndColumnsInBytes) {
  TempDir dir;
  const std::string file = dir.File("ends.txt");
  WriteFileBytes(file, "a\r\nb\nc\rdd,ee\r\n");
  TextFile text(file, TextFile::Mode::kInput);
  EXPECT_EQ(text.LineInputView(), "a");
  EXPECT_EQ(text.LineInputView(), "b");
  EXPECT_EQ(text.LineInputView(), "c");
  text.InputFieldView();
  const std::string_view ee = text.InputFieldView();
  const TextFile::Place place = text.Where(ee);
  EXPECT_EQ(place.line, 4);
  EXPECT_EQ(place.column, 4);
  EXPECT_FALSE(place.at_end);
  EXPECT_EQ(place.field, "ee");
  EXPECT_THROW(text.InputFieldView(), RuntimeError);
  EXPECT_TRUE(text.Where({}).at_end);
}

}  // namespace
}  // namespace tavric
