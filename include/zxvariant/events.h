// Security events: the records in which producers report what they detected,
// and the filters with which consumers say which events they want.
//
// An event travels as one List record of named items:
//   "TechnologyName"      String  who reports                      mandatory
//   "ThreatSeverity"      Int     how grave it is                  mandatory
//   "ThreatEventID"       Int     what happened                    mandatory
//   "EventIDDescription"  String  the event in words
//   "ThreatTimestamp"     String  when, UTC, "%Y-%m-%dT%H:%M:%SZ"
//   "TaskName", "Topic"   String
//   custom data           any scalar under a name of its own
//   details               whole records (usually Lists) added as they are
// ZxVariantEventInfo assembles such a record (write mode) or reads a received
// one (read mode).  ZxVariantEventFilter assembles the "EventFilter" record: a
// List with one List per key ("TechnologyName", "ThreatSeverity", ...) holding
// the accepted values, unnamed.
//
// Example:
//
//   using namespace ZxVariantHelper::Events;
//   using ZxVariantHelper::BasicUtils::NameValuePair;
//   ZxVariantEventInfo event;                                  // write mode
//   event.SetEventInfo(u"AV", 1001, 3, u"Infected file", true);
//   event.SetCustomData(NameValuePair(u"Path", u"/tmp/x"));
//   ZxVariant* record = event.ExportZxVariant(nullptr);        // malloc'd block
//
//   ZxVariantEventInfo received(record);                       // read mode
//   int id = received.GetEventID();                            // 1001
//   SmartWcharPtr path = received.GetCustomData(u"Path");      // u"/tmp/x"
//   ZxVariantHelper::Delete(record);                           // once `received` is done
//
//   ZxVariantEventFilter filter;
//   filter.SetPublisher(u"AV");
//   filter.SetSeverity(2);
//   filter.SetSeverity(4);                                     // two accepted values
//   ZxVariant* wanted = filter.GetZxVariant(nullptr);          // "EventFilter"
//   ZxVariantHelper::Delete(wanted);
//
// Errors: refusals answer false, null, -1 or 0 as each member says; nothing
// throws except std::bad_alloc ("bad allocation") when memory for a builder
// or a tree node cannot be obtained.  Item names match ignoring case (A-Z and
// a-z fold, nothing else) when an event looks for duplicates or known
// properties, and exactly when it looks items up in a received record.
//
// Thread safety: no shared state and no locks.  One object is used by one
// thread at a time; a read-mode object only reads its input record, so any
// number of them may read one record that nobody changes.
#pragma once

#include <string>

#include "zxvariant/basic_utils.h"
#include "zxvariant/builders.h"
#include "zxvariant/export.h"
#include "zxvariant/node_tree.h"
#include "zxvariant/record.h"
#include "zxvariant/smart_wchar_ptr.h"

namespace ZxVariantHelper::Events {

using zexora_com::endpoint::string_utils::SmartWcharPtr;

// One security event.
//
// Write mode (default constructor): the setters append items to the event
// list "EventList", each name at most once; ExportZxVariant lays the list out
// once the three mandatory items are present.  Read mode (constructed from a
// record): the getters read the input record, which must be a flat record in
// pointer form (a block this library built or one that passed Validate) and
// must outlive the object; it is never changed or freed.
//
// Choices where the record format leaves room:
//   * SetTaskName, SetTopicName and SetCustomData refuse a name the event
//     list already holds in read mode as well as in write mode.  In read mode
//     they (and SetEventInfo) add to the object's own event list, never to
//     the input record; that list shows through GetAllData only when there
//     is no input record, and ExportZxVariant never lays it out.
//   * SetTaskName and SetTopicName refuse a null text (an empty one is
//     written); SetCustomData refuses an unnamed pair and a pair whose value
//     cannot be copied (Register, List).
//   * Lookups by a null or empty name find nothing, as an unnamed item cannot
//     be asked for by name.
//   * The object holds builders that own their items, so it is neither
//     copyable nor movable.
class ZXV_EXPORT ZxVariantEventInfo {
 public:
  // Write mode: an empty event list named "EventList", then Initialize().
  ZxVariantEventInfo();
  // Read mode: `record` becomes the input record when it is not null and
  // IsValidInputEventZxVariant accepts it; otherwise there is none and every
  // getter answers as for a missing record.
  explicit ZxVariantEventInfo(const ZxVariant* record);
  ~ZxVariantEventInfo();
  ZxVariantEventInfo(const ZxVariantEventInfo&) = delete;
  ZxVariantEventInfo& operator=(const ZxVariantEventInfo&) = delete;

  // Names the event list "EventList" (write mode only) and the property list
  // "PropList", and fills the property list with one Bool per known property,
  // true when it is mandatory: "TechnologyName", "ThreatEventID",
  // "ThreatSeverity" (mandatory), "EventIDDescription", "Topic", "TaskName".
  // The constructors call it; calling it again rebuilds the same table.
  void Initialize();

  // Appends, in this order and each only when the event list has no item of
  // that name: String "TechnologyName", Int "ThreatSeverity", Int
  // "ThreatEventID" (severity before id, on purpose: readers rely on this
  // order), String "EventIDDescription" when `description` is not null, and
  // String "ThreatTimestamp" with the current UTC time when `addTimestamp`.
  // False, changing nothing, for a null or empty `technology`; otherwise
  // whether anything was appended.
  bool SetEventInfo(SmartWcharPtr technology, int eventId, int severity, SmartWcharPtr description,
                    bool addTimestamp);
  // Appends a deep copy of `details` (attributes and children included).
  // False for a null record, in read mode, or for a record holding an unknown
  // type code.
  bool SetZxEventDetails(const ZxVariant* details);
  // Appends a copy of the pair's named value when no item of that name
  // exists; whether it was appended.
  bool SetCustomData(const BasicUtils::NameValuePair& pair);
  // Append the String items "TaskName" and "Topic"; whether they were.
  bool SetTaskName(SmartWcharPtr taskName);
  bool SetTopicName(SmartWcharPtr topicName);

  // Whether an item of the event list is named `name`, ignoring case.
  // Unnamed items never match.
  bool IsDuplicateProperty(const std::u16string& name) const;
  // Whether `name` is a known property (the property list), ignoring case.
  bool FindProperty(const std::u16string& name) const;
  // Whether the event list holds an item for exactly three of the mandatory
  // properties.
  bool HasMandatoryFields() const;
  // Whether `record` (null reads as an empty record), viewed as a List, has
  // an item named exactly like each of the three mandatory properties.  Only
  // their presence counts, not their types.
  bool IsValidInputEventZxVariant(const ZxVariant* record) const;

  // The event list laid out as one block from `allocate` (malloc when null);
  // the caller owns it.  Null in read mode, without the mandatory items, or
  // when the allocation fails.
  ZxVariant* ExportZxVariant(ZxvAllocator allocate = nullptr) const;
  // Read mode with an input record: that record.  Otherwise the event list
  // builder itself, read through ZxvView (a builder: First()/Next() walk its
  // items, name lookups find nothing); valid while the object lives.
  const ZxVariant* GetAllData() const;

  // The Int items "ThreatEventID" and "ThreatSeverity" of the input record:
  // -1 without an input record, 0 when the item is missing or not an Int.
  int GetEventID() const;
  int GetSeverity() const;
  // The String items "TechnologyName", "EventIDDescription",
  // "ThreatTimestamp", "TaskName" and "Topic" of the input record: a null
  // text without an input record, the empty text when the item is missing
  // or not a String.
  SmartWcharPtr GetPublisherName() const;
  SmartWcharPtr GetEventDescription() const;
  SmartWcharPtr GetEventTimeStamp() const;
  SmartWcharPtr GetTaskName() const;
  SmartWcharPtr GetTopicName() const;

  // GetCustomData(name) is overloaded on constness, as it always has been:
  // on a const object it gives the item, on a non-const one its text.  Use
  // std::as_const(event).GetCustomData(name) to reach the item.
  //
  // The input record's item `name`, or ZxvView::theNull when it has none;
  // null without an input record.  Read it through ZxvView.  It is handed out
  // as the packed record type, not as a builder class such as ZxvAny,
  // because an item may lie at any address inside the block; and it is read
  // only (it lies in the input record, or is the shared zero node).
  const ZxVariant* GetCustomData(SmartWcharPtr name) const;
  // The text of the String item `name`; a null text without an input record
  // or when the item is missing or not a String (an empty String gives the
  // empty text).
  SmartWcharPtr GetCustomData(SmartWcharPtr name);
  // `out` = the Int item's value and true; otherwise `out` = -1 and false
  // (no input record, item missing or not an Int).
  bool GetCustomData(SmartWcharPtr name, int& out) const;
  // `out` = the Bool item's value and true; otherwise `out` = false and
  // false (no input record, item missing or not a Bool).
  bool GetCustomData(SmartWcharPtr name, bool& out) const;

  // A new List record (unnamed, from malloc; free it with Delete) holding a
  // copy of every item of the input record that is not a known property
  // (FindProperty), in record order: custom data, "ThreatTimestamp" and
  // details alike.  Null without an input record or when the allocation
  // fails.
  ZxVariant* GetAllCustomData() const;
  // The input record's first item named `name` (exactly) when it is a List;
  // null without an input record or when that item is missing or not a List.
  // The item lies in the input record.
  const ZxVariant* GetEventDetails(SmartWcharPtr name) const;

 private:
  // The input record's item `name`; theNull without an input record, when
  // it has no such item, or for a null or empty name.
  const ZxVariant* InputItem(const char16_t* name) const;
  // The getters' rules: null / -1 without an input record, the item's value,
  // else the empty text / 0.
  SmartWcharPtr InputText(const char16_t* name) const;
  int InputInt(const char16_t* name) const;

  ZxvList m_eventList;
  ZxvList m_propList;
  const ZxVariant* m_inputRecord = nullptr;
  bool m_readMode;
};

// The record that tells which events a consumer wants: a tree whose root
// gets one child list per key, each holding the accepted values in the order
// they were set.  Setting a key twice accepts two values.
//
// Choices where the record format leaves room: SetPublisher and SetTopicName
// refuse a null text (an empty text is a value); SetCustomData refuses a
// value it cannot copy (Register, List).  A copy of a filter is a deep copy:
// the two never share values.
class ZXV_EXPORT ZxVariantEventFilter {
 public:
  ZxVariantEventFilter() = default;
  ZxVariantEventFilter(const ZxVariantEventFilter& other);
  ZxVariantEventFilter& operator=(const ZxVariantEventFilter& other);
  ~ZxVariantEventFilter() = default;

  // Accepts a String value under "TechnologyName"; false for a null text.
  bool SetPublisher(SmartWcharPtr publisher);
  // Accepts an Int value under "ThreatSeverity"; false for 0.
  bool SetSeverity(int severity);
  // Accepts an Int value under "ThreatEventID"; false for 0.
  bool SetEventID(int eventId);
  // Accepts a String value under "Topic"; false for a null text.
  bool SetTopicName(SmartWcharPtr topicName);
  // Accepts a copy of the pair's value under the pair's name; false for an
  // unnamed pair or a value that cannot be copied.
  bool SetCustomData(const BasicUtils::NameValuePair& pair);
  // Names the root "EventFilter" when there is one; always true.
  bool SetName();
  // Names the root as SetName does and lays the tree out into one block from
  // `allocate` (malloc when null); the caller owns it.  Null before anything
  // was accepted, or when the allocation fails.
  ZxVariant* GetZxVariant(ZxvAllocator allocate = nullptr);

 private:
  // Appends `value` (seeded as a new node) to the root's child `key`.
  void Accept(const char16_t* key, const Value& value);

  NodeRef m_root;
};

}  // namespace ZxVariantHelper::Events
