// AZxvReference: a scalar record edited in place.
#include "tree/wrapper_records.h"
#include "zxvariant/basic_utils.h"
#include "zxvariant/wrappers.h"

namespace ZxVariantHelper {

using namespace wrapper_detail;

namespace {

// Writes go to a record; a reference to nothing has none to write.
ZxVariant* Writable(ZxVariant* record) {
  if (record == nullptr) ThrowInvalidParameter();
  return record;
}

}  // namespace

AZxvReference::AZxvReference(ZxVariant* record) : m_record(record) {
  if (record == nullptr || record->type == ZxVariant::TypeCodes::List) ThrowInvalidConversion();
}

void AZxvReference::value(bool value) { StoreBool(Writable(m_record), value); }

void AZxvReference::value(int value) { StoreInt(Writable(m_record), value); }

void AZxvReference::value(long long value) { StoreInt64(Writable(m_record), value); }

void AZxvReference::value(double value) { StoreFloat(Writable(m_record), value); }

void AZxvReference::value(const char16_t* text) { StoreString(Writable(m_record), text); }

void AZxvReference::value(const unsigned short* text) {
  StoreString(Writable(m_record), reinterpret_cast<const char16_t*>(text));
}

void AZxvReference::value(const char* utf8) { StoreUtf8(Writable(m_record), utf8); }

AZxvReference& AZxvReference::operator=(bool value) {
  this->value(value);
  return *this;
}

AZxvReference& AZxvReference::operator=(int value) {
  this->value(value);
  return *this;
}

AZxvReference& AZxvReference::operator=(long long value) {
  this->value(value);
  return *this;
}

AZxvReference& AZxvReference::operator=(double value) {
  this->value(value);
  return *this;
}

AZxvReference& AZxvReference::operator=(const char16_t* text) {
  value(text);
  return *this;
}

AZxvReference& AZxvReference::operator=(const unsigned short* text) {
  value(text);
  return *this;
}

AZxvReference& AZxvReference::operator=(const char* utf8) {
  value(utf8);
  return *this;
}

AZxVariantValue AZxvReference::value() const { return AZxVariantValue(m_record); }

AZxvariantName AZxvReference::name() const { return AZxvariantName(m_record); }

bool AZxvReference::name(SmartWcharPtr name) {
  return m_record != nullptr && BasicUtils::setZxVariantName(m_record, name.get());
}

AZxvReference AZxvReference::operator[](SmartWcharPtr name) {
  this->name(name);
  AZxvReference same;
  same.m_record = m_record;
  return same;
}

bool AZxvReference::assign(const AZxvReference& other) {
  if (m_record == nullptr || other.m_record == nullptr || m_record == other.m_record) return false;
  // The value first: when it cannot be copied the name stays as it was.
  return CopyValue(m_record, other.m_record) && CopyName(m_record, other.m_record);
}

bool AZxvReference::assignName(const AZxvReference& other) {
  if (m_record == nullptr || other.m_record == nullptr || m_record == other.m_record) return false;
  return CopyName(m_record, other.m_record);
}

bool AZxvReference::assignValue(const AZxvReference& other) {
  if (m_record == nullptr || other.m_record == nullptr || m_record == other.m_record) return false;
  return CopyValue(m_record, other.m_record);
}

AZxvReference AZxvReference::attribute(SmartWcharPtr name) {
  AZxvReference found;
  found.m_record = AttributeByName(m_record, name.get(), true);
  return found;
}

AZxvReference AZxvReference::attribute(SmartWcharPtr name) const {
  AZxvReference found;
  found.m_record = AttributeByName(m_record, name.get(), false);
  return found;
}

AZxvReference AZxvReference::attribute(int index) {
  return static_cast<const AZxvReference&>(*this).attribute(index);
}

AZxvReference AZxvReference::attribute(int index) const {
  AZxvReference found;
  found.m_record = AttributeAt(m_record, index);
  return found;
}

ZxVariant::TypeCodes AZxvReference::type() const {
  return m_record != nullptr ? m_record->type : ZxVariant::TypeCodes::Null;
}

int AZxvReference::compare(const AZxvReference& other) const {
  return CompareRecords(m_record, other.m_record);
}

void AZxvReference::erase() {
  if (m_record != nullptr) BasicUtils::clearZxVariant(m_record);
}

}  // namespace ZxVariantHelper
