// Laying builder trees and ItemSpec tables out into one block.
//
// Both work in two passes.  Plan() walks the source once, sums the exact
// block size (refusing anything past 0xFFFFFFFF or any unknown type) and
// reserves the walk stack for the deepest nesting it saw, so that Write(),
// which runs once the block is allocated and cleared, cannot fail.  Neither
// pass recurses.
#pragma once

#include <cstddef>
#include <cstdint>

#include "record/explicit_stack.h"
#include "record/value_bytes.h"
#include "zxvariant/builders.h"

namespace ZxVariantHelper::detail {

// Copies a built record (pointer form at its own address) to `at`, rebases
// it there and clears its next; a null record becomes an unnamed 64-byte
// Null node.  `at` points into a cleared block.  Returns the bytes written.
std::uint32_t EmbedRecord(const ZxVariant* record, char* at);

class BuilderWriter {
 public:
  // The size of the block `root` lays out.  Throws a refusal for sizes past
  // 0xFFFFFFFF and unknown types, BadAllocation when out of memory.
  std::uint32_t Plan(const ZxvBase& root);
  // Lays out a tree planned before at `cursor`; returns the end of its block.
  char* Write(const ZxvBase& root, char* cursor);

 private:
  struct Frame {
    const ZxvBase* source;
    ZxVariant* out;
    const ZxvBase* child;   // next child builder of the list being written
    char* entry;            // next entry slot of that list
    ZxVariant* previous;    // output of the previous child, to link to the next
    bool inValues;          // attributes first, then the value list
  };
  char* Begin(const ZxvBase& source, char* cursor);
  char* StartList(Frame& frame, const ZxvBase* first, ZxVariant::List& list, char* cursor);

  ExplicitStack<Frame> m_stack;
};

class ItemSpecWriter {
 public:
  std::uint32_t Plan(const ItemSpec& root);
  char* Write(const ItemSpec& root, char* cursor);

 private:
  struct Frame {
    const ItemSpec* children;
    std::uint32_t count;
    std::uint32_t index;
    ZxVariant* out;
    char* entries;
    ZxVariant* previous;
  };
  // Writes one node; a non-empty list only gets its header and entry array
  // and a frame for its children.
  char* WriteNode(const ItemSpec& item, char* cursor);

  ExplicitStack<Frame> m_stack;
  BuilderWriter m_builders;  // for builders embedded in the table
};

}  // namespace ZxVariantHelper::detail
