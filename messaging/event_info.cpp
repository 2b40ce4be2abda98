// ZxVariantEventInfo: assembling security-event records and reading them.
//
// The event list and the property list are builders; both are searched by
// walking their item chains through ZxvView (a builder's name lookup finds
// nothing, by design, so the walk compares names itself).  A received record
// is read through ZxvView's exact name lookup.
#include <cstdlib>
#include <memory>
#include <vector>

#include "messaging/event_properties.h"
#include "platform/clock.h"
#include "record/bad_allocation.h"
#include "zxvariant/events.h"
#include "zxvariant/views.h"

namespace ZxVariantHelper::Events {
namespace {

using OwnedBuilder = std::unique_ptr<ZxvBase, void (*)(ZxvBase*)>;
using LooseRecord = std::unique_ptr<ZxVariant, void (*)(ZxVariant*)>;

// A view of all of `text`'s units; a name holding a NUL therefore never
// equals an item name, which cannot hold one.
ZxvStringView ViewOf(const std::u16string& text) {
  ZxvStringView view;
  view.length = static_cast<std::uint32_t>(text.size());
  view.str = text.c_str();
  return view;
}

// Whether a builder list holds an item named `name`, ignoring case.  An
// empty name matches nothing: unnamed items are skipped.
bool ListHasName(const ZxvList& list, const ZxvStringView& name) {
  if (name.IsEmpty()) return false;
  for (ZxvView item = ZxvView(&list).First(); !item.IsTheNull(); item = item.Next()) {
    if (item.Name().Equals(name, false)) return true;
  }
  return false;
}

// Takes `item` over and appends it unless the list already has its name.
bool AppendUnique(ZxvList& list, ZxvBase* item) {
  OwnedBuilder owned(item, &Delete);
  if (ListHasName(list, ZxvView(item).Name())) return false;
  list.Append(owned.release());
  return true;
}

// The String item's text; its characters may lie unaligned in the record,
// and SmartWcharPtr copies them bytewise.
SmartWcharPtr TextOf(const ZxvView& item) {
  ZxvStringView text = item.String();
  return SmartWcharPtr(text.str, text.length);
}

}  // namespace

ZxVariantEventInfo::ZxVariantEventInfo()
    : m_eventList(nullptr), m_propList(nullptr), m_readMode(false) {
  Initialize();
}

ZxVariantEventInfo::ZxVariantEventInfo(const ZxVariant* record)
    : m_eventList(nullptr), m_propList(nullptr), m_readMode(true) {
  Initialize();
  if (record != nullptr && IsValidInputEventZxVariant(record)) m_inputRecord = record;
}

ZxVariantEventInfo::~ZxVariantEventInfo() = default;

void ZxVariantEventInfo::Initialize() {
  if (!m_readMode) m_eventList.SetName(detail::kEventListName);
  m_propList.SetName(detail::kPropertyListName);
  m_propList.SetValue(nullptr);
  for (const detail::PropertyRow& row : detail::kPropertyTable) {
    m_propList.Append(new ZxvBool(row.name, row.mandatory));
  }
}

// ---- writing ------------------------------------------------------------------

bool ZxVariantEventInfo::SetEventInfo(SmartWcharPtr technology, int eventId, int severity,
                                      SmartWcharPtr description, bool addTimestamp) {
  if (technology.empty()) return false;
  // Severity goes before the id: the order every reader of these records knows.
  bool appended = AppendUnique(m_eventList, new ZxvString(detail::kTechnologyName, technology));
  appended |= AppendUnique(m_eventList, new ZxvInt(detail::kThreatSeverity, severity));
  appended |= AppendUnique(m_eventList, new ZxvInt(detail::kThreatEventId, eventId));
  if (!description.isNull()) {
    appended |= AppendUnique(m_eventList, new ZxvString(detail::kEventIdDescription, description));
  }
  if (addTimestamp) {
    std::u16string now = platform::CurrentUtcTimestamp();
    if (!now.empty()) {
      appended |= AppendUnique(m_eventList, new ZxvString(detail::kThreatTimestamp, now.c_str()));
    }
  }
  return appended;
}

bool ZxVariantEventInfo::SetZxEventDetails(const ZxVariant* details) {
  if (details == nullptr || m_readMode) return false;
  ZxvBase* copy;
  try {
    copy = NewZxvCopyDeep(details);
  } catch (ZxvIllegalOperationException*) {
    return false;  // an unknown type code, or a malformed attribute
  }
  if (copy == nullptr) ZxVariantHelper::detail::ThrowBadAllocation();
  m_eventList.Append(copy);
  return true;
}

bool ZxVariantEventInfo::SetCustomData(const BasicUtils::NameValuePair& pair) {
  const ZxVariant* source = pair;
  if (ZxvView(source).Name().IsEmpty()) return false;
  // The list utilities' copy decides which values an event may carry: it
  // refuses Register and List values.
  LooseRecord copy(static_cast<ZxVariant*>(std::calloc(1, sizeof(ZxVariant))),
                   &BasicUtils::releaseZxVariant);
  if (!copy) ZxVariantHelper::detail::ThrowBadAllocation();
  if (!BasicUtils::copyASimpleZxVariant(copy.get(), source)) return false;
  return AppendUnique(m_eventList, new ZxvCopyImproper(copy.get()));
}

bool ZxVariantEventInfo::SetTaskName(SmartWcharPtr taskName) {
  if (taskName.isNull()) return false;
  return AppendUnique(m_eventList, new ZxvString(detail::kTaskName, taskName));
}

bool ZxVariantEventInfo::SetTopicName(SmartWcharPtr topicName) {
  if (topicName.isNull()) return false;
  return AppendUnique(m_eventList, new ZxvString(detail::kTopic, topicName));
}

// ---- checks -------------------------------------------------------------------

bool ZxVariantEventInfo::IsDuplicateProperty(const std::u16string& name) const {
  return ListHasName(m_eventList, ViewOf(name));
}

bool ZxVariantEventInfo::FindProperty(const std::u16string& name) const {
  return ListHasName(m_propList, ViewOf(name));
}

bool ZxVariantEventInfo::HasMandatoryFields() const {
  int found = 0;
  for (ZxvView row = ZxvView(&m_propList).First(); !row.IsTheNull(); row = row.Next()) {
    if (row.Bool() && ListHasName(m_eventList, row.Name())) ++found;
  }
  return found == detail::kMandatoryFieldCount;
}

bool ZxVariantEventInfo::IsValidInputEventZxVariant(const ZxVariant* record) const {
  ZxvView rows(&m_propList);
  if (rows.First().IsTheNull()) return false;
  ZxvView input(record);
  int found = 0;
  for (ZxvView row = rows.First(); !row.IsTheNull(); row = row.Next()) {
    if (row.Bool() && !row.Name().IsEmpty() && !input[row.Name().str].IsTheNull()) ++found;
  }
  return found == detail::kMandatoryFieldCount;
}

// ---- the whole record -----------------------------------------------------------

ZxVariant* ZxVariantEventInfo::ExportZxVariant(ZxvAllocator allocate) const {
  if (m_readMode || !HasMandatoryFields()) return nullptr;
  try {
    return m_eventList.BuildNewZxVariant(allocate);
  } catch (ZxvIllegalOperationException*) {
    return nullptr;  // the record would pass the 4 GiB a size word holds
  }
}

const ZxVariant* ZxVariantEventInfo::GetAllData() const {
  return m_inputRecord != nullptr ? m_inputRecord : &m_eventList;
}

ZxVariant* ZxVariantEventInfo::GetAllCustomData() const {
  if (m_inputRecord == nullptr) return nullptr;
  // Each kept item is copied whole, with its name, attributes and children.
  std::vector<ItemSpec> kept;
  for (ZxvView item = ZxvView(m_inputRecord).First(); !item.IsTheNull(); item = item.Next()) {
    if (ListHasName(m_propList, item.Name())) continue;
    kept.push_back(ItemSpec{TypeEmbeddedRecord, static_cast<const ZxVariant*>(item), 0});
  }
  return BuildFromList(kept.data(), static_cast<unsigned int>(kept.size())).BuildNewZxVariant(nullptr);
}

const ZxVariant* ZxVariantEventInfo::GetEventDetails(SmartWcharPtr name) const {
  if (m_inputRecord == nullptr) return nullptr;
  ZxvView item(InputItem(name));
  return item.IsList() ? static_cast<const ZxVariant*>(item) : nullptr;
}

// ---- reading ----------------------------------------------------------------------

const ZxVariant* ZxVariantEventInfo::InputItem(const char16_t* name) const {
  if (name == nullptr || name[0] == u'\0') return &ZxvView::theNull;
  return ZxvView(m_inputRecord)[name];
}

SmartWcharPtr ZxVariantEventInfo::InputText(const char16_t* name) const {
  if (m_inputRecord == nullptr) return nullptr;
  return TextOf(ZxvView(InputItem(name)));
}

int ZxVariantEventInfo::InputInt(const char16_t* name) const {
  if (m_inputRecord == nullptr) return -1;
  return ZxvView(InputItem(name)).Int();
}

int ZxVariantEventInfo::GetEventID() const { return InputInt(detail::kThreatEventId); }
int ZxVariantEventInfo::GetSeverity() const { return InputInt(detail::kThreatSeverity); }

SmartWcharPtr ZxVariantEventInfo::GetPublisherName() const { return InputText(detail::kTechnologyName); }
SmartWcharPtr ZxVariantEventInfo::GetEventDescription() const {
  return InputText(detail::kEventIdDescription);
}
SmartWcharPtr ZxVariantEventInfo::GetEventTimeStamp() const { return InputText(detail::kThreatTimestamp); }
SmartWcharPtr ZxVariantEventInfo::GetTaskName() const { return InputText(detail::kTaskName); }
SmartWcharPtr ZxVariantEventInfo::GetTopicName() const { return InputText(detail::kTopic); }

const ZxVariant* ZxVariantEventInfo::GetCustomData(SmartWcharPtr name) const {
  if (m_inputRecord == nullptr) return nullptr;
  return InputItem(name);
}

SmartWcharPtr ZxVariantEventInfo::GetCustomData(SmartWcharPtr name) {
  if (m_inputRecord == nullptr) return nullptr;
  ZxvView item(InputItem(name));
  return item.IsString() ? TextOf(item) : nullptr;
}

bool ZxVariantEventInfo::GetCustomData(SmartWcharPtr name, int& out) const {
  out = -1;
  if (m_inputRecord == nullptr) return false;
  ZxvView item(InputItem(name));
  if (!item.IsInt()) return false;
  out = item.Int();
  return true;
}

bool ZxVariantEventInfo::GetCustomData(SmartWcharPtr name, bool& out) const {
  out = false;
  if (m_inputRecord == nullptr) return false;
  ZxvView item(InputItem(name));
  if (!item.IsBool()) return false;
  out = item.Bool();
  return true;
}

}  // namespace ZxVariantHelper::Events
