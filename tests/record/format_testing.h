// Helpers for the byte-level record tests.  Records are unaligned, so raw
// fields are only ever read and written through memcpy at block offsets.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "zxvariant/zxvariant.h"

namespace zxv_format {

using ZxVariantHelper::ZxvBase;

// Header field offsets.
enum : std::size_t {
  kSize = 0, kType = 4, kNameLen = 8, kNameReserved = 12, kNameStr = 16, kValue = 24,
  kValuePtr = 32, kAttrCount = 40, kAttrItems = 48, kNext = 56,
};

inline unsigned char* Raw(const void* p) { return static_cast<unsigned char*>(const_cast<void*>(p)); }
template <class T>
T Get(const void* p, std::size_t off) {
  T v;
  std::memcpy(&v, Raw(p) + off, sizeof v);
  return v;
}
inline std::uint32_t U32(const void* p, std::size_t off) { return Get<std::uint32_t>(p, off); }
inline std::uint64_t U64(const void* p, std::size_t off) { return Get<std::uint64_t>(p, off); }
inline void Put32(void* p, std::size_t off, std::uint32_t v) { std::memcpy(Raw(p) + off, &v, 4); }
inline void Put64(void* p, std::size_t off, std::uint64_t v) { std::memcpy(Raw(p) + off, &v, 8); }
inline std::uint64_t Addr(const void* p, std::size_t off = 0) {
  return reinterpret_cast<std::uintptr_t>(Raw(p) + off);
}

struct BlockDeleter {
  void operator()(ZxVariant* r) const { ZxVariantHelper::Delete(r); }
};
struct BuilderDeleter {
  void operator()(ZxvBase* b) const { ZxVariantHelper::Delete(b); }
};
using Block = std::unique_ptr<ZxVariant, BlockDeleter>;
template <class T>
using Owned = std::unique_ptr<T, BuilderDeleter>;

// Lays a builder tree out into a malloc'd block and destroys the builders.
inline Block Lay(ZxvBase* root) { return Block(Owned<ZxvBase>(root)->BuildNewZxVariant(nullptr)); }
// A byte-for-byte copy of exactly `size` bytes at a fresh address.
inline Block RawCopy(const ZxVariant* r) {
  void* m = std::malloc(r->size);
  std::memcpy(m, r, r->size);
  return Block(static_cast<ZxVariant*>(m));
}
inline std::vector<unsigned char> Image(const ZxVariant* r) { return {Raw(r), Raw(r) + r->size}; }

// Offset of entry i of the value list (kValuePtr) or the attributes
// (kAttrItems) of the node at offset `node` of a pointer-form block.
inline std::size_t Entry(const ZxVariant* b, std::size_t node, std::size_t slot, unsigned i) {
  return U64(b, U64(b, node + slot) - Addr(b) + 8 * i) - Addr(b);
}
inline std::size_t Child(const ZxVariant* b, std::size_t n, unsigned i) { return Entry(b, n, kValuePtr, i); }
inline std::size_t Attr(const ZxVariant* b, std::size_t n, unsigned i) { return Entry(b, n, kAttrItems, i); }

// Every type in one record: List "root" with a String attribute; children
// 0 Int "port", 1 String "host" carrying an Int attribute, 2 a 3-byte Buffer
// "blob" (all later nodes lie at odd offsets), 3 List "inner" {Bool, Float,
// Int64, empty List} carrying a Buffer attribute, 4 Null, 5 Register "reg",
// 6 an empty unnamed Buffer.
inline Block Sample() {
  using namespace ZxVariantHelper;
  ZxvList* root = NewList(u"root");
  root->AppendAttribute(NewString(u"version", u"1.0", 0));
  root->Append(NewInt(u"port", 443));
  root->Append(NewString(u"host", u"example.org", 0))->AppendAttribute(NewInt(u"x", 7));
  root->Append(NewBuffer(u"blob", "\x01\x02\x03", 3));
  ZxvList* inner = NewList(u"inner");
  inner->Append(NewBool(nullptr, true));
  inner->Append(NewFloat(u"f", 2.5));
  inner->Append(NewInt64(u"big", 1LL << 40));
  inner->Append(NewList(u"empty"));
  inner->AppendAttribute(NewBuffer(u"b", "z", 1));
  root->Append(inner);
  root->Append(NewNull(nullptr));
  root->Append(NewRegister(u"reg", reinterpret_cast<void*>(std::uintptr_t{0x1234})));
  root->Append(NewBuffer(nullptr, nullptr, 0));
  return Lay(root);
}

// `depth` List nodes, each the only child of the one before and the last
// one empty, written header by header into a block of the exact size.
inline ZxVariant* MakeDeepList(std::size_t depth, bool zeroBased) {
  const std::size_t total = 64 + 72 * (depth - 1);
  auto* block = static_cast<unsigned char*>(std::calloc(total, 1));
  for (std::size_t i = 0; i < depth; ++i) {
    unsigned char* node = block + 72 * i;
    Put32(node, kSize, static_cast<std::uint32_t>(total - 72 * i));
    Put32(node, kType, 7);
    if (i + 1 == depth) break;
    Put32(node, kValue, 1);
    Put64(node, kValuePtr, zeroBased ? 64 : Addr(node, 64));
    Put64(node, 64, zeroBased ? 72 : Addr(node, 72));
  }
  return reinterpret_cast<ZxVariant*>(block);
}

}  // namespace zxv_format
