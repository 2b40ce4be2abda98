// Conversions: plain values into one-node records, and nodes of any type into
// values of a requested type.
//
//   * ZxvCast turns one plain value into a freshly allocated one-node record,
//     for passing a plain value where a record is expected.  It is laid out
//     exactly as the matching builder would lay it out.
//   * The ZxvConvert... classes go the other way with a change of type: they
//     read a node of any type and present it as a node, and a plain value, of
//     one requested type, with a flag that says whether the conversion made
//     sense.
//
// Example:
//
//   using namespace ZxVariantHelper;
//   ZxvCast port(u"port", u"8080");              // a String node named "port"
//   ZxvConvertInt number(*port);                 // 8080, valid
//   int value = number.IsValid() ? int(number) : 80;
//   ZxvView converted(number);                   // an Int node named "port"
//   ZxvConvertString text(*record);              // any scalar node as text
//   std::u16string copy(text, text.Len());
//
// Conversion rules, by source type (anything not listed is invalid and gives
// 0, 0.0, false, null or the empty value):
//   * Null converts to the zero of every target type, valid.
//   * Between Register, Bool, Int, Int64 and Float: Bool gives 0 or 1 and is
//     true for any non-zero value; a Float is truncated toward zero to 64 bits
//     first (out of range or NaN: the most negative 64-bit value) and Int and
//     Bool keep the low 32 bits of that, so 0.5 is false; Int takes the low
//     32 bits of a Register or an Int64, Bool their whole value != 0; Int64
//     and Float take a Register as unsigned; a Register takes an Int as its
//     unsigned 32 bits and the 64-bit value of an Int64 or a truncated Float
//     at pointer width.
//   * A non-empty String is read as text:
//       Register  "0x" then what scanf's %p reads;
//       Bool      T/t true, F/f false (the rest ignored), a leading digit the
//                 decimal value != 0, invalid when errno then holds EINVAL or
//                 ERANGE (errno is not cleared first, on purpose, for
//                 compatibility); anything else invalid;
//       Int/Int64 an optional sign and decimal digits, nothing else; an
//                 overflow is invalid with the saturated value;
//       Float     strtod's rules; a text that is no number gives 0.0, valid;
//                 an overflow is invalid, an underflow is not.
//     Buffers, lists and empty strings convert to no scalar.
//   * To String: Null is empty; a String is shared, not copied; a List is
//     invalid; anything else is written as text: Register "0x" and 8 (or 16
//     when the value needs them) upper-case hex digits, Bool "true"/"false",
//     Int and Int64 decimal, Float printf's %g, Buffer "0x" and two lower-case
//     hex digits per byte.
//   * To Buffer: Null is empty; a Buffer is shared; a String with an optional
//     leading "0x" and an even number of hex digits (either case) is decoded.
//
// A converter's node has the target type, the source's name (shared, not
// copied), no attributes and no next; its size word is 64 plus the name's
// bytes.  It may be read through views but it is not a laid-out block, so it
// must not be copied with Copy.  A converter must not outlive its source: it
// shares the source's name, and a String's text or a Buffer's bytes when it
// converts to the same type.  Text it had to create is owned and freed with
// it.  No conversion throws.
//
// Thread safety: a converter or a cast is single-threaded data; conversions
// only read their source, so any number of threads may convert nodes of one
// record while nobody changes it.  Results never depend on the locale.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zxvariant/export.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper {

// One plain value as a one-node record from malloc; null when the record
// could not be made.  Text follows the builders' rules: a null or empty text
// gives the empty string, UTF-8 text has ill-formed sequences replaced by
// U+FFFD.  There is no Int64 form.
class ZXV_EXPORT ZxvCast {
 public:
  explicit ZxvCast(void* value);              // Register
  explicit ZxvCast(bool value);               // Bool
  explicit ZxvCast(int value);                // Int
  explicit ZxvCast(double value);             // Float
  ZxvCast(void* data, int size);              // Buffer, a copy of `size` bytes
  explicit ZxvCast(const char16_t* text);     // String
  explicit ZxvCast(const char* utf8Text);     // String
  ZxvCast(const char16_t* name, void* value);
  ZxvCast(const char16_t* name, bool value);
  ZxvCast(const char16_t* name, int value);
  ZxvCast(const char16_t* name, double value);
  ZxvCast(const char16_t* name, void* data, int size);
  ZxvCast(const char16_t* name, const char16_t* text);
  ZxvCast(const char16_t* name, const char* utf8Text);
  ~ZxvCast();
  ZxvCast(const ZxvCast&) = delete;
  ZxvCast& operator=(const ZxvCast&) = delete;

  // The record, owned by this object; null when it could not be made.
  operator ZxVariant*() const { return m_record; }
  // REQUIRES: the record was made (not null).
  ZxVariant& operator*() const { return *m_record; }

 private:
  ZxVariant* m_record;
};

// A converted node with its validity flag.  The derived classes run one
// conversion in their constructor; the SetAs... members run one on any
// converter (replacing what it held) and answer IsValid().
class ZXV_EXPORT ZxvConvertBase {
 public:
  ZxvConvertBase();
  ~ZxvConvertBase();
  ZxvConvertBase(const ZxvConvertBase&) = delete;
  ZxvConvertBase& operator=(const ZxvConvertBase&) = delete;

  bool IsValid() const { return m_valid; }
  operator const ZxVariant*() const { return &m_node; }

  // A Null node named like the source, valid for every source.
  bool SetAsNull(const ZxVariant& source);
  bool SetAsRegister(const ZxVariant& source);
  bool SetAsBool(const ZxVariant& source);
  bool SetAsInt(const ZxVariant& source);
  bool SetAsInt64(const ZxVariant& source);
  bool SetAsFloat(const ZxVariant& source);
  bool SetAsString(const ZxVariant& source);
  bool SetAsBuffer(const ZxVariant& source);
  // By type code; List and codes above 8 are invalid with a zero value.
  bool SetAs(const ZxVariant& source, ZxVariant::TypeCodes target);

 protected:
  bool m_valid;
  ZxVariant m_node;
  void* m_owned;  // text or bytes this converter created, from malloc

 private:
  void Begin(const ZxVariant& source, ZxVariant::TypeCodes target);
  // Points the node's String at `units` units of owned text (NUL added).
  char16_t* OwnText(std::size_t units);
};

// The derived converters add no state of their own.
class ZXV_EXPORT ZxvConvertRegister : public ZxvConvertBase {
 public:
  explicit ZxvConvertRegister(const ZxVariant& source) { SetAsRegister(source); }
  operator void*() const { return m_node.value.registerValue; }
};

class ZXV_EXPORT ZxvConvertBool : public ZxvConvertBase {
 public:
  explicit ZxvConvertBool(const ZxVariant& source) { SetAsBool(source); }
  operator bool() const { return m_node.value.boolValue != 0; }
};

class ZXV_EXPORT ZxvConvertInt : public ZxvConvertBase {
 public:
  explicit ZxvConvertInt(const ZxVariant& source) { SetAsInt(source); }
  operator int() const { return m_node.value.intValue; }
};

class ZXV_EXPORT ZxvConvertInt64 : public ZxvConvertBase {
 public:
  explicit ZxvConvertInt64(const ZxVariant& source) { SetAsInt64(source); }
  operator long long() const { return m_node.value.int64Value; }
};

class ZXV_EXPORT ZxvConvertFloat : public ZxvConvertBase {
 public:
  explicit ZxvConvertFloat(const ZxVariant& source) { SetAsFloat(source); }
  operator double() const { return m_node.value.floatValue; }
};

// The text is NUL-terminated; it may lie at an odd address when it is a
// record's own text.
class ZXV_EXPORT ZxvConvertString : public ZxvConvertBase {
 public:
  explicit ZxvConvertString(const ZxVariant& source) { SetAsString(source); }
  // Never null: an empty result gives a static empty text.
  operator const char16_t*() const;
  // The node's String slot: str is null when the text is empty.
  operator const ZxVariant::String&() const { return m_node.value.string; }
  // Units, the NUL not counted.
  std::uint32_t Len() const { return m_node.value.string.length; }
};

class ZXV_EXPORT ZxvConvertBuffer : public ZxvConvertBase {
 public:
  explicit ZxvConvertBuffer(const ZxVariant& source) { SetAsBuffer(source); }
  operator const ZxVariant::Buffer&() const { return m_node.value.buffer; }
};

// To the type given; read the result through the node (views, or the
// operator const ZxVariant*).
class ZXV_EXPORT ZxvConvertAny : public ZxvConvertBase {
 public:
  ZxvConvertAny(const ZxVariant& source, ZxVariant::TypeCodes target) { SetAs(source, target); }
};

}  // namespace ZxVariantHelper
