// ZxVariantEventFilter: the record of the events a consumer accepts.
//
// The filter is a node tree: the root (named "EventFilter" on export) has
// one child list per key, and every accepted value is a node of its own,
// seeded from a one-record value and appended there.
#include <cstdlib>
#include <memory>

#include "messaging/event_properties.h"
#include "record/bad_allocation.h"
#include "zxvariant/events.h"

namespace ZxVariantHelper::Events {

ZxVariantEventFilter::ZxVariantEventFilter(const ZxVariantEventFilter& other) { *this = other; }

ZxVariantEventFilter& ZxVariantEventFilter::operator=(const ZxVariantEventFilter& other) {
  if (this == &other) return *this;
  if (other.m_root.IsNull()) {
    m_root = NodeRef();
    return *this;
  }
  // A tree seeded from the other's export shares no node with it.
  AutoExport image(other.m_root);
  if (image.Get() == nullptr) ZxVariantHelper::detail::ThrowBadAllocation();
  m_root = NodeRef(image.Get());
  return *this;
}

void ZxVariantEventFilter::Accept(const char16_t* key, const Value& value) {
  NodeRef accepted;
  accepted = value;  // a new node seeded from the value's record
  m_root[key].Append(accepted);
}

bool ZxVariantEventFilter::SetPublisher(SmartWcharPtr publisher) {
  if (publisher.isNull()) return false;
  Accept(detail::kTechnologyName, Value(publisher.get()));
  return true;
}

bool ZxVariantEventFilter::SetSeverity(int severity) {
  if (severity == 0) return false;
  Accept(detail::kThreatSeverity, Value(severity));
  return true;
}

bool ZxVariantEventFilter::SetEventID(int eventId) {
  if (eventId == 0) return false;
  Accept(detail::kThreatEventId, Value(eventId));
  return true;
}

bool ZxVariantEventFilter::SetTopicName(SmartWcharPtr topicName) {
  if (topicName.isNull()) return false;
  Accept(detail::kTopic, Value(topicName.get()));
  return true;
}

bool ZxVariantEventFilter::SetCustomData(const BasicUtils::NameValuePair& pair) {
  const char16_t* key = pair.name();
  if (key == nullptr || key[0] == u'\0') return false;
  // Only the value is copied: accepted values are unnamed under their key.
  std::unique_ptr<ZxVariant, void (*)(ZxVariant*)> value(
      static_cast<ZxVariant*>(std::calloc(1, sizeof(ZxVariant))), &BasicUtils::releaseZxVariant);
  if (!value) ZxVariantHelper::detail::ThrowBadAllocation();
  if (!BasicUtils::copyZxVariantValue(value.get(), pair)) return false;
  Accept(key, Value(static_cast<const ZxVariant*>(value.get())));
  return true;
}

bool ZxVariantEventFilter::SetName() {
  m_root.SetTopName(detail::kFilterName);
  return true;
}

ZxVariant* ZxVariantEventFilter::GetZxVariant(ZxvAllocator allocate) {
  if (m_root.IsNull()) return nullptr;
  SetName();
  return m_root.Export(allocate);
}

}  // namespace ZxVariantHelper::Events
