#include "zxvariant/zx_exception.h"

#include <gtest/gtest.h>

#include <cstring>
#include <exception>
#include <string>

namespace {

constexpr const char* kZxString = "..\\..\\zx\\ZxString";
constexpr const char* kZxRegValue = "..\\..\\zx\\ZxRegValue";

}  // namespace

TEST(CZxException, ComposesCategoryTextAndLocation) {
  const CZxInternalException internal(kZxString, 307, "unexpected vsnprintf failure");
  const std::exception& base = internal;
  EXPECT_STREQ(base.what(), "Internal exception: unexpected vsnprintf failure (ZxString,307)");
  EXPECT_STREQ(internal.Message(), internal.what());
  EXPECT_STREQ(internal.Category(), "Internal");
  EXPECT_STREQ(internal.File(), kZxString);
  EXPECT_EQ(internal.Line(), 307);
  EXPECT_EQ(internal.ErrorCode(), 0);
  EXPECT_STREQ(CZxStringException(kZxString, 12, "Illegal resize of fixed string").what(),
               "String exception: Illegal resize of fixed string (ZxString,12)");
  EXPECT_STREQ(CZxOutOfMemoryException(kZxString, 5, "Unable to grow string").what(),
               "OutOfMemory exception: Unable to grow string (ZxString,5)");
}

TEST(CZxException, LocationIsTheBaseNameUpToItsFirstDotAndTheLineUnsigned) {
  const struct { const char* file; int line; const char* text; const char* expected; } cases[] = {
      {"..\\src\\zx_file.cpp.bak", 1, "t", "Test exception: t (zx_file,1)"},
      {"plain", 2, "t", "Test exception: t (plain,2)"},
      {"dir\\", 3, "t", "Test exception: t (,3)"},
      {nullptr, 4, nullptr, "Test exception:  (,4)"},
      {"f", -1, "t", "Test exception: t (f,4294967295)"},
  };
  for (const auto& c : cases) EXPECT_STREQ(CZxException("Test", c.file, c.line, 0, c.text).what(), c.expected);
}

TEST(CZxException, RegistryKindsGiveTheNameAsUtf8AndTheCodeInHex) {
  const CZxRegKeyException key("..\\..\\zx\\ZxRegKey", 40, 2, u"Software\\Z\u00e4h\U0001F600");
  EXPECT_STREQ(key.what(), "RegKey exception: Unable to open registry key for reading :Software\\Z\xc3\xa4h"
                           "\xf0\x9f\x98\x80, code: 0x2 (ZxRegKey,40)");
  EXPECT_EQ(key.ErrorCode(), 2);
  const CZxRegValueException value(kZxRegValue, 77, 1009, u"Config");
  EXPECT_STREQ(value.what(), "RegValue exception: Unable to read registry value :Config, code: 0x3f1 (ZxRegValue,77)");
  EXPECT_EQ(value.ErrorCode(), 1009);
  EXPECT_STREQ(CZxRegValueException(kZxRegValue, 1, 234, nullptr).what(),
               "RegValue exception: Unable to read registry value :(null), code: 0xea (ZxRegValue,1)");
}

TEST(CZxException, CopiesOwnTheirMessage) {
  auto* original = new CZxInternalException(kZxString, 8, "first");
  CZxException copy(*original);
  delete original;  // the copy must not point into the original's buffer
  EXPECT_STREQ(copy.what(), "Internal exception: first (ZxString,8)");
  CZxException assigned(CZxOutOfMemoryException(kZxString, 1, "other"));
  assigned = copy;
  EXPECT_STREQ(assigned.what(), "Internal exception: first (ZxString,8)");
  EXPECT_EQ(assigned.Line(), 8);
  assigned = assigned;
  EXPECT_STREQ(assigned.what(), "Internal exception: first (ZxString,8)");
}

TEST(CZxException, ALongTextLosesItsEndOnACharacterBoundaryAndKeepsItsLocation) {
  const std::u16string name(300, u'\u00e9');  // two UTF-8 bytes each
  std::string expected = "RegValue exception: Unable to read registry value :";
  while (expected.size() + 2 + std::strlen(" (ZxRegValue,123)") <= 255) expected += "\xc3\xa9";
  EXPECT_EQ(std::string(CZxRegValueException(kZxRegValue, 123, 2, name.c_str()).what()),
            expected + " (ZxRegValue,123)");
  const CZxException plain("Test", "f", 1, 0, std::string(1000, 'x').c_str());
  EXPECT_EQ(std::string(plain.what()), "Test exception: " + std::string(255 - 16 - 6, 'x') + " (f,1)");
}
