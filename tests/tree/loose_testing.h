// Owning handles and small readers shared by the tree tests.
#pragma once

#include <memory>
#include <string>

#include "zxvariant/zxvariant.h"

namespace zxv_testing {

// A loose record, released with everything under it.
struct ReleaseLoose {
  void operator()(ZxVariant* r) const { ZxVariantHelper::BasicUtils::releaseZxVariant(r); }
};
using Loose = std::unique_ptr<ZxVariant, ReleaseLoose>;

// A flat block, freed in one piece.
struct FreeBlock {
  void operator()(ZxVariant* r) const { ZxVariantHelper::Delete(r); }
};
using Flat = std::unique_ptr<ZxVariant, FreeBlock>;

// The text a SmartWcharPtr holds, "<null>" for null.
inline std::u16string Str(const zexora_com::endpoint::string_utils::SmartWcharPtr& s) {
  return s.get() != nullptr ? s.get() : u"<null>";
}

// A record's name, empty when it has none.
inline std::u16string NameOf(const ZxVariant* r) {
  return r != nullptr && r->name.str != nullptr ? std::u16string(r->name.str, r->name.length) : u"";
}

}  // namespace zxv_testing
