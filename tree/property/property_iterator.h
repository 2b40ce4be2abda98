// The iterator over the direct children of one container.
#pragma once

#include <memory>

#include "tree/property/property_internal.h"
#include "zxvariant/property.h"

namespace ZxVariantHelper::BOProperty::internal {

class PropertyIterator final : public IPropertyIterator {
 public:
  // An iterator on the first child of the List `list` (at its end for null),
  // handing out objects whose parent is `owner`.  `tree` is null for an
  // iterator that stands for nothing.
  PropertyIterator(std::shared_ptr<TreeState> tree, PropertyBase* owner, ZxVariant* list) noexcept;
  PropertyIterator(const PropertyIterator&) = delete;
  PropertyIterator& operator=(const PropertyIterator&) = delete;
  ~PropertyIterator() override;

  bool atEnd() const override { return m_current == nullptr; }
  bool next() override;
  void reset() override;
  bool isContainer() const override;
  SmartWcharPtr getName() const override;
  ZxvToAny getValue() const override;
  ZxVariant* getData() const override { return m_current; }
  SmartPtr<AProperty> getProperty() const override;
  SmartPtr<PropertyContainer> getContainer() const override;

  // ---- for the tree state and the container ----
  ZxVariant* list() const { return m_list; }
  PropertyBase* owner() const { return m_owner; }
  void setOwner(PropertyBase* owner) { m_owner = owner; }
  void detach() noexcept;
  // `removed` is about to be deleted: step past it when it is the current
  // element.
  void stepPast(const ZxVariant* removed) noexcept;

 private:
  std::shared_ptr<TreeState> m_tree;
  PropertyBase* m_owner;
  ZxVariant* m_list;
  ZxVariant* m_current = nullptr;
};

}  // namespace ZxVariantHelper::BOProperty::internal
