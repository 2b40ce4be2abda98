// Builders: assembling records.
//
// Two ways make a record block:
//   * builder objects (ZxvInt, ZxvString, ZxvList, ...) form a tree of heap
//     objects, one per node, each owning copies of its name and value.  A
//     builder lays the whole tree out into one block in two passes: the exact
//     size first, then one front-to-back write into a cleared block.
//   * Build / BuildFromList lay out a caller's static table of ItemSpec
//     entries (unnamed nodes) the same way, without intermediate objects.
//
// Example:
//
//   using namespace ZxVariantHelper;
//   ZxvList* root = NewList(u"server");
//   root->Append(NewString(u"host", u"example.org", 0));
//   root->Append(NewInt(u"port", 443))->AppendAttribute(NewString(u"unit", u"tcp", 0));
//   ZxVariant* record = root->BuildNewZxVariant(nullptr);   // malloc'd block
//   Delete(root);                                           // builders
//   ...
//   Delete(record);                                         // the block
//
// Failures:
//   * a refused operation (an attribute that is unnamed, a list or already in
//     a chain; a child already in a chain; an unsupported type; a record that
//     would pass 0xFFFFFFFF bytes) throws a null ZxvIllegalOperationException*:
//         try { ... } catch (ZxVariantHelper::ZxvIllegalOperationException*) { ... }
//     and leaves the builders unchanged;
//   * builders are allocated by the class's own operator new, which throws a
//     std::bad_alloc whose what() is "bad allocation"; the nothrow forms and
//     the New* functions answer null instead;
//   * a name or value whose copy cannot be allocated silently stays empty.
//
// Thread safety: a builder is single-threaded data; distinct builders may be
// used by distinct threads.  Laying out does not change the builder.
#pragma once

#include <cstddef>
#include <new>

#include "zxvariant/export.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper {

// Thrown, as a null pointer of this type, for every refused builder operation.
class ZXV_EXPORT ZxvIllegalOperationException {};

// The builders' internal type code for an already built record embedded
// whole (ZxvCopy, ItemSpec).  It never appears in a record.
inline constexpr ZxVariant::TypeCodes TypeEmbeddedRecord = static_cast<ZxVariant::TypeCodes>(9);

// The optional allocator of the layout functions; null means malloc.
using ZxvAllocator = void* (*)(unsigned int size);

struct BuilderAccess;

// The base of every builder.  A builder begins with a node header in exactly
// the record's shape, so views read it like a node:
//   size 0 (how readers tell a builder from a built node); name and value
//   own heap copies; a list's items slot points at the builder's first-child
//   field and an attribute list's at its first-attribute field, with both
//   counts 0; next links the builder into its owning chain.
class ZXV_EXPORT ZxvBase : public ZxVariant {
 public:
  ~ZxvBase();
  ZxvBase(const ZxvBase&) = delete;
  ZxvBase& operator=(const ZxvBase&) = delete;

  // Replaces the name; null or empty leaves the node unnamed.
  void SetName(const char16_t* name);
  // The same from UTF-8 text (ill-formed sequences become U+FFFD).
  void SetName(const char* utf8Name);

  // Appends a named, non-list builder that is in no chain to the attributes.
  // For an embedded record (ZxvCopy) the record's name and type are tested.
  // Returns the attribute; refusals throw a null ZxvIllegalOperationException*.
  ZxvBase* AppendAttribute(ZxvBase* attribute);

  // Lays the tree out into a block from `alloc` (malloc when null); null when
  // the allocation fails.  Free a malloc'd block with Delete(ZxVariant*).
  ZxVariant* BuildNewZxVariant(ZxvAllocator alloc = nullptr) const;
  // Stores the size in *needed; returns null and writes nothing when it
  // exceeds capacity, else clears that many bytes, lays out and returns buffer.
  ZxVariant* BuildZxVariantInPlace(void* buffer, unsigned int capacity, unsigned int* needed) const;

  // The exact size of the block this builder lays out.
  unsigned int ComputeZxVariantSize() const;

  static void* operator new(std::size_t size);
  static void* operator new[](std::size_t size);
  static void* operator new(std::size_t size, const std::nothrow_t&) noexcept;
  static void* operator new[](std::size_t size, const std::nothrow_t&) noexcept;
  static void operator delete(void* block) noexcept;
  static void operator delete[](void* block) noexcept;
  static void operator delete(void* block, const std::nothrow_t&) noexcept;
  static void operator delete[](void* block, const std::nothrow_t&) noexcept;

 protected:
  ZxvBase(ZxVariant::TypeCodes type, const char16_t* name);
  // Copies a text into the value's String slot (see ZxvString).
  void StoreString(const char16_t* text, int length);
  // Frees whatever value this builder owns and clears the value area.
  void ReleaseValue();

 private:
  friend struct BuilderAccess;
  friend class ZxvList;

  ZxvBase* m_firstAttribute = nullptr;
  ZxvBase* m_lastAttribute = nullptr;
};

class ZXV_EXPORT ZxvNull : public ZxvBase {
 public:
  explicit ZxvNull(const char16_t* name = nullptr);
};

class ZXV_EXPORT ZxvRegister : public ZxvBase {
 public:
  ZxvRegister(const char16_t* name, void* value);
  void* GetValue() const;
  void SetValue(void* value);
};

class ZXV_EXPORT ZxvBool : public ZxvBase {
 public:
  ZxvBool(const char16_t* name, bool value);
  bool GetValue() const;
  void SetValue(bool value);
};

class ZXV_EXPORT ZxvInt : public ZxvBase {
 public:
  ZxvInt(const char16_t* name, int value);
  int GetValue() const;
  void SetValue(int value);
};

class ZXV_EXPORT ZxvInt64 : public ZxvBase {
 public:
  ZxvInt64(const char16_t* name, long long value);
  long long GetValue() const;
  void SetValue(long long value);
};

class ZXV_EXPORT ZxvFloat : public ZxvBase {
 public:
  ZxvFloat(const char16_t* name, double value);
  double GetValue() const;
  void SetValue(double value);
};

// A copy of `size` bytes; nothing when data is null or size is not positive.
class ZXV_EXPORT ZxvBuffer : public ZxvBase {
 public:
  ZxvBuffer(const char16_t* name, const void* data, int size);
  const ZxVariant::Buffer& GetValue() const;
  void SetValue(const void* data, int size);
};

// String values: a null text or one starting with NUL is the empty string.
// length 0 (or negative) copies up to the NUL; a positive length copies
// exactly that many units, even past an earlier NUL, and appends a NUL.
class ZXV_EXPORT ZxvString : public ZxvBase {
 public:
  ZxvString(const char16_t* name, const char16_t* text, int length = 0);
  const ZxVariant::String& GetValue() const;
  void SetValue(const char16_t* text, int length = 0);
  // Adopts a malloc'd text with the given length instead of copying it; a
  // null or empty text leaves the value empty (and is not freed).  A negative
  // length counts the units before the NUL.
  void TakeValue(char16_t* text, int length);
};

// A String from UTF-8 text; ill-formed sequences become U+FFFD.
class ZXV_EXPORT ZxvStringFromUtf8 : public ZxvString {
 public:
  ZxvStringFromUtf8(const char16_t* name, const char* utf8Text);
};

// A scalar or String of a type chosen at run time, read through `value`:
// Register a void*, Bool 1 byte, Int 4 bytes, Float a double, Int64 8 bytes,
// String a NUL-terminated text, Null nothing.  Buffer, List and unknown codes
// are refused.
class ZXV_EXPORT ZxvAny : public ZxvBase {
 public:
  ZxvAny(const char16_t* name, ZxVariant::TypeCodes type, const void* value);
  // The address of the stored value area.
  const void* GetValue() const;
  void SetValue(ZxVariant::TypeCodes type, const void* value);
};

class ZXV_EXPORT ZxvList : public ZxvBase {
 public:
  // `first`, when not null, becomes the only child; it must be in no chain.
  explicit ZxvList(const char16_t* name, ZxvBase* first = nullptr);
  // Destroys all children and makes `child` (may be null) the only one.
  void SetValue(ZxvBase* child);
  // Adds a child that is in no chain; returns it.
  ZxvBase* Append(ZxvBase* child);
  bool IsEmpty() const;

 private:
  friend struct BuilderAccess;
  friend class ZxvBase;

  ZxvBase* m_firstChild = nullptr;
  ZxvBase* m_lastChild = nullptr;
};

// Embeds a private copy of a whole built record (pointer form).  The builder
// has no name of its own in the layout; the copy's next is cleared there.
// A null record, or a copy that cannot be allocated, lays out as an unnamed
// 64-byte Null node.
class ZXV_EXPORT ZxvCopy : public ZxvBase {
 public:
  explicit ZxvCopy(const ZxVariant* record);
  const ZxVariant* GetValue() const;
};

// A one-node copy of a record: its type, name and value, never its
// attributes or children.  A List, an unknown type or a null record is refused.
class ZXV_EXPORT ZxvCopyImproper : public ZxvBase {
 public:
  explicit ZxvCopyImproper(const ZxVariant* record);
};

// Each allocates one builder (nothrow) and constructs it; null only when the
// allocation fails.
ZXV_EXPORT ZxvNull* NewNull(const char16_t* name);
ZXV_EXPORT ZxvRegister* NewRegister(const char16_t* name, void* value);
ZXV_EXPORT ZxvBool* NewBool(const char16_t* name, bool value);
ZXV_EXPORT ZxvInt* NewInt(const char16_t* name, int value);
ZXV_EXPORT ZxvInt64* NewInt64(const char16_t* name, long long value);
ZXV_EXPORT ZxvFloat* NewFloat(const char16_t* name, double value);
ZXV_EXPORT ZxvBuffer* NewBuffer(const char16_t* name, const void* data, int size);
ZXV_EXPORT ZxvString* NewString(const char16_t* name, const char16_t* text, int length);
ZXV_EXPORT ZxvList* NewList(const char16_t* name);
// A builder tree equal to a built record (pointer form): every node with its
// name, value, attributes and children.  Null for a null record.
ZXV_EXPORT ZxvBase* NewZxvCopyDeep(const ZxVariant* record);
// Destroys a builder with all it owns; null is ignored.
ZXV_EXPORT void Delete(ZxvBase* builder);

// One entry of a static build table.  By type, `value` points to:
//   Null: nothing; Register: a void*; Bool: a bool; Int: an int;
//   Float: a double; Int64: a long long; Buffer: `count` bytes;
//   String: a NUL-terminated text (count unused);
//   List: an array of `count` child entries;
//   TypeEmbeddedRecord: a built record (first word not 0), copied whole, or a
//   ZxvBase builder (first word 0), laid out as such; null gives a 64-byte
//   Null node.
// Nodes made from ItemSpec entries have no names.
struct ItemSpec {
  ZxVariant::TypeCodes type;
  const void* value;
  unsigned int count;
};

// Lays out an ItemSpec tree.  Each entry point compares the bytes written
// with the size it computed and throws a null ZxvIllegalOperationException*
// on a mismatch.
class ZXV_EXPORT Build {
 public:
  explicit Build(const ItemSpec* root) : m_root(root) {}

  // 0 when the root is null.
  unsigned int CalculateZxVariantSize() const;
  ZxVariant* BuildNewZxVariant(ZxvAllocator alloc = nullptr) const;
  // With a null root: *needed = 0 and null.
  ZxVariant* BuildZxVariantInPlace(void* buffer, unsigned int capacity, unsigned int* needed) const;
  // Lays out into a buffer of `size` bytes that the caller sized with
  // CalculateZxVariantSize().  A different size is refused; a smaller buffer
  // is never written.  Null root: null.
  ZxVariant* BuildZxVariant(char* buffer, unsigned int size) const;

 protected:
  const ItemSpec* m_root;
};

// A Build whose root is a List over the caller's array of `count` entries.
class ZXV_EXPORT BuildFromList : public Build {
 public:
  BuildFromList(const ItemSpec* items, unsigned int count);
  BuildFromList(const BuildFromList& other);
  BuildFromList& operator=(const BuildFromList& other);

 private:
  ItemSpec m_list;
};

}  // namespace ZxVariantHelper

// The same builder family under its second name.
namespace ZxVariantHelperNative {
using ZxVariantHelper::Build;
using ZxVariantHelper::BuildFromList;
using ZxVariantHelper::Delete;
using ZxVariantHelper::ItemSpec;
using ZxVariantHelper::NewBool;
using ZxVariantHelper::NewBuffer;
using ZxVariantHelper::NewFloat;
using ZxVariantHelper::NewInt;
using ZxVariantHelper::NewInt64;
using ZxVariantHelper::NewList;
using ZxVariantHelper::NewNull;
using ZxVariantHelper::NewRegister;
using ZxVariantHelper::NewString;
using ZxVariantHelper::NewZxvCopyDeep;
using ZxVariantHelper::TypeEmbeddedRecord;
using ZxVariantHelper::ZxvAllocator;
using ZxVariantHelper::ZxvAny;
using ZxVariantHelper::ZxvBase;
using ZxVariantHelper::ZxvBool;
using ZxVariantHelper::ZxvBuffer;
using ZxVariantHelper::ZxvCopy;
using ZxVariantHelper::ZxvCopyImproper;
using ZxVariantHelper::ZxvFloat;
using ZxVariantHelper::ZxvIllegalOperationException;
using ZxVariantHelper::ZxvInt;
using ZxVariantHelper::ZxvInt64;
using ZxVariantHelper::ZxvList;
using ZxVariantHelper::ZxvNull;
using ZxVariantHelper::ZxvRegister;
using ZxVariantHelper::ZxvString;
using ZxVariantHelper::ZxvStringFromUtf8;
}  // namespace ZxVariantHelperNative
