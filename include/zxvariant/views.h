// Views: reading records without testing for null.
//
// A view is one pointer, passed and returned by value.  ZxvView reads the
// pointer form and also builder objects (which share the node header); where
// there is nothing to refer to (a missing child, an unknown name, a value of
// another type) it refers to the shared all-zero node ZxvView::theNull and
// answers zeros and empty strings.  ZxvZView reads the zero-based form; it
// has no zero node (its theNull is the null pointer), and its members answer
// zeros for a view that holds null.  ZxvStringView is the string type both
// hand out.
//
// Example:
//
//   ZxVariantHelper::ZxvView config(record);
//   int port = config[u"server"][u"port"].Int();         // 0 when missing
//   if (config[u"server"][u"host"].String() == ZxvStringView(u"localhost")) ...
//   for (ZxvView child = config.First(); !child.IsTheNull(); child = child.Next()) ...
//
// Strings handed out point into the record; their characters may lie at odd
// addresses when the record contains odd-length buffers.
//
// Thread safety: views only read; any number of threads may view a record
// while nobody changes it.
#pragma once

#include <cstdint>

#include "zxvariant/export.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper {

// A UTF-16 string: length in units (no terminator), reserved word, text.
class ZXV_EXPORT ZxvStringView {
 public:
  ZxvStringView() : length(0), reserved(0), str(EmptyText()) {}
  // From a record's string; an empty one gets a static empty text, never null.
  ZxvStringView(const ZxVariant::String& s);  // NOLINT(implicit)
  // From a NUL-terminated text; null gives length 0 and keeps null.
  ZxvStringView(const char16_t* text);  // NOLINT(implicit)

  bool IsEmpty() const { return length == 0; }
  std::uint32_t Length() const { return length; }
  const char16_t* Str() const { return str; }

  // Equal lengths and the same units up to the NUL (two empty views are equal).
  bool operator==(const ZxvStringView& other) const;
  bool operator!=(const ZxvStringView& other) const { return !(*this == other); }
  // caseSensitive false folds A-Z onto a-z only.
  bool Equals(const ZxvStringView& other, bool caseSensitive) const;

  std::uint32_t length;
  std::uint32_t reserved;
  const char16_t* str;

 private:
  static const char16_t* EmptyText();
};

class ZXV_EXPORT ZxvView {
 public:
  // The shared all-zero node standing in for whatever is missing.
  static const ZxVariant theNull;

  ZxvView(const ZxVariant* node = nullptr) : m_node(node ? node : &theNull) {}  // NOLINT(implicit)
  ZxvView& operator=(const ZxVariant* node) {
    m_node = node ? node : &theNull;
    return *this;
  }

  bool IsNull() const { return Type() == ZxVariant::TypeCodes::Null; }
  bool IsRegister() const { return Type() == ZxVariant::TypeCodes::Register; }
  bool IsBool() const { return Type() == ZxVariant::TypeCodes::Bool; }
  bool IsInt() const { return Type() == ZxVariant::TypeCodes::Int; }
  bool IsFloat() const { return Type() == ZxVariant::TypeCodes::Float; }
  bool IsBuffer() const { return Type() == ZxVariant::TypeCodes::Buffer; }
  bool IsString() const { return Type() == ZxVariant::TypeCodes::String; }
  bool IsList() const { return Type() == ZxVariant::TypeCodes::List; }
  bool IsInt64() const { return Type() == ZxVariant::TypeCodes::Int64; }
  // Whether this view refers to theNull itself (not merely to a Null node).
  bool IsTheNull() const { return m_node == &theNull; }

  void* Register() const { return IsRegister() ? m_node->value.registerValue : nullptr; }
  bool Bool() const { return IsBool() && m_node->value.boolValue != 0; }
  int Int() const { return IsInt() ? m_node->value.intValue : 0; }
  long long Int64() const { return IsInt64() ? m_node->value.int64Value : 0; }
  double Float() const { return IsFloat() ? m_node->value.floatValue : 0.0; }
  const ZxVariant::Buffer& Buffer() const { return (IsBuffer() ? m_node : &theNull)->value.buffer; }
  ZxvStringView String() const { return ZxvStringView((IsString() ? m_node : &theNull)->value.string); }
  const ZxVariant::List& List() const { return (IsList() ? m_node : &theNull)->value.list; }

  operator void*() const { return Register(); }
  operator bool() const { return Bool(); }
  operator int() const { return Int(); }
  operator long long() const { return Int64(); }
  operator double() const { return Float(); }
  operator const ZxVariant::Buffer&() const { return Buffer(); }
  operator ZxvStringView() const { return String(); }
  operator const ZxVariant::List&() const { return List(); }
  operator const ZxVariant*() const { return m_node; }
  const ZxVariant* operator->() const { return m_node; }

  ZxvStringView Name() const { return ZxvStringView(m_node->name); }
  const ZxVariant::List& Attributes() const { return m_node->attributes; }
  ZxvView Next() const { return ZxvView(m_node->next); }
  // The first child of a list; theNull for an empty list or a non-list.
  ZxvView First() const { return (*this)[0]; }
  // Child `index` of a list (a negative index is out of range).
  ZxvView operator[](int index) const;
  // The first child whose name equals `name`, case-sensitively.  Builders,
  // whose counts are 0, are never searched by name.
  ZxvView operator[](const char16_t* name) const;
  // The first attribute whose name equals `name`, case-sensitively.
  ZxvView AttributeValue(const char16_t* name) const;
  // The first child whose attribute `attributeName` is a String equal to
  // `value`; a child without that attribute matches an empty or null value.
  ZxvView FindItemWithAttributeValue(const char16_t* attributeName, const char16_t* value) const;

  // The size word: 0 for a builder and for theNull.
  std::uint32_t Size() const { return m_node->size; }
  ZxVariant::TypeCodes Type() const { return m_node->type; }
  // The name's bytes in a block: 2 * length + 2, or 0.
  std::uint32_t NameSize() const;
  // Register sizeof(void*), Bool 1, Int 4, Float 8, Int64 8, Buffer its size,
  // String 2 * length + 2 (0 when empty), Null and List 0.
  std::uint32_t ValueSize() const;
  // Scalars: the value area; Buffer, String: the data pointer; else null.
  const void* ValuePtr() const;
  // The child count of a list, -1 for a non-list.
  int ListValueSize() const;

 protected:
  static ZxVariant TheNull();

 private:
  const ZxVariant* m_node;
};

// The child count of a zero-based list (-1 for a non-list).
class ZXV_EXPORT ZxvListView {
 public:
  explicit ZxvListView(int count) : m_count(count) {}
  int Count() const { return m_count; }
  operator int() const { return m_count; }  // NOLINT(implicit)

 private:
  int m_count;
};

class ZXV_EXPORT ZxvZView {
 public:
  // The zero-based form has no zero node: theNull is the null pointer.
  static const ZxVariantZ* const theNull;

  ZxvZView(const ZxVariantZ* node = nullptr) : m_node(node) {}  // NOLINT(implicit)
  ZxvZView& operator=(const ZxVariantZ* node) {
    m_node = node;
    return *this;
  }

  bool IsRegister() const { return Type() == ZxVariant::TypeCodes::Register; }
  bool IsBool() const { return Type() == ZxVariant::TypeCodes::Bool; }
  bool IsInt() const { return Type() == ZxVariant::TypeCodes::Int; }
  bool IsFloat() const { return Type() == ZxVariant::TypeCodes::Float; }
  bool IsBuffer() const { return Type() == ZxVariant::TypeCodes::Buffer; }
  bool IsString() const { return Type() == ZxVariant::TypeCodes::String; }
  bool IsList() const { return Type() == ZxVariant::TypeCodes::List; }
  bool IsTheNull() const { return m_node == nullptr; }

  // Typed reads; a mismatch (or a null view) answers zero or empty.
  void* Register() const { return IsRegister() ? m_node->value.registerValue : nullptr; }
  bool Bool() const { return IsBool() && m_node->value.boolValue != 0; }
  int Int() const { return IsInt() ? m_node->value.intValue : 0; }
  double Float() const { return IsFloat() ? m_node->value.floatValue : 0.0; }
  // By value, with the data pointer translated into an address.
  ZxVariant::Buffer Buffer() const;
  ZxvStringView String() const;

  operator void*() const { return Register(); }
  operator bool() const { return Bool(); }
  operator int() const { return Int(); }
  operator double() const { return Float(); }
  operator ZxVariant::Buffer() const { return Buffer(); }
  operator ZxvStringView() const { return String(); }
  operator ZxvListView() const;
  operator const ZxVariantZ*() const { return m_node; }
  const ZxVariantZ* operator->() const { return m_node; }

  ZxvStringView Name() const;
  ZxvZView Next() const { return ZxvZView(m_node ? m_node->Next() : nullptr); }
  // Entry 0 of a list: the first child.
  ZxvZView First() const;
  // 0 <= index < count, reading the entry array in 4-byte steps: index 2k is
  // child k, an odd index is theNull.
  ZxvZView operator[](int index) const;
  ZxvZView operator[](const char16_t* name) const;

  std::uint32_t Size() const { return m_node ? m_node->size : 0; }
  ZxVariant::TypeCodes Type() const { return m_node ? m_node->type : ZxVariant::TypeCodes::Null; }
  std::uint32_t NameSize() const;
  std::uint32_t ValueSize() const;
  const void* ValuePtr() const;

 private:
  const ZxVariantZ* m_node;
};

}  // namespace ZxVariantHelper
