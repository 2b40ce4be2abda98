// Natural XML: a record written as plain XML for readers that validate it
// against a schema or simply read it as a document.
//
// Every node becomes one element named after the node; a scalar value becomes
// the element's text (XML-escaped), the node's attributes become XML
// attributes and a List becomes an element with one child element per item,
// indented four blanks per level.  No XML declaration and no namespace are
// written; the text starts with the outermost element.
//
// Example:
//
//   using namespace ZxVariantHelper;
//   ZxvList* servers = NewList(u"Servers");
//   servers->AppendAttribute(NewString(u"region", u"eu", 0));
//   servers->Append(NewString(nullptr, u"a&b", 0));
//   servers->Append(NewInt(u"Port", 80));
//   ZxVariant* record = servers->BuildNewZxVariant(nullptr);
//   char16_t* xml = NewNatural(record, nullptr);
//   // <Servers region="eu">\n
//   //     <Server>a&amp;b</Server>\n
//   //     <Port>80</Port>\n
//   // </Servers>\n
//   Delete(xml);                                   // operations.h
//   Delete(record);
//   Delete(servers);
//
// Rules that readers of this format rely on, kept on purpose:
//   * an unnamed node inside a named List takes the List's name with one
//     final "s" or "S" removed (Servers -> Server, Data -> Data, Class ->
//     Clas); an unnamed node anywhere else gets an empty element name ("<>"),
//     which is not well-formed XML;
//   * a node named exactly "cdata" writes its text as an unescaped CDATA
//     section;
//   * an attribute that is unnamed or a List is not written; attribute names
//     are written as they are, unescaped;
//   * a node with an empty text (Null, an empty String, an unknown type
//     code) is written "<Name />", with a blank before the slash; an empty
//     List is written "<Name></Name>" on one line;
//   * scalar texts are the String conversion's: Bool "true"/"false", Int and
//     Int64 decimal, Float as printf's %g, Register "0x" and upper-case hex,
//     Buffer "0x" and two lower-case hex digits per byte;
//   * the text written after an opening List tag that has items passes
//     through the formatter as a format with no arguments, so "%%" in the
//     newline is written there as "%" (every other unit, and any other "%"
//     sequence, is written as it stands).
//
// Thread safety: the writer keeps no state between calls; any number of
// threads may write records that nobody changes.
#pragma once

#include "zxvariant/export.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper {

// Writes `record` (pointer form, as laid out by this library) as Natural XML.
// `newline` is the text written at every line end; null means "\n".
// Returns a NUL-terminated text from malloc, freed with
// Delete(char16_t*); an empty text for a null record.  Null when the text
// cannot be completed: memory ran out, the text would pass 0x7FFF0000 units,
// or the record holds more nodes than its size word leaves room for (a
// malformed block, for instance one whose lists loop).
// Builders may be passed too, but their lists count no items and print empty.
// Any depth is written without recursion.
ZXV_EXPORT char16_t* NewNatural(const ZxVariant* record, const char16_t* newline = nullptr);

}  // namespace ZxVariantHelper
