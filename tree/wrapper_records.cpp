// Record-level steps shared by the wrapper classes.
#include "tree/wrapper_records.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include "record/bad_allocation.h"
#include "record/text_copy.h"
#include "record/unaligned.h"
#include "record/utf8.h"
#include "tree/basic_utils_internal.h"
#include "zxvariant/basic_utils.h"

namespace ZxVariantHelper::wrapper_detail {

using namespace ZxVariantHelper::BasicUtils;
using T = ZxVariant::TypeCodes;
using zexora_com::endpoint::string_utils::SmartWcharPtr;

namespace {

// Whether the list utilities can copy this one record's value.
bool ValueCopyable(const ZxVariant& record) {
  switch (record.type) {
    case T::String:
      return record.value.string.length == 0 || record.value.string.str != nullptr;
    case T::Buffer:
      return record.value.buffer.size == 0 || record.value.buffer.data != nullptr;
    case T::Register:
    case T::List:
      return false;
    default:
      return IsKnownType(record.type);
  }
}

// Whether NewLooseCopy can fail on this source for another reason than
// memory: what the list utilities refuse to copy.
bool Copyable(const ZxVariant* source, bool withAttributes) {
  if (source == nullptr || !IsKnownType(source->type)) return false;
  if (source->type == T::List) return true;
  if (source->type != T::Register && !ValueCopyable(*source)) return false;
  if (!withAttributes) return true;
  const ZxVariant* attribute = internal::First(source->attributes);
  for (std::uint32_t i = 0; i < source->attributes.count && attribute != nullptr; ++i) {
    if (!ValueCopyable(*attribute)) return false;
    attribute = attribute->next;
  }
  return true;
}

void SetType(ZxVariant* record, T type) {
  internal::DropValue(record);
  record->type = type;
}

}  // namespace

void ThrowInvalidParameter() { throw std::logic_error("Invalid parameter"); }

void ThrowInvalidConversion() { throw std::logic_error("Invalid type conversion attempt"); }

bool IsList(const ZxVariant* record) { return record != nullptr && record->type == T::List; }

bool IsKnownType(T type) { return internal::IsKnownType(type); }

ZxVariant* NewLooseCopy(const ZxVariant* source, bool withAttributes) {
  if (source == nullptr || !IsKnownType(source->type)) return nullptr;
  if (source->type == T::List) return copyZxVariant(source);
  ZxVariant* copy = internal::NewRecord();
  if (copy == nullptr) return nullptr;
  bool ok;
  if (source->type == T::Register) {
    // The list utilities copy no Register value: the name goes through them
    // on a Null stand-in and the pointer-sized value is carried over here.
    ZxVariant standIn;
    std::memcpy(static_cast<void*>(&standIn), source, sizeof standIn);
    standIn.type = T::Null;
    std::memset(static_cast<void*>(&standIn.value), 0, sizeof standIn.value);
    ok = copyASimpleZxVariant(copy, &standIn);
    if (ok) {
      copy->type = T::Register;
      copy->value.registerValue = source->value.registerValue;
    }
  } else {
    ok = copyASimpleZxVariant(copy, source);
  }
  if (ok && withAttributes) ok = copyZxvAttributes(copy, source);
  if (!ok) {
    releaseZxVariant(copy);
    return nullptr;
  }
  return copy;
}

ZxVariant* NewLooseCopyOrThrow(const ZxVariant* source, bool withAttributes) {
  ZxVariant* copy = NewLooseCopy(source, withAttributes);
  if (copy != nullptr) return copy;
  if (!Copyable(source, withAttributes)) ThrowInvalidParameter();
  detail::ThrowBadAllocation();
}

void AdoptContents(ZxVariant* target, ZxVariant* fresh) {
  // Swap the headers, then free the old contents through fresh's header.
  ZxVariant* next = target->next;
  ZxVariant old;
  std::memcpy(static_cast<void*>(&old), target, sizeof old);
  std::memcpy(static_cast<void*>(target), fresh, sizeof old);
  target->next = next;
  target->size = 0;
  std::memcpy(static_cast<void*>(fresh), &old, sizeof old);
  fresh->next = nullptr;
  releaseZxVariant(fresh);
}

bool CopyValue(ZxVariant* target, const ZxVariant* source) {
  if (target == nullptr || source == nullptr) return false;
  if (source->type == T::List || !IsKnownType(source->type)) return false;
  if (target == source) return true;
  const std::uint32_t size = target->size;
  bool ok = true;
  if (source->type == T::Register) {
    void* value = source->value.registerValue;
    SetType(target, T::Register);
    target->value.registerValue = value;
  } else {
    ok = copyZxVariantValue(target, source);
  }
  target->size = size;
  return ok;
}

bool CopyName(ZxVariant* target, const ZxVariant* source) {
  if (source->name.length != 0 && source->name.str != nullptr) {
    return setZxVariantName(target, source->name.str);
  }
  std::free(const_cast<char16_t*>(target->name.str));
  target->name.str = nullptr;
  target->name.length = 0;
  return true;
}

void StoreBool(ZxVariant* record, bool value) {
  SetType(record, T::Bool);
  record->value.boolValue = value ? 1 : 0;
}

void StoreInt(ZxVariant* record, int value) {
  SetType(record, T::Int);
  record->value.intValue = value;
}

void StoreInt64(ZxVariant* record, long long value) {
  SetType(record, T::Int64);
  record->value.int64Value = value;
}

void StoreFloat(ZxVariant* record, double value) {
  SetType(record, T::Float);
  record->value.floatValue = value;
}

void StoreString(ZxVariant* record, const char16_t* text) {
  if (text == nullptr) ThrowInvalidParameter();
  std::uint32_t units = 0;
  char16_t* copy = detail::CopyText(text, 0, &units);
  if (copy == nullptr && detail::LoadUnit(text, 0) != 0) detail::ThrowBadAllocation();
  SetType(record, T::String);
  record->value.string.length = units;
  record->value.string.str = copy;
}

void StoreUtf8(ZxVariant* record, const char* utf8) {
  if (utf8 == nullptr) ThrowInvalidParameter();
  std::uint32_t units = 0;
  char16_t* copy = detail::CopyUtf8Text(utf8, &units);
  // Every non-empty UTF-8 text gives at least one unit (U+FFFD if nothing
  // else), so a null copy of one means memory ran out.
  if (copy == nullptr && *utf8 != '\0') detail::ThrowBadAllocation();
  SetType(record, T::String);
  record->value.string.length = units;
  record->value.string.str = copy;
}

void NameOrThrow(ZxVariant* record, const char16_t* name) {
  if (name == nullptr || detail::LoadUnit(name, 0) == 0) return;
  if (!setZxVariantName(record, name)) detail::ThrowBadAllocation();
}

ZxVariant* AttributeByName(ZxVariant* record, const char16_t* name, bool create) {
  if (record == nullptr || name == nullptr || detail::LoadUnit(name, 0) == 0) return nullptr;
  ZxVariant::List* attributes = &record->attributes;
  ZxVariant* found = findNodeInAList(attributes, name);
  if (found != nullptr && found->type == T::List) ThrowInvalidConversion();
  if (!create) return found;
  bool added = false;
  if (found == nullptr) {
    found = appendNodeToAList(attributes);
    if (found == nullptr) detail::ThrowBadAllocation();
    added = true;
  }
  if (!copyZxVariantName(found, name)) {
    if (added) {
      ZxVariant* prev = nullptr;
      findNodeInAList(attributes, found, &prev);
      deleteNodeFromAList(attributes, prev, found);
    }
    detail::ThrowBadAllocation();
  }
  // copyZxVariantName drops a String's characters (a Buffer's bytes) when
  // their count differs from the name's length; what remains is an empty
  // value rather than a count without data.
  if ((found->type == T::String || found->type == T::Buffer) &&
      found->value.buffer.data == nullptr) {
    found->value.buffer.size = 0;
  }
  return found;
}

ZxVariant* AttributeAt(const ZxVariant* record, int index) {
  if (record == nullptr || index < 0) return nullptr;
  ZxVariant* found = findNodeInAList(&record->attributes, index);
  if (found != nullptr && found->type == T::List) ThrowInvalidConversion();
  return found;
}

int CompareRecords(const ZxVariant* a, const ZxVariant* b) {
  if (a == b) return 0;
  if (IsList(a) && IsList(b)) {
    int children = compareZxVariant(a, b);
    return children != 0 ? children : compareZxVariantName(a, b);
  }
  return compareAZxVariant(a, b);
}

int CompareText(const char16_t* a, std::size_t aLength, const char16_t* b, std::size_t bLength,
                bool exact) {
  if (!exact) return internal::CompareFolded(a, aLength, b, bLength);
  if (a == nullptr) aLength = 0;
  if (b == nullptr) bLength = 0;
  std::size_t common = aLength < bLength ? aLength : bLength;
  for (std::size_t i = 0; i < common; ++i) {
    char16_t x = detail::LoadUnit(a, i);
    char16_t y = detail::LoadUnit(b, i);
    if (x != y) return x < y ? -1 : 1;
  }
  if (aLength == bLength) return 0;
  return aLength < bLength ? -1 : 1;
}

std::size_t TextLength(const char16_t* text) { return text != nullptr ? detail::UnitCount(text) : 0; }

SmartWcharPtr FromUtf8(const char* utf8) {
  if (utf8 == nullptr) return SmartWcharPtr();
  return SmartWcharPtr(detail::Utf8ToUtf16(std::string(utf8)));
}

}  // namespace ZxVariantHelper::wrapper_detail
