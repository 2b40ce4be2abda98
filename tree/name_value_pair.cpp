// NameValuePair: an owned name with a value; ZxvToAny: typed reads of one
// record.
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "record/unaligned.h"
#include "tree/basic_utils_internal.h"
#include "zxvariant/basic_utils.h"

namespace ZxVariantHelper::BasicUtils {

using internal::T;

namespace {

constexpr std::uintptr_t kComplexMarker = 1234;

}  // namespace

// ---- ZxvToAny -----------------------------------------------------------------

constinit const ZxvToAny ZxvToAny::NullZxv{Marker{}, 0};
constinit const ZxvToAny ZxvToAny::ComplexZxv{Marker{}, kComplexMarker};

bool ZxvToAny::IsMarker() const { return m_address == kComplexMarker; }

const ZxVariant* ZxvToAny::Record() const {
  return IsMarker() ? nullptr : detail::At<const ZxVariant>(m_address);
}

ZxVariant::TypeCodes ZxvToAny::getType() const {
  if (m_address == 0) return T::Null;
  if (IsMarker()) return T::List;
  return Record()->type;
}

ZxvToAny::operator bool() const {
  const ZxVariant* r = Record();
  return r != nullptr && r->type == T::Bool && r->value.boolValue != 0;
}

ZxvToAny::operator int() const {
  const ZxVariant* r = Record();
  return r != nullptr && r->type == T::Int ? r->value.intValue : 0;
}

ZxvToAny::operator double() const {
  const ZxVariant* r = Record();
  return r != nullptr && r->type == T::Float ? r->value.floatValue : 0.0;
}

ZxvToAny::operator long long() const {
  const ZxVariant* r = Record();
  return r != nullptr && r->type == T::Int64 ? r->value.int64Value : 0;
}

ZxvToAny::operator char16_t*() const {
  const ZxVariant* r = Record();
  return r != nullptr && r->type == T::String ? const_cast<char16_t*>(r->value.string.str)
                                              : nullptr;
}

ZxvToAny::operator ZxVariant*() const { return const_cast<ZxVariant*>(Record()); }

bool ZxvToAny::operator==(const ZxvToAny& other) const {
  if (m_address == other.m_address) return true;
  if (m_address == 0 || other.m_address == 0) return false;
  if (getType() != other.getType()) return false;
  // The types agree, so a marker on one side means a List on the other.
  if (IsMarker() || other.IsMarker()) return true;
  if (getType() == T::List) return false;
  // Byte identity of the headers, pointers included, on purpose: equal
  // texts in different blocks do not make two records equal.
  return std::memcmp(Record(), other.Record(), sizeof(ZxVariant)) == 0;
}

// ---- NameValuePair ------------------------------------------------------------

void NameValuePair::copyName(const char16_t* name) {
  if (name == nullptr || detail::LoadUnit(name, 0) == 0) return;
  std::size_t length = detail::UnitCount(name);
  if (length >= 0xFFFFFFFFu) return;
  auto* block = const_cast<char16_t*>(m_record.name.str);
  if (block != nullptr && m_record.name.length != length) {
    std::free(block);
    block = nullptr;
    m_record.name.str = nullptr;
    m_record.name.length = 0;
  }
  if (block == nullptr) {
    block = static_cast<char16_t*>(std::malloc(2 * (length + 1)));
    if (block == nullptr) return;
  }
  std::memcpy(block, name, 2 * length);
  block[length] = 0;
  m_record.name.length = static_cast<std::uint32_t>(length);
  m_record.name.str = block;
}

void NameValuePair::initName(const char16_t* name) {
  std::memset(static_cast<void*>(&m_record), 0, sizeof m_record);
  if (name == nullptr) throw std::logic_error("Invalid parameter");
  copyName(name);
}

void NameValuePair::freeValue() { internal::DropValue(&m_record); }

void NameValuePair::copyValueFrom(const ZxVariant& source) {
  freeValue();
  if (source.type == T::Register) {
    // A plain pointer-sized value with nothing to own: copied as it is.
    m_record.value.registerValue = source.value.registerValue;
    m_record.size = source.size;
    m_record.type = T::Register;
    return;
  }
  copyZxVariantValue(&m_record, &source);
}

NameValuePair::NameValuePair(const char16_t* name, const char16_t* value) {
  initName(name);
  m_record.type = T::String;
  if (value == nullptr || detail::LoadUnit(value, 0) == 0) return;
  std::size_t length = detail::UnitCount(value);
  if (length >= 0xFFFFFFFFu) return;
  auto* block = static_cast<char16_t*>(std::malloc(2 * (length + 1)));
  if (block == nullptr) return;
  std::memcpy(block, value, 2 * length);
  block[length] = 0;
  m_record.value.string.length = static_cast<std::uint32_t>(length);
  m_record.value.string.str = block;
}

NameValuePair::NameValuePair(const char16_t* name, char16_t* value)
    : NameValuePair(name, static_cast<const char16_t*>(value)) {}

NameValuePair::NameValuePair(const char16_t* name, int value) {
  initName(name);
  m_record.type = T::Int;
  m_record.value.intValue = value;
}

NameValuePair::NameValuePair(const char16_t* name, bool value) {
  initName(name);
  m_record.type = T::Bool;
  m_record.value.boolValue = value ? 1 : 0;
}

NameValuePair::NameValuePair(const char16_t* name, long long value) {
  initName(name);
  m_record.type = T::Int64;
  m_record.value.int64Value = value;
}

NameValuePair::NameValuePair(const char16_t* name, double value) {
  initName(name);
  m_record.type = T::Float;
  m_record.value.floatValue = value;
}

NameValuePair::NameValuePair(const char16_t* name, void* data, unsigned int size) {
  initName(name);
  m_record.type = T::Buffer;
  if (data == nullptr || size == 0) return;
  void* block = std::malloc(size);
  if (block == nullptr) return;
  std::memcpy(block, data, size);
  m_record.value.buffer.size = size;
  m_record.value.buffer.data = block;
}

NameValuePair::NameValuePair(const ZxVariant* record) {
  std::memset(static_cast<void*>(&m_record), 0, sizeof m_record);
  if (record == nullptr) return;
  if (record->name.length != 0) copyName(record->name.str);
  copyValueFrom(*record);
}

NameValuePair::NameValuePair(const NameValuePair& other) : NameValuePair(&other.m_record) {}

NameValuePair& NameValuePair::operator=(const NameValuePair& other) {
  if (this == &other) return *this;
  if (other.m_record.name.length == 0 || other.m_record.name.str == nullptr) {
    std::free(const_cast<char16_t*>(m_record.name.str));
    m_record.name.str = nullptr;
    m_record.name.length = 0;
  } else {
    copyName(other.m_record.name.str);
  }
  copyValueFrom(other.m_record);
  return *this;
}

NameValuePair::~NameValuePair() { clearZxVariant(&m_record); }

char16_t* NameValuePair::name() const { return const_cast<char16_t*>(m_record.name.str); }

ZxvToAny NameValuePair::value() const { return ZxvToAny(const_cast<ZxVariant*>(&m_record)); }

NameValuePair::operator ZxVariant*() const { return const_cast<ZxVariant*>(&m_record); }

}  // namespace ZxVariantHelper::BasicUtils
