// The wall clock, read in UTC and written as the timestamp text that events
// and message headers carry: "%Y-%m-%dT%H:%M:%SZ", e.g. "2024-03-01T12:05:09Z".
//
// Part of the platform layer, the only code that calls the operating system
// (time, gmtime_r, strftime); everything above it asks here.  Internal to the
// library; the functions are exported only so that the tests can reach them.
//
// Results never depend on the process locale or time zone.  Both functions
// are thread-safe (gmtime_r keeps no shared state).
#pragma once

#include <ctime>
#include <string>

#include "zxvariant/export.h"

namespace ZxVariantHelper::platform {

// `when` (seconds since 1970-01-01 UTC) as "%Y-%m-%dT%H:%M:%SZ"; the empty
// text when the time cannot be broken down (a year beyond what struct tm
// holds).
ZXV_EXPORT std::u16string FormatUtcTimestamp(std::time_t when);

// The current time in the same form; the empty text when the clock cannot be
// read.
ZXV_EXPORT std::u16string CurrentUtcTimestamp();

}  // namespace ZxVariantHelper::platform
