#include <cstddef>
#include <cstring>

#include "record/bad_allocation.h"
#include "record/builder_access.h"
#include "record/layout_engine.h"
#include "record/refusal.h"
#include "record/unaligned.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper::detail {
namespace {

using T = ZxVariant::TypeCodes;
using B = BuilderAccess;

constexpr std::uint64_t kMaxBlock = 0xFFFFFFFFu;
constexpr std::uint32_t kHeader = sizeof(ZxVariant);


void AddBytes(std::uint64_t* total, std::uint64_t bytes) {
  *total += bytes;
  if (*total > kMaxBlock) Refuse();
}

ZxVariant* AsNode(char* at) { return reinterpret_cast<ZxVariant*>(at); }

void StoreEntry(char* slot, const char* target) { StoreSlot(slot, Address(target)); }

}  // namespace

std::uint32_t EmbedRecord(const ZxVariant* record, char* at) {
  ZxVariant* node = AsNode(at);
  if (record == nullptr) {
    node->size = kHeader;
    return kHeader;
  }
  std::uint32_t size = record->size;
  std::memcpy(at, record, size);
  Rebase(node, record, node);
  node->next = nullptr;
  return size;
}

// ---- builders ---------------------------------------------------------------

std::uint32_t BuilderWriter::Plan(const ZxvBase& root) {
  struct Item {
    const ZxvBase* builder;
    std::size_t depth;
    bool inChain;  // an entry slot is counted and its siblings follow
  };
  ExplicitStack<Item> pending;
  std::uint64_t total = 0;
  std::size_t deepest = 0;
  if (!pending.Push({&root, 1, false})) ThrowBadAllocation();
  while (!pending.Empty()) {
    Item item = pending.Top();
    pending.Pop();
    const ZxvBase& b = *item.builder;
    if (item.inChain) {
      AddBytes(&total, 8);
      if (const ZxvBase* sibling = B::Next(b)) {
        if (!pending.Push({sibling, item.depth, true})) ThrowBadAllocation();
      }
    }
    if (b.type == TypeEmbeddedRecord) {
      const ZxVariant* embedded = B::Embedded(b);
      AddBytes(&total, embedded ? embedded->size : kHeader);
      continue;
    }
    if (static_cast<std::uint32_t>(b.type) > static_cast<std::uint32_t>(T::Int64)) Refuse();
    if (item.depth > deepest) deepest = item.depth;
    AddBytes(&total, kHeader + TextBytes(b.name.length));
    if (b.type == T::Buffer) AddBytes(&total, b.value.buffer.size);
    if (b.type == T::String) AddBytes(&total, TextBytes(b.value.string.length));
    if (const ZxvBase* attribute = B::FirstAttribute(b)) {
      if (!pending.Push({attribute, item.depth + 1, true})) ThrowBadAllocation();
    }
    if (const ZxvBase* child = B::FirstChild(b)) {
      if (!pending.Push({child, item.depth + 1, true})) ThrowBadAllocation();
    }
  }
  if (!m_stack.Reserve(deepest)) ThrowBadAllocation();
  return static_cast<std::uint32_t>(total);
}

char* BuilderWriter::StartList(Frame& frame, const ZxvBase* first, ZxVariant::List& list,
                               char* cursor) {
  std::uint32_t count = 0;
  for (const ZxvBase* b = first; b != nullptr; b = B::Next(*b)) ++count;
  list.count = count;
  list.items = nullptr;
  frame.child = first;
  frame.previous = nullptr;
  if (count == 0) return cursor;
  list.items = reinterpret_cast<ZxVariant**>(cursor);
  frame.entry = cursor;
  return cursor + 8ull * count;
}

// Header and name of a builder node; opens its frame on the attributes.
char* BuilderWriter::Begin(const ZxvBase& source, char* cursor) {
  ZxVariant* out = AsNode(cursor);
  std::memcpy(cursor, static_cast<const ZxVariant*>(&source), kHeader);
  cursor += kHeader;
  if (source.name.length != 0) {
    std::size_t bytes = TextBytes(source.name.length);
    std::memcpy(cursor, source.name.str, bytes);
    out->name.str = reinterpret_cast<const char16_t*>(cursor);
    cursor += bytes;
  }
  m_stack.PushReserved({&source, out, nullptr, nullptr, nullptr, false});
  return StartList(m_stack.Top(), B::FirstAttribute(source), out->attributes, cursor);
}

char* BuilderWriter::Write(const ZxvBase& root, char* cursor) {
  if (root.type == TypeEmbeddedRecord) return cursor + EmbedRecord(B::Embedded(root), cursor);
  cursor = Begin(root, cursor);
  while (!m_stack.Empty()) {
    Frame& f = m_stack.Top();
    if (f.child != nullptr) {
      const ZxvBase& child = *f.child;
      f.child = B::Next(child);
      StoreEntry(f.entry, cursor);
      f.entry += 8;
      if (f.previous != nullptr) f.previous->next = AsNode(cursor);
      f.previous = AsNode(cursor);
      if (child.type == TypeEmbeddedRecord) {
        cursor += EmbedRecord(B::Embedded(child), cursor);
      } else {
        cursor = Begin(child, cursor);  // f is stale from here on
      }
      continue;
    }
    ZxVariant* out = f.out;
    if (!f.inValues) {
      f.inValues = true;
      const ZxvBase& source = *f.source;
      switch (source.type) {
        case T::Buffer:
          out->value.buffer.data = nullptr;
          if (source.value.buffer.size != 0) {
            std::memcpy(cursor, source.value.buffer.data, source.value.buffer.size);
            out->value.buffer.data = cursor;
            cursor += source.value.buffer.size;
          }
          break;
        case T::String:
          out->value.string.str = nullptr;
          if (source.value.string.length != 0) {
            std::size_t bytes = TextBytes(source.value.string.length);
            std::memcpy(cursor, source.value.string.str, bytes);
            out->value.string.str = reinterpret_cast<const char16_t*>(cursor);
            cursor += bytes;
          }
          break;
        case T::List:
          cursor = StartList(f, B::FirstChild(source), out->value.list, cursor);
          break;
        default:
          break;
      }
      continue;
    }
    out->size = static_cast<std::uint32_t>(cursor - reinterpret_cast<char*>(out));
    m_stack.Pop();
  }
  return cursor;
}

// ---- ItemSpec tables --------------------------------------------------------

std::uint32_t ItemSpecWriter::Plan(const ItemSpec& root) {
  struct Range {
    const ItemSpec* next;
    const ItemSpec* end;
    std::size_t depth;  // list levels above these entries
  };
  ExplicitStack<Range> pending;
  std::uint64_t total = 0;
  std::size_t deepest = 0;
  if (!pending.Push({&root, &root + 1, 0})) ThrowBadAllocation();
  while (!pending.Empty()) {
    Range& range = pending.Top();
    const ItemSpec& item = *range.next++;
    std::size_t depth = range.depth;
    if (range.next == range.end) pending.Pop();
    switch (item.type) {
      case T::Null:
        AddBytes(&total, kHeader);
        break;
      case T::Register:
      case T::Bool:
      case T::Int:
      case T::Float:
      case T::Int64:
        if (item.value == nullptr) Refuse();
        AddBytes(&total, kHeader);
        break;
      case T::Buffer:
        if (item.count != 0 && item.value == nullptr) Refuse();
        AddBytes(&total, kHeader + std::uint64_t{item.count});
        break;
      case T::String: {
        const auto* text = static_cast<const char16_t*>(item.value);
        AddBytes(&total, kHeader + (text ? TextBytes(UnitCount(text)) : 0));
        break;
      }
      case T::List:
        AddBytes(&total, kHeader + 8ull * item.count);
        if (item.count != 0) {
          if (item.value == nullptr) Refuse();
          const auto* children = static_cast<const ItemSpec*>(item.value);
          if (!pending.Push({children, children + item.count, depth + 1})) ThrowBadAllocation();
          if (depth + 1 > deepest) deepest = depth + 1;
        }
        break;
      default:
        if (item.type != TypeEmbeddedRecord) Refuse();
        if (item.value == nullptr) {
          AddBytes(&total, kHeader);
        } else if (LoadU32(item.value) != 0) {
          AddBytes(&total, static_cast<const ZxVariant*>(item.value)->size);
        } else {
          AddBytes(&total, m_builders.Plan(*static_cast<const ZxvBase*>(item.value)));
        }
        break;
    }
  }
  if (!m_stack.Reserve(deepest)) ThrowBadAllocation();
  return static_cast<std::uint32_t>(total);
}

char* ItemSpecWriter::WriteNode(const ItemSpec& item, char* cursor) {
  if (item.type == TypeEmbeddedRecord) {
    if (item.value != nullptr && LoadU32(item.value) == 0) {
      return m_builders.Write(*static_cast<const ZxvBase*>(item.value), cursor);
    }
    return cursor + EmbedRecord(static_cast<const ZxVariant*>(item.value), cursor);
  }
  ZxVariant* out = AsNode(cursor);
  out->type = item.type;
  cursor += kHeader;
  switch (item.type) {
    case T::Register:
    case T::Bool:
    case T::Int:
    case T::Float:
    case T::Int64:
      std::memcpy(reinterpret_cast<char*>(out) + offsetof(ZxVariant, value), item.value,
                  ScalarBytes(item.type));
      break;
    case T::Buffer:
      out->value.buffer.size = item.count;
      if (item.count != 0) {
        std::memcpy(cursor, item.value, item.count);
        out->value.buffer.data = cursor;
        cursor += item.count;
      }
      break;
    case T::String: {
      const auto* text = static_cast<const char16_t*>(item.value);
      std::size_t units = text ? UnitCount(text) : 0;
      if (units != 0) {
        std::memcpy(cursor, text, 2 * units + 2);
        out->value.string.length = static_cast<std::uint32_t>(units);
        out->value.string.str = reinterpret_cast<const char16_t*>(cursor);
        cursor += 2 * units + 2;
      }
      break;
    }
    case T::List:
      out->value.list.count = item.count;
      if (item.count != 0) {
        out->value.list.items = reinterpret_cast<ZxVariant**>(cursor);
        m_stack.PushReserved(
            {static_cast<const ItemSpec*>(item.value), item.count, 0, out, cursor, nullptr});
        return cursor + 8ull * item.count;  // size is set when the children are done
      }
      break;
    default:
      break;
  }
  out->size = static_cast<std::uint32_t>(cursor - reinterpret_cast<char*>(out));
  return cursor;
}

char* ItemSpecWriter::Write(const ItemSpec& root, char* cursor) {
  cursor = WriteNode(root, cursor);
  while (!m_stack.Empty()) {
    Frame& f = m_stack.Top();
    if (f.index == f.count) {
      f.out->size = static_cast<std::uint32_t>(cursor - reinterpret_cast<char*>(f.out));
      m_stack.Pop();
      continue;
    }
    const ItemSpec& child = f.children[f.index];
    StoreEntry(f.entries + 8ull * f.index, cursor);
    ++f.index;
    if (f.previous != nullptr) f.previous->next = AsNode(cursor);
    f.previous = AsNode(cursor);
    cursor = WriteNode(child, cursor);  // f is stale from here on
  }
  return cursor;
}

}  // namespace ZxVariantHelper::detail
