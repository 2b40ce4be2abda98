// Helpers shared by the builder, ItemSpec and view tests.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <ostream>
#include <string>

#include "zxvariant/zxvariant.h"

namespace zxv_testing {

using ZxVariantHelper::ZxvBase;

struct BuilderDeleter {
  void operator()(ZxvBase* builder) const { ZxVariantHelper::Delete(builder); }
};
struct RecordDeleter {
  void operator()(ZxVariant* record) const { ZxVariantHelper::Delete(record); }
};
template <class T>
using Owned = std::unique_ptr<T, BuilderDeleter>;
using Record = std::unique_ptr<ZxVariant, RecordDeleter>;

inline Record Lay(const ZxvBase& builder) { return Record(builder.BuildNewZxVariant(nullptr)); }

// Record text may sit at odd addresses, so it is only ever read with memcpy.
inline std::u16string UnitsAt(const void* at, std::size_t count) {
  std::u16string units(count, u'\0');
  if (count != 0) std::memcpy(units.data(), at, count * sizeof(char16_t));
  return units;
}
inline std::u16string TextAt(const void* at) {
  std::u16string text;
  if (at == nullptr) return text;
  for (const char* p = static_cast<const char*>(at);; p += sizeof(char16_t)) {
    char16_t unit;
    std::memcpy(&unit, p, sizeof unit);
    if (unit == 0) return text;
    text.push_back(unit);
  }
}
// A string slot's units plus the terminator that must follow them.
inline std::u16string StoredString(const ZxVariant::String& s) {
  return s.str == nullptr ? std::u16string() : UnitsAt(s.str, s.length + 1u);
}

// A record touching every type: an odd-length Buffer first (so every later
// node lies at an odd address), attributes on the root and on two Strings
// (scalars carrying attributes would fail the structural check), a nested
// list and a String whose stored length runs past an embedded NUL.
inline Owned<ZxVariantHelper::ZxvList> MakeRichTree() {
  using namespace ZxVariantHelper;
  Owned<ZxvList> root(NewList(u"root"));
  root->AppendAttribute(NewString(u"kind", u"demo", 0));
  root->Append(NewBuffer(u"blob", "\x01\x02\x03", 3));
  root->Append(NewInt(u"port", 8080));
  root->Append(NewString(u"host", u"example.org", 0))->AppendAttribute(NewString(u"role", u"primary", 0));
  root->Append(NewString(u"backup", u"example.net", 0))
      ->AppendAttribute(NewString(u"role", u"secondary", 0));
  auto* inner = static_cast<ZxvList*>(root->Append(NewList(u"inner")));
  inner->Append(NewBool(u"on", true));
  inner->Append(NewInt64(u"big", 1LL << 40));
  root->Append(NewFloat(u"ratio", 0.5));
  root->Append(NewRegister(u"reg", reinterpret_cast<void*>(std::uintptr_t{0x1122334455667788})));
  root->Append(NewNull(u"nothing"));
  root->Append(NewString(u"raw", u"a\0b", 3));
  return root;
}
inline constexpr int kRichChildren = 9;

}  // namespace zxv_testing

namespace ZxVariantHelper {
// Readable failure messages for string views (non-ASCII units as \uXXXX).
inline void PrintTo(const ZxvStringView& view, std::ostream* os) {
  *os << '"';
  for (char16_t unit : zxv_testing::UnitsAt(view.str, view.str ? view.length : 0)) {
    if (unit >= 0x20 && unit < 0x7F) {
      *os << static_cast<char>(unit);
    } else {
      *os << "\\u" << std::hex << static_cast<unsigned>(unit) << std::dec;
    }
  }
  *os << "\" (" << view.length << ')';
}
}  // namespace ZxVariantHelper
