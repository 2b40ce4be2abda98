// Merge: one record's content applied to another through two node trees.
#include <string>

#include "tree/node_internal.h"
#include "zxvariant/node_tree.h"
#include "zxvariant/operations.h"

namespace ZxVariantHelper {
namespace {

using T = ZxVariant::TypeCodes;

bool SetsByName(T type) { return type == T::String || type == T::Int; }

}  // namespace

ZxVariant* Merge(const ZxVariant* target, const ZxVariant* source) {
  if (target == nullptr) return nullptr;
  NodeRef into(target);
  NodeRef from(source);
  const std::u16string sourceName = detail::NameKey(from.Get() ? from.Get()->ValueBuilder() : nullptr);

  if (source == nullptr || from.IsList()) {
    const int count = from.Count();
    for (int i = 0; i < count; ++i) {
      NodeRef child = from.Lookup(i);
      const std::u16string name = detail::NameKey(child.Get()->ValueBuilder());
      if (name.empty()) {
        into.Append(child);
      } else if (SetsByName(child.Type()) || from.IsBool()) {
        // Kept on purpose: the Bool test looks at the source root, which is
        // a list here, so a Bool child is appended below, never set.
        into[name.c_str()] = Value(child.Leaf());
      } else {
        into[name.c_str()].Append(child);
      }
    }
  } else if (SetsByName(from.Type()) || from.IsBool()) {
    into[sourceName.c_str()] = Value(from.Leaf());
  }
  return into.Export(nullptr);
}

}  // namespace ZxVariantHelper
