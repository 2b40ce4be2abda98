// Record-level steps shared by the wrapper classes: their two error texts,
// copies made aside and swapped into place, value and attribute edits, and
// the text comparisons of the views.
//
// Every copy into an existing record is first made in a fresh loose record
// and only then swapped in.  The source may therefore live anywhere, under
// the target included, and a copy that fails leaves the target untouched.
#pragma once

#include <cstddef>

#include "zxvariant/record.h"
#include "zxvariant/smart_wchar_ptr.h"

namespace ZxVariantHelper::wrapper_detail {

[[noreturn]] void ThrowInvalidParameter();
[[noreturn]] void ThrowInvalidConversion();

bool IsList(const ZxVariant* record);
bool IsKnownType(ZxVariant::TypeCodes type);

// A fresh loose copy of `source`: a List deeply (copyZxVariant); any other
// record its name and value, and its attributes when `withAttributes`
// (copyAZxVariant).  A Register keeps its value.  Null when a step fails.
ZxVariant* NewLooseCopy(const ZxVariant* source, bool withAttributes);
// The same for the owning wrappers: a failure throws "Invalid parameter"
// for a source the list utilities cannot copy (an unknown type code, an
// attribute that is a List, a Register or of unknown type), else
// std::bad_alloc.
ZxVariant* NewLooseCopyOrThrow(const ZxVariant* source, bool withAttributes);

// Gives `target` the contents of `fresh` (a loose record from the functions
// above, whose header is freed) and frees target's old contents.  target
// keeps its next link; its size word becomes 0.
void AdoptContents(ZxVariant* target, ZxVariant* fresh);

// The value of `source` into `target`, keeping target's size word.  False,
// with target unchanged, for a List or unknown source; false after a failed
// allocation.
bool CopyValue(ZxVariant* target, const ZxVariant* source);
// The name of `source` into `target`; an unnamed source unnames target.
bool CopyName(ZxVariant* target, const ZxVariant* source);

// Frees the record's value (String, Buffer or List) and writes a scalar.
void StoreBool(ZxVariant* record, bool value);
void StoreInt(ZxVariant* record, int value);
void StoreInt64(ZxVariant* record, long long value);
void StoreFloat(ZxVariant* record, double value);
// A String copy of `text`; null text throws "Invalid parameter", a failed
// allocation std::bad_alloc, both before the record is touched.
void StoreString(ZxVariant* record, const char16_t* text);
void StoreUtf8(ZxVariant* record, const char* utf8);

// Names the record; null or empty names are ignored, a failed allocation
// throws std::bad_alloc.
void NameOrThrow(ZxVariant* record, const char16_t* name);

// The attribute named `name` (ignoring case): found, or appended when
// `create`; when `create` the name is written with copyZxVariantName.  Null
// for a null record, a null or empty name, or nothing found.  A List
// attribute throws "Invalid type conversion attempt".
ZxVariant* AttributeByName(ZxVariant* record, const char16_t* name, bool create);
// The attribute at `index`, null when there is none; a List throws.
ZxVariant* AttributeAt(const ZxVariant* record, int index);

// Two Lists: compareZxVariant, then their names; other records:
// compareAZxVariant.  The same record is always 0.
int CompareRecords(const ZxVariant* a, const ZxVariant* b);

// -1, 0 or 1: ordinal when `exact`, A-Z folded otherwise.  A null text is
// empty.  Either text may lie at any address.
int CompareText(const char16_t* a, std::size_t aLength, const char16_t* b, std::size_t bLength,
                bool exact);
// UTF-16 units of a NUL-terminated text; 0 for null.
std::size_t TextLength(const char16_t* text);
// The UTF-16 form of UTF-8 text; null for null.
zexora_com::endpoint::string_utils::SmartWcharPtr FromUtf8(const char* utf8);

}  // namespace ZxVariantHelper::wrapper_detail
