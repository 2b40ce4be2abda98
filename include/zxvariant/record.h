// The ZxVariant record: one typed, optionally named value tree in one block.
//
// A record is a tree of nodes laid out in a single contiguous block whose
// first word is the block's byte size.  Every node starts with the same
// 64-byte header; names, attribute and child entry arrays, children and value
// payloads follow it inside the block, so a record is copied with one memcpy,
// freed with one free() and sent between processes as a flat byte string.
//
// Pointer slots exist in two forms:
//   * pointer form  - every slot holds an absolute address in this process;
//   * zero-based    - every slot holds the distance from the first byte of
//                     the node that contains the slot (entries of an entry
//                     array: from the node that owns the list).  The distance
//                     sits in the slot's low 32 bits, the high 32 bits are 0,
//                     so zero-based blocks are position-independent and byte
//                     for byte the same on 32-bit and 64-bit peers.
// 0 means "null" in both forms.
//
// Nothing in a block is aligned: a Buffer of odd length leaves the following
// node at an odd address.  The structures below are therefore packed, and
// code that reads a record must not assume alignment of any field.
//
// Example:
//
//   ZxVariantHelper::ZxvList list(u"config");
//   list.Append(ZxVariantHelper::NewInt(u"port", 8080));
//   ZxVariant* record = list.BuildNewZxVariant(nullptr);   // pointer form
//   ZxVariantHelper::RebaseToZero(record);                 // ready to send
//   bool ok = ZxVariantHelper::ValidateZero(record);       // receiver's check
//   ZxVariantHelper::RebaseFromZero(record);               // usable again
//   ZxVariantHelper::Delete(record);
//
// Thread safety: a record is plain memory with no lock.  Any number of
// threads may read one record; rebasing rewrites it in place and must not
// overlap any other use of the same block.
#pragma once

#include <cstdint>

#include "zxvariant/export.h"

// One node header.  Byte layout (little-endian, no padding):
//
//   offset width field
//   0      u32   size              bytes of this node's whole block
//   4      u32   type              TypeCodes
//   8      u32   name.length       UTF-16 units, NUL not counted; 0 = unnamed
//   12     u32   name.reserved     0
//   16     ptr8  name.str          NUL-terminated UTF-16, null when unnamed
//   24     16    value             by type, see Value
//   40     u32   attributes.count
//   44     u32   attributes.reserved
//   48     ptr8  attributes.items  entry array of 8-byte slots
//   56     ptr8  next              next sibling in the owning list, or null
struct ZXV_EXPORT __attribute__((packed)) ZxVariant {
  enum class TypeCodes : std::uint32_t {
    Null = 0,
    Register = 1,
    Bool = 2,
    Int = 3,
    Float = 4,
    Buffer = 5,
    String = 6,
    List = 7,
    Int64 = 8,
  };

  // The three 16-byte shapes: a count, a reserved word and a pointer slot.
  struct __attribute__((packed)) String {
    std::uint32_t length;  // UTF-16 units, terminator not counted
    std::uint32_t reserved;
    const char16_t* str;   // length + 1 units (with the NUL), or null
  };
  struct __attribute__((packed)) Buffer {
    std::uint32_t size;  // bytes
    std::uint32_t reserved;
    const void* data;    // null when size is 0
  };
  struct __attribute__((packed)) List {
    std::uint32_t count;
    std::uint32_t reserved;
    ZxVariant** items;   // count 8-byte entries, each the address of a node
  };

  // The value area at offset 24.
  union __attribute__((packed)) Value {
    void* registerValue;  // Register: a pointer-sized opaque value
    std::uint8_t boolValue;  // Bool: one byte, any non-zero value is true
    std::int32_t intValue;
    double floatValue;
    std::int64_t int64Value;
    Buffer buffer;
    String string;
    List list;
  };

  std::uint32_t size;
  TypeCodes type;
  String name;
  Value value;
  List attributes;
  ZxVariant* next;
};

static_assert(sizeof(ZxVariant) == 64, "the node header is 64 bytes");
static_assert(sizeof(void*) == 8 || sizeof(void*) == 4, "8-byte pointer slots");

namespace ZxVariantHelper {

// A node in zero-based form.  Same 64 bytes as ZxVariant, but every pointer
// slot holds a distance from this node (entry arrays: from the owning node).
// The accessors translate distances into addresses; they do not check the
// type, so callers test Type() first.  ValueListIndex and AttributesIndex
// read the entry array in 4-byte steps: entry k is at index 2k and odd
// indexes read the zero high word of an entry (null).
struct ZXV_EXPORT __attribute__((packed)) ZxVariantZ {
  struct __attribute__((packed)) Slot {
    std::uint32_t count;
    std::uint32_t reserved;
    std::uint64_t distance;
  };

  std::uint32_t size;
  ZxVariant::TypeCodes type;
  Slot name;
  union __attribute__((packed)) {
    void* registerValue;
    std::uint8_t boolValue;
    std::int32_t intValue;
    double floatValue;
    std::int64_t int64Value;
    Slot slot;
  } value;
  Slot attributes;
  std::uint64_t next;

  std::uint32_t Size() const { return size; }
  ZxVariant::TypeCodes Type() const { return type; }
  std::uint32_t NameLen() const { return name.count; }
  const char16_t* NameStr() const;
  bool ValueBool() const { return value.boolValue != 0; }
  int ValueInt() const { return value.intValue; }
  double ValueFloat() const { return value.floatValue; }
  long long ValueInt64() const { return value.int64Value; }
  void* ValueRegister() const { return value.registerValue; }
  std::uint32_t ValueBufferLen() const { return value.slot.count; }
  const void* ValueBufferBuf() const;
  std::uint32_t ValueStringLen() const { return value.slot.count; }
  const char16_t* ValueStringStr() const;
  std::uint32_t ValueListLen() const { return value.slot.count; }
  const ZxVariantZ* ValueListIndex(int index) const;
  std::uint32_t AttributesLen() const { return attributes.count; }
  const ZxVariantZ* AttributesIndex(int index) const;
  const ZxVariantZ* Next() const;
};

static_assert(sizeof(ZxVariantZ) == 64, "the zero-based header is 64 bytes");

// A received or stored block in zero-based form, typed for the accessors.
inline const ZxVariantZ* AsZeroBased(const ZxVariant* block) {
  return reinterpret_cast<const ZxVariantZ*>(block);
}

// Converts every pointer slot of the tree from the form valid for oldBase to
// the form valid for newBase.  A base is the address at which the root's
// pointers are valid, or null for the zero-based form.  Does nothing for a
// null record or equal bases.
// REQUIRES: the block passed one of the checks below or was built by this
// library.  The walk never touches memory outside the root's `size` bytes and
// always terminates, but a malformed block comes out unspecified.
ZXV_EXPORT void Rebase(ZxVariant* record, const void* oldBase, const void* newBase);
// Pointer form at the record's own address to zero-based form.
ZXV_EXPORT void RebaseToZero(ZxVariant* record);
// Zero-based form to pointer form at the record's current address.
ZXV_EXPORT void RebaseFromZero(ZxVariant* record);

// Structural checks.  They read only inside the `size` bytes that the root
// claims (the caller guarantees that many readable bytes), allocate nothing
// for trees up to 64 levels deep, handle any depth, and answer false for any
// malformed block.  All three are true for a null record.
//   Validate        - pointer form, pointers valid at the record's address;
//   ValidateAtBase  - pointers made for the root lying at `base`;
//   ValidateZero    - zero-based form.
// Deliberate rules kept for compatibility with every peer: a scalar node that
// carries attributes fails (its size equation leaves the attributes out), and
// only the first entry of an entry array is checked against the block end
// (the others are proven by the next chain).
ZXV_EXPORT bool Validate(const ZxVariant* record);
ZXV_EXPORT bool ValidateAtBase(const ZxVariant* record, const void* base);
ZXV_EXPORT bool ValidateZero(const ZxVariant* record);

// "Null", "Register", ... "Int64"; null for a code above 8.
ZXV_EXPORT const char16_t* TypeCodeImage(ZxVariant::TypeCodes code);
// Exact, case-sensitive inverse of TypeCodeImage; any other text, and null,
// gives Null.
ZXV_EXPORT ZxVariant::TypeCodes TypeCodeFromString(const char16_t* name);

}  // namespace ZxVariantHelper
