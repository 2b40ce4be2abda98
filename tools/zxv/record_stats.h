// Counting what a record holds, for `zxv stat`.
#pragma once

#include <zxvariant/record.h>

#include <cstdint>
#include <map>
#include <string>

namespace zxv {

struct RecordStats {
  std::uint32_t size = 0;         // the block's size word, in bytes
  std::uint64_t nodes = 0;        // the root and every child, attributes not included
  std::uint64_t attributes = 0;   // nodes reached through an attribute list
  std::uint32_t depth = 0;        // levels of nesting: the root alone is 1
  std::uint64_t namedNodes = 0;   // nodes (not attributes) that carry a name
  std::map<std::string, std::uint64_t> nodeTypes;       // type name -> nodes
  std::map<std::string, std::uint64_t> attributeTypes;  // type name -> attributes
};

// Walks a checked, pointer-form record without recursion, so any depth that
// the structure check accepts is counted without exhausting the stack.
RecordStats CollectStats(const ZxVariant* record);

}  // namespace zxv
