#include "runtime/TextFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "TestSupport.h"

namespace tavric {
namespace {

using testing::ReadFileBytes;
using testing::TempDir;
using testing::WriteFileBytes;

TEST(TextFile, WritesRecordsWithQuotedStringsAndCrLf) {
  TempDir dir;
  const std::string path = dir.File("out.txt");
  {
    TextFile f(path, TextFile::Mode::kOutput);
    f.WriteRecord({std::string("SPHERE :")});
    f.WriteRecord({std::string("X"), std::string("Y"), std::string("Z"), std::string("R")});
    f.WriteRecord({0.0, -0.0, -0.5, 0.0001, 0.00001, 6.15834180863661E-05});
    f.WriteRecord({123456789012345.0, 1E+15, 1.0 / 3.0, 3LL, -12LL});
    f.Close();
  }
  EXPECT_EQ(ReadFileBytes(path),
            "\"SPHERE :\"\r\n"
            "\"X\",\"Y\",\"Z\",\"R\"\r\n"
            "0,0,-0.5,0.0001,1E-05,6.15834180863661E-05\r\n"
            "123456789012345,1E+15,0.333333333333333,3,-12\r\n");
}

TEST(TextFile, PrintWritesTextAsItIsAndPrintLineAddsCrLf) {
  TempDir dir;
  const std::string path = dir.File("print.txt");
  {
    TextFile f(path, TextFile::Mode::kOutput);
    f.Print("a b,\"c\"");
    f.PrintLine(" d");
    f.PrintLine("");
    f.Close();
  }
  EXPECT_EQ(ReadFileBytes(path), "a b,\"c\" d\r\n\r\n");
}

TEST(TextFile, ReadsQuotedFieldsWithCommasAndDropsSurroundingBlanks) {
  TempDir dir;
  const std::string path = dir.File("in.txt");
  WriteFileBytes(path, "  \"a, b\" , plain text  ,\"x\"\r\n1.5,  -2 \r\n");
  TextFile f(path, TextFile::Mode::kInput);
  EXPECT_EQ(f.InputField(), "a, b");
  EXPECT_EQ(f.InputField(), "plain text");
  EXPECT_EQ(f.InputField(), "x");
  EXPECT_EQ(f.InputNumber(), 1.5);
  EXPECT_EQ(f.InputNumber(), -2.0);
  EXPECT_TRUE(f.Eof());
  EXPECT_RUNTIME_ERROR(f.InputField(), 62);
}

TEST(TextFile, AcceptsCrLfLfAndCrLineEnds) {
  TempDir dir;
  for (const std::string eol : {"\r\n", "\n", "\r"}) {
    const std::string path = dir.File("eol.txt");
    WriteFileBytes(path, "a,b" + eol + "c" + eol + "line two" + eol);
    TextFile f(path, TextFile::Mode::kInput);
    EXPECT_EQ(f.InputField(), "a");
    EXPECT_EQ(f.InputField(), "b");
    EXPECT_EQ(f.InputField(), "c");
    EXPECT_EQ(f.LineInput(), "line two");
    EXPECT_TRUE(f.Eof());
  }
}

TEST(TextFile, BlankLinesBetweenRecordsAreSkippedAndTrailingOnesAreEndOfFile) {
  TempDir dir;
  const std::string path = dir.File("blank.txt");
  WriteFileBytes(path, "1\r\n\r\n   \r\n2\r\n\r\n\r\n");
  TextFile f(path, TextFile::Mode::kInput);
  EXPECT_EQ(f.InputNumber(), 1.0);
  EXPECT_FALSE(f.Eof());
  EXPECT_EQ(f.InputNumber(), 2.0);
  EXPECT_TRUE(f.Eof());
}

TEST(TextFile, AnEmptyFieldBetweenCommasIsAField) {
  TempDir dir;
  const std::string path = dir.File("empty.txt");
  WriteFileBytes(path, "a,,c\r\n");
  TextFile f(path, TextFile::Mode::kInput);
  EXPECT_EQ(f.InputField(), "a");
  EXPECT_EQ(f.InputField(), "");
  EXPECT_EQ(f.InputField(), "c");
}

TEST(TextFile, ANumberFieldThatIsNotANumberIsTypeMismatch) {
  TempDir dir;
  const std::string path = dir.File("nan.txt");
  WriteFileBytes(path, "abc,\"x12\",,\"\",1e5\r\n");
  TextFile f(path, TextFile::Mode::kInput);
  EXPECT_RUNTIME_ERROR(f.InputNumber(), 13);  // text
  EXPECT_RUNTIME_ERROR(f.InputNumber(), 13);  // quoted text
  EXPECT_RUNTIME_ERROR(f.InputNumber(), 13);  // empty
  EXPECT_RUNTIME_ERROR(f.InputNumber(), 13);  // quoted and empty
  EXPECT_EQ(f.InputNumber(), 1e5);
}

TEST(TextFile, AQuotedNumberReadsAsTheNumber) {
  TempDir dir;
  const std::string path = dir.File("quoted.txt");
  WriteFileBytes(path, "\"12\", \" -2.5E-3 \" ,\"7\"\r\n");
  TextFile f(path, TextFile::Mode::kInput);
  EXPECT_EQ(f.InputNumber(), 12.0);
  EXPECT_EQ(f.InputNumber(), -2.5E-3);
  EXPECT_EQ(f.InputNumber(), 7.0);
  EXPECT_TRUE(f.Eof());
}

TEST(TextFile, NumbersWithoutLeadingZeroAndInExponentFormAreRead) {
  TempDir dir;
  const std::string path = dir.File("num.txt");
  WriteFileBytes(path, ".5,-.25,6.15834180863661E-05,2.5E+20\n");
  TextFile f(path, TextFile::Mode::kInput);
  EXPECT_EQ(f.InputNumber(), 0.5);
  EXPECT_EQ(f.InputNumber(), -0.25);
  EXPECT_EQ(f.InputNumber(), 6.15834180863661E-05);
  EXPECT_EQ(f.InputNumber(), 2.5E+20);
}

TEST(TextFile, EachBlankLineAfterTheLastLineIsALineOfItsOwn) {
  TempDir dir;
  const std::string path = dir.File("trailing.txt");
  WriteFileBytes(path, "data\r\n\r\n  \r\n");
  TextFile f(path, TextFile::Mode::kInput);
  EXPECT_EQ(f.LineInput(), "data");
  EXPECT_FALSE(f.Eof());
  EXPECT_EQ(f.LineInput(), "");
  EXPECT_FALSE(f.Eof());
  EXPECT_EQ(f.LineInput(), "  ");
  EXPECT_TRUE(f.Eof());
}

TEST(TextFile, AFileOfBlankLinesIsNotAtItsEndButHoldsNoField) {
  TempDir dir;
  const std::string path = dir.File("blanks.txt");
  WriteFileBytes(path, "\r\n \r\n");
  TextFile f(path, TextFile::Mode::kInput);
  EXPECT_FALSE(f.Eof());
  EXPECT_RUNTIME_ERROR(f.InputField(), 62);
}

TEST(TextFile, LineInputReadsWholeLinesAndFailsPastTheEnd) {
  TempDir dir;
  const std::string path = dir.File("lines.txt");
  WriteFileBytes(path, "first, with comma\r\n\r\nlast");
  TextFile f(path, TextFile::Mode::kInput);
  EXPECT_EQ(f.LineInput(), "first, with comma");
  EXPECT_EQ(f.LineInput(), "");
  EXPECT_EQ(f.LineInput(), "last");
  EXPECT_TRUE(f.Eof());
  EXPECT_RUNTIME_ERROR(f.LineInput(), 62);
}

TEST(TextFile, ViewsReadTheSameFieldsAndLinesAsCopies) {
  TempDir dir;
  const std::string path = dir.File("mixed.txt");
  WriteFileBytes(path, " a , \"b, c\" x,\r\n\n 1.5E3 ,last line\rtail\n");
  TextFile copies(path, TextFile::Mode::kInput);
  TextFile views(path, TextFile::Mode::kInput);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(views.InputFieldView(), copies.InputField()) << i;
  EXPECT_EQ(views.LineInputView(), copies.LineInput());
  EXPECT_EQ(views.LineInputView(), copies.LineInput());
  EXPECT_TRUE(views.Eof());
  EXPECT_RUNTIME_ERROR(views.LineInputView(), 62);
  EXPECT_RUNTIME_ERROR(views.InputFieldView(), 62);
}

TEST(TextFile, AFileThatReportsNoSizeIsStillReadWhole) {
  // Files of /proc report a size of 0 and hold text.
  if (!std::filesystem::exists("/proc/self/status")) GTEST_SKIP() << "no /proc/self/status";
  TextFile f("/proc/self/status", TextFile::Mode::kInput);
  EXPECT_EQ(f.LineInput().substr(0, 5), "Name:");
  int lines = 1;
  while (!f.Eof()) {
    f.LineInput();
    ++lines;
  }
  EXPECT_GT(lines, 10);
}

TEST(TextFile, AnEmptyFileIsAtItsEnd) {
  TempDir dir;
  const std::string path = dir.File("empty.txt");
  WriteFileBytes(path, "");
  TextFile f(path, TextFile::Mode::kInput);
  EXPECT_TRUE(f.Eof());
  EXPECT_RUNTIME_ERROR(f.InputField(), 62);
}

TEST(WriteWholeTextFile, ReplacesTheFileWithTheTextByteForByte) {
  TempDir dir;
  const std::string path = dir.File("whole.txt");
  WriteFileBytes(path, "an older and longer content");
  WriteWholeTextFile(path, "line 1\nline 2\r\n\xC2\xB5");
  EXPECT_EQ(ReadFileBytes(path), "line 1\nline 2\r\n\xC2\xB5");
  EXPECT_RUNTIME_ERROR(WriteWholeTextFile(dir.File("no/such/folder/x.txt"), "x"), 76);
}

TEST(TextFile, OpeningErrorsHaveTheirOwnNumbers) {
  TempDir dir;
  TextFile f;
  EXPECT_RUNTIME_ERROR(f.Open(dir.File("missing.txt"), TextFile::Mode::kInput), 53);
  EXPECT_RUNTIME_ERROR(f.Open(dir.File("no/such/folder/x.txt"), TextFile::Mode::kInput), 76);
  EXPECT_RUNTIME_ERROR(f.Open(dir.File("no/such/folder/x.txt"), TextFile::Mode::kOutput), 76);
  EXPECT_RUNTIME_ERROR(f.Open(dir.Path().string(), TextFile::Mode::kInput), 75);
  EXPECT_RUNTIME_ERROR(f.Open(dir.Path().string(), TextFile::Mode::kOutput), 75);
  EXPECT_RUNTIME_ERROR(f.Open("", TextFile::Mode::kInput), 75);
}

TEST(TextFile, AFileThatMayNotBeOpenedIsPermissionDenied) {
  TextFile f;
  if (geteuid() != 0) {
    TempDir dir;
    const std::string path = dir.File("locked.txt");
    WriteFileBytes(path, "x");
    std::filesystem::permissions(path, std::filesystem::perms::none);
    EXPECT_RUNTIME_ERROR(f.Open(path, TextFile::Mode::kInput), 70);
    return;
  }
  // Root passes ordinary permission checks; a read-only kernel attribute
  // still refuses to be opened for writing.
  if (!std::filesystem::exists("/sys/kernel/notes")) GTEST_SKIP() << "no /sys/kernel/notes";
  EXPECT_RUNTIME_ERROR(f.Open("/sys/kernel/notes", TextFile::Mode::kOutput), 70);
}

// Whether this process's memory file can be opened and reading it from
// offset 0 (an unmapped address) fails with EIO, as Linux does unless a
// container or a security module refuses the open itself.
bool ReadingProcSelfMemFailsWithEIO() {
  const int fd = ::open("/proc/self/mem", O_RDONLY);
  if (fd < 0) return false;
  char byte = 0;
  const ssize_t n = ::read(fd, &byte, 1);
  const int error = errno;
  ::close(fd);
  return n < 0 && error == EIO;
}

TEST(TextFile, AFailedReadIsADeviceIOError) {
  if (!ReadingProcSelfMemFailsWithEIO())
    GTEST_SKIP() << "/proc/self/mem cannot be opened here, or reading it does not fail with EIO";
  TextFile f;
  EXPECT_RUNTIME_ERROR(f.Open("/proc/self/mem", TextFile::Mode::kInput), 57);
}

TEST(TextFile, AWriteOnAFullDiskIsDiskFull) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  TextFile f("/dev/full", TextFile::Mode::kOutput);
  try {
    for (int i = 0; i < 100000; ++i) f.WriteRecord({std::string("filling the disk")});
    f.Close();
    ADD_FAILURE() << "writing to a full device succeeded";
  } catch (const RuntimeError& e) {
    EXPECT_EQ(e.Number(), 61);
  }
}

}  // namespace
}  // namespace tavric
