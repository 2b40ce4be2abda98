#include "zxvariant/zx_string.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "zxvariant/zx_exception.h"

namespace {

// A string whose growth percent the test chooses.
class PercentString : public CZxString {
 public:
  explicit PercentString(int percent) : percent_(percent) {}
  int GrowthPercent() override { return percent_; }

 private:
  int percent_;
};

// Runs `action` and returns the message of the CZxException it throws, or
// "" when it throws nothing.
template <class Action>
std::string Failure(Action action) {
  try {
    action();
  } catch (const CZxException& e) {
    return e.Message();
  }
  return "";
}

bool StartsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

}  // namespace

TEST(CZxString, StartsEmptyWithATerminatedText) {
  CZxString empty;
  EXPECT_STREQ(empty.c_str(), "");
  EXPECT_EQ(empty.length(), 0u);
  EXPECT_EQ(empty.capacity(), 0u);
  CZxString copy("seed");
  EXPECT_STREQ(copy.c_str(), "seed");
  EXPECT_EQ(copy.length(), 4u);
  CZxString fromNull(nullptr);
  EXPECT_STREQ(fromNull.c_str(), "");
}

TEST(CZxString, GrowsToExactlyTheSizeAskedFor) {
  CZxString text;
  EXPECT_EQ(text.GrowthPercent(), 100);
  text.Append("abc");
  EXPECT_EQ(text.capacity(), 4u);  // three bytes and the NUL
  text.Append("de");
  EXPECT_EQ(text.capacity(), 6u);
  EXPECT_STREQ(text.c_str(), "abcde");
  text.Append("xyz", 2);
  EXPECT_STREQ(text.c_str(), "abcdexy");
  EXPECT_EQ(text.length(), 7u);
}

TEST(CZxString, ReserveKeepsTheGivenBytesAndIgnoresSmallerSizes) {
  CZxString text("hello world");
  const unsigned before = text.capacity();
  text.Reserve(before, 3);  // not larger: nothing changes
  EXPECT_STREQ(text.c_str(), "hello world");
  text.Reserve(100, 5);
  EXPECT_EQ(text.capacity(), 100u);
  EXPECT_EQ(text.length(), 5u);
  EXPECT_STREQ(text.c_str(), "hello");
  // keepBytes beyond the old buffer is cut to what the buffer held.
  CZxString small("ab");
  small.Reserve(50, 1000);
  EXPECT_EQ(small.length(), 3u);
  EXPECT_EQ(std::memcmp(small.c_str(), "ab", 3), 0);
}

TEST(CZxString, ClearKeepsTheBuffer) {
  CZxString text("some text");
  const unsigned capacity = text.capacity();
  text.clear();
  EXPECT_STREQ(text.c_str(), "");
  EXPECT_EQ(text.length(), 0u);
  EXPECT_EQ(text.capacity(), capacity);
  text.Append("again");
  EXPECT_STREQ(text.c_str(), "again");
}

TEST(CZxString, AppendsItsOwnTextAcrossAGrowth) {
  CZxString text("0123456789");
  text.Append(text.c_str() + 2, 5);  // the source buffer is freed by the growth
  EXPECT_STREQ(text.c_str(), "012345678923456");
  CZxFixedString<64> fixed("abc");
  fixed.Append(fixed.c_str(), fixed.length());
  EXPECT_STREQ(fixed.c_str(), "abcabc");
}

TEST(CZxString, NullArgumentsAppendNothing) {
  CZxString text("x");
  text.Append(nullptr);
  text.Append(nullptr, 4);
  text.AppendFormat(nullptr);
  text.FormatAt(0, nullptr);
  EXPECT_STREQ(text.c_str(), "x");
}

TEST(CZxStringFormat, AppendsFormattedTextAndGrowsToFit) {
  CZxString text("id=");
  text.AppendFormat("%d/%s/%05.1f", 42, "ok", 2.25);
  EXPECT_STREQ(text.c_str(), "id=42/ok/002.2");
  EXPECT_EQ(text.length(), std::strlen("id=42/ok/002.2"));
  // A result that does not fit grows to offset + result + 1 and is retried.
  CZxString exact;
  exact.AppendFormat("%s", std::string(300, 'q').c_str());
  EXPECT_EQ(exact.capacity(), 301u);
  EXPECT_EQ(exact.length(), 300u);
}

TEST(CZxStringFormat, FormatAtReplacesEverythingFromTheOffset) {
  CZxString text("abcdef");
  text.FormatAt(3, "%d", 42);
  EXPECT_STREQ(text.c_str(), "abc42");
  text.FormatAt(0, "%s", "new");
  EXPECT_STREQ(text.c_str(), "new");
  text.FormatAt(99, "+%c", 'z');  // an offset past the end appends
  EXPECT_STREQ(text.c_str(), "new+z");
}

TEST(CZxStringFormat, KeepsFormattingAfterAGrowthWithTheSameArguments) {
  CZxFixedString<8> text;
  text.AppendFormat("%s-%d-%s", "first", 123456, "third part that needs room");
  EXPECT_STREQ(text.c_str(), "first-123456-third part that needs room");
  EXPECT_TRUE(text.OnHeap());
}

TEST(CZxStringFormat, AnEncodingFailureEndsInAnInternalException) {
  // In the "C" locale a wide character outside ASCII cannot be converted, so
  // vsnprintf fails however large the room; growth doubles up to 0x4000000.
  CZxString text("kept");
  const std::string message = Failure([&] { text.AppendFormat("%ls", L"\u20ac"); });
  EXPECT_TRUE(StartsWith(message, "Internal exception: unexpected vsnprintf failure (ZxString,"))
      << message;
  EXPECT_STREQ(text.c_str(), "kept");
  EXPECT_GE(text.capacity(), 0x4000000u / 2);
  EXPECT_LT(text.capacity(), 0x4000000u);
}

TEST(CZxBufString, WrapsTheCallersBufferAndNeverGrows) {
  char room[8];
  CZxBufString text(room, sizeof room);
  EXPECT_EQ(text.GrowthPercent(), 0);
  text.Append("1234567");  // seven bytes and the NUL fill it
  EXPECT_EQ(text.c_str(), room);
  EXPECT_STREQ(room, "1234567");
  const std::string message = Failure([&] { text.Append("8"); });
  EXPECT_TRUE(StartsWith(message, "String exception: Illegal resize of fixed string (ZxString,"))
      << message;
  EXPECT_STREQ(text.c_str(), "1234567");
  EXPECT_EQ(text.capacity(), 8u);
}

TEST(CZxBufString, AFormattedAppendPastTheEndThrowsAndKeepsTheText) {
  char room[16];
  CZxBufString text(room, sizeof room);
  text.Append("abc");
  EXPECT_FALSE(Failure([&] { text.AppendFormat("%s", "too long for sixteen"); }).empty());
  EXPECT_STREQ(text.c_str(), "abc");
  EXPECT_EQ(text.length(), 3u);
  text.AppendFormat("%d", 12);
  EXPECT_STREQ(text.c_str(), "abc12");
}

TEST(CZxBufString, AZeroOrNullBufferIsEmpty) {
  CZxBufString none(nullptr, 10);
  EXPECT_STREQ(none.c_str(), "");
  EXPECT_EQ(none.capacity(), 0u);
  char one;
  CZxBufString zero(&one, 0);
  EXPECT_STREQ(zero.c_str(), "");
  EXPECT_FALSE(Failure([&] { zero.Append("x"); }).empty());
}

TEST(CZxFixedString, StartsInsideAndMovesToTwiceTheRequest) {
  CZxFixedString<64> text;
  EXPECT_FALSE(text.OnHeap());
  EXPECT_EQ(text.GrowthPercent(), -200);
  text.Append(std::string(60, 'a').c_str());
  EXPECT_FALSE(text.OnHeap());
  EXPECT_EQ(text.capacity(), 64u);
  // Holding 60 bytes and needing 100: a 200-byte heap buffer.
  text.Reserve(100, 60);
  EXPECT_TRUE(text.OnHeap());
  EXPECT_EQ(text.capacity(), 200u);
  EXPECT_EQ(text.GrowthPercent(), 200);
  EXPECT_EQ(std::string(text.c_str()), std::string(60, 'a'));
  // Later growths double the request again and free the old heap buffer.
  text.Append(std::string(200, 'b').c_str());
  EXPECT_EQ(text.capacity(), 2u * 261u);
  EXPECT_EQ(text.length(), 260u);
}

TEST(CZxFixedString, AppendingPastTheInnerBufferDoublesTheNeededSize) {
  CZxFixedString<64> text(std::string(60, 'x').c_str());
  text.Append(std::string(39, 'y').c_str());  // 60 + 39 + NUL = 100
  EXPECT_EQ(text.capacity(), 200u);
  EXPECT_EQ(text.length(), 99u);
}

TEST(CZxStringGrowth, APercentBelowOneHundredIsAnInternalError) {
  for (int percent : {50, -50, 99, -99}) {
    PercentString text(percent);
    const std::string message = Failure([&] { text.Append("x"); });
    EXPECT_TRUE(StartsWith(message, "Internal exception: !(nPercent >= 100) (ZxString,")) << message;
    EXPECT_EQ(text.capacity(), 0u);
  }
}

TEST(CZxStringGrowth, ASizePastThirtyTwoBitsCannotGrow) {
  PercentString text(1000000);
  text.Append("x");  // 2 * 1000000 / 100 bytes is fine
  EXPECT_EQ(text.capacity(), 20000u);
  PercentString huge(1000000);
  const std::string message = Failure([&] { huge.Reserve(0x100000, 0); });
  EXPECT_TRUE(StartsWith(message, "OutOfMemory exception: Unable to grow string (ZxString,")) << message;
}

TEST(CZxStringGrowth, ThrownExceptionsCarryTheirSourceAndKind) {
  char room[4];
  CZxBufString text(room, sizeof room);
  try {
    text.Append("four");
    FAIL() << "no exception";
  } catch (const CZxStringException& e) {
    EXPECT_STREQ(e.File(), "..\\..\\zx\\ZxString");
    EXPECT_STREQ(e.Category(), "String");
    EXPECT_GT(e.Line(), 0);
    EXPECT_EQ(e.ErrorCode(), 0);
  }
}
