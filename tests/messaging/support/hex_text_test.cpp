#include "zxvariant/hex_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using ZxVariantHelper::BytesToHexText;
using ZxVariantHelper::HexTextToBytes;

TEST(HexText, BytesBecomeLowerCaseDigitPairsWithANul) {
  const unsigned char bytes[] = {0x00, 0x0a, 0xff, 0x5c, 0xA7};
  char16_t text[11];
  ASSERT_EQ(BytesToHexText(bytes, 5, text, 11), 11);
  EXPECT_EQ(std::u16string(text), u"000aff5ca7");
  char16_t single[1] = {u'x'};
  EXPECT_EQ(BytesToHexText(nullptr, 0, single, 1), 1);
  EXPECT_EQ(single[0], u'\0');
}

TEST(HexText, BytesNeedRoomForTheTerminator) {
  const unsigned char bytes[] = {1, 2};
  std::u16string text(5, u'#');
  EXPECT_EQ(BytesToHexText(bytes, 2, text.data(), 4), -1);
  EXPECT_EQ(text, u"#####");  // nothing written when short
  EXPECT_EQ(BytesToHexText(bytes, 2, nullptr, 5), -1);
  EXPECT_EQ(BytesToHexText(nullptr, 2, text.data(), 5), -1);
  EXPECT_EQ(BytesToHexText(bytes, 0, text.data(), 0), -1);
}

TEST(HexText, TextOfEitherCaseBecomesBytes) {
  unsigned char bytes[4] = {};
  ASSERT_EQ(HexTextToBytes(u"0aFf5C7e", 8, bytes, 4), 4);
  EXPECT_EQ(std::vector<unsigned char>(bytes, bytes + 4), (std::vector<unsigned char>{0x0a, 0xff, 0x5c, 0x7e}));
  EXPECT_EQ(HexTextToBytes(u"", 0, nullptr, 0), 0);
  // Only `count` units are read, whatever follows.
  ASSERT_EQ(HexTextToBytes(u"12zz", 2, bytes, 1), 1);
  EXPECT_EQ(bytes[0], 0x12);
}

TEST(HexText, BadTextIsRefused) {
  unsigned char bytes[4] = {};
  EXPECT_EQ(HexTextToBytes(u"abc", 3, bytes, 4), -1);      // odd count
  EXPECT_EQ(HexTextToBytes(u"aabbcc", 6, bytes, 2), -1);   // output too small
  EXPECT_EQ(HexTextToBytes(u"0g", 2, bytes, 4), -1);       // no hex digit
  EXPECT_EQ(HexTextToBytes(u"0 ", 2, bytes, 4), -1);
  EXPECT_EQ(HexTextToBytes(u"\uff10\uff11", 2, bytes, 4), -1);  // fullwidth digits are not digits
  EXPECT_EQ(HexTextToBytes(nullptr, 2, bytes, 4), -1);
  EXPECT_EQ(HexTextToBytes(u"00", 2, nullptr, 4), -1);
}

TEST(HexText, RoundTripsEveryByteValue) {
  std::vector<unsigned char> all(256);
  for (int i = 0; i < 256; ++i) all[i] = static_cast<unsigned char>(i);
  std::u16string text(513, u'\0');
  ASSERT_EQ(BytesToHexText(all.data(), 256, text.data(), 513), 513);
  std::vector<unsigned char> back(256);
  ASSERT_EQ(HexTextToBytes(text.c_str(), 512, back.data(), 256), 256);
  EXPECT_EQ(back, all);
}
