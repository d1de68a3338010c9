#include "tavric/RuntimeError.h"

#include <gtest/gtest.h>

#include <new>

#include "TestSupport.h"
#include "runtime/ErrorTrap.h"
#include "runtime/ObjectRef.h"

namespace tavric {
namespace {

TEST(RuntimeError, CarriesTheStandardDescriptions) {
  const std::pair<int, const char*> table[] = {
      {5, "Invalid procedure call or argument"},
      {6, "Overflow"},
      {7, "Out of memory"},
      {9, "Subscript out of range"},
      {11, "Division by zero"},
      {13, "Type mismatch"},
      {53, "File not found"},
      {57, "Device I/O error"},
      {61, "Disk full"},
      {62, "Input past end of file"},
      {70, "Permission denied"},
      {75, "Path/File access error"},
      {76, "Path not found"},
      {91, "Object variable or With block variable not set"},
      {457, "This key is already associated with an element of this collection"},
  };
  for (const auto& [number, text] : table) {
    const RuntimeError e(number);
    EXPECT_EQ(e.Number(), number);
    EXPECT_EQ(e.Description(), text);
  }
}

TEST(ObjectRef, UsingNoObjectIsObjectVariableNotSet) {
  const Ref<int> none;
  EXPECT_RUNTIME_ERROR(Deref(none), 91);
  const Ref<int> some = std::make_shared<int>(3);
  EXPECT_EQ(Deref(some), 3);
}

TEST(ErrorTrap, FormatsTheTrapTextWithPrefixAndSeparator) {
  try {
    Raise(err::kOverflow);
  } catch (...) {
    EXPECT_EQ(TrapText("Optimise Error ", CurrentErrorInfo(), " : "),
              "Optimise Error 6 : Overflow");
  }
}

TEST(ErrorTrap, AnAllocationFailureIsOutOfMemory) {
  try {
    throw std::bad_alloc();
  } catch (...) {
    const ErrorInfo info = CurrentErrorInfo();
    EXPECT_EQ(info.number, 7);
    EXPECT_EQ(info.description, "Out of memory");
  }
}

TEST(ErrorTrap, AnUnexpectedExceptionIsAnInternalError) {
  try {
    throw 42;
  } catch (...) {
    EXPECT_EQ(CurrentErrorInfo().number, 51);
  }
}

}  // namespace
}  // namespace tavric
