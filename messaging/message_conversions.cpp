// Telling the message format, and translating between messages and
// security-event records.
//
// The conversions read records of every form: an event's record is a flat
// block (read mode) or the event's own builder list (write mode), a message
// is a loose record or a flat block in pointer form.  ZxvView walks all of
// them through First()/Next(), and the list utilities' name search reads
// them all too, so nothing here depends on the form.
#include <cstdlib>
#include <utility>

#include "messaging/event_properties.h"
#include "messaging/message_names.h"
#include "record/bad_allocation.h"
#include "record/explicit_stack.h"
#include "tree/wrapper_records.h"
#include "zxvariant/basic_utils.h"
#include "zxvariant/events.h"
#include "zxvariant/message.h"
#include "zxvariant/views.h"

namespace ZxVariantHelper {

using namespace message_detail;
using namespace Events::detail;
using Events::ZxVariantEventInfo;
using T = ZxVariant::TypeCodes;

namespace {

constexpr const char16_t* kSecurityEventTag = u"SecurityEvent";
constexpr const char16_t* kNotificationTag = u"Notification";

// The severity bits each tag stands for when a message becomes an event.
// The first matching row counts.
struct TagBits {
  const char16_t* tag;
  int bits;
};
constexpr TagBits kTagBits[] = {
    {kSecurityEventTag, 0x170000},      {kNotificationTag, 0x80000},
    {u"Destination-ORX", 0x10000},      {u"Destination-SMTP", 0x100000},
    {u"Destination-SNMP", 0x40000},     {u"Destination-AppLog", 0x20000},
    {u"Destination-LocalDB", 0x200000},
};

// An event's severity as a message carries it: the low half stays in the
// item, two bits of the high half become tags, the rest is dropped.
constexpr int kSeverityLowHalf = 0xFFFF;
constexpr int kSecurityEventBit = 0x10000;
constexpr int kNotificationBit = 0x80000;

// The first List child of `parent` named `name` (ignoring case); null when
// there is none.  The reference only reads, except for the one severity
// write-back of convertFromAMessage.
ZxVariant* ListChild(const ZxVariant* parent, const char16_t* name) {
  if (parent == nullptr) return nullptr;
  return AZxvListReference(const_cast<ZxVariant*>(parent)).findList(name);
}

// The first child of a List named `name` (ignoring case), of any type; null
// for a null list or when there is none.
ZxVariant* FirstNamed(const ZxVariant* list, const char16_t* name) {
  ZxVariant* found = nullptr;
  BasicUtils::findNodeInAList(list, name, nullptr, &found);
  return found;
}

// A String item's text; the empty text for a missing item or another type.
SmartWcharPtr TextOf(const ZxVariant* item) {
  ZxvStringView text = ZxvView(item).String();
  return SmartWcharPtr(text.str, text.length);
}

// An item that must be an Int.
int IntOf(const ZxVariant* item) {
  if (item->type != T::Int) wrapper_detail::ThrowInvalidConversion();
  return item->value.intValue;
}

// ---- event to message ----------------------------------------------------------

// Where an event item goes: "TechnologyName" to the Header only as a direct
// item of the event record, any other name by the header-key table.
bool GoesToHeader(const ZxvView& item, int depth) {
  if (item.Name() == ZxvStringView(kTechnologyName)) return depth == 0;
  return AMessage::isHeaderKey(item.Name().str);
}

struct Resume {
  const ZxVariant* next;  // the sibling after the List being walked
  int depth;
};

// Appends every named, non-List item under `record` to msg, depth first in
// record order.  Lists are entered, not copied; nesting is bounded by memory
// only, as the walk keeps its own stack.
void CopyEventItems(const ZxVariant* record, AMessage& msg) {
  detail::ExplicitStack<Resume> pending;
  ZxvView item = ZxvView(record).First();
  int depth = 0;
  for (;;) {
    if (item.IsTheNull()) {
      if (pending.Empty()) return;
      item = pending.Top().next;
      depth = pending.Top().depth;
      pending.Pop();
    } else if (item.IsList()) {
      if (!pending.Push(Resume{item.Next(), depth})) detail::ThrowBadAllocation();
      item = item.First();
      ++depth;
    } else {
      if (!item.Name().IsEmpty() && wrapper_detail::IsKnownType(item.Type())) {
        AZxVariant copy(static_cast<const ZxVariant*>(item));  // name and value
        AZxvListReference target = GoesToHeader(item, depth) ? msg.header() : msg.body();
        if (!target.pushBack(copy)) detail::ThrowBadAllocation();
      }
      item = item.Next();
    }
  }
}

// The first Body "ThreatSeverity" keeps the low half of its value; the two
// bits that messages know by tags become tags.  A List of that name is passed
// over, any other type throws.
void SplitSeverity(AMessage& msg) {
  ZxVariant* severity = FirstNamed(std::as_const(msg).body(), kThreatSeverity);
  if (severity == nullptr || severity->type == T::List) return;
  const int value = IntOf(severity);
  severity->value.intValue = value & kSeverityLowHalf;  // stays an Int
  if ((value & kSecurityEventBit) != 0) msg.addTag(kSecurityEventTag);
  if ((value & kNotificationBit) != 0) msg.addTag(kNotificationTag);
}

// ---- message to event ----------------------------------------------------------

// The bits of the known tags in a tag list; entries of type Null are
// skipped, any other entry must be a String.
int TagFlags(const ZxVariant* tags) {
  int flags = 0;
  for (ZxvView tag = ZxvView(tags).First(); !tag.IsTheNull(); tag = tag.Next()) {
    if (tag.IsNull()) continue;
    if (!tag.IsString()) wrapper_detail::ThrowInvalidConversion();
    for (const TagBits& row : kTagBits) {
      if (tag.String() == ZxvStringView(row.tag)) {
        flags |= row.bits;
        break;
      }
    }
  }
  return flags;
}

// Turns the named, non-Null items of `list` into custom data of the event;
// `skip` (the tag list) is passed over.  False at the first item whose type
// custom data cannot carry.  An item whose name the event holds already is
// refused by SetCustomData and left out.
bool AddCustomData(ZxVariantEventInfo& event, const ZxVariant* list, const ZxVariant* skip) {
  for (ZxvView item = ZxvView(list).First(); !item.IsTheNull(); item = item.Next()) {
    const bool passedOver =
        static_cast<const ZxVariant*>(item) == skip || item.Name().IsEmpty() || item.IsNull();
    if (passedOver) continue;
    switch (item.Type()) {
      case T::String:
      case T::Int:
      case T::Int64:
      case T::Bool:
      case T::Float:
        event.SetCustomData(BasicUtils::NameValuePair(static_cast<const ZxVariant*>(item)));
        break;
      default:  // Buffer, List, Register, unknown codes
        return false;
    }
  }
  return true;
}

// The event record's block: malloc'd and zero-filled before it is laid out.
void* ZeroedBlock(unsigned int size) { return std::calloc(size, 1); }

}  // namespace

int isNewMessageFormat(const ZxVariant* record) {
  if (!wrapper_detail::IsList(record)) return -1;
  return FirstNamed(ListChild(record, kHeader), kName) != nullptr ? 1 : 0;
}

bool convertToAMessage(const ZxVariantEventInfo& event, AMessage& msg) {
  const ZxVariant* record = event.GetAllData();
  if (record == nullptr) return false;
  AMessage filled(msg);
  CopyEventItems(record, filled);
  SplitSeverity(filled);
  msg = std::move(filled);
  return true;
}

bool convertFromAMessage(const ZxVariant* msg, ZxVariant** out) {
  if (msg == nullptr || out == nullptr) return false;
  *out = nullptr;
  ZxVariantEventInfo event;  // released on every path, a throwing one included

  const ZxVariant* header = ListChild(msg, kHeader);
  if (header == nullptr) return false;
  const ZxVariant* body = ListChild(msg, kBody);

  const ZxVariant* technology = FirstNamed(header, kTechnologyName);
  if (technology == nullptr) technology = FirstNamed(body, kTechnologyName);
  if (technology == nullptr) technology = FirstNamed(header, kOrigin);

  int eventId = 0;
  SmartWcharPtr description = u"";
  if (body != nullptr) {
    if (const ZxVariant* id = FirstNamed(body, kThreatEventId)) eventId = IntOf(id);
    description = TextOf(FirstNamed(body, kEventIdDescription));
  }

  const ZxVariant* tags = ListChild(header, kTag);
  int severity = TagFlags(tags);
  ZxVariant* threat = FirstNamed(body, kThreatSeverity);
  if (threat == nullptr) threat = FirstNamed(header, kThreatSeverity);
  if (threat != nullptr) {
    severity |= IntOf(threat);
    threat->value.intValue = severity;  // into the caller's record, on purpose
  }

  if (!event.SetEventInfo(TextOf(technology), eventId, severity, description, false)) return false;
  if (!AddCustomData(event, header, tags) || !AddCustomData(event, body, nullptr)) return false;
  // Without its mandatory items the event is not laid out, yet the answer
  // stays true: callers have always told the two apart by *out.
  if (!event.HasMandatoryFields()) return true;
  *out = event.ExportZxVariant(&ZeroedBlock);
  return *out != nullptr;
}

}  // namespace ZxVariantHelper
