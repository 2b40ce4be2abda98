// The iterator over the direct children of one container.
#include <utility>

#include "tree/property/property_iterator.h"
#include "zxvariant/basic_utils.h"

namespace ZxVariantHelper::BOProperty {

IPropertyIterator::~IPropertyIterator() = default;

void IPropertyIterator::release(IPropertyIterator* iterator) { delete iterator; }

namespace internal {

PropertyIterator::PropertyIterator(std::shared_ptr<TreeState> tree, PropertyBase* owner,
                                   ZxVariant* list) noexcept
    : m_tree(std::move(tree)), m_owner(owner), m_list(list) {
  reset();
}

PropertyIterator::~PropertyIterator() {
  if (m_tree != nullptr) m_tree->untrack(this);
}

bool PropertyIterator::next() {
  if (m_current != nullptr) m_current = m_current->next;
  return m_current != nullptr;
}

void PropertyIterator::reset() {
  m_current = m_list != nullptr ? BasicUtils::findNodeInAList(m_list, 0) : nullptr;
}

bool PropertyIterator::isContainer() const { return IsList(m_current); }

SmartWcharPtr PropertyIterator::getName() const { return NameOf(m_current); }

ZxvToAny PropertyIterator::getValue() const {
  if (m_current == nullptr) return ZxvToAny::NullZxv;
  return IsList(m_current) ? ZxvToAny::ComplexZxv : ZxvToAny(m_current);
}

SmartPtr<AProperty> PropertyIterator::getProperty() const {
  if (m_current == nullptr || IsList(m_current) || m_owner == nullptr) return nullptr;
  return Access::handOutProperty(*m_owner, m_current, m_list);
}

SmartPtr<PropertyContainer> PropertyIterator::getContainer() const {
  if (!IsList(m_current) || m_owner == nullptr) return nullptr;
  return Access::handOutContainer(*m_owner, m_current, m_list);
}

void PropertyIterator::detach() noexcept {
  m_owner = nullptr;
  m_list = nullptr;
  m_current = nullptr;
}

void PropertyIterator::stepPast(const ZxVariant* removed) noexcept {
  if (m_current == removed) m_current = m_current->next;
}

}  // namespace internal
}  // namespace ZxVariantHelper::BOProperty
