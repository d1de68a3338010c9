#include "runtime/NumberText.h"

#include <gtest/gtest.h>

#include <clocale>
#include <limits>

#include "TestSupport.h"
#include "tavric/DecimalSeparator.h"

namespace tavric {
namespace {

TEST(FormatRecordNumber, ZeroAndNegativeZeroAreWrittenAsZero) {
  EXPECT_EQ(FormatRecordNumber(0.0), "0");
  EXPECT_EQ(FormatRecordNumber(-0.0), "0");
}

TEST(FormatRecordNumber, SmallMagnitudesKeepALeadingZero) {
  EXPECT_EQ(FormatRecordNumber(-0.5), "-0.5");
  EXPECT_EQ(FormatRecordNumber(0.0001), "0.0001");
}

TEST(FormatRecordNumber, BelowOneTenThousandthUsesTheExponentForm) {
  EXPECT_EQ(FormatRecordNumber(0.00001), "1E-05");
  EXPECT_EQ(FormatRecordNumber(6.15834180863661E-05), "6.15834180863661E-05");
}

TEST(FormatRecordNumber, LargeMagnitudesSwitchToExponentAtOneE15) {
  EXPECT_EQ(FormatRecordNumber(123456789012345.0), "123456789012345");
  EXPECT_EQ(FormatRecordNumber(1E+15), "1E+15");
  EXPECT_EQ(FormatRecordNumber(2.5E+20), "2.5E+20");
  EXPECT_EQ(FormatRecordNumber(-1.25E+100), "-1.25E+100");
}

TEST(FormatRecordNumber, KeepsFifteenSignificantDigits) {
  EXPECT_EQ(FormatRecordNumber(1.0 / 3.0), "0.333333333333333");
  EXPECT_EQ(FormatRecordNumber(2.0 / 3.0), "0.666666666666667");
  EXPECT_EQ(FormatRecordNumber(12.7), "12.7");
  EXPECT_EQ(FormatRecordNumber(-1234.5), "-1234.5");
  EXPECT_EQ(FormatRecordNumber(100.0), "100");
}

TEST(FormatRecordNumber, RoundingToFifteenDigitsCanCrossToTheExponentForm) {
  EXPECT_EQ(FormatRecordNumber(999999999999999.9), "1E+15");
}

TEST(FormatRecordNumber, InfinityIsNeverWritten) {
  EXPECT_RUNTIME_ERROR(FormatRecordNumber(std::numeric_limits<double>::infinity()), 6);
}

TEST(TryParseInvariant, AcceptsTheFormsARecordMayHold) {
  EXPECT_EQ(TryParseInvariant("0.5"), 0.5);
  EXPECT_EQ(TryParseInvariant(".5"), 0.5);
  EXPECT_EQ(TryParseInvariant("-.5"), -0.5);
  EXPECT_EQ(TryParseInvariant("+2"), 2.0);
  EXPECT_EQ(TryParseInvariant("1E-05"), 1E-05);
  EXPECT_EQ(TryParseInvariant("6.15834180863661E-05"), 6.15834180863661E-05);
  EXPECT_EQ(TryParseInvariant("2.5e+20"), 2.5E+20);
  EXPECT_EQ(TryParseInvariant("  12.7  "), 12.7);
  EXPECT_EQ(TryParseInvariant("5."), 5.0);
}

TEST(TryParseInvariant, RejectsTextThatIsNotANumber) {
  for (const char* text : {"", "  ", "nan", "NaN", "inf", "-infinity", "0x10", "1.5x", "1,5", "e5",
                           "1e", ".", "-", "1 2", "--1"})
    EXPECT_FALSE(TryParseInvariant(text).has_value()) << text;
}

TEST(TryParseInvariant, TooLargeANumberOverflows) {
  EXPECT_RUNTIME_ERROR(TryParseInvariant("1e999"), 6);
  EXPECT_EQ(TryParseInvariant("1e-999"), 0.0);
}

TEST(CDbl, RaisesTypeMismatchForText) {
  EXPECT_RUNTIME_ERROR(CDbl("abc"), 13);
  EXPECT_RUNTIME_ERROR(CDbl(""), 13);
  EXPECT_EQ(CDbl("-3.25"), -3.25);
}

using testing::DecimalCommaLocale;

TEST_F(DecimalCommaLocale, LocaleParsingReadsADecimalComma) {
  EXPECT_EQ(TryParseLocale("1,5"), 1.5);
  EXPECT_EQ(CDbl("-0,25"), -0.25);
  EXPECT_FALSE(TryParseLocale("1.5").has_value());
}

TEST_F(DecimalCommaLocale, LocaleNumbersKeepTheSeparatorTheyWereMadeWith) {
  const LocaleNumbers comma;
  EXPECT_EQ(comma.CDbl("1,5"), 1.5);
  EXPECT_FALSE(comma.TryParse("1.5"));
  std::setlocale(LC_NUMERIC, "C");
  EXPECT_EQ(comma.CDbl("-2,25E1"), -22.5);
  EXPECT_RUNTIME_ERROR(comma.CDbl("2.5"), err::kTypeMismatch);
  const LocaleNumbers point;
  EXPECT_EQ(point.CDbl("2.5"), 2.5);
}

TEST_F(DecimalCommaLocale, InvariantParsingAndWritingIgnoreTheLocale) {
  EXPECT_EQ(TryParseInvariant("1.5"), 1.5);
  EXPECT_FALSE(TryParseInvariant("1,5").has_value());
  EXPECT_EQ(FormatRecordNumber(1.5), "1.5");
}

TEST_F(DecimalCommaLocale, FixedPatternsWriteTheLocaleDecimalSeparator) {
  EXPECT_EQ(FormatFixed(1.5, 2), "1,50");
  EXPECT_EQ(FormatFixed(-2.0, 4), "-2,0000");
  EXPECT_EQ(FormatFixed(1234567.891, 2), "1234567,89");  // no grouping
}

TEST_F(DecimalCommaLocale, GroupingSeparatorsAreNotPartOfANumber) {
  EXPECT_FALSE(TryParseLocale("1.234,5").has_value());
  EXPECT_EQ(TryParseLocale("1234,5"), 1234.5);
}

TEST(DecimalSeparator, FollowsTheProcessLocaleByDefault) {
  ASSERT_EQ(SetDecimalSeparatorSource(nullptr), nullptr);
  EXPECT_EQ(DecimalSeparator(), std::localeconv()->decimal_point);
}

// Installs a source for one test and puts the previous one back.
class InstalledSeparator : public ::testing::Test {
 protected:
  void Install(DecimalSeparatorSource source) { previous_ = SetDecimalSeparatorSource(source); }
  void TearDown() override { SetDecimalSeparatorSource(previous_); }

 private:
  DecimalSeparatorSource previous_ = nullptr;
};

TEST_F(InstalledSeparator, AnInstalledSourceDecidesParsingAndFormatting) {
  Install([]() -> std::string { return ","; });
  EXPECT_EQ(DecimalSeparator(), ",");
  EXPECT_EQ(CDbl("2,5"), 2.5);
  EXPECT_FALSE(TryParseLocale("2.5").has_value());
  EXPECT_EQ(FormatFixed(2.5, 2), "2,50");
  // Records stay invariant.
  EXPECT_EQ(FormatRecordNumber(2.5), "2.5");
  EXPECT_EQ(TryParseInvariant("2.5"), 2.5);
}

TEST_F(InstalledSeparator, AnEmptySeparatorCountsAsAPeriod) {
  Install([]() -> std::string { return {}; });
  EXPECT_EQ(DecimalSeparator(), ".");
  EXPECT_EQ(CDbl("2.5"), 2.5);
}

TEST_F(InstalledSeparator, ASeparatorOfSeveralBytesIsReadAndWritten) {
  Install([]() -> std::string { return "\xC2\xB7"; });  // a middle dot
  EXPECT_EQ(CDbl("2\xC2\xB7"
                 "5"),
            2.5);
  EXPECT_EQ(FormatFixed(2.5, 1),
            "2\xC2\xB7"
            "5");
}

TEST(FormatFixed, PadsToTheGivenDecimals) {
  EXPECT_EQ(FormatFixed(1.5, 4), "1.5000");
  EXPECT_EQ(FormatFixed(-2.0, 4), "-2.0000");
  EXPECT_EQ(FormatFixed(0.0, 4), "0.0000");
  EXPECT_EQ(FormatFixed(12.7, 4), "12.7000");
  EXPECT_EQ(FormatFixed(0.99 * 10.0, 5), "9.90000");
  EXPECT_EQ(FormatFixed(1234567.891, 2), "1234567.89");
}

TEST(FormatFixed, RoundsHalfAwayFromZero) {
  EXPECT_EQ(FormatFixed(0.125, 2), "0.13");
  EXPECT_EQ(FormatFixed(-0.125, 2), "-0.13");
  EXPECT_EQ(FormatFixed(2.5, 0), "3");
  EXPECT_EQ(FormatFixed(9.995, 2), "9.99");  // 9.995 is held as 9.99499999...
  EXPECT_EQ(FormatFixed(9.9999, 2), "10.00");
}

TEST(FormatFixed, AResultOfZeroHasNoSign) { EXPECT_EQ(FormatFixed(-0.00001, 2), "0.00"); }

TEST(TrimAndUCase, WorkOnBlanksAndAsciiLetters) {
  EXPECT_EQ(Trim("  a b  "), "a b");
  EXPECT_EQ(UCase("data start µm"), "DATA START µM");
}

}  // namespace
}  // namespace tavric
