#include "zxvariant/smart_wchar_ptr.h"

#include <gtest/gtest.h>

#include <string>

using zexora_com::endpoint::string_utils::SmartWcharPtr;

TEST(SmartWcharPtr, NullAndEmptyAreDistinct) {
  SmartWcharPtr none = nullptr;
  SmartWcharPtr fromNullPointer = static_cast<const char16_t*>(nullptr);
  SmartWcharPtr empty = u"";
  EXPECT_TRUE(none.isNull());
  EXPECT_TRUE(fromNullPointer.isNull());
  EXPECT_EQ(none.get(), nullptr);
  EXPECT_FALSE(empty.isNull());
  ASSERT_NE(empty.get(), nullptr);
  EXPECT_EQ(empty.get()[0], u'\0');
  EXPECT_TRUE(empty.empty());
}

TEST(SmartWcharPtr, OwnsACopyThatOutlivesItsSource) {
  SmartWcharPtr kept;
  {
    std::u16string text = u"Port";
    kept = text;
    text[0] = u'X';
    EXPECT_EQ(std::u16string(kept.get()), u"Port");
  }
  SmartWcharPtr copy = kept;
  kept = nullptr;
  EXPECT_TRUE(kept.isNull());
  const char16_t* raw = copy;
  EXPECT_EQ(std::u16string(raw), u"Port");
  EXPECT_EQ(copy.length(), 4u);
  const unsigned short units[] = {0x48, 0x69, 0};
  EXPECT_EQ(std::u16string(SmartWcharPtr(units).get()), u"Hi");
}
