#include "platform/clock.h"

namespace ZxVariantHelper::platform {

std::u16string FormatUtcTimestamp(std::time_t when) {
  std::tm broken{};
  if (gmtime_r(&when, &broken) == nullptr) return {};
  // Wide enough for any year an int holds; strftime answers 0 if not.
  char text[64];
  std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &broken);
  // Every unit of this pattern is ASCII, so widening is a plain copy.
  return std::u16string(text, text + length);
}

std::u16string CurrentUtcTimestamp() {
  std::time_t now = std::time(nullptr);
  if (now == static_cast<std::time_t>(-1)) return {};
  return FormatUtcTimestamp(now);
}

}  // namespace ZxVariantHelper::platform
