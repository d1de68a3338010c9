#include "runtime/Narrow.h"

#include <gtest/gtest.h>

#include <limits>

#include "TestSupport.h"

namespace tavric {
namespace {

TEST(Narrow, ConversionRoundsHalfToEven) {
  EXPECT_EQ(CInt(2.5), 2);
  EXPECT_EQ(CInt(3.5), 4);
  EXPECT_EQ(CInt(-2.5), -2);
  EXPECT_EQ(CInt(-3.5), -4);
  EXPECT_EQ(CInt(2.4999), 2);
  EXPECT_EQ(CByte(0.5), 0);
  EXPECT_EQ(CByte(1.5), 2);
  EXPECT_EQ(CLng(3.5), 4);
}

TEST(Narrow, ConversionOutOfRangeIsOverflow) {
  EXPECT_EQ(CByte(255.0), 255);
  EXPECT_RUNTIME_ERROR(CByte(255.5), 6);  // rounds to 256
  EXPECT_RUNTIME_ERROR(CByte(-0.6), 6);
  EXPECT_EQ(CByte(-0.5), 0);
  EXPECT_EQ(CInt(32767.0), 32767);
  EXPECT_RUNTIME_ERROR(CInt(32767.5), 6);
  EXPECT_EQ(CInt(-32768.0), -32768);
  EXPECT_RUNTIME_ERROR(CInt(-32769.0), 6);
  EXPECT_RUNTIME_ERROR(CInt(std::numeric_limits<double>::quiet_NaN()), 6);
  EXPECT_RUNTIME_ERROR(CLng(3e9), 6);
}

TEST(Narrow, IntegerArithmeticIsOverflowChecked) {
  EXPECT_EQ(CheckedMul<Int16>(31 * 32, 33), 32736);
  EXPECT_RUNTIME_ERROR(CheckedMul<Int16>(32 * 33, 34), 6);
  EXPECT_RUNTIME_ERROR(CheckedAdd<Int16>(32767, 1), 6);
  EXPECT_RUNTIME_ERROR(CheckedSub<Byte>(0, 1), 6);
  EXPECT_RUNTIME_ERROR((Narrow<Byte>(256)), 6);
  EXPECT_RUNTIME_ERROR((Narrow<Int16>(40000L)), 6);
  EXPECT_EQ((Narrow<Byte>(220)), 220);
}

}  // namespace
}  // namespace tavric
