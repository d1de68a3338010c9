#include "data/ReadCalData.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "runtime/Narrow.h"

namespace tavric {
namespace {

using ReadCalData::FieldsPresent;
using ReadCalData::IsNumber;
using ReadCalData::ReadGenericFile;
using ReadCalData::ReadMarkedFile;
using ReadCalData::Split;
using testing::TempDir;
using testing::WriteFileBytes;

// Joins lines with the given line end, one after each line.
std::string Lines(const std::vector<std::string>& lines, const std::string& eol = "\r\n") {
  std::string out;
  for (const auto& l : lines) out += l + eol;
  return out;
}

// Expects column `col` of `data` to hold P, Q, R, X, Y, Z.
void ExpectColumn(const Array2<double>& data, int col, const std::vector<double>& values) {
  ASSERT_EQ(values.size(), 6u);
  for (int r = 1; r <= 6; ++r)
    EXPECT_EQ(data(r, col), values[static_cast<std::size_t>(r - 1)])
        << "row " << r << " col " << col;
}

void ExpectShape(const Array2<double>& data, int count) {
  ASSERT_TRUE(data.Allocated());
  EXPECT_EQ(data.LBound(1), 1);
  EXPECT_EQ(data.UBound(1), 6);
  EXPECT_EQ(data.LBound(2), 1);
  EXPECT_EQ(data.UBound(2), count);
}

const char* const kHeader = "Time TQ800Axis0.0 TQ800Axis1.0 TQ800Axis2.0 X.51 Y.51 Z.51";

// ---------------------------------------------------------------- marked ---

TEST(ReadMarkedFile, ReadsOneBlockIntoSixRowsPerSample) {
  TempDir dir;
  const auto path = dir.File("marked.txt");
  WriteFileBytes(path, Lines({"Calibration log, probe 1", "DATA START", "P,Q,R,X,Y,Z",
                              "100,200,300,1.5,2.5,3.5", "-100, -200 ,-300,4,5,6", "DATA END"}));
  Array2<double> data;
  EXPECT_EQ(ReadMarkedFile(path, data), "OK");
  ExpectShape(data, 2);
  ExpectColumn(data, 1, {100, 200, 300, 1.5, 2.5, 3.5});
  ExpectColumn(data, 2, {-100, -200, -300, 4, 5, 6});
}

TEST(ReadMarkedFile, LowerCaseMarkersAreRecognised) {
  TempDir dir;
  const auto path = dir.File("marked.txt");
  WriteFileBytes(path, Lines({"data start", "p,q,r,x,y,z", "1,2,3,4,5,6", "Data End"}));
  Array2<double> data;
  EXPECT_EQ(ReadMarkedFile(path, data), "OK");
  ExpectShape(data, 1);
  ExpectColumn(data, 1, {1, 2, 3, 4, 5, 6});
}

TEST(ReadMarkedFile, AFieldWithTextBesideTheMarkerIsNotRecognised) {
  TempDir dir;
  const auto path = dir.File("marked.txt");
  WriteFileBytes(path, Lines({"DATA START run 1", "P,Q,R,X,Y,Z", "1,2,3,4,5,6", "DATA END"}));
  Array2<double> data;
  EXPECT_EQ(ReadMarkedFile(path, data), "No Data identified.");
  EXPECT_FALSE(data.Allocated());
}

TEST(ReadMarkedFile, AFileWithoutDataStartHoldsNoData) {
  TempDir dir;
  const auto path = dir.File("marked.txt");
  WriteFileBytes(path, Lines({"LOGGED PARAMETERS", kHeader, "0 1 2 3 4 5 6", ""}));
  Array2<double> data;
  EXPECT_EQ(ReadMarkedFile(path, data), "No Data identified.");
  EXPECT_FALSE(data.Allocated());
}

TEST(ReadMarkedFile, AnEmptyFileHoldsNoData) {
  TempDir dir;
  const auto path = dir.File("empty.txt");
  WriteFileBytes(path, "");
  Array2<double> data;
  EXPECT_EQ(ReadMarkedFile(path, data), "No Data identified.");
}

TEST(ReadMarkedFile, SeveralBlocksAreAppended) {
  TempDir dir;
  const auto path = dir.File("marked.txt");
  WriteFileBytes(
      path, Lines({"DATA START", "P,Q,R,X,Y,Z", "1,2,3,4,5,6", "DATA END", "comment", "DATA START",
                   "P,Q,R,X,Y,Z", "7,8,9,10,11,12", "13,14,15,16,17,18", "DATA END"}));
  Array2<double> data;
  EXPECT_EQ(ReadMarkedFile(path, data), "OK");
  ExpectShape(data, 3);
  ExpectColumn(data, 1, {1, 2, 3, 4, 5, 6});
  ExpectColumn(data, 2, {7, 8, 9, 10, 11, 12});
  ExpectColumn(data, 3, {13, 14, 15, 16, 17, 18});
}

TEST(ReadMarkedFile, ABlockWithoutRecordsIsOkAndAddsNothing) {
  TempDir dir;
  const auto path = dir.File("marked.txt");
  WriteFileBytes(path, Lines({"DATA START", "P,Q,R,X,Y,Z", "DATA END"}));
  Array2<double> data;
  EXPECT_EQ(ReadMarkedFile(path, data), "OK");
  EXPECT_FALSE(data.Allocated());
}

TEST(ReadMarkedFile, QuotedFieldsLoseTheirQuotes) {
  TempDir dir;
  const auto path = dir.File("marked.txt");
  WriteFileBytes(path, Lines({"\"DATA START\"", "\"P, counts\",\"Q\",\"R\",\"X, mm\",\"Y\",\"Z\"",
                              "\"1.25\",2,3,\"4\",5,6", "\"data end\""}));
  Array2<double> data;
  EXPECT_EQ(ReadMarkedFile(path, data), "OK");
  ExpectShape(data, 1);
  ExpectColumn(data, 1, {1.25, 2, 3, 4, 5, 6});
}

TEST(ReadMarkedFile, FieldsMayRunOverLineEnds) {
  // Free-format reading: a record is six fields, whatever the line breaks.
  TempDir dir;
  const auto path = dir.File("marked.txt");
  WriteFileBytes(
      path, Lines({"DATA START", "P,Q,R", "X,Y,Z", "1,2,3", "4,5,6,7,8,9,10,11,12", "DATA END"}));
  Array2<double> data;
  EXPECT_EQ(ReadMarkedFile(path, data), "OK");
  ExpectShape(data, 2);
  ExpectColumn(data, 1, {1, 2, 3, 4, 5, 6});
  ExpectColumn(data, 2, {7, 8, 9, 10, 11, 12});
}

TEST(ReadMarkedFile, AcceptsCrLfLfAndCrLineEnds) {
  for (const std::string eol : {"\r\n", "\n", "\r"}) {
    TempDir dir;
    const auto path = dir.File("marked.txt");
    WriteFileBytes(path, Lines({"DATA START", "P,Q,R,X,Y,Z", "1,2,3,4,5,6", "-1,-2,-3,-4,-5,-6",
                                "DATA END", "", ""},
                               eol));
    Array2<double> data;
    EXPECT_EQ(ReadMarkedFile(path, data), "OK") << static_cast<int>(eol.back());
    ExpectShape(data, 2);
    ExpectColumn(data, 2, {-1, -2, -3, -4, -5, -6});
  }
}

TEST(ReadMarkedFile, AMissingFileGivesError53) {
  TempDir dir;
  Array2<double> data;
  EXPECT_EQ(ReadMarkedFile(dir.File("absent.txt"), data),
            "File reading(1) error 53 : File not found");
  EXPECT_FALSE(data.Allocated());
}

TEST(ReadMarkedFile, ANonNumberGivesTypeMismatchAndKeepsTheColumnsAdded) {
  TempDir dir;
  const auto path = dir.File("marked.txt");
  WriteFileBytes(
      path, Lines({"DATA START", "P,Q,R,X,Y,Z", "1,2,3,4,5,6", "7,8,n/a,10,11,12", "DATA END"}));
  Array2<double> data;
  EXPECT_EQ(ReadMarkedFile(path, data), "File reading(1) error 13 : Type mismatch");
  // The failing record's column was added before its fields were converted.
  ExpectShape(data, 2);
  ExpectColumn(data, 1, {1, 2, 3, 4, 5, 6});
  ExpectColumn(data, 2, {7, 8, 0, 0, 0, 0});
}

TEST(ReadMarkedFile, ABlockWithoutDataEndRunsPastTheEndOfTheFile) {
  TempDir dir;
  const auto path = dir.File("marked.txt");
  WriteFileBytes(path, Lines({"DATA START", "P,Q,R,X,Y,Z", "1,2,3,4,5,6"}));
  Array2<double> data;
  EXPECT_EQ(ReadMarkedFile(path, data), "File reading(1) error 62 : Input past end of file");
  ExpectShape(data, 1);
}

TEST(ReadMarkedFile, AnExistingArrayIsNotClearedWhenNoDataIsFound) {
  TempDir dir;
  const auto path = dir.File("marked.txt");
  WriteFileBytes(path, Lines({"nothing here"}));
  Array2<double> data(1, 6, 1, 2);
  data(6, 2) = 42.0;
  EXPECT_EQ(ReadMarkedFile(path, data), "No Data identified.");
  ExpectShape(data, 2);
  EXPECT_EQ(data(6, 2), 42.0);
}

TEST(ReadMarkedFile, TheRecordCountStartsAtOneOnAnExistingArray) {
  // The array is re-dimensioned to the number of records read so far, so an
  // existing array ends with exactly the records of this read.
  TempDir dir;
  const auto path = dir.File("marked.txt");
  WriteFileBytes(path, Lines({"DATA START", "P,Q,R,X,Y,Z", "1,2,3,4,5,6", "DATA END"}));
  Array2<double> data(1, 6, 1, 3);
  data(6, 1) = 42.0;
  data(6, 3) = 43.0;
  EXPECT_EQ(ReadMarkedFile(path, data), "OK");
  ExpectShape(data, 1);
  ExpectColumn(data, 1, {1, 2, 3, 4, 5, 6});
}

TEST(ReadMarkedFile, AnArrayOfAnotherShapeCannotBeGrown) {
  TempDir dir;
  const auto path = dir.File("marked.txt");
  WriteFileBytes(path, Lines({"DATA START", "P,Q,R,X,Y,Z", "1,2,3,4,5,6", "DATA END"}));
  Array2<double> data(0, 5, 1, 1);
  EXPECT_EQ(ReadMarkedFile(path, data), "File reading(1) error 9 : Subscript out of range");
}

// --------------------------------------------------------------- generic ---

TEST(ReadGenericFile, ReadsTheSixColumnsByName) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path, Lines({"Machine log", "Logged parameters",
                              "Z.51 Time Y.51 TQ800Axis2.0 X.51 TQ800Axis1.0 Other TQ800Axis0.0",
                              "6 0.0 5 3 4 2 99 1", "-6 0.1 -5 -3 -4 -2 98 -1.5", "END OF LOG"}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "OK");
  ExpectShape(data, 2);
  ExpectColumn(data, 1, {1, 2, 3, 4, 5, 6});
  ExpectColumn(data, 2, {-1.5, -2, -3, -4, -5, -6});
}

TEST(ReadGenericFile, TheStartKeyMayStandAnywhereInTheLineInAnyCase) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path, Lines({"# logged Parameters of run 5 #", kHeader, "0 1 2 3 4 5 6", ""}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "OK");
  ExpectShape(data, 1);
  ExpectColumn(data, 1, {1, 2, 3, 4, 5, 6});
}

TEST(ReadGenericFile, AHeaderMissingZ51GivesFieldsMissing) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path, Lines({"LOGGED PARAMETERS",
                              "Time TQ800Axis0.0 TQ800Axis1.0 TQ800Axis2.0 "
                              "X.51 Y.51 Z",
                              "0 1 2 3 4 5 6", ""}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "Fields missing");
  EXPECT_FALSE(data.Allocated());
}

TEST(ReadGenericFile, ColumnNamesAreCaseSensitive) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path, Lines({"LOGGED PARAMETERS",
                              "TQ800Axis0.0 TQ800Axis1.0 TQ800Axis2.0 "
                              "x.51 Y.51 Z.51",
                              "1 2 3 4 5 6", ""}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "Fields missing");
}

TEST(ReadGenericFile, ColumnNamesDifferingOnlyInCaseAreTwoColumns) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path, Lines({"LOGGED PARAMETERS",
                              "x.51 TQ800Axis0.0 TQ800Axis1.0 TQ800Axis2.0 X.51 Y.51 Z.51",
                              "9 1 2 3 4 5 6", ""}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "OK");
  ExpectShape(data, 1);
  ExpectColumn(data, 1, {1, 2, 3, 4, 5, 6});
}

TEST(ReadGenericFile, AFileWithoutLoggedParametersHoldsNoData) {
  // Lines that do not hold the start key are noted while scanning, but the
  // final result only says whether data was found.
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path, Lines({"Machine log", kHeader, "0 1 2 3 4 5 6", ""}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "No Data identified.");
  EXPECT_FALSE(data.Allocated());
}

TEST(ReadGenericFile, ANumericLastLineRunsPastTheEndOfTheFile) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path, Lines({"LOGGED PARAMETERS", kHeader, "0 1 2 3 4 5 6", "1 7 8 9 10 11 12"}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "File reading(Generic) error 62 : Input past end of file");
  // The last line was stored before the next read failed.
  ExpectShape(data, 2);
  ExpectColumn(data, 2, {7, 8, 9, 10, 11, 12});
}

TEST(ReadGenericFile, ANumericLastLineWithoutLineEndRunsPastTheEndOfTheFile) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path, Lines({"LOGGED PARAMETERS", kHeader}) + "0 1 2 3 4 5 6");
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "File reading(Generic) error 62 : Input past end of file");
  ExpectShape(data, 1);
}

TEST(ReadGenericFile, AnEmptyLastLineEndsTheData) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  for (const char* last : {"", "  "}) {
    WriteFileBytes(path, Lines({"LOGGED PARAMETERS", kHeader, "0 1 2 3 4 5 6", last}));
    Array2<double> data;
    EXPECT_EQ(ReadGenericFile(path, data), "OK") << '"' << last << '"';
    ExpectShape(data, 1);
  }
}

TEST(ReadGenericFile, ALineAfterTheClosingLineIsReadAsData) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  // Only the very last line may be non-numeric: a blank line or a one-word
  // footer before it is a data line with one field, so the columns of the
  // new sample are out of range.
  for (const std::vector<std::string>& tail :
       std::vector<std::vector<std::string>>{{"", ""}, {"", "", ""}, {"END", ""}, {"", "  "}}) {
    std::vector<std::string> lines{"LOGGED PARAMETERS", kHeader, "0 1 2 3 4 5 6"};
    lines.insert(lines.end(), tail.begin(), tail.end());
    WriteFileBytes(path, Lines(lines));
    Array2<double> data;
    EXPECT_EQ(ReadGenericFile(path, data), "File reading(Generic) error 9 : Subscript out of range")
        << '"' << tail[0] << "\" and " << tail.size() - 1 << " more lines after the data";
    ExpectShape(data, 2);
  }
  // A footer with as many fields as the header is converted like data.
  WriteFileBytes(
      path, Lines({"LOGGED PARAMETERS", kHeader, "0 1 2 3 4 5 6", "end of the log at 12:00", ""}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "File reading(Generic) error 13 : Type mismatch");
}

TEST(ReadGenericFile, ANonNumericLineBeforeTheEndIsReadAsData) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(
      path, Lines({"LOGGED PARAMETERS", kHeader, "0 1 2 3 4 5 6", "pause 7 8 9 10 11 12", "end"}));
  Array2<double> data;
  // Its numeric columns are read like any data line.
  EXPECT_EQ(ReadGenericFile(path, data), "OK");
  ExpectShape(data, 2);
  ExpectColumn(data, 2, {7, 8, 9, 10, 11, 12});

  WriteFileBytes(path, Lines({"LOGGED PARAMETERS", kHeader, "0 1 2 3 4 5 6", "paused here",
                              "2 7 8 9 10 11 12", "end"}));
  Array2<double> data2;
  // "here" stands in the TQ800Axis0.0 column; the line has no further columns.
  EXPECT_EQ(ReadGenericFile(path, data2), "File reading(Generic) error 13 : Type mismatch");
  ExpectShape(data2, 2);

  WriteFileBytes(
      path, Lines({"LOGGED PARAMETERS", kHeader, "0 1 2 3 4 5 6", "", "2 7 8 9 10 11 12", "end"}));
  Array2<double> data3;
  // An empty line has one field only.
  EXPECT_EQ(ReadGenericFile(path, data3), "File reading(Generic) error 9 : Subscript out of range");
}

TEST(ReadGenericFile, TrailingAndLeadingSpacesAreAccepted) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path, Lines({"LOGGED PARAMETERS", std::string("  ") + kHeader + "   ",
                              "0 1 2 3 4 5 6     ", "   0.1 7 8 9 10 11 12 ", "end"}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "OK");
  ExpectShape(data, 2);
  ExpectColumn(data, 1, {1, 2, 3, 4, 5, 6});
  ExpectColumn(data, 2, {7, 8, 9, 10, 11, 12});
}

TEST(ReadGenericFile, TwoSpacesBetweenColumnsShiftTheColumns) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  // Columns are found by position among single-space separated fields: the
  // empty field after the time moves every later value one column on.
  WriteFileBytes(path, Lines({"LOGGED PARAMETERS",
                              "Time Other TQ800Axis0.0 TQ800Axis1.0 TQ800Axis2.0 X.51 Y.51 Z.51",
                              "0.5  9 1 2 3 4 5 6", "end"}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "OK");
  ExpectShape(data, 1);
  ExpectColumn(data, 1, {9, 1, 2, 3, 4, 5});

  // Where the empty field falls into a named column, it is not a number.
  WriteFileBytes(path, Lines({"LOGGED PARAMETERS", kHeader, "0.5  1 2 3 4 5 6", "end"}));
  Array2<double> data2;
  EXPECT_EQ(ReadGenericFile(path, data2), "File reading(Generic) error 13 : Type mismatch");
}

TEST(ReadGenericFile, DataLinesWithTheHeadersSpacePatternAreRead) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  // One doubled space gives one empty column name; data spaced alike lines up.
  WriteFileBytes(path, Lines({"LOGGED PARAMETERS",
                              "Time  TQ800Axis0.0 TQ800Axis1.0 TQ800Axis2.0 X.51 Y.51 Z.51",
                              "0.5  1 2 3 4 5 6", "end"}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "OK");
  ExpectShape(data, 1);
  ExpectColumn(data, 1, {1, 2, 3, 4, 5, 6});
}

TEST(ReadGenericFile, TwoEmptyColumnNamesGiveADuplicateKeyError) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path, Lines({"LOGGED PARAMETERS",
                              "Time  TQ800Axis0.0 TQ800Axis1.0  TQ800Axis2.0 X.51 Y.51 Z.51",
                              "0.5  1 2  3 4 5 6", "end"}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data),
            "File reading(Generic) error 457 : This key is already associated with an element "
            "of this collection");
  EXPECT_FALSE(data.Allocated());
}

TEST(ReadGenericFile, ARepeatedColumnNamePassesTheCountButNotTheIndex) {
  // X.51 twice and no Z.51 still makes six matches; the index then refuses
  // the second X.51.
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(
      path, Lines({"LOGGED PARAMETERS", "TQ800Axis0.0 TQ800Axis1.0 TQ800Axis2.0 X.51 Y.51 X.51",
                   "1 2 3 4 5 6", "end"}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data),
            "File reading(Generic) error 457 : This key is already associated with an element "
            "of this collection");
}

TEST(ReadGenericFile, AMissingFileGivesError53) {
  TempDir dir;
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(dir.File("absent.txt"), data),
            "File reading(Generic) error 53 : File not found");
}

TEST(ReadGenericFile, AStartKeyOnTheLastLineRunsPastTheEndOfTheFile) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path, Lines({"log", "LOGGED PARAMETERS"}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "File reading(Generic) error 62 : Input past end of file");
}

TEST(ReadGenericFile, ADataLineWithTooFewFieldsIsASubscriptError) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path,
                 Lines({"LOGGED PARAMETERS", kHeader, "0 1 2 3 4 5 6", "0.1 1 2 3 4", "end"}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "File reading(Generic) error 9 : Subscript out of range");
  // The short line's column was added before its fields were read.
  ExpectShape(data, 2);
  ExpectColumn(data, 1, {1, 2, 3, 4, 5, 6});
}

TEST(ReadGenericFile, AcceptsCrLfLfAndCrLineEnds) {
  for (const std::string eol : {"\r\n", "\n", "\r"}) {
    TempDir dir;
    const auto path = dir.File("generic.txt");
    WriteFileBytes(
        path, Lines({"LOGGED PARAMETERS", kHeader, "0 1 2 3 4 5 6", "0.1 -1 -2 -3 -4 -5 -6", "end"},
                    eol));
    Array2<double> data;
    EXPECT_EQ(ReadGenericFile(path, data), "OK") << static_cast<int>(eol.back());
    ExpectShape(data, 2);
    ExpectColumn(data, 2, {-1, -2, -3, -4, -5, -6});
  }
}

TEST(ReadGenericFile, QuotesAreNotRemovedFromLines) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path, Lines({"LOGGED PARAMETERS", kHeader, "0 \"1\" 2 3 4 5 6", "end"}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "File reading(Generic) error 13 : Type mismatch");
}

TEST(ReadGenericFile, ANonNumberGivesTypeMismatch) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path, Lines({"LOGGED PARAMETERS", kHeader, "0 1 2 3 4 5 x6", "end"}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "File reading(Generic) error 13 : Type mismatch");
  ExpectShape(data, 1);
  ExpectColumn(data, 1, {1, 2, 3, 4, 5, 0});
}

using testing::DecimalCommaLocale;

TEST_F(DecimalCommaLocale, TheGenericLayoutReadsDecimalCommas) {
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path, Lines({"LOGGED PARAMETERS", kHeader, "0,0 1,5 -2,25 3 4,125 5 6,5", "end"}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "OK");
  ExpectShape(data, 1);
  ExpectColumn(data, 1, {1.5, -2.25, 3, 4.125, 5, 6.5});
}

TEST_F(DecimalCommaLocale, APeriodIsNotADecimalPointThere) {
  EXPECT_TRUE(IsNumber("1,5"));
  EXPECT_FALSE(IsNumber("1.5"));
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path, Lines({"LOGGED PARAMETERS", kHeader, "0 1.5 2 3 4 5 6", "end"}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "File reading(Generic) error 13 : Type mismatch");
}

TEST_F(DecimalCommaLocale, TheMarkedLayoutReadsQuotedDecimalCommas) {
  TempDir dir;
  const auto path = dir.File("marked.txt");
  WriteFileBytes(path,
                 Lines({"DATA START", "P,Q,R,X,Y,Z", "\"1,5\",2,3,4,5,\"6,25\"", "DATA END"}));
  Array2<double> data;
  EXPECT_EQ(ReadMarkedFile(path, data), "OK");
  ExpectShape(data, 1);
  ExpectColumn(data, 1, {1.5, 2, 3, 4, 5, 6.25});
}

// ----------------------------------------------------------------- Split ---

std::vector<std::string> ToVector(const Array1<std::string>& a) {
  EXPECT_EQ(a.LBound(), 1);
  std::vector<std::string> out;
  for (int i = a.LBound(); i <= a.UBound(); ++i) out.push_back(a(i));
  return out;
}

TEST(Split, TrimsTheLineAndWritesTheTrimmedTextBack) {
  std::string line = "   a b c  ";
  EXPECT_EQ(ToVector(Split(" ", line)), (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(line, "a b c");
}

TEST(Split, OnlySpacesAreTrimmed) {
  std::string line = "\ta b\t";
  EXPECT_EQ(ToVector(Split(" ", line)), (std::vector<std::string>{"\ta", "b\t"}));
  EXPECT_EQ(line, "\ta b\t");
}

TEST(Split, WithoutASeparatorGivesTheWholeLine) {
  std::string line = "  abc,def ";
  EXPECT_EQ(ToVector(Split(";", line)), (std::vector<std::string>{"abc,def"}));
}

TEST(Split, AnEmptyLineGivesOneEmptyField) {
  std::string line = "    ";
  EXPECT_EQ(ToVector(Split(" ", line)), (std::vector<std::string>{""}));
  EXPECT_EQ(line, "");
}

TEST(Split, AdjacentSeparatorsGiveEmptyFields) {
  std::string line = "a  b   c";
  EXPECT_EQ(ToVector(Split(" ", line)), (std::vector<std::string>{"a", "", "b", "", "", "c"}));
  std::string edges = ",a,";
  EXPECT_EQ(ToVector(Split(",", edges)), (std::vector<std::string>{"", "a", ""}));
}

TEST(Split, ASeparatorOfSeveralCharactersIsFoundWhole) {
  std::string line = "1, 2,3 , 4";
  EXPECT_EQ(ToVector(Split(", ", line)), (std::vector<std::string>{"1", "2,3 ", "4"}));
}

TEST(Split, UpTo255FieldsFitTheFieldCounter) {
  std::string line = "x";
  for (int i = 0; i < 254; ++i) line += " x";
  const auto fields = Split(" ", line);
  EXPECT_EQ(fields.UBound(), 255);
  EXPECT_EQ(fields(255), "x");
}

TEST(Split, MoreThan254SeparatorsOverflow) {
  std::string line = "x";
  for (int i = 0; i < 255; ++i) line += " x";
  EXPECT_RUNTIME_ERROR(Split(" ", line), 6);
  std::string spaces = "a" + std::string(255, ' ') + "b";
  EXPECT_RUNTIME_ERROR(Split(" ", spaces), 6);
}

TEST(Split, ASeparatorLongerThan255CharactersOverflows) {
  std::string line = "abc";
  EXPECT_EQ(ToVector(Split(std::string(255, '-'), line)), (std::vector<std::string>{"abc"}));
  EXPECT_RUNTIME_ERROR(Split(std::string(256, '-'), line), 6);
}

TEST(Split, AnEmptySeparatorIsFoundEverywhereAndOverflows) {
  std::string line = "abc";
  EXPECT_RUNTIME_ERROR(Split("", line), 6);
}

// -------------------------------------------------------------- IsNumber ---

TEST(IsNumber, TrueForNumbers) {
  for (const char* text : {"12.5", "-3e2", " 7 ", "0", ".5", "+1"})
    EXPECT_TRUE(IsNumber(text)) << text;
}

TEST(IsNumber, FalseForAnythingElseIncludingOverflow) {
  for (const char* text : {"", "abc", "1.5x", "1 2", "\"1\"", "1e999"})
    EXPECT_FALSE(IsNumber(text)) << text;
}

// --------------------------------------------------------- FieldsPresent ---

Array1<std::string> Header(const std::vector<std::string>& fields) {
  Array1<std::string> a(1, static_cast<Int32>(fields.size()));
  for (std::size_t i = 0; i < fields.size(); ++i) a(static_cast<Int32>(i + 1)) = fields[i];
  return a;
}

TEST(FieldsPresent, TrueWhenTheSixNamesArePresentInAnyOrderAmongOthers) {
  EXPECT_TRUE(FieldsPresent(
      Header({"TQ800Axis0.0", "TQ800Axis1.0", "TQ800Axis2.0", "X.51", "Y.51", "Z.51"})));
  EXPECT_TRUE(FieldsPresent(Header(
      {"Time", "Z.51", "Y.51", "", "X.51", "TQ800Axis2.0", "TQ800Axis1.0", "TQ800Axis0.0", "T"})));
}

TEST(FieldsPresent, FalseWhenANameIsMissing) {
  EXPECT_FALSE(FieldsPresent(
      Header({"TQ800Axis0.0", "TQ800Axis1.0", "TQ800Axis2.0", "X.51", "Y.51", "Time"})));
}

TEST(FieldsPresent, FieldsAreTrimmedAndComparedCaseSensitively) {
  EXPECT_TRUE(FieldsPresent(
      Header({" TQ800Axis0.0", "TQ800Axis1.0  ", "TQ800Axis2.0", "X.51", "Y.51", " Z.51 "})));
  EXPECT_FALSE(FieldsPresent(
      Header({"TQ800Axis0.0", "TQ800Axis1.0", "TQ800Axis2.0", "X.51", "Y.51", "z.51"})));
  EXPECT_FALSE(FieldsPresent(
      Header({"TQ800Axis0.0", "TQ800Axis1.0", "TQ800Axis2.0", "X.51", "Y.51", "\tZ.51"})));
}

TEST(FieldsPresent, ADuplicatedNameCountsTwice) {
  // All six plus a repeat: seven matches.
  EXPECT_FALSE(FieldsPresent(
      Header({"TQ800Axis0.0", "TQ800Axis1.0", "TQ800Axis2.0", "X.51", "Y.51", "Z.51", "X.51"})));
  // Five plus a repeat: six matches.
  EXPECT_TRUE(FieldsPresent(
      Header({"TQ800Axis0.0", "TQ800Axis1.0", "TQ800Axis2.0", "X.51", "Y.51", "Y.51"})));
}

TEST(FieldsPresent, ReadsFromIndexOne) {
  Array1<std::string> a(0, 6);
  a(0) = "Z.51";
  a(1) = "TQ800Axis0.0";
  a(2) = "TQ800Axis1.0";
  a(3) = "TQ800Axis2.0";
  a(4) = "X.51";
  a(5) = "Y.51";
  a(6) = "Time";
  EXPECT_FALSE(FieldsPresent(a));
}

TEST(FieldsPresent, TheEightBitIndexLimitsTheHeaderTo254Fields) {
  std::vector<std::string> fields = {"TQ800Axis0.0", "TQ800Axis1.0", "TQ800Axis2.0",
                                     "X.51",         "Y.51",         "Z.51"};
  fields.resize(254, "extra");
  EXPECT_TRUE(FieldsPresent(Header(fields)));
  fields.push_back("extra");
  EXPECT_RUNTIME_ERROR(FieldsPresent(Header(fields)), 6);
  fields.push_back("extra");
  EXPECT_RUNTIME_ERROR(FieldsPresent(Header(fields)), 6);
}

TEST(ReadGenericFile, AHeaderOf255FieldsOverflowsTheFieldIndex) {
  std::string header = "TQ800Axis0.0 TQ800Axis1.0 TQ800Axis2.0 X.51 Y.51 Z.51";
  for (int i = 6; i < 255; ++i) header += " c" + std::to_string(i);
  TempDir dir;
  const auto path = dir.File("generic.txt");
  WriteFileBytes(path, Lines({"LOGGED PARAMETERS", header, "1 2 3 4 5 6", "end"}));
  Array2<double> data;
  EXPECT_EQ(ReadGenericFile(path, data), "File reading(Generic) error 6 : Overflow");
}

}  // namespace
}  // namespace tavric
