#include "zxvariant/record.h"

#include "record/unaligned.h"

namespace ZxVariantHelper {
namespace {

const char16_t* const kTypeNames[] = {
    u"Null", u"Register", u"Bool", u"Int", u"Float", u"Buffer", u"String", u"List", u"Int64",
};

// `text` may point into a record, at any address.
bool SameText(const char16_t* text, const char16_t* name) {
  std::size_t i = 0;
  while (detail::LoadUnit(text, i) != 0 && detail::LoadUnit(text, i) == name[i]) ++i;
  return detail::LoadUnit(text, i) == name[i];
}

}  // namespace

const char16_t* TypeCodeImage(ZxVariant::TypeCodes code) {
  auto index = static_cast<std::uint32_t>(code);
  return index < sizeof kTypeNames / sizeof kTypeNames[0] ? kTypeNames[index] : nullptr;
}

ZxVariant::TypeCodes TypeCodeFromString(const char16_t* name) {
  using T = ZxVariant::TypeCodes;
  // Compared in this order; the first exact match wins.
  static const T kOrder[] = {T::Null,  T::Register, T::Bool,   T::Int,  T::Int64,
                             T::Float, T::Buffer,   T::String, T::List};
  if (name == nullptr) return T::Null;
  for (T code : kOrder) {
    if (SameText(name, TypeCodeImage(code))) return code;
  }
  return T::Null;
}

}  // namespace ZxVariantHelper
