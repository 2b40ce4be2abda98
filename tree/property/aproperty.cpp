// AProperty: one scalar record, owned or standing for a record in a tree.
#include "record/bad_allocation.h"
#include "tree/property/property_internal.h"
#include "zxvariant/basic_utils.h"
#include "zxvariant/property.h"

namespace ZxVariantHelper::BOProperty {

using namespace BasicUtils;
using internal::Access;
using internal::IsCopyableValue;

namespace {

// A new record holding a copy of `source` (attributes too when asked); a
// value the list utilities cannot copy leaves a Null record with the name.
// Throws when memory runs out, as the constructors do.
ZxVariant* NewCopy(const ZxVariant* source, bool withAttributes) {
  ZxVariant* record = internal::NewNamedRecord(nullptr);
  if (record == nullptr) detail::ThrowBadAllocation();
  if (source == nullptr) return record;
  bool ok;
  if (IsCopyableValue(source->type)) {
    ok = withAttributes ? copyAZxVariant(record, source) : copyASimpleZxVariant(record, source);
  } else {
    ok = source->name.length == 0 || source->name.str == nullptr ||
         copyZxVariantName(record, source->name.str);
    if (ok && withAttributes) ok = copyZxvAttributes(record, source);
  }
  if (!ok) {
    internal::ReleaseQuietly(record);
    detail::ThrowBadAllocation();
  }
  return record;
}

}  // namespace

AProperty::AProperty() : PropertyBase(nullptr, nullptr) {
  Access::own(*this, NewCopy(nullptr, false));
}

AProperty::AProperty(const NameValuePair& nv) : PropertyBase(nullptr, nullptr) {
  Access::own(*this, NewCopy(nv, false));
}

AProperty::AProperty(const AProperty& other) : PropertyBase(nullptr, nullptr) {
  Access::own(*this, NewCopy(other.getData(), true));
}

AProperty::AProperty(ZxVariant* record, PropertyBase* parent, ZxVariant* parentRecord) noexcept
    : PropertyBase(record, parent) {
  Access::setParentRecord(*this, parentRecord);
}

AProperty::~AProperty() = default;

AProperty& AProperty::operator=(const AProperty& other) {
  ZxVariant* record = getData();
  const ZxVariant* source = other.getData();
  if (record == nullptr || source == nullptr || record == source) return *this;
  ZxVariant* holder = Access::parentRecord(*this);
  notifyChange(record, holder, ChangeKind::Removing);
  // The simple copy zeroes the whole header, the next link included, so the
  // link is kept aside while the record is rewritten and it keeps its place.
  ZxVariant* next = record->next;
  record->next = nullptr;
  internal::ClearQuietly(record);
  copyASimpleZxVariant(record, source);
  copyZxvAttributes(record, source);
  record->next = next;
  notifyChange(record, holder, ChangeKind::Added);
  return *this;
}

bool AProperty::writeValue(const ZxVariant* source) {
  ZxVariant* record = getData();
  if (record == nullptr || source == nullptr || !IsCopyableValue(source->type)) return false;
  if (record == source) return true;
  if (compareZxVariantDataType(record, source) && compareZxVariantValue(record, source) == 0) {
    return true;
  }
  ZxVariant* holder = Access::parentRecord(*this);
  notifyChange(record, holder, ChangeKind::Removing);
  bool ok = copyZxVariantValue(record, source);
  notifyChange(record, holder, ChangeKind::Added);
  return ok;
}

bool AProperty::setValue(const NameValuePair& nv) { return writeValue(nv); }

bool AProperty::setValue(const AProperty& source) { return writeValue(source.getData()); }

ZxvToAny AProperty::getValue() const { return ZxvToAny(getData()); }

int AProperty::compare(const AProperty& other) const {
  if (this == &other) return 0;
  return compareAZxVariant(getData(), other.getData());
}

void AProperty::release(AProperty* property) { delete property; }

}  // namespace ZxVariantHelper::BOProperty
