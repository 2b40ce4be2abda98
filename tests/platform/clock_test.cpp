// The platform clock: the UTC timestamp text of events and message headers.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <limits>

#include "platform/clock.h"

namespace {

using ZxVariantHelper::platform::FormatUtcTimestamp;

TEST(Clock, FormatsInstantsInUtcWhateverTheLocalZone) {
  setenv("TZ", "XYZ-09:30", 1);  // far from UTC, with a half-hour offset
  tzset();
  EXPECT_EQ(FormatUtcTimestamp(0), u"1970-01-01T00:00:00Z");
  EXPECT_EQ(FormatUtcTimestamp(951782400), u"2000-02-29T00:00:00Z");
  EXPECT_EQ(FormatUtcTimestamp(-1), u"1969-12-31T23:59:59Z");
  EXPECT_EQ(FormatUtcTimestamp(std::numeric_limits<std::time_t>::max()), u"");
  unsetenv("TZ");
  tzset();
}

}  // namespace
