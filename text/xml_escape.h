// The five characters that XML output escapes, shared by every writer.
#pragma once

#include <cstddef>

namespace ZxVariantHelper::detail {

// The entity for `unit` (its length in *size when size is not null), or
// null for every other unit: control characters, "]]>" and characters
// outside the Basic Multilingual Plane pass unchanged.
inline const char16_t* XmlEntity(char16_t unit, std::size_t* size = nullptr) {
  const char16_t* entity;
  std::size_t length;
  switch (unit) {
    case u'"': entity = u"&quot;", length = 6; break;
    case u'&': entity = u"&amp;", length = 5; break;
    case u'\'': entity = u"&apos;", length = 6; break;
    case u'<': entity = u"&lt;", length = 4; break;
    case u'>': entity = u"&gt;", length = 4; break;
    default: return nullptr;
  }
  if (size != nullptr) *size = length;
  return entity;
}

}  // namespace ZxVariantHelper::detail
