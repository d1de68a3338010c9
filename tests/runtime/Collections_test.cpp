#include "runtime/Collections.h"

#include <gtest/gtest.h>

#include "TestSupport.h"

namespace tavric {
namespace {

TEST(OrderedCollection, PositionsAreOneBasedAndRemovalClosesTheGap) {
  OrderedCollection<int> c;
  c.Add(10);
  c.Add(20);
  c.Add(30);
  EXPECT_EQ(c.Item(1), 10);
  c.Remove(1);
  EXPECT_EQ(c.Count(), 2);
  EXPECT_EQ(c.Item(1), 20);
  EXPECT_EQ(c.Item(2), 30);
}

TEST(OrderedCollection, APositionNotHeldIsSubscriptOutOfRange) {
  OrderedCollection<int> c;
  EXPECT_RUNTIME_ERROR(c.Item(1), 9);
  c.Add(1);
  EXPECT_RUNTIME_ERROR(c.Item(0), 9);
  EXPECT_RUNTIME_ERROR(c.Remove(2), 9);
}

TEST(KeyedCollection, ADuplicateKeyIsRejected) {
  KeyedCollection k;
  k.Add("X.51", 4);
  EXPECT_RUNTIME_ERROR(k.Add("X.51", 5), 457);
  EXPECT_EQ(k.Item("X.51"), 4);
}

TEST(KeyedCollection, KeysAreCaseSensitiveAndMissingKeysAreInvalid) {
  KeyedCollection k;
  k.Add("Y.51", 1);
  EXPECT_NO_THROW(k.Add("y.51", 2));
  EXPECT_RUNTIME_ERROR(k.Item("Z.51"), 5);
}

}  // namespace
}  // namespace tavric
