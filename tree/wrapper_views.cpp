// AZxvariantName and AZxVariantValue: read-only views of a record's name and
// value.
#include <cstring>

#include "tree/wrapper_records.h"
#include "zxvariant/wrappers.h"

namespace ZxVariantHelper {

using namespace wrapper_detail;
using T = ZxVariant::TypeCodes;

namespace {

// The record when it has `type`; otherwise the conversion is refused.
const ZxVariant& Typed(const ZxVariant* record, T type) {
  if (record == nullptr || record->type != type) ThrowInvalidConversion();
  return *record;
}

}  // namespace

// ---- AZxvariantName -------------------------------------------------------------

bool AZxvariantName::isNull() const { return m_record == nullptr || m_record->name.str == nullptr; }

bool AZxvariantName::empty() const { return isNull() || m_record->name.length == 0; }

unsigned int AZxvariantName::length() const { return isNull() ? 0 : m_record->name.length; }

const char16_t* AZxvariantName::cStr() const {
  return m_record != nullptr ? m_record->name.str : nullptr;
}

AZxvariantName::operator const unsigned short*() const {
  return reinterpret_cast<const unsigned short*>(cStr());
}

int AZxvariantName::compare(SmartWcharPtr text, bool exact) const {
  return CompareText(cStr(), length(), text.get(), text.length(), exact);
}

int AZxvariantName::compare(const char* utf8, bool exact) const {
  return compare(FromUtf8(utf8), exact);
}

bool AZxvariantName::operator==(const char16_t* text) const {
  return CompareText(cStr(), length(), text, TextLength(text), true) == 0;
}

bool AZxvariantName::operator==(const unsigned short* text) const {
  return *this == reinterpret_cast<const char16_t*>(text);
}

bool AZxvariantName::operator==(const char* utf8) const { return compare(utf8, true) == 0; }

// ---- AZxVariantValue ------------------------------------------------------------

T AZxVariantValue::type() const { return m_record != nullptr ? m_record->type : T::Null; }

bool AZxVariantValue::isNull() const { return type() == T::Null; }
bool AZxVariantValue::isBool() const { return type() == T::Bool; }
bool AZxVariantValue::isRegister() const { return type() == T::Register; }
bool AZxVariantValue::isInt() const { return type() == T::Int; }
bool AZxVariantValue::isInt64() const { return type() == T::Int64; }
bool AZxVariantValue::isFloat() const { return type() == T::Float; }
bool AZxVariantValue::isString() const { return type() == T::String; }
bool AZxVariantValue::isBuffer() const { return type() == T::Buffer; }
bool AZxVariantValue::isList() const { return type() == T::List; }

bool AZxVariantValue::getBool() const { return Typed(m_record, T::Bool).value.boolValue != 0; }

int AZxVariantValue::getInt() const { return Typed(m_record, T::Int).value.intValue; }

long long AZxVariantValue::getInt64() const { return Typed(m_record, T::Int64).value.int64Value; }

double AZxVariantValue::getFloat() const { return Typed(m_record, T::Float).value.floatValue; }

void* AZxVariantValue::getRegister() const {
  return Typed(m_record, T::Register).value.registerValue;
}

SmartWcharPtr AZxVariantValue::getString() const {
  const ZxVariant::String& text = Typed(m_record, T::String).value.string;
  if (text.str == nullptr || text.length == 0) return SmartWcharPtr(u"", 0);
  return SmartWcharPtr(text.str, text.length);
}

ZxVariant::Buffer AZxVariantValue::getBuffer() const {
  return Typed(m_record, T::Buffer).value.buffer;
}

AZxvListReference AZxVariantValue::getList() const {
  return AZxvListReference(const_cast<ZxVariant*>(&Typed(m_record, T::List)));
}

AZxVariantValue::operator AZxvListReference() const { return getList(); }

int AZxVariantValue::compareText(const char16_t* text, std::size_t length, bool exact) const {
  const ZxVariant::String& own = Typed(m_record, T::String).value.string;
  // Kept on purpose: a String without characters equals only the null text,
  // and both "empty against non-null" and "non-empty against null" are -1.
  const bool hasCharacters = own.str != nullptr && own.length != 0;
  if (!hasCharacters) return text == nullptr ? 0 : -1;
  if (text == nullptr) return -1;
  return CompareText(own.str, own.length, text, length, exact);
}

int AZxVariantValue::compare(SmartWcharPtr text, bool exact) const {
  return compareText(text.get(), text.length(), exact);
}

int AZxVariantValue::compare(const char* utf8, bool exact) const {
  return compare(FromUtf8(utf8), exact);
}

bool AZxVariantValue::operator==(bool value) const {
  return isBool() && (m_record->value.boolValue != 0) == value;
}

bool AZxVariantValue::operator==(int value) const {
  return isInt() && m_record->value.intValue == value;
}

bool AZxVariantValue::operator==(long long value) const {
  return isInt64() && m_record->value.int64Value == value;
}

bool AZxVariantValue::operator==(double value) const {
  return isFloat() && m_record->value.floatValue == value;
}

bool AZxVariantValue::operator==(const char16_t* text) const {
  return isString() && compareText(text, TextLength(text), true) == 0;
}

bool AZxVariantValue::operator==(const unsigned short* text) const {
  return *this == reinterpret_cast<const char16_t*>(text);
}

bool AZxVariantValue::operator==(const char* utf8) const {
  return isString() && compare(utf8, true) == 0;
}

bool AZxVariantValue::operator==(const ZxVariant::Buffer& buffer) const {
  if (!isBuffer()) return false;
  const ZxVariant::Buffer& own = m_record->value.buffer;
  const std::uint32_t ownSize = own.data != nullptr ? own.size : 0;
  const std::uint32_t otherSize = buffer.data != nullptr ? buffer.size : 0;
  return ownSize == otherSize && (ownSize == 0 || std::memcmp(own.data, buffer.data, ownSize) == 0);
}

}  // namespace ZxVariantHelper
