// Shared pieces of the node tree's implementation.
#pragma once

#include <cstring>
#include <memory>
#include <string>

#include "record/unaligned.h"
#include "zxvariant/builders.h"
#include "zxvariant/node_tree.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper::detail {

struct BuilderDeleter {
  void operator()(ZxvBase* builder) const { ZxVariantHelper::Delete(builder); }
};
using OwnedBuilder = std::unique_ptr<ZxvBase, BuilderDeleter>;

// A node's name as a key; its units may lie at an odd address in a block.
inline std::u16string NameKey(const ZxVariant* node) {
  if (node == nullptr) return {};
  std::uint32_t length = node->name.length;
  const char16_t* text = node->name.str;
  if (length == 0 || text == nullptr) return {};
  std::u16string key(length, u'\0');
  std::memcpy(key.data(), text, 2 * static_cast<std::size_t>(length));
  return key;
}

// The name to hand to a builder constructor: null when unnamed.
inline const char16_t* NameOrNull(const ZxVariant& node) {
  return node.name.length != 0 ? node.name.str : nullptr;
}

// Calls visit(node) for each entry of an attribute or child list of a source
// record, walking it the way the family seeds.
template <SourceWalk W, typename Visit>
void ForEachEntry(const ZxVariant::List& list, Visit visit) {
  const void* items = list.items;
  if (items == nullptr) return;
  if constexpr (W == SourceWalk::Chains) {
    // Builders keep count 0 and their items slot at the first-member link,
    // so following the chain reads built and loose records and builders.
    for (auto* node = At<const ZxVariant>(LoadSlot(items)); node != nullptr; node = node->next) {
      visit(node);
    }
  } else {
    const std::uint32_t count = list.count;
    for (std::uint32_t i = 0; i < count; ++i) {
      auto* node = At<const ZxVariant>(LoadSlot(static_cast<const char*>(items) + 8ull * i));
      if (node != nullptr) visit(node);
    }
  }
}

}  // namespace ZxVariantHelper::detail
