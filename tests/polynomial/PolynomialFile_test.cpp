// The polynomial's parameter section: WriteFile and ReadFile.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "TestSupport.h"
#include "polynomial/Polynome3Variables.h"
#include "runtime/TextFile.h"

namespace tavric {
namespace {

using testing::ReadFileBytes;
using testing::TempDir;
using testing::WriteFileBytes;

const std::string kHeader =
    "\"P power\",\"Q power\",\"R power\",\"X parameter\",\"Y parameter\",\" Z parameter\"\r\n";

Array1<double> Triple(double x, double y, double z) {
  Array1<double> a(1, 3);
  a(1) = x;
  a(2) = y;
  a(3) = z;
  return a;
}

Polynome3Variables OfOrder(int n) {
  Polynome3Variables poly;
  Byte order = static_cast<Byte>(n);
  poly.INIT(order);
  return poly;
}

std::string WriteSection(const Polynome3Variables& poly, const TempDir& dir) {
  const std::string path = dir.File("section.txt");
  TextFile file(path, TextFile::Mode::kOutput);
  EXPECT_EQ(poly.WriteFile(file), "OK");
  file.Close();
  return ReadFileBytes(path);
}

// Reads `content` as a file into `poly` and returns ReadFile's result.
std::string ReadSection(Polynome3Variables& poly, const std::string& content, const TempDir& dir) {
  const std::string path = dir.File("read.txt");
  WriteFileBytes(path, content);
  TextFile file(path, TextFile::Mode::kInput);
  return poly.ReadFile(file);
}

// The value a double takes after a trip through 15 significant decimal
// digits.
double ThroughFifteenDigits(double value) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.14e", value);
  return std::strtod(buf, nullptr);
}

int CountOf(const std::string& text, const std::string& part) {
  int count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++count;
  return count;
}

// ---------------------------------------------------------------- writing

// Order 1: X = 1.5 + 0.25 R - 2 Q + 1E-05 P, Y = -0.5 + 3 R + 1000 P,
// Z = 12 + 0.1 Q - 3.5 P. Every number has an exact short decimal form.
TEST(PolynomialFile, WrittenSectionIsByteExact) {
  Polynome3Variables poly;
  poly.theCoeff_i(1, Triple(1.5, -0.5, 12.0));
  poly.theCoeff_i(2, Triple(0.25, 3.0, 0.0));
  poly.theCoeff_i(3, Triple(-2.0, 0.0, 0.1));
  poly.theCoeff_i(4, Triple(0.00001, 1000.0, -3.5));
  TempDir dir;
  const std::string expected =
      "\"POLYNOMIAL CALIBRATION PARAMETERS\"\r\n"
      "\"POLYNOMIAL ORDER\"\r\n"
      "1\r\n"
      "\"PROBE OFFSETS P Q R IN COUNTS\"\r\n"
      "-1.5,0.5,-12\r\n" +
      kHeader +
      "0,0,0,1.5,-0.5,12\r\n"
      "0,0,1,0.25,3,0\r\n"
      "0,1,0,-2,0,0.1\r\n"
      "1,0,0,1E-05,1000,-3.5\r\n";
  EXPECT_EQ(WriteSection(poly, dir), expected);
}

TEST(PolynomialFile, ZeroOffsetsAreWrittenWithoutSign) {
  const Polynome3Variables poly;
  TempDir dir;
  const std::string text = WriteSection(poly, dir);
  EXPECT_NE(text.find("\"PROBE OFFSETS P Q R IN COUNTS\"\r\n0,0,0\r\n"), std::string::npos);
  EXPECT_EQ(text.find("-0"), std::string::npos);
}

TEST(PolynomialFile, WritingAnOrderOnePolynomialGivesTenRecords) {
  Polynome3Variables poly;
  std::mt19937_64 rng(1);
  std::uniform_real_distribution<double> dist(-1e3, 1e3);
  for (int t = 1; t <= 4; ++t) poly.theCoeff_i(static_cast<Int16>(t), Triple(dist(rng), 1, 2));
  TempDir dir;
  const std::string text = WriteSection(poly, dir);
  EXPECT_EQ(CountOf(text, "\r\n"), 10);
  EXPECT_EQ(CountOf(text, "\n"), 10);
  EXPECT_EQ(CountOf(text, "\r"), 10);
  ASSERT_GE(text.size(), 2u);
  EXPECT_EQ(text.substr(text.size() - 2), "\r\n");
}

TEST(PolynomialFile, WritingOrderThreeGivesOneRecordPerTermInTermOrder) {
  Polynome3Variables poly = OfOrder(3);
  TempDir dir;
  const std::string text = WriteSection(poly, dir);
  EXPECT_EQ(CountOf(text, "\r\n"), 6 + 20);
  const std::size_t rows = text.find(kHeader) + kHeader.size();
  EXPECT_EQ(text.substr(rows, 4 * 13),
            "0,0,0,0,0,0\r\n"
            "0,0,1,0,0,0\r\n"
            "0,0,2,0,0,0\r\n"
            "0,0,3,0,0,0\r\n");
  EXPECT_EQ(text.substr(text.size() - 13), "3,0,0,0,0,0\r\n");
}

TEST(PolynomialFile, WriteFileErrorIsReportedAsText) {
  const Polynome3Variables poly;
  TempDir dir;
  const std::string path = dir.File("in.txt");
  WriteFileBytes(path, "x\r\n");
  TextFile input(path, TextFile::Mode::kInput);
  EXPECT_EQ(poly.WriteFile(input), "Polynome object WriteFile Error n°75 Path/File access error");
}

TEST(PolynomialFile, WriteFileWithATooShortCoefficientTableReportsSubscriptError) {
  Polynome3Variables poly;
  poly.Coeff(Array2<double>(1, 3, 1, 2));
  TempDir dir;
  TextFile file(dir.File("out.txt"), TextFile::Mode::kOutput);
  EXPECT_EQ(poly.WriteFile(file), "Polynome object WriteFile Error n°9 Subscript out of range");
}

// ---------------------------------------------------------------- reading

TEST(PolynomialFile, ReadingBackAnOrderOneSectionRestoresEveryCoefficientExactly) {
  Polynome3Variables poly;
  poly.theCoeff_i(1, Triple(1.5, -0.5, 12.0));
  poly.theCoeff_i(2, Triple(0.25, 3.0, 0.0));
  poly.theCoeff_i(3, Triple(-2.0, 0.0, 0.1));
  poly.theCoeff_i(4, Triple(0.00001, 1000.0, -3.5));
  TempDir dir;
  const std::string text = WriteSection(poly, dir);
  Polynome3Variables back = OfOrder(3);
  EXPECT_EQ(ReadSection(back, text, dir), "OK");
  EXPECT_EQ(back.Order(), 1);
  EXPECT_EQ(back.Coeff(), poly.Coeff());
}

// Random coefficients come back as their 15-significant-digit decimal
// rounding, which is all the written text holds.
TEST(PolynomialFile, ReadBackRestoresOrderAndCoefficientsAsFarAsFifteenDigitsAllow) {
  std::mt19937_64 rng(77);
  std::uniform_real_distribution<double> mantissa(-1.0, 1.0);
  std::uniform_int_distribution<int> exponent(-12, 12);
  for (int n = 0; n <= 4; ++n) {
    Polynome3Variables poly = OfOrder(n);
    Array2<double> table(1, 3, 1, poly.TermCount());
    for (int t = 1; t <= poly.TermCount(); ++t)
      for (int axis = 1; axis <= 3; ++axis)
        table(axis, t) = mantissa(rng) * std::pow(10.0, exponent(rng));
    poly.Coeff(table);
    TempDir dir;
    const std::string text = WriteSection(poly, dir);
    Polynome3Variables back;
    ASSERT_EQ(ReadSection(back, text, dir), "OK");
    EXPECT_EQ(back.Order(), n);
    ASSERT_EQ(back.TermCount(), poly.TermCount());
    for (int t = 1; t <= poly.TermCount(); ++t)
      for (int axis = 1; axis <= 3; ++axis)
        EXPECT_EQ(back.Coeff()(axis, t), ThroughFifteenDigits(table(axis, t)))
            << "order " << n << " term " << t << " axis " << axis;
  }
}

TEST(PolynomialFile, SectionAfterOtherRecordsReadsOK) {
  Polynome3Variables poly;
  poly.theCoeff_i(4, Triple(2.0, 3.0, 4.0));
  TempDir dir;
  const std::string section = WriteSection(poly, dir);
  const std::string file =
      "\"TAVRIC\"\r\n\"SPHERE :\"\r\n\"X\",\"Y\",\"Z\",\"R\"\r\n1,2,3,12.7\r\n"
      "\"RMS\",\"MIN\",\"MAX\"\r\n0.001,-0.002,0.003\r\n" +
      section;
  Polynome3Variables back;
  EXPECT_EQ(ReadSection(back, file, dir), "OK");
  EXPECT_EQ(back.Coeff(), poly.Coeff());
}

TEST(PolynomialFile, TrailingBlankLinesStillReadOK) {
  Polynome3Variables poly = OfOrder(2);
  poly.TheCoeff(1, 1, 0, Triple(0.5, 0.25, 0.125));
  TempDir dir;
  const std::string text = WriteSection(poly, dir) + "\r\n   \r\n\t\r\n\r\n";
  Polynome3Variables back;
  EXPECT_EQ(ReadSection(back, text, dir), "OK");
  EXPECT_EQ(back.Coeff(), poly.Coeff());
}

TEST(PolynomialFile, OffsetsBeforeTheOrderRecordAreLostAtInit) {
  TempDir dir;
  Polynome3Variables poly;
  const std::string offsets_first =
      "\"POLYNOMIAL CALIBRATION PARAMETERS\"\r\n"
      "\"PROBE OFFSETS P Q R IN COUNTS\"\r\n"
      "10,20,30\r\n"
      "\"POLYNOMIAL ORDER\"\r\n"
      "2\r\n";
  EXPECT_EQ(ReadSection(poly, offsets_first, dir), "OK");
  EXPECT_EQ(poly.Order(), 2);
  EXPECT_EQ(poly.TheCoeff(0, 0, 0), Triple(0.0, 0.0, 0.0));
}

TEST(PolynomialFile, OffsetsAfterTheOrderRecordSetTheNegatedConstantTerms) {
  TempDir dir;
  Polynome3Variables poly;
  const std::string order_first =
      "\"POLYNOMIAL CALIBRATION PARAMETERS\"\r\n"
      "\"POLYNOMIAL ORDER\"\r\n"
      "2\r\n"
      "\"PROBE OFFSETS P Q R IN COUNTS\"\r\n"
      "10,-20,0.5\r\n";
  EXPECT_EQ(ReadSection(poly, order_first, dir), "OK");
  EXPECT_EQ(poly.Order(), 2);
  EXPECT_EQ(poly.TheCoeff(0, 0, 0), Triple(-10.0, 20.0, -0.5));
}

// In a written file the term rows come after the offsets and set the
// constant term again.
TEST(PolynomialFile, TermRowsOverrideTheOffsetsRecord) {
  TempDir dir;
  Polynome3Variables poly;
  const std::string text =
      "\"POLYNOMIAL ORDER\"\r\n1\r\n"
      "\"PROBE OFFSETS P Q R IN COUNTS\"\r\n10,20,30\r\n" +
      kHeader + "0,0,0,1,2,3\r\n";
  EXPECT_EQ(ReadSection(poly, text, dir), "OK");
  EXPECT_EQ(poly.TheCoeff(0, 0, 0), Triple(1.0, 2.0, 3.0));
}

TEST(PolynomialFile, TermRowWithPowersNineZeroZeroInAnOrderTwoSectionIsSkipped) {
  TempDir dir;
  Polynome3Variables poly;
  const std::string text = "\"POLYNOMIAL ORDER\"\r\n2\r\n" + kHeader +
                           "0,0,1,1,2,3\r\n"
                           "9,0,0,7,8,9\r\n"
                           "2,0,0,4,5,6\r\n";
  EXPECT_EQ(ReadSection(poly, text, dir), "OK");
  EXPECT_EQ(poly.TheCoeff(0, 0, 1), Triple(1.0, 2.0, 3.0));
  EXPECT_EQ(poly.TheCoeff(2, 0, 0), Triple(4.0, 5.0, 6.0));
  double sum = 0.0;
  const Array2<double> table = poly.Coeff();
  for (int t = 1; t <= 10; ++t)
    for (int axis = 1; axis <= 3; ++axis) sum += table(axis, t);
  EXPECT_EQ(sum, 1.0 + 2.0 + 3.0 + 4.0 + 5.0 + 6.0);
}

TEST(PolynomialFile, OrderIsRoundedHalfToEven) {
  TempDir dir;
  Polynome3Variables poly;
  EXPECT_EQ(ReadSection(poly, "\"POLYNOMIAL ORDER\"\r\n2.5\r\n", dir), "OK");
  EXPECT_EQ(poly.Order(), 2);
  EXPECT_EQ(ReadSection(poly, "\"POLYNOMIAL ORDER\"\r\n2.6\r\n", dir), "OK");
  EXPECT_EQ(poly.Order(), 3);
}

TEST(PolynomialFile, TermPowersAreReadAsNumbersAndRounded) {
  TempDir dir;
  Polynome3Variables poly;
  const std::string text = "\"POLYNOMIAL ORDER\"\r\n1\r\n" + kHeader + "0.4,1E-3,1.4,1,2,3\r\n";
  EXPECT_EQ(ReadSection(poly, text, dir), "OK");
  EXPECT_EQ(poly.TheCoeff(0, 0, 1), Triple(1.0, 2.0, 3.0));
}

// "ORDER" and "PROBE OFFSETS" are matched with their case, the column
// header's "POWER" in any case.
TEST(PolynomialFile, LabelsMatchOrderAndOffsetsCaseSensitivelyAndPowerInAnyCase) {
  TempDir dir;
  Polynome3Variables poly = OfOrder(2);
  const std::string text =
      "\"polynomial order\"\r\n1\r\n"
      "\"probe offsets\"\r\n5,5,5\r\n"
      "\"p power\",\"q power\",\"r power\",\"x\",\"y\",\"z\"\r\n"
      "1,1,0,1,2,3\r\n";
  EXPECT_EQ(ReadSection(poly, text, dir), "OK");
  EXPECT_EQ(poly.Order(), 2);
  EXPECT_EQ(poly.TheCoeff(0, 0, 0), Triple(0.0, 0.0, 0.0));
  EXPECT_EQ(poly.TheCoeff(1, 1, 0), Triple(1.0, 2.0, 3.0));
}

TEST(PolynomialFile, AHeaderWithoutTermRowsReadsOK) {
  TempDir dir;
  Polynome3Variables poly;
  EXPECT_EQ(ReadSection(poly, "\"POLYNOMIAL ORDER\"\r\n2\r\n" + kHeader, dir), "OK");
  EXPECT_EQ(poly.Order(), 2);
}

TEST(PolynomialFile, FieldsMatchingNoLabelAreSkipped) {
  TempDir dir;
  Polynome3Variables poly;
  poly.theCoeff_i(1, Triple(1.0, 2.0, 3.0));
  EXPECT_EQ(ReadSection(poly, "\"POLYNOMIAL CALIBRATION PARAMETERS\"\r\nabc,1,2\r\n", dir), "OK");
  EXPECT_EQ(poly.Order(), 1);
  EXPECT_EQ(poly.theCoeff_i(1), Triple(1.0, 2.0, 3.0));
}

// ---------------------------------------------------------- read failures

TEST(PolynomialFile, EmptyFileReportsInputPastEndAtStageZero) {
  TempDir dir;
  Polynome3Variables poly;
  EXPECT_EQ(ReadSection(poly, "", dir),
            "Polynome object ReadFile(0) Error n°62 Input past end of file");
}

// The stage only becomes 1 once the order has been read and rounded: a bad
// order number still reports the label met before it.
TEST(PolynomialFile, MalformedOrderNumberReportsTheStageBeforeTheOrderLabel) {
  TempDir dir;
  Polynome3Variables poly;
  EXPECT_EQ(ReadSection(poly, "\"POLYNOMIAL ORDER\"\r\nabc\r\n", dir),
            "Polynome object ReadFile(0) Error n°13 Type mismatch");
  EXPECT_EQ(ReadSection(poly,
                        "\"POLYNOMIAL ORDER\"\r\n1\r\n\"PROBE OFFSETS\"\r\n1,2,3\r\n"
                        "\"POLYNOMIAL ORDER\"\r\n\"two\"\r\n",
                        dir),
            "Polynome object ReadFile(3) Error n°13 Type mismatch");
  EXPECT_EQ(ReadSection(poly, "\"POLYNOMIAL ORDER\"\r\n1\r\n\"POLYNOMIAL ORDER\"\r\nx\r\n", dir),
            "Polynome object ReadFile(1) Error n°13 Type mismatch");
}

TEST(PolynomialFile, QuotedNumbersReadAsTheNumbers) {
  TempDir dir;
  Polynome3Variables poly;
  ASSERT_EQ(ReadSection(poly,
                        "\"POLYNOMIAL ORDER\"\r\n\"2\"\r\n\"P power\",\"Q power\",\"R power\","
                        "\"X parameter\",\"Y parameter\",\" Z parameter\"\r\n"
                        "\"0\",\"1\",\"1\",\"0.5\",\"-2\",\"1E-7\"\r\n",
                        dir),
            "OK");
  EXPECT_EQ(poly.Order(), 2);
  const Array1<double> triple = poly.TheCoeff(0, 1, 1);
  EXPECT_EQ(triple(1), 0.5);
  EXPECT_EQ(triple(2), -2.0);
  EXPECT_EQ(triple(3), 1E-7);
}

TEST(PolynomialFile, OrderLabelAtTheEndReportsInputPastEnd) {
  TempDir dir;
  Polynome3Variables poly;
  EXPECT_EQ(ReadSection(poly, "\"POLYNOMIAL ORDER\"\r\n", dir),
            "Polynome object ReadFile(0) Error n°62 Input past end of file");
}

TEST(PolynomialFile, OrderAboveThirtyReportsOverflowAtStageOne) {
  TempDir dir;
  Polynome3Variables poly;
  EXPECT_EQ(ReadSection(poly, "\"POLYNOMIAL ORDER\"\r\n31\r\n", dir),
            "Polynome object ReadFile(1) Error n°6 Overflow");
}

TEST(PolynomialFile, OrderOutsideAByteReportsOverflowBeforeTheStageChanges) {
  TempDir dir;
  Polynome3Variables poly;
  EXPECT_EQ(ReadSection(poly, "\"POLYNOMIAL ORDER\"\r\n256\r\n", dir),
            "Polynome object ReadFile(0) Error n°6 Overflow");
  EXPECT_EQ(ReadSection(poly, "\"POLYNOMIAL ORDER\"\r\n-1\r\n", dir),
            "Polynome object ReadFile(0) Error n°6 Overflow");
}

TEST(PolynomialFile, MalformedOffsetReportsStageThree) {
  TempDir dir;
  Polynome3Variables poly;
  EXPECT_EQ(ReadSection(poly, "\"PROBE OFFSETS P Q R IN COUNTS\"\r\n1,x,3\r\n", dir),
            "Polynome object ReadFile(3) Error n°13 Type mismatch");
  EXPECT_EQ(ReadSection(poly, "\"PROBE OFFSETS P Q R IN COUNTS\"\r\n1,2\r\n", dir),
            "Polynome object ReadFile(3) Error n°62 Input past end of file");
}

TEST(PolynomialFile, BadTermRowReportsStageTwoAndKeepsEarlierRows) {
  TempDir dir;
  Polynome3Variables poly;
  const std::string text = "\"POLYNOMIAL ORDER\"\r\n1\r\n" + kHeader +
                           "0,0,0,1,2,3\r\n"
                           "0,0,1,4,five,6\r\n";
  EXPECT_EQ(ReadSection(poly, text, dir), "Polynome object ReadFile(2) Error n°13 Type mismatch");
  EXPECT_EQ(poly.Order(), 1);
  EXPECT_EQ(poly.TheCoeff(0, 0, 0), Triple(1.0, 2.0, 3.0));
  EXPECT_EQ(poly.TheCoeff(0, 0, 1), Triple(0.0, 0.0, 0.0));
}

TEST(PolynomialFile, TruncatedTermRowReportsInputPastEndAtStageTwo) {
  TempDir dir;
  Polynome3Variables poly;
  const std::string text = "\"POLYNOMIAL ORDER\"\r\n1\r\n" + kHeader + "0,0,0,1,2\r\n";
  EXPECT_EQ(ReadSection(poly, text, dir),
            "Polynome object ReadFile(2) Error n°62 Input past end of file");
}

TEST(PolynomialFile, TermPowerOutsideSixteenBitsReportsOverflowAtStageTwo) {
  TempDir dir;
  Polynome3Variables poly;
  const std::string text = "\"POLYNOMIAL ORDER\"\r\n1\r\n" + kHeader + "40000,0,0,1,2,3\r\n";
  EXPECT_EQ(ReadSection(poly, text, dir), "Polynome object ReadFile(2) Error n°6 Overflow");
}

TEST(PolynomialFile, ShortColumnHeaderReportsInputPastEndAtStageTwo) {
  TempDir dir;
  Polynome3Variables poly;
  EXPECT_EQ(ReadSection(poly, "\"P power\",\"Q power\"\r\n", dir),
            "Polynome object ReadFile(2) Error n°62 Input past end of file");
}

TEST(PolynomialFile, ReadingAFileOpenForOutputReportsTheFileModeError) {
  TempDir dir;
  Polynome3Variables poly;
  TextFile file(dir.File("out.txt"), TextFile::Mode::kOutput);
  EXPECT_EQ(poly.ReadFile(file), "Polynome object ReadFile(0) Error n°75 Path/File access error");
}

}  // namespace
}  // namespace tavric
