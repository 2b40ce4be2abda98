// Whole-record operations: copying between addresses and forms, freeing,
// comparing and classifying blocks.
//
// Example:
//
//   using namespace ZxVariantHelper;
//   // A zero-based copy for transport, from malloc:
//   ZxVariant* wire = NewCopy(record, nullptr, false, true);
//   // ... and back into pointer form at the receiver's address:
//   ZxVariant* local = NewCopy(wire, nullptr, true, false);
//   bool same = IsEqual(record, local);          // true
//   Delete(wire);
//   Delete(local);
//
// Every block and text that the library hands out from malloc is freed with
// the matching Delete.
//
// Thread safety: the functions touch only their arguments and their own
// temporary blocks.
#pragma once

#include <cstddef>

#include "zxvariant/builders.h"
#include "zxvariant/export.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper {

// Copies source->size bytes to destination (sized by the caller) and
// converts the pointer slots from the source's form to the destination's:
// a zero-based side has base 0, a pointer-form side its own address.
ZXV_EXPORT void Copy(ZxVariant* destination, const ZxVariant* source, bool sourceIsZero,
                     bool destinationIsZero);

// The same into source->size bytes from `alloc` (malloc when null).  Null for
// a null source or a failed allocation.  The block is the caller's.
ZXV_EXPORT ZxVariant* NewCopy(const ZxVariant* source, ZxvAllocator alloc, bool sourceIsZero,
                              bool destinationIsZero);

// free(); null is ignored.
ZXV_EXPORT void Delete(ZxVariant* record);
ZXV_EXPORT void Delete(char16_t* text);
// Delete(nullptr) names no particular overload; it does nothing.
inline void Delete(std::nullptr_t) {}

// Byte equality of the two records in zero-based form: names
// (case-sensitively), value bytes, the order of children and attributes and
// the reserved words all count.  Both are pointer-form records; two nulls are
// equal, a null and a record are not.
// Throws std::bad_alloc ("bad allocation") when its scratch copies cannot be
// allocated.
ZXV_EXPORT bool IsEqual(const ZxVariant* a, const ZxVariant* b);

// A new record made of `target` with `source`'s content applied, through two
// node trees seeded from them (see node_tree.h):
//   * a List source (or a null one) is applied child by child to the target
//     root: an unnamed child is appended; a named String or Int child sets the
//     target root's child of that name (created when missing); every other
//     named child, Bool included, is appended under the target root's child
//     of that name;
//   * a scalar source that is a String, Int or Bool sets the target root's
//     child named like the source root; other scalars change nothing.
// Null for a null target or a failed malloc.  Free the result with Delete.
ZXV_EXPORT ZxVariant* Merge(const ZxVariant* target, const ZxVariant* source);

// Guesses the form of an unknown block from one of its pointer slots.
class ZXV_EXPORT ExamineBase {
 public:
  enum Result {
    NotARecord = 0,   // size < 64, type > 8, or the chosen slot is null
    Undecided = 1,    // no name and no payload pointer to decide by
    ZeroBased = 2,    // the slot holds a distance inside the block
    PointerForm = 3,  // the slot holds an address inside the block itself
    Foreign = 4,      // pointers made for some other address
  };
  // REQUIRES: at least 64 readable bytes at block.
  static Result Examine(const ZxVariant* block);
};

}  // namespace ZxVariantHelper

namespace ZxVariantHelperNative {
using ZxVariantHelper::Delete;
}  // namespace ZxVariantHelperNative
