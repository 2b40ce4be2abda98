// The typed builders and the New* functions.
#include <cstdlib>
#include <cstring>
#include <new>

#include "record/builder_access.h"
#include "record/layout_engine.h"
#include "record/refusal.h"
#include "record/text_copy.h"
#include "record/unaligned.h"
#include "zxvariant/builders.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper {
namespace {

using T = ZxVariant::TypeCodes;

void* ValueArea(ZxVariant* node) { return reinterpret_cast<char*>(node) + offsetof(ZxVariant, value); }
const void* ValueArea(const ZxVariant* node) {
  return reinterpret_cast<const char*>(node) + offsetof(ZxVariant, value);
}

// The types ZxvAny stores; Buffer and List need more than one pointer.
bool AnyAccepts(T type) { return type == T::Null || type == T::String || detail::IsScalar(type); }

}  // namespace

ZxvNull::ZxvNull(const char16_t* name) : ZxvBase(T::Null, name) {}

ZxvRegister::ZxvRegister(const char16_t* name, void* v) : ZxvBase(T::Register, name) { SetValue(v); }
void* ZxvRegister::GetValue() const { return value.registerValue; }
void ZxvRegister::SetValue(void* v) { value.registerValue = v; }

ZxvBool::ZxvBool(const char16_t* name, bool v) : ZxvBase(T::Bool, name) { SetValue(v); }
bool ZxvBool::GetValue() const { return value.boolValue != 0; }
void ZxvBool::SetValue(bool v) { value.boolValue = v ? 1 : 0; }

ZxvInt::ZxvInt(const char16_t* name, int v) : ZxvBase(T::Int, name) { SetValue(v); }
int ZxvInt::GetValue() const { return value.intValue; }
void ZxvInt::SetValue(int v) { value.intValue = v; }

ZxvInt64::ZxvInt64(const char16_t* name, long long v) : ZxvBase(T::Int64, name) { SetValue(v); }
long long ZxvInt64::GetValue() const { return value.int64Value; }
void ZxvInt64::SetValue(long long v) { value.int64Value = v; }

ZxvFloat::ZxvFloat(const char16_t* name, double v) : ZxvBase(T::Float, name) { SetValue(v); }
double ZxvFloat::GetValue() const { return value.floatValue; }
void ZxvFloat::SetValue(double v) { value.floatValue = v; }

ZxvBuffer::ZxvBuffer(const char16_t* name, const void* data, int size) : ZxvBase(T::Buffer, name) {
  SetValue(data, size);
}
const ZxVariant::Buffer& ZxvBuffer::GetValue() const { return value.buffer; }
void ZxvBuffer::SetValue(const void* data, int size) {
  ReleaseValue();
  if (data == nullptr || size <= 0) return;
  void* copy = std::malloc(static_cast<std::size_t>(size));
  if (copy == nullptr) return;
  std::memcpy(copy, data, static_cast<std::size_t>(size));
  value.buffer.data = copy;
  value.buffer.size = static_cast<std::uint32_t>(size);
}

ZxvString::ZxvString(const char16_t* name, const char16_t* text, int length)
    : ZxvBase(T::String, name) {
  StoreString(text, length);
}
const ZxVariant::String& ZxvString::GetValue() const { return value.string; }
void ZxvString::SetValue(const char16_t* text, int length) {
  ReleaseValue();
  StoreString(text, length);
}
void ZxvString::TakeValue(char16_t* text, int length) {
  ReleaseValue();
  if (text == nullptr || detail::LoadUnit(text, 0) == 0) return;
  value.string.str = text;
  value.string.length =
      static_cast<std::uint32_t>(length >= 0 ? static_cast<std::size_t>(length) : detail::UnitCount(text));
}

ZxvStringFromUtf8::ZxvStringFromUtf8(const char16_t* name, const char* utf8)
    : ZxvString(name, nullptr) {
  std::uint32_t units;
  value.string.str = detail::CopyUtf8Text(utf8, &units);
  value.string.length = units;
}

ZxvAny::ZxvAny(const char16_t* name, T type, const void* v) : ZxvBase(T::Null, name) {
  SetValue(type, v);
}
const void* ZxvAny::GetValue() const { return ValueArea(this); }
void ZxvAny::SetValue(T newType, const void* v) {
  if (!AnyAccepts(newType)) detail::Refuse();
  if (v == nullptr && newType != T::Null && newType != T::String) detail::Refuse();
  ReleaseValue();
  type = newType;
  if (newType == T::String) {
    StoreString(static_cast<const char16_t*>(v), 0);
  } else if (newType != T::Null) {
    std::memcpy(ValueArea(this), v, detail::ScalarBytes(newType));
  }
}

ZxvCopy::ZxvCopy(const ZxVariant* record) : ZxvBase(TypeEmbeddedRecord, nullptr) {
  if (record == nullptr) return;
  auto* copy = static_cast<ZxVariant*>(std::malloc(record->size));
  if (copy == nullptr) return;
  std::memcpy(copy, record, record->size);
  Rebase(copy, record, copy);
  value.buffer.data = copy;
}
const ZxVariant* ZxvCopy::GetValue() const { return BuilderAccess::Embedded(*this); }

ZxvCopyImproper::ZxvCopyImproper(const ZxVariant* record) : ZxvBase(T::Null, nullptr) {
  if (record == nullptr || (!AnyAccepts(record->type) && record->type != T::Buffer)) {
    detail::Refuse();
  }
  SetName(record->name.length != 0 ? record->name.str : nullptr);
  type = record->type;
  switch (record->type) {
    case T::Buffer: {
      const ZxVariant::Buffer& buffer = record->value.buffer;
      if (buffer.size == 0 || buffer.data == nullptr) break;
      void* copy = std::malloc(buffer.size);
      if (copy == nullptr) break;
      std::memcpy(copy, buffer.data, buffer.size);
      value.buffer.data = copy;
      value.buffer.size = buffer.size;
      break;
    }
    case T::String:
      StoreString(record->value.string.length != 0 ? record->value.string.str : nullptr, 0);
      break;
    default:
      std::memcpy(ValueArea(this), ValueArea(record), detail::ScalarBytes(record->type));
      break;
  }
}

ZxvNull* NewNull(const char16_t* name) { return new (std::nothrow) ZxvNull(name); }
ZxvRegister* NewRegister(const char16_t* name, void* v) {
  return new (std::nothrow) ZxvRegister(name, v);
}
ZxvBool* NewBool(const char16_t* name, bool v) { return new (std::nothrow) ZxvBool(name, v); }
ZxvInt* NewInt(const char16_t* name, int v) { return new (std::nothrow) ZxvInt(name, v); }
ZxvInt64* NewInt64(const char16_t* name, long long v) {
  return new (std::nothrow) ZxvInt64(name, v);
}
ZxvFloat* NewFloat(const char16_t* name, double v) { return new (std::nothrow) ZxvFloat(name, v); }
ZxvBuffer* NewBuffer(const char16_t* name, const void* data, int size) {
  return new (std::nothrow) ZxvBuffer(name, data, size);
}
ZxvString* NewString(const char16_t* name, const char16_t* text, int length) {
  return new (std::nothrow) ZxvString(name, text, length);
}
ZxvList* NewList(const char16_t* name) { return new (std::nothrow) ZxvList(name); }

}  // namespace ZxVariantHelper
