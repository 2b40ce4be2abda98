#include "zxvariant/zx_exception.h"

#include <gtest/gtest.h>

#include <cstring>
#include <exception>
#include <string>

namespace {

constexpr const char* kZxString = "..\\..\\zx\\ZxString";
constexpr const char* kZxRegKey = "..\\..\\zx\\ZxRegKey";
constexpr const char* kZxRegValue = "..\\..\\zx\\ZxRegValue";

// True when `text` is well-formed UTF-8 (no sequence cut short).
bool WholeUtf8(const std::string& text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const std::size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 0;
    if (length == 0 || i + length > text.size()) return false;
    for (std::size_t k = 1; k < length; ++k) {
      if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
    }
    i += length;
  }
  return true;
}

}  // namespace

TEST(CZxException, ComposesCategoryTextAndLocation) {
  const CZxInternalException internal(kZxString, 307, "unexpected vsnprintf failure");
  EXPECT_STREQ(internal.what(), "Internal exception: unexpected vsnprintf failure (ZxString,307)");
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

TEST(CZxException, FileNameIsTheBaseNameCutAtItsFirstDot) {
  EXPECT_STREQ(CZxException("Test", "..\\src\\zx_file.cpp.bak", 1, 0, "t").what(),
               "Test exception: t (zx_file,1)");
  EXPECT_STREQ(CZxException("Test", "plain", 2, 0, "t").what(), "Test exception: t (plain,2)");
  EXPECT_STREQ(CZxException("Test", "dir\\", 3, 0, "t").what(), "Test exception: t (,3)");
  EXPECT_STREQ(CZxException("Test", nullptr, 4, 0, nullptr).what(), "Test exception:  (,4)");
  // The line is printed unsigned, as it always was.
  EXPECT_STREQ(CZxException("Test", "f", -1, 0, "t").what(), "Test exception: t (f,4294967295)");
}

TEST(CZxException, RegistryKindsFormatTheNameAsUtf8AndTheCodeInHex) {
  const CZxRegKeyException key(kZxRegKey, 40, 2, u"Software\\Z\u00e4h\U0001F600");
  EXPECT_EQ(std::string(key.what()),
            "RegKey exception: Unable to open registry key for reading :Software\\Z\xc3\xa4h"
            "\xf0\x9f\x98\x80, code: 0x2 (ZxRegKey,40)");
  EXPECT_EQ(key.ErrorCode(), 2);
  EXPECT_STREQ(key.Category(), "RegKey");

  const CZxRegValueException value(kZxRegValue, 77, 1009, u"Config");
  EXPECT_STREQ(value.what(),
               "RegValue exception: Unable to read registry value :Config, code: 0x3f1 (ZxRegValue,77)");
  EXPECT_EQ(value.ErrorCode(), 1009);

  EXPECT_STREQ(CZxRegValueException(kZxRegValue, 1, 234, nullptr).what(),
               "RegValue exception: Unable to read registry value :(null), code: 0xea (ZxRegValue,1)");
}

TEST(CZxException, ThrownByValueAndCaughtAsTheBaseOrStdException) {
  try {
    throw CZxRegKeyException(kZxRegKey, 9, 5, u"Denied");
  } catch (const CZxException& e) {
    EXPECT_EQ(e.ErrorCode(), 5);
    EXPECT_STREQ(e.what(),
                 "RegKey exception: Unable to open registry key for reading :Denied, code: 0x5 (ZxRegKey,9)");
  }
  try {
    throw CZxStringException(kZxString, 3, "Illegal resize of fixed string");
  } catch (const std::exception& e) {
    EXPECT_STREQ(e.what(), "String exception: Illegal resize of fixed string (ZxString,3)");
  }
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

TEST(CZxException, ALongTextIsCutButKeepsItsLocation) {
  // Two-byte characters, so a cut at an arbitrary byte would split one.
  std::u16string name(300, u'\u00e9');
  const CZxRegValueException e(kZxRegValue, 123, 2, name.c_str());
  const std::string message = e.what();
  EXPECT_LE(message.size(), 255u);
  EXPECT_GE(message.size(), 250u);
  EXPECT_EQ(message.rfind("RegValue exception: Unable to read registry value :\xc3\xa9", 0), 0u);
  EXPECT_EQ(message.substr(message.size() - std::strlen(" (ZxRegValue,123)")), " (ZxRegValue,123)");
  EXPECT_TRUE(WholeUtf8(message));
  EXPECT_EQ(e.ErrorCode(), 2);

  const std::string longText(1000, 'x');
  const CZxException plain("Test", "f", 1, 0, longText.c_str());
  EXPECT_EQ(std::strlen(plain.what()), 255u);
  EXPECT_EQ(std::string(plain.what()).substr(255 - 6), " (f,1)");
}
