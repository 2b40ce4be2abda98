// Owning handles and small readers shared by the tree tests.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "expect_logic_error.h"
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

// A zeroed loose record of `type`.
inline Loose NewLoose(ZxVariant::TypeCodes type) {
  auto* r = static_cast<ZxVariant*>(std::calloc(1, sizeof(ZxVariant)));
  r->type = type;
  return Loose(r);
}

// The flat block a builder makes; the builder is deleted.
inline Flat BuildFlat(ZxVariantHelper::ZxvBase* builder) {
  Flat flat(builder->BuildNewZxVariant(nullptr));
  ZxVariantHelper::Delete(builder);
  return flat;
}

// The text a SmartWcharPtr holds, "<null>" for null.
inline std::u16string Str(const zexora_com::endpoint::string_utils::SmartWcharPtr& s) {
  return s.get() != nullptr ? s.get() : u"<null>";
}

// A record's name, empty when it has none.
inline std::u16string NameOf(const ZxVariant* r) {
  return r != nullptr && r->name.str != nullptr ? std::u16string(r->name.str, r->name.length) : u"";
}

// The names of a List record's direct children, in order.
inline std::vector<std::u16string> ChildNames(const ZxVariant* list) {
  std::vector<std::u16string> names;
  for (const ZxVariant* c = ZxVariantHelper::BasicUtils::findNodeInAList(list, 0); c != nullptr;
       c = c->next) {
    names.push_back(NameOf(c));
  }
  return names;
}


// A root container that logs every change reaching it: "+name" added,
// "-name" removing, "+@name" / "-@name" for attributes, beside the changed
// record and the List (or record) holding it.
class Observed : public ZxVariantHelper::BOProperty::PropertyContainer {
 public:
  using PropertyContainer::PropertyContainer;
  std::vector<std::u16string> log;
  std::vector<ZxVariant*> changed, holders;
  void clear() {
    log.clear();
    changed.clear();
    holders.clear();
  }

 protected:
  void notifyChange(ZxVariant* record, ZxVariant* holder, int kind) override {
    static const char16_t* const kMarks[] = {u"+", u"-", u"+@", u"-@"};
    log.push_back(kMarks[kind] + NameOf(record));
    changed.push_back(record);
    holders.push_back(holder);
    PropertyContainer::notifyChange(record, holder, kind);
  }
};

}  // namespace zxv_testing
