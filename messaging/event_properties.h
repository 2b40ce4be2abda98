// The item names of a security event and its table of known properties.
//
// The table is what ZxVariantEventInfo::Initialize turns into its "PropList"
// builder, one Bool per row saying whether the property is mandatory.  Its
// order is the order of that list.  "ThreatTimestamp" is an item an event may
// carry but not a property: it is never required and never looked up in the
// table.
#pragma once

namespace ZxVariantHelper::Events::detail {

inline constexpr const char16_t* kTechnologyName = u"TechnologyName";
inline constexpr const char16_t* kThreatEventId = u"ThreatEventID";
inline constexpr const char16_t* kThreatSeverity = u"ThreatSeverity";
inline constexpr const char16_t* kEventIdDescription = u"EventIDDescription";
inline constexpr const char16_t* kTopic = u"Topic";
inline constexpr const char16_t* kTaskName = u"TaskName";
inline constexpr const char16_t* kThreatTimestamp = u"ThreatTimestamp";

inline constexpr const char16_t* kEventListName = u"EventList";
inline constexpr const char16_t* kPropertyListName = u"PropList";
inline constexpr const char16_t* kFilterName = u"EventFilter";

struct PropertyRow {
  const char16_t* name;
  bool mandatory;
};

inline constexpr PropertyRow kPropertyTable[] = {
    {kTechnologyName, true},
    {kThreatEventId, true},
    {kThreatSeverity, true},
    {kEventIdDescription, false},
    {kTopic, false},
    {kTaskName, false},
};

// How many mandatory items make an event complete.  A fixed number on
// purpose, not a count of the table's mandatory rows: every producer and
// consumer of these records agrees on three.
inline constexpr int kMandatoryFieldCount = 3;

}  // namespace ZxVariantHelper::Events::detail
