// Shared helpers of the record tests.  Nothing in a block is aligned, so raw
// fields and record text are only ever read and written through memcpy.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "zxvariant/zxvariant.h"

namespace zxt {

using namespace ZxVariantHelper;
using T = ZxVariant::TypeCodes;
using Refusal = ZxvIllegalOperationException*;

// Header field offsets.
enum : std::size_t {
  kSize = 0, kType = 4, kNameLen = 8, kNameReserved = 12, kNameStr = 16, kValue = 24,
  kValuePtr = 32, kAttrCount = 40, kAttrItems = 48, kNext = 56,
};

struct Free {
  void operator()(ZxvBase* b) const { ZxVariantHelper::Delete(b); }
  void operator()(ZxVariant* r) const { ZxVariantHelper::Delete(r); }
};
template <class B>
using Owned = std::unique_ptr<B, Free>;
using Block = std::unique_ptr<ZxVariant, Free>;

// Lays a builder out; the pointer overload also destroys the builder.
inline Block Lay(const ZxvBase& b) { return Block(b.BuildNewZxVariant(nullptr)); }
inline Block Lay(ZxvBase* b) { return b ? Lay(*Owned<ZxvBase>(b)) : nullptr; }

inline unsigned char* Raw(const void* p) { return static_cast<unsigned char*>(const_cast<void*>(p)); }
template <class V>
V Get(const void* p, std::size_t off = 0) {
  V v;
  std::memcpy(&v, Raw(p) + off, sizeof v);
  return v;
}
inline std::uint32_t U32(const void* p, std::size_t off) { return Get<std::uint32_t>(p, off); }
inline std::uint64_t U64(const void* p, std::size_t off) { return Get<std::uint64_t>(p, off); }
inline void Put32(void* p, std::size_t off, std::uint32_t v) { std::memcpy(Raw(p) + off, &v, 4); }
inline void Put64(void* p, std::size_t off, std::uint64_t v) { std::memcpy(Raw(p) + off, &v, 8); }
inline std::uint64_t Addr(const void* p, std::size_t off = 0) { return reinterpret_cast<std::uintptr_t>(Raw(p) + off); }

// A byte copy of exactly `size` bytes at a fresh address (ASan sees overreads).
inline Block RawCopy(const ZxVariant* r) {
  void* m = std::malloc(r->size);
  std::memcpy(m, r, r->size);
  return Block(static_cast<ZxVariant*>(m));
}
inline std::vector<unsigned char> Image(const ZxVariant* r) { return {Raw(r), Raw(r) + r->size}; }

// Offset of entry i of the children (kValuePtr) or attributes (kAttrItems) of
// the node at offset n of a pointer-form block.
inline std::size_t Entry(const ZxVariant* b, std::size_t n, std::size_t slot, unsigned i) {
  return U64(b, U64(b, n + slot) - Addr(b) + 8 * i) - Addr(b);
}
inline std::size_t Child(const ZxVariant* b, std::size_t n, unsigned i) { return Entry(b, n, kValuePtr, i); }
inline std::size_t Attr(const ZxVariant* b, std::size_t n, unsigned i) { return Entry(b, n, kAttrItems, i); }

inline std::u16string Units(const void* at, std::size_t count) {
  std::u16string s(count, u'\0');
  if (count != 0) std::memcpy(s.data(), at, 2 * count);
  return s;
}
// A view's text, and a string slot's units plus the terminator that must follow.
inline std::u16string S(const ZxvStringView& v) { return v.str ? Units(v.str, v.length) : u""; }
inline std::u16string Stored(const ZxVariant::String& s) { return s.str ? Units(s.str, s.length + 1u) : u""; }
inline char16_t* HeapText(const std::u16string& s) {
  return static_cast<char16_t*>(std::memcpy(std::malloc(2 * s.size() + 2), s.c_str(), 2 * s.size() + 2));
}

// An allocator that counts its calls and remembers the size asked for.
inline unsigned g_calls = 0, g_size = 0;
inline void* CountingAlloc(unsigned size) { return ++g_calls, g_size = size, std::malloc(size); }

inline void* const kReg = reinterpret_cast<void*>(std::uintptr_t{0x1122334455667788});

// A new List builder holding `items`.
inline ZxvList* ListOf(const char16_t* name, std::initializer_list<ZxvBase*> items) {
  ZxvList* list = NewList(name);
  for (ZxvBase* item : items) list->Append(item);
  return list;
}

// Every type in one record.  List "root" with String attribute kind=demo;
// children 0 Buffer "blob" of 3 bytes (every later node lies at an odd
// address), 1 Int "port", 2 String "host" and 3 String "backup" each with a
// String attribute "role", 4 List "inner" {Bool, Int64, Float, empty List}
// with a Buffer attribute, 5 Register "reg", 6 unnamed Null, 7 String "raw"
// stored past an embedded NUL, 8 an unnamed empty Buffer.
inline constexpr int kSampleChildren = 9;
inline Owned<ZxvList> SampleTree() {
  Owned<ZxvList> root(NewList(u"root"));
  root->AppendAttribute(NewString(u"kind", u"demo", 0));
  root->Append(NewBuffer(u"blob", "\x01\x02\x03", 3));
  root->Append(NewInt(u"port", 8080));
  root->Append(NewString(u"host", u"example.org", 0))->AppendAttribute(NewString(u"role", u"primary", 0));
  root->Append(NewString(u"backup", u"example.net", 0))->AppendAttribute(NewString(u"role", u"secondary", 0));
  ZxvList* inner = NewList(u"inner");
  inner->Append(NewBool(u"on", true));
  inner->Append(NewInt64(u"big", 1LL << 40));
  inner->Append(NewFloat(u"f", 0.5));
  inner->Append(NewList(u"empty"));
  inner->AppendAttribute(NewBuffer(u"b", "z", 1));
  root->Append(inner);
  root->Append(NewRegister(u"reg", kReg));
  root->Append(NewNull(nullptr));
  root->Append(NewString(u"raw", u"a\0b", 3));
  root->Append(NewBuffer(nullptr, nullptr, 0));
  return root;
}
inline Block Sample() { return Lay(*SampleTree()); }

// A random builder tree: a List at the root three times in four, Lists at
// depths 1-2 two times in three, each holding up to four nodes, scalars of
// every type, names from a set that repeats a name, differs in case only and
// holds markup, a format and non-ASCII text, Buffers of 0-5 bytes (most nodes
// lie at odd addresses) and up to two named scalar attributes.  With `loose`,
// only what a loose copy keeps and compares equal: no Register, and attributes
// on Lists only.
inline ZxvBase* RandomTree(std::mt19937& rng, bool loose = false, int depth = 0) {
  static const char16_t* const kNames[] = {nullptr, u"a", u"A", u"x", u"x", u"7up", u"<&'\">", u"%d", u"Id",
                                           u"ReadOnly", u"long name \u00e9\u4e2d\U0001F600"};
  static const char16_t* const kTexts[] = {u"", u"x<y & 'z'", u"\u00e9\U0001F600"};
  const char16_t* name = kNames[rng() % std::size(kNames)];
  const unsigned char bytes[5] = {static_cast<unsigned char>(rng()), 0xAB, 0, 7, 0xFF};
  ZxvBase* node = nullptr;
  if (depth >= 0 && depth < 3 && rng() % (depth == 0 ? 4 : 3) != 0) {
    ZxvList* list = NewList(name);
    for (unsigned n = rng() % 5; n != 0; --n) list->Append(RandomTree(rng, loose, depth + 1));
    node = list;
  } else {
    const unsigned type = rng() % 8;
    switch (loose && type == 1 ? 0 : type) {
      case 0: node = NewNull(name); break;
      case 1: node = NewRegister(name, reinterpret_cast<void*>(std::uintptr_t{rng()} << 20)); break;
      case 2: node = NewBool(name, rng() % 2 != 0); break;
      case 3: node = NewInt(name, static_cast<int>(rng())); break;
      case 4: node = NewFloat(name, static_cast<int>(rng()) / 7.0); break;
      case 5: node = NewInt64(name, static_cast<long long>(rng()) << 24); break;
      case 6: node = NewBuffer(name, bytes, static_cast<int>(rng() % 6)); break;
      default: node = NewString(name, kTexts[rng() % 3], 0); break;
    }
  }
  for (unsigned n = depth < 0 || (loose && node->type != T::List) ? 0 : rng() % 3; n != 0; --n) {
    ZxvBase* attribute = RandomTree(rng, loose, -1);
    if (attribute->name.length == 0) attribute->SetName(u"encoding");
    node->AppendAttribute(attribute);
  }
  return node;
}

// `depth` List nodes, each the only child of the one before, written header
// by header into a block of the exact size.
inline Block DeepList(std::size_t depth, bool zeroBased) {
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
  return Block(reinterpret_cast<ZxVariant*>(block));
}

}  // namespace zxt
