// Printers: a record as text, in the fixed dialects that logs, configuration
// files and other components of the product read.
//
//   ZxVariantPrintNew  the debugging tree: one line per node, "|   " per level,
//                      optionally with type names; for a pointer-form record
//                      and, with the same text, for a zero-based one
//   NewSimple          XML-like elements named after the nodes, unescaped
//   NewDom             an element tree kept in DOM form (attributes, children,
//                      text), as the XML dialect readers produce it
//   NewYam             XML elements tagged by type name, values as attributes
//   NewVireoConfig     business objects and their tasks, built on Simple
//   QvFramework        the event-bus configuration dialect
//
// Example:
//
//   using namespace ZxVariantHelper;
//   char16_t* text = ZxVariantPrintNew(record, false);
//   //   cfg =
//   //   |   port(unit=s) = 80
//   //   |   on = true
//   //   (and one empty line closing the list)
//   ZxVariantPrintDelete(text);
//
// Every printer returns a new NUL-terminated text from malloc that the caller
// owns and frees with Delete(char16_t*) or ZxVariantPrintDelete.  Printers
// never change the record and never fail: what a dialect cannot express is
// skipped or written in a fixed form, as documented per function.  Records
// are laid-out blocks (loose records are flattened first).  A text of a
// record stops at its first NUL unit.  Trees of any depth are printed without
// recursion; a zero-based record is read only inside its own size word.
//
// Thread safety: printers share no state; any number of threads may print
// records that no thread is changing.
#pragma once

#include <cstddef>

#include "zxvariant/export.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper {

// The debugging tree.  Per node at depth d: "|   " d times; with showTypes
// the type name (Buffer[n], String[n], List[n] with the stored count); with a
// name, " " (only with showTypes) and the name; the attributes as
// "(name=value, ...)" (with showTypes "(Type:name=value, ...)"); " = " when a
// name or a type was written; the value: "<null>", the scalar text, "0x0nyi"
// for every Buffer, a String's characters, or for a List "\n" and the
// children one level deeper; finally "\n" (so a List ends with an empty line).
// Kept for compatibility: an attribute's name is used as the format text of
// its append, so a '%' in it is a conversion (its arguments read as 0 or
// null; a name with more than 8 conversions or a width or precision above 4
// digits is written as plain text instead).  An attribute that is itself a
// List prints only its line break.  A null record prints "".
ZXV_EXPORT char16_t* ZxVariantPrintNew(const ZxVariant* record, bool showTypes);
// The same over a zero-based record: the same text as for its pointer form.
ZXV_EXPORT char16_t* ZxVariantPrintNew(const ZxVariantZ* record, bool showTypes);
// ZxVariantPrintNew(nullptr, ...) names neither form; it prints "".
inline char16_t* ZxVariantPrintNew(std::nullptr_t, bool showTypes) {
  return ZxVariantPrintNew(static_cast<const ZxVariant*>(nullptr), showTypes);
}

// Simple: "<name>value</name>" per node, four blanks per level; an unnamed
// List has no tag, another unnamed node the tag "Property"; a tag that does
// not start with an ASCII letter is written "z" + tag with ` prefix="z"`.
// With showTypes a ` type="..."` attribute, except for a Float (kept on
// purpose for compatibility with every reader of the dialect).  Names and
// values are not escaped; record attributes are not written.  A null record
// prints "".
ZXV_EXPORT char16_t* NewSimple(const ZxVariant* record, bool showTypes);

// Dom: the record must be in DOM form, a List of exactly three items
// (attributes: a List of named Strings; children: a List of DOM-form records;
// text: a String, written as CDATA when it is named "cdata").  Anything of
// another shape writes nothing.  `newline` follows every line; null means
// "\n".  A null record prints "".
ZXV_EXPORT char16_t* NewDom(const ZxVariant* record, const char16_t* newline);

// Yam: each node is an element tagged by its type name (the outermost by its
// name when useName is set and it has one), the name and scalar value as
// escaped attributes, record attributes as ` _name.Type="value"`.  A null
// record prints "".
ZXV_EXPORT char16_t* NewYam(const ZxVariant* record, bool useName);

// VireoConfig: for each named List in the record, a
// `<businessObject id="name" version="1.0">` holding its items in Simple form
// (named List items as `<Task id="name">` blocks); the closing
// "</businessObject>" has no line break, kept on purpose.  A record that is
// not a List with at least one element prints "".
ZXV_EXPORT char16_t* NewVireoConfig(const ZxVariant* record);

// QvFramework: elements named after the nodes; Strings as element text with
// ` type="String"`, other scalars as ` value="..." type="Type"`; attributes
// as ` name.Type="value"` (bare ` Id=`, ` ReadOnly=`, ` encoding=`).  Kept on
// purpose for compatibility with every reader of the dialect: an unnamed node
// discards everything written before it and is not printed, so an unnamed
// record, or nothing left to print, gives null.  A null record gives null.
ZXV_EXPORT char16_t* QvFramework(const ZxVariant* record);

// Frees a printer's text (free); null is ignored.  The same as
// Delete(char16_t*), under the name the printers' callers have always used.
ZXV_EXPORT void ZxVariantPrintDelete(char16_t* text);

}  // namespace ZxVariantHelper
