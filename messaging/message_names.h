// The names that give a message record its shape, shared by the message class
// and its conversions.
#pragma once

namespace ZxVariantHelper::message_detail {

inline constexpr const char16_t* kMessage = u"Message";
inline constexpr const char16_t* kHeader = u"Header";
inline constexpr const char16_t* kBody = u"Body";
inline constexpr const char16_t* kTag = u"Tag";
inline constexpr const char16_t* kName = u"Name";
inline constexpr const char16_t* kSeverity = u"Severity";
inline constexpr const char16_t* kOrigin = u"Origin";

}  // namespace ZxVariantHelper::message_detail
