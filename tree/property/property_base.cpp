// PropertyBase: the record's name, its attributes and the notification chain.
#include "tree/property/property_internal.h"
#include "zxvariant/basic_utils.h"
#include "zxvariant/property.h"

namespace ZxVariantHelper::BOProperty {

using namespace BasicUtils;
using internal::IsCopyableValue;

PropertyBase::PropertyBase(ZxVariant* record, PropertyBase* parent) noexcept
    : m_data(record), m_parent(parent) {}

PropertyBase::~PropertyBase() {
  if (m_tracked) m_tree->untrack(this);
  if (m_ownsData) internal::ReleaseQuietly(m_data);
}

SmartWcharPtr PropertyBase::getName() const { return internal::NameOf(m_data); }

bool PropertyBase::addAttribute(const NameValuePair& nv) {
  if (m_data == nullptr) return false;
  ZxVariant* attribute = appendNodeToAList(&m_data->attributes);
  if (attribute == nullptr) return false;
  // A failed copy leaves the empty attribute in place, as a failed copy after
  // an append does everywhere in the list utilities.
  if (!copyASimpleZxVariant(attribute, nv)) return false;
  notifyChange(attribute, m_data, ChangeKind::AttributeAdded);
  return true;
}

bool PropertyBase::setAttribute(const NameValuePair& nv) {
  const ZxVariant* source = nv;
  if (m_data == nullptr || !IsCopyableValue(source->type)) return false;
  ZxVariant* attribute = findNodeInAList(&m_data->attributes, nv.name());
  if (attribute == nullptr || !compareZxVariantDataType(attribute, source)) return false;
  return copyZxVariantValue(attribute, source);
}

bool PropertyBase::removeAttribute(SmartWcharPtr name) {
  if (m_data == nullptr) return false;
  ZxVariant* attribute = findNodeInAList(&m_data->attributes, name);
  if (attribute == nullptr) return false;
  notifyChange(attribute, m_data, ChangeKind::AttributeRemoving);
  try {
    return deleteNodeFromAList(&m_data->attributes, name);
  } catch (const std::bad_alloc&) {
    return true;  // unlinked; only its release ran out of memory
  }
}

ZxvToAny PropertyBase::getAttribute(SmartWcharPtr name) const {
  if (m_data == nullptr) return ZxvToAny::NullZxv;
  return ZxvToAny(findNodeInAList(&m_data->attributes, name));
}

void PropertyBase::notifyChange(ZxVariant* changed, ZxVariant* parentRecord, int kind) {
  if (m_parent != nullptr && changed != nullptr) m_parent->notifyChange(changed, parentRecord, kind);
}

}  // namespace ZxVariantHelper::BOProperty
