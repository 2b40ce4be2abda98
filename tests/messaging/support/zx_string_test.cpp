#include "zxvariant/zx_string.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "zxvariant/zx_exception.h"

namespace {

// A string whose growth percent the test chooses.
struct PercentString : CZxString {
  explicit PercentString(int percent) : percent(percent) {}
  int GrowthPercent() override { return percent; }
  int percent;
};

// True when `action` throws an E whose message starts with `prefix`; an
// exception of another type escapes and fails the test.
template <class E, class Action>
bool Throws(Action action, const std::string& prefix) {
  try {
    action();
  } catch (const E& e) {
    return std::string(e.what()).rfind(prefix, 0) == 0;
  }
  return false;
}

const std::string kIllegalResize = "String exception: Illegal resize of fixed string (ZxString,";

}  // namespace

TEST(CZxString, GrowsToExactlyTheSizeAskedForAndClearKeepsTheBuffer) {
  CZxString text(nullptr);
  EXPECT_STREQ(text.c_str(), "");  // no buffer yet
  text.Append("abc");
  EXPECT_EQ(text.capacity(), 4u);  // three bytes and the NUL
  text.Append("dexyz", 2);
  EXPECT_EQ(text.capacity(), 6u);
  text.Append(nullptr);
  text.Append(nullptr, 4);
  text.AppendFormat(nullptr);
  text.FormatAt(0, nullptr);
  EXPECT_STREQ(text.c_str(), "abcde");
  EXPECT_EQ(text.length(), 5u);
  text.clear();
  EXPECT_STREQ(text.c_str(), "");
  text.Append("x");
  EXPECT_STREQ(text.c_str(), "x");
  EXPECT_EQ(text.capacity(), 6u);
}

TEST(CZxString, ReserveKeepsTheGivenBytesAndIgnoresSmallerSizes) {
  CZxString text("hello world");
  text.Reserve(text.capacity(), 3);  // not larger: nothing changes
  EXPECT_STREQ(text.c_str(), "hello world");
  text.Reserve(100, 5);
  EXPECT_EQ(text.capacity(), 100u);
  EXPECT_EQ(text.length(), 5u);
  EXPECT_STREQ(text.c_str(), "hello");
  CZxString small("ab");
  small.Reserve(50, 1000);  // cut to the three bytes the old buffer held
  EXPECT_EQ(small.length(), 3u);
  EXPECT_EQ(std::memcmp(small.c_str(), "ab", 3), 0);
}

TEST(CZxString, AppendsItsOwnTextAcrossAGrowth) {
  CZxString text("0123456789");
  text.Append(text.c_str() + 2, 5);  // the source buffer is freed by the growth
  EXPECT_STREQ(text.c_str(), "012345678923456");
  CZxFixedString<64> fixed("abc");
  fixed.Append(fixed.c_str(), fixed.length());
  EXPECT_STREQ(fixed.c_str(), "abcabc");
}

TEST(CZxStringFormat, FormatsFromAnOffsetAndGrowsToFit) {
  CZxString text("id=");
  text.AppendFormat("%d/%s/%05.1f", 42, "ok", 2.25);
  EXPECT_STREQ(text.c_str(), "id=42/ok/002.2");
  text.FormatAt(3, "%d", 7);
  EXPECT_STREQ(text.c_str(), "id=7");
  text.FormatAt(99, "+%c", 'z');  // an offset past the end appends
  EXPECT_STREQ(text.c_str(), "id=7+z");
  CZxString exact;  // grows to offset + result + 1
  exact.AppendFormat("%s", std::string(300, 'q').c_str());
  EXPECT_EQ(exact.capacity(), 301u);
  CZxFixedString<8> retried;  // formats again with the same arguments
  retried.AppendFormat("%s-%d-%s", "first", 123456, "third part that needs room");
  EXPECT_STREQ(retried.c_str(), "first-123456-third part that needs room");
}

TEST(CZxStringFormat, AnEncodingFailureEndsInAnInternalException) {
  // In the "C" locale a wide character outside ASCII cannot be converted, so
  // vsnprintf fails however large the room; growth doubles up to 0x4000000.
  CZxString text("kept");
  EXPECT_TRUE(Throws<CZxInternalException>([&] { text.AppendFormat("%ls", L"\u20ac"); },
                                           "Internal exception: unexpected vsnprintf failure (ZxString,"));
  EXPECT_STREQ(text.c_str(), "kept");
  EXPECT_GE(text.capacity(), 0x4000000u / 2);
  EXPECT_LT(text.capacity(), 0x4000000u);
}

TEST(CZxBufString, WritesIntoTheCallersBufferAndNeverGrows) {
  char room[8];
  CZxBufString text(room, sizeof room);
  text.Append("123");
  text.AppendFormat("%d", 4567);  // seven bytes and the NUL fill it
  EXPECT_STREQ(room, "1234567");
  EXPECT_TRUE(Throws<CZxStringException>([&] { text.Append("8"); }, kIllegalResize));
  EXPECT_STREQ(text.c_str(), "1234567");
  EXPECT_TRUE(Throws<CZxStringException>([&] { text.FormatAt(3, "%s", "too long"); }, kIllegalResize));
  EXPECT_STREQ(text.c_str(), "123");  // cut at the offset
  CZxBufString none(nullptr, 10);
  EXPECT_STREQ(none.c_str(), "");
  EXPECT_TRUE(Throws<CZxStringException>([&] { none.Append("x"); }, kIllegalResize));
}

TEST(CZxFixedString, StartsInsideAndMovesToTwiceTheRequest) {
  CZxFixedString<64> text(std::string(60, 'a').c_str());
  EXPECT_EQ(text.capacity(), 64u);
  text.Reserve(100, 60);  // holding 60 bytes and needing 100
  EXPECT_TRUE(text.OnHeap());
  EXPECT_EQ(text.capacity(), 200u);
  EXPECT_EQ(std::string(text.c_str()), std::string(60, 'a'));
  text.Append(std::string(200, 'b').c_str());  // frees the first heap buffer
  EXPECT_EQ(text.capacity(), 2u * 261u);
  EXPECT_EQ(text.length(), 260u);
}

TEST(CZxStringGrowth, PercentsBelowOneHundredAndSizesPastThirtyTwoBitsThrow) {
  for (int percent : {50, -50, 99, -99}) {
    PercentString text(percent);
    EXPECT_TRUE(Throws<CZxInternalException>([&] { text.Append("x"); }, "Internal exception: !(nPercent >= 100) (ZxString,"))
        << percent;
    EXPECT_EQ(text.capacity(), 0u);
  }
  PercentString large(1000000);
  large.Append("x");  // 2 * 1000000 / 100 bytes is fine
  EXPECT_EQ(large.capacity(), 20000u);
  EXPECT_TRUE(Throws<CZxOutOfMemoryException>([&] { large.Reserve(0x100000, 0); },
                                              "OutOfMemory exception: Unable to grow string (ZxString,"));
}
