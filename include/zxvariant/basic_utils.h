// List utilities: editing records in their loose form.
//
// A loose record has the 64-byte node header of record.h, but allocated on
// its own (malloc, zeroed), with its name, its String characters or Buffer
// bytes each in their own heap block.  The children of a List and the
// attributes of any record are separate loose records chained through their
// `next` links; `value.list.items` (or `attributes.items`) points to an 8-byte
// first-slot block whose only word is the first record of the chain, and
// `value.list.count` (or `attributes.count`) counts the chain.  These
// functions copy, compare, find, append, insert, delete and free such
// records, and lay a loose record out as one flat block for transport.
//
// The reading functions (copying from, comparing, finding, counting, sizing
// and laying out) also accept a flat block in pointer form as their source,
// since a flat entry array starts with the first child too and the children
// are chained in the same way.
//
// Example:
//
//   using namespace ZxVariantHelper::BasicUtils;
//   ZxVariant* list = static_cast<ZxVariant*>(std::calloc(1, sizeof(ZxVariant)));
//   list->type = ZxVariant::TypeCodes::List;
//   ZxVariant* port = appendNodeToAList(list);           // a zeroed Null record
//   copyZxVariantName(port, u"Port");
//   NameValuePair value(u"Port", 8080);
//   copyZxVariantValue(port, value);                     // port is now Int 8080
//   ZxVariant* found = findNodeInAList(&list->value.list, u"PORT");   // == port
//   ZxVariant* block = buildZxVariantForTransport(list, nullptr);     // one block
//   ZxVariantHelper::Delete(block);
//   releaseZxVariant(list);                              // the whole loose tree
//
// Errors: the functions answer with false, null or 0 and do not throw, with
// three exceptions: the freeing functions let std::bad_alloc through when
// their work queue cannot grow, NameValuePair throws std::logic_error
// ("Invalid parameter") for a null name, and laying out a record that holds
// an unknown type code throws std::logic_error ("Invalid condition").  All
// record and block allocations are non-throwing.  No function recurses, so
// trees of any depth are handled.
//
// Thread safety: no shared state and no locks; one record (and everything
// reachable from it) is used by one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zxvariant/export.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper::BasicUtils {

// ---- copying ----------------------------------------------------------------

// Sets dst's name to `name`.  False for null arguments, an empty name or a
// failed allocation.  Kept on purpose as it always behaved: when dst's value
// data pointer (offset 32) is set and dst's value word differs from the new
// name's length, that value block is freed and its pointer cleared; when the
// data pointer is still set afterwards the old name block is reused, otherwise
// a new name block is allocated.  (A name block too small for the new name, or
// missing, is replaced instead of overrun; a replaced name block is freed.)
ZXV_EXPORT bool copyZxVariantName(ZxVariant* dst, const char16_t* name);

// Renames dst, looking only at its name: the old name block is reused when
// it has the new name's length and replaced otherwise; the value is never
// touched.  False for null arguments, an empty name or a failed allocation,
// which leave the old name in place.  `name` may point into dst's own name.
ZXV_EXPORT bool setZxVariantName(ZxVariant* dst, const char16_t* name);

// Copies src's value into dst by type, then the size word and the type code.
// Null, Bool, Int, Float, Int64 copy the value; Buffer and String copy the
// bytes into dst's own heap block (a String block of the same length is
// reused).  True for those types; false for Register, List and unknown codes
// (whose size word and type code are still copied), for null arguments and
// for a failed allocation.  dst's old String or Buffer block is freed when
// replaced.
ZXV_EXPORT bool copyZxVariantValue(ZxVariant* dst, const ZxVariant* src);

// Zeroes dst's header, then copies size word, type, name and value (next is
// cleared, attributes and children are not copied).  When the value cannot
// be copied, dst's contents are released, its header is left zeroed (dst
// itself remains the caller's) and the result is false.
ZXV_EXPORT bool copyASimpleZxVariant(ZxVariant* dst, const ZxVariant* src);

// Appends a simple copy (copyASimpleZxVariant) of each of src's attributes to
// dst's attribute list, creating its first-slot block when missing.  True
// when src has no attributes or all were copied; false for null arguments or
// when a copy fails (the attributes copied so far stay).
ZXV_EXPORT bool copyZxvAttributes(ZxVariant* dst, const ZxVariant* src);

// copyASimpleZxVariant, then copyZxvAttributes.
ZXV_EXPORT bool copyAZxVariant(ZxVariant* dst, const ZxVariant* src);

// Deep copy of src into dst (whose old header content is overwritten, not
// freed).  A List gets its type, name, attributes and a fresh copy of every
// child; other records are copied by copyAZxVariant.  Values that cannot be
// copied (Register) come out as emptied Null records.
ZXV_EXPORT void copyZxVariant(ZxVariant* dst, const ZxVariant* src);
// A new loose deep copy of src; null for a null src or a failed allocation.
// Free it with releaseZxVariant.
ZXV_EXPORT ZxVariant* copyZxVariant(const ZxVariant* src);

// ---- freeing ----------------------------------------------------------------

// Frees the record and everything reachable from it through attributes, list
// children and next links: names, first-slot blocks, String and Buffer blocks
// and the headers.  Null is ignored.
ZXV_EXPORT void releaseZxVariant(ZxVariant* record);
// Detaches the record from its following siblings (they survive), frees
// everything under it and leaves its own header allocated and zeroed.
ZXV_EXPORT void eraseZxVariant(ZxVariant* record);
// Frees the record's name, value and descendants and leaves the header
// zeroed, except `next`, so a cleared element stays linked in its list.
ZXV_EXPORT void clearZxVariant(ZxVariant* record);

// ---- lists ------------------------------------------------------------------
//
// A list is a List record (every function taking a record fails for any
// other type code) or a bare ZxVariant::List such as `&record->attributes`.
// Names match ignoring case (A-Z and a-z fold, nothing else); unnamed
// elements never match and an empty or null name finds nothing.

// A new zeroed element linked at the end; null on failure.
ZXV_EXPORT ZxVariant* appendNodeToAList(ZxVariant* list);
ZXV_EXPORT ZxVariant* appendNodeToAList(ZxVariant::List* list);
// Links `elem` (its next link is cleared) at the end.
ZXV_EXPORT bool appendNodeToAList(ZxVariant::List* list, ZxVariant* elem);
// The same, linking after `last` when the caller knows the last element, or
// after the one found by walking the chain when `last` is null.
ZXV_EXPORT bool appendNodeToAList(ZxVariant* list, ZxVariant* elem, ZxVariant* last);
// A new zeroed element linked first; null on failure.
ZXV_EXPORT ZxVariant* prependNodeToAList(ZxVariant* list);
// Links `elem` in front of the existing element `next`, after `prev` (or
// first when `prev` is null).  False for a null elem or next, a non-List, or
// a list without a first-slot block.
ZXV_EXPORT bool insertNodeInAList(ZxVariant* list, ZxVariant* elem, ZxVariant* prev,
                                  ZxVariant* next);
// Unlinks `elem` (which must follow `prev`, or be first when `prev` is null),
// frees the first-slot block when the list becomes empty, and releases elem.
ZXV_EXPORT bool deleteNodeFromAList(ZxVariant* list, ZxVariant* prev, ZxVariant* elem);
ZXV_EXPORT bool deleteNodeFromAList(ZxVariant::List* list, ZxVariant* prev, ZxVariant* elem);
// Deletes the first element named `name`; false when there is none.  The
// ZxVariant::List form keeps the (then empty) first-slot block, on purpose.
ZXV_EXPORT bool deleteNodeFromAList(ZxVariant* list, const char16_t* name);
ZXV_EXPORT bool deleteNodeFromAList(ZxVariant::List* list, const char16_t* name);

// The first element named `name`; `prev` (optional) receives the element
// before it, null for the first; `found` (optional) the element.
ZXV_EXPORT bool findNodeInAList(const ZxVariant* list, const char16_t* name, ZxVariant** prev,
                                ZxVariant** found);
ZXV_EXPORT ZxVariant* findNodeInAList(const ZxVariant::List* list, const char16_t* name);
// The n-th (0-based) element named `name`.
ZXV_EXPORT ZxVariant* findNodeInAList(const ZxVariant::List* list, const char16_t* name,
                                      unsigned int n);
// The element at 0-based `index`: an index above the count fails at once; an
// index equal to the count or negative walks off the end and fails.
ZXV_EXPORT bool findNodeInAList(const ZxVariant* list, int index, ZxVariant** prev,
                                ZxVariant** found);
ZXV_EXPORT ZxVariant* findNodeInAList(const ZxVariant* list, int index);
ZXV_EXPORT ZxVariant* findNodeInAList(const ZxVariant::List* list, int index);
// Whether `elem` itself is in the list; `prev` (optional) gets its predecessor.
ZXV_EXPORT bool findNodeInAList(const ZxVariant* list, ZxVariant* elem, ZxVariant** prev);
ZXV_EXPORT bool findNodeInAList(const ZxVariant::List* list, ZxVariant* elem, ZxVariant** prev);
// The n-th (0-based) element for which compareZxVariant(like, element) is 0;
// `prev` (optional) receives the element before it.
ZXV_EXPORT ZxVariant* findElementInAList(const ZxVariant* list, const ZxVariant* like,
                                         unsigned int n, ZxVariant** prev);

// ---- comparison ---------------------------------------------------------------
//
// 0 always means equal.  The other results:
//   compareZxVariantName   -1 / 1 as the names order ignoring case (A-Z fold
//                          to a-z, every other unit by value); an unnamed
//                          record has the empty name; a null record or
//                          string counts as the empty name.
//   compareZxVariantValue  -1 / 1 as the values order: numbers by value,
//                          Bool by truth, Register by address, String unit by
//                          unit (case counts) then by length, Buffer bytewise
//                          then by length, List by child count, Null always
//                          equal; 1 for different types, a null record or
//                          an unordered Float (NaN).
//   compareSimpleZxVariant -1 a null record or different type codes,
//                           1 different names, 2 different values.
//   compareAZxVariant      the simple result when negative; -3 when only one
//                          has attributes, their counts differ or a pair of
//                          attributes has different types; otherwise the
//                          simple result when non-zero, else the first
//                          non-zero pairwise attribute result plus 1.  Kept on
//                          purpose: two records that both carry attributes
//                          answer at least 1 even when everything matches.
//   compareZxVariant       1 when exactly one is null, -1 for different
//                          types; Lists (names ignored): 1 for different
//                          attribute or child counts, else the first non-zero
//                          result of their attributes, then their children,
//                          compared pairwise by compareZxVariant; other
//                          records: compareAZxVariant.
ZXV_EXPORT int compareZxVariant(const ZxVariant* a, const ZxVariant* b);
ZXV_EXPORT int compareAZxVariant(const ZxVariant* a, const ZxVariant* b);
ZXV_EXPORT int compareSimpleZxVariant(const ZxVariant* a, const ZxVariant* b);
ZXV_EXPORT int compareZxVariantName(const ZxVariant* a, const ZxVariant* b);
ZXV_EXPORT int compareZxVariantName(const ZxVariant* a, const char16_t* name);
ZXV_EXPORT int compareZxVariantValue(const ZxVariant* a, const ZxVariant* b);
// True when both records exist and have the same type code.
ZXV_EXPORT bool compareZxVariantDataType(const ZxVariant* a, const ZxVariant* b);

// ---- counting and transport -----------------------------------------------------

// 0 for null; else 1, plus the records under a List (recursively), plus the
// records that follow through next (recursively).  Attributes do not count.
ZXV_EXPORT unsigned int getZxVariantCount(const ZxVariant* record);
// The bytes of the flat block the record lays out into: 64 per header, 2 x
// length + 2 per name or String, the Buffer bytes, 8 per list or attribute
// entry.  0 for null or a type code above 8 (a child with such a code adds
// only its entry); 0 too when the total would pass 0xFFFFFFFF.
ZXV_EXPORT unsigned int computeZxVariantSize(const ZxVariant* record);
// The record laid out as one flat block in pointer form, allocated with
// `alloc` (malloc when null) and zeroed first.  Null for a null record, a
// size of 0 or a failed allocation.  Throws std::logic_error("Invalid
// condition") before allocating when the tree holds an unknown type code.
ZXV_EXPORT ZxVariant* buildZxVariantForTransport(const ZxVariant* record,
                                                 void* (*alloc)(unsigned int));
// Two-call protocol: 0 for a null `len`; when the size is 0, `buf` is null or
// *len is below the size, stores the size in *len and returns 0; otherwise
// zeroes *len bytes of buf, lays the record out at buf (pointer form) and
// returns the size.  Unknown type codes throw as above, before buf is touched.
ZXV_EXPORT unsigned int copyZxVariant2Buffer(const ZxVariant* record, unsigned char* buf,
                                             unsigned int* len);

// ---- read access to one record ------------------------------------------------

// One record pointer, not owned.  NullZxv holds null; ComplexZxv holds the
// marker 1234 in place of a pointer and stands for a list value that is not
// shown.  The conversions read the value when the type matches exactly and
// give 0 (false, null) otherwise, also for NullZxv and ComplexZxv.
class ZXV_EXPORT ZxvToAny {
 public:
  ZxvToAny(ZxVariant* record = nullptr) : m_address(reinterpret_cast<std::uintptr_t>(record)) {}
  ZxvToAny& operator=(ZxVariant* record) {
    m_address = reinterpret_cast<std::uintptr_t>(record);
    return *this;
  }

  static const ZxvToAny NullZxv;
  static const ZxvToAny ComplexZxv;

  // Null for a null pointer, List for the complex marker, else the record's.
  ZxVariant::TypeCodes getType() const;

  operator bool() const;
  operator int() const;
  operator double() const;
  operator long long() const;
  operator char16_t*() const;      // the String's characters
  operator ZxVariant*() const;     // the record; null for the complex marker

  // Same pointer: equal.  A null pointer equals only null.  Type codes (List
  // for the marker) must agree.  The marker equals every List record, either
  // way round; two different List records are unequal.  Other records are
  // equal when their 64 header bytes are identical, pointers included, so two
  // Strings with the same text in different blocks are unequal, on purpose.
  bool operator==(const ZxvToAny& other) const;
  bool operator!=(const ZxvToAny& other) const { return !(*this == other); }

 private:
  struct Marker {};
  constexpr ZxvToAny(Marker, std::uintptr_t address) : m_address(address) {}
  bool IsMarker() const;
  const ZxVariant* Record() const;

  std::uintptr_t m_address;
};

// A name with a value in one owned 64-byte record header; the name and the
// String or Buffer value are heap copies it owns.
class ZXV_EXPORT NameValuePair {
 public:
  // Type String; a null or empty value gives length 0 and a null pointer.
  // Every constructor throws std::logic_error("Invalid parameter") for a null
  // name; an empty name leaves the record unnamed.
  NameValuePair(const char16_t* name, const char16_t* value);
  NameValuePair(const char16_t* name, char16_t* value);
  NameValuePair(const char16_t* name, std::nullptr_t)
      : NameValuePair(name, static_cast<const char16_t*>(nullptr)) {}
  NameValuePair(const char16_t* name, int value);
  NameValuePair(const char16_t* name, bool value);
  NameValuePair(const char16_t* name, long long value);
  NameValuePair(const char16_t* name, double value);
  // Type Buffer with a copy of `size` bytes (none for null data).
  NameValuePair(const char16_t* name, void* data, unsigned int size);
  // A simple copy of the record's name and value (Register included; a List
  // keeps only its type).  A null record gives an unnamed Null.
  explicit NameValuePair(const ZxVariant* record);
  NameValuePair(const NameValuePair& other);
  NameValuePair& operator=(const NameValuePair& other);
  ~NameValuePair();

  char16_t* name() const;
  ZxvToAny value() const;
  operator ZxVariant*() const;

 private:
  // Frees the old name block when its length differs, allocates one when
  // none remains, copies and terminates; a null or empty name keeps the old.
  void copyName(const char16_t* name);
  void initName(const char16_t* name);
  void freeValue();
  void copyValueFrom(const ZxVariant& source);

  ZxVariant m_record;
};

}  // namespace ZxVariantHelper::BasicUtils
