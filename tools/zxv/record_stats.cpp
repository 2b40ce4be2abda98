#include "tools/zxv/record_stats.h"

#include <cstring>
#include <vector>

#include "tools/zxv/zxv_file.h"

namespace zxv {
namespace {

// The type's name as the library spells it ("String", "List", ...).
std::string TypeName(ZxVariant::TypeCodes type) {
  const char16_t* image = ZxVariantHelper::TypeCodeImage(type);
  if (image == nullptr) return "unknown(" + std::to_string(static_cast<std::uint32_t>(type)) + ")";
  return EncodeUtf8(image);
}

// Entry 0 of an entry array.  Entry arrays may lie at any address, so the
// slot is read through memcpy; the slot is 8 bytes with the address in its
// low bytes (little-endian), whatever the pointer width.
const ZxVariant* FirstEntry(const ZxVariant::List& list) {
  if (list.count == 0 || list.items == nullptr) return nullptr;
  std::uint64_t slot;
  std::memcpy(&slot, list.items, sizeof slot);
  return reinterpret_cast<const ZxVariant*>(static_cast<std::uintptr_t>(slot));
}

struct Pending {
  const ZxVariant* node;
  std::uint32_t depth;
  bool attribute;
};

// Queues the `count` members of an entry array: entry 0, then along `next`.
void PushMembers(std::vector<Pending>& stack, const ZxVariant::List& list, std::uint32_t depth,
                 bool attribute) {
  const ZxVariant* member = FirstEntry(list);
  for (std::uint32_t i = 0; i < list.count && member != nullptr; ++i) {
    stack.push_back({member, depth, attribute});
    member = member->next;
  }
}

}  // namespace

RecordStats CollectStats(const ZxVariant* record) {
  RecordStats stats;
  if (record == nullptr) return stats;
  stats.size = record->size;
  std::vector<Pending> stack{{record, 1, false}};
  while (!stack.empty()) {
    Pending current = stack.back();
    stack.pop_back();
    const ZxVariant* node = current.node;
    std::string type = TypeName(node->type);
    if (current.attribute) {
      ++stats.attributes;
      ++stats.attributeTypes[type];
    } else {
      ++stats.nodes;
      ++stats.nodeTypes[type];
      if (node->name.length != 0) ++stats.namedNodes;
      if (current.depth > stats.depth) stats.depth = current.depth;
    }
    // Attributes describe their node; they do not add a level of nesting.
    PushMembers(stack, node->attributes, current.depth, true);
    if (node->type == ZxVariant::TypeCodes::List) {
      PushMembers(stack, node->value.list, current.depth + 1, current.attribute);
    }
  }
  return stats;
}

}  // namespace zxv
