// A builder tree that lays out to the same record as a built one.
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "record/refusal.h"
#include "record/unaligned.h"
#include "zxvariant/builders.h"

namespace ZxVariantHelper {
namespace {

using T = ZxVariant::TypeCodes;

struct BuilderDeleter {
  void operator()(ZxvBase* b) const { Delete(b); }
};
using OwnedBuilder = std::unique_ptr<ZxvBase, BuilderDeleter>;

// One node's class, name and value, without attributes or children; null
// when the allocation fails.
ZxvBase* NewShallow(const ZxVariant& node) {
  const char16_t* name = node.name.length != 0 ? node.name.str : nullptr;
  switch (node.type) {
    case T::Null: return new (std::nothrow) ZxvNull(name);
    case T::Register: return new (std::nothrow) ZxvRegister(name, node.value.registerValue);
    case T::Bool: return new (std::nothrow) ZxvBool(name, node.value.boolValue != 0);
    case T::Int: return new (std::nothrow) ZxvInt(name, node.value.intValue);
    case T::Float: return new (std::nothrow) ZxvFloat(name, node.value.floatValue);
    case T::Int64: return new (std::nothrow) ZxvInt64(name, node.value.int64Value);
    case T::Buffer:
      return new (std::nothrow) ZxvBuffer(name, node.value.buffer.data,
                                          static_cast<int>(node.value.buffer.size));
    case T::String:
      return new (std::nothrow) ZxvString(name, node.value.string.str,
                                          static_cast<int>(node.value.string.length));
    case T::List: return new (std::nothrow) ZxvList(name);
    default: detail::Refuse();
  }
}

const ZxVariant* Entry(const ZxVariant::List& list, std::uint32_t i) {
  return detail::At<const ZxVariant>(detail::LoadSlot(reinterpret_cast<const char*>(list.items) + 8ull * i));
}

}  // namespace

ZxvBase* NewZxvCopyDeep(const ZxVariant* record) {
  if (record == nullptr) return nullptr;
  OwnedBuilder root(NewShallow(*record));
  if (!root) return nullptr;
  // Each pending pair still needs its source's children and attributes.
  std::vector<std::pair<const ZxVariant*, ZxvBase*>> pending{{record, root.get()}};
  while (!pending.empty()) {
    auto [source, copy] = pending.back();
    pending.pop_back();
    if (source->type == T::List) {
      for (std::uint32_t i = 0; i < source->value.list.count; ++i) {
        const ZxVariant* child = Entry(source->value.list, i);
        OwnedBuilder made(NewShallow(*child));
        if (!made) continue;
        static_cast<ZxvList*>(copy)->Append(made.get());
        pending.emplace_back(child, made.release());
      }
    }
    for (std::uint32_t i = 0; i < source->attributes.count; ++i) {
      const ZxVariant* attribute = Entry(source->attributes, i);
      OwnedBuilder made(NewShallow(*attribute));
      if (!made) continue;
      copy->AppendAttribute(made.get());
      pending.emplace_back(attribute, made.release());
    }
  }
  return root.release();
}

}  // namespace ZxVariantHelper
