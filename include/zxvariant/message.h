// Messages: the header/body records that the messaging layer carries, and
// their translation to and from security-event records.
//
// An AMessage owns one loose List record named "Message" (it is an
// AZxVariant with a List root, see wrappers.h):
//   "Message"              List
//     "Header"             List   addressing and bookkeeping (header keys)
//       "Name"             String the topic; marks the new message format
//       "Severity"         Int    set by the name-and-severity constructor
//       "Tag"              List   the tags, each a String item named "Tag"
//     "Body"               List   the payload, any names
// "Header", "Body" and "Tag" are the first List child of that name (names
// ignore case, as everywhere in the wrappers); a child of that name that is
// not a List does not count.  The non-const header(), body() and getTags()
// append the List at the end of its parent when it is missing; the const
// forms (reach them with std::as_const) only look.
//
// Example:
//
//   using namespace ZxVariantHelper;
//   AMessage msg(u"Scan.Finished");                     // Header: Name
//   msg[u"Topic"] = u"scans";                           // a header key: Header
//   msg[u"Files"] = 120;                                // anything else: Body
//   msg.addTag(u"Notification");
//   AZxVariant files(u"files", 0);
//   int code = msg.find(files);                         // 0: files holds 120
//   AutoPtr block(BasicUtils::buildZxVariantForTransport(msg, nullptr));
//   int format = isNewMessageFormat(block);             // 1
//
// Kept on purpose, as every sender and receiver has known them:
//   * isHeaderKey searches its 35-entry table by bisection although the
//     table is not in ordinal order, so it never finds "ProcessName" or
//     "Timestamp": those two go to the Body through operator[];
//   * operator[] always appends a new item, even when one of that name
//     exists (use at(name) to reach an existing one);
//   * at(i) applies the same index to the Body when the Header has no i-th
//     item; the index is not reduced by the Header's length;
//   * the name-and-severity constructor checks its second text for null and
//     stores it nowhere;
//   * the conversions are not inverse to each other: convertFromAMessage
//     turns the tag "SecurityEvent" into the bits 0x170000 and honours the
//     Destination tags, convertToAMessage recreates "SecurityEvent" from bit
//     0x10000, "Notification" from 0x80000 and no Destination tag at all;
//   * convertFromAMessage writes the combined severity into the "ThreatSeverity"
//     item of the record it was given, although it takes that record as const;
//   * convertFromAMessage answers true with *out null when the event lacks a
//     mandatory item.
//
// Choices of this implementation:
//   * addHeaderData(list, true) and addData(list, true) replace the children
//     of the Header (Body) by copies of the list's children; the Header
//     (Body) keeps its own name and attributes, so the message keeps its
//     shape.
//   * at(name) only looks, in both forms; only at(i) creates the Header and
//     the Body.  When the Header's i-th item is a List, at(i) answers a null
//     reference (the Header has an i-th item, so the Body is not asked).
//   * findHeaderData, findData and find compare the types exactly: a Null
//     item named like a String item answers -2.
//   * convertToAMessage routes "TechnologyName" and the header keys by exact
//     (case-sensitive) names, as isHeaderKey does; the conversions look items
//     up in a message ignoring case, as the wrappers do.  A message item made
//     from an event item takes its name and value, not its attributes.
//   * convertToAMessage changes msg only when it succeeds: it fills a copy
//     and moves it into msg at the end.
//   * convertFromAMessage skips the Header's tag list (it has read the tags
//     already) when it turns the Header's items into custom data; any other
//     List, Buffer or Register item there answers false.  The text left open
//     for the second pass is settled as the message's Body (the first List
//     child named "Body"), whose items are taken by the same rules: String,
//     Int, Int64, Bool and Float become custom data, unnamed and Null items
//     are skipped, a List, Buffer or Register answers false.  An item whose
//     name the event already holds is skipped, as SetCustomData refuses it.
//   * convertFromAMessage answers false, *out null, when the event record
//     cannot be laid out (memory).
//   * A moved-from message is empty, as clear() leaves it.
//
// Errors: std::logic_error with one of two texts: "Invalid parameter" for a
// null or ill-shaped argument (a null name, a record that is not a List or
// has no "Header" List, a null tag) and "Invalid type conversion attempt" for
// an item of the wrong type where a scalar is needed (the conversions'
// "ThreatSeverity" and "ThreatEventID", a tag that is not a String).
// Lookups never throw: they answer null references or the codes of
// findHeaderData.  The add operations answer 0 or -1.  Where no result can
// report it, an allocation failure throws std::bad_alloc ("bad allocation").
// No path, throwing or not, leaks: a conversion that throws has released its
// temporary event record first.
//
// Thread safety: no shared state and no locks (the header-key table is
// constant).  A message and every reference into it are used by one thread
// at a time.
#pragma once

#include "zxvariant/export.h"
#include "zxvariant/record.h"
#include "zxvariant/smart_wchar_ptr.h"
#include "zxvariant/wrappers.h"

namespace ZxVariantHelper {

namespace Events {
class ZxVariantEventInfo;
}

// A message.  Its root is always a List named "Message"; the inherited
// scalar operations (value(...), erase(), name(...)) would change that and
// are not meant for messages: use clear() to empty one.
class ZXV_EXPORT AMessage : public AZxVariant {
 public:
  // A deep copy of `record` (loose or flat in pointer form), renamed
  // "Message".  Throws "Invalid parameter" when the record is null, not a
  // List, or has no "Header" List.
  explicit AMessage(const ZxVariant* record);
  // Header items "Name" = name (String) and "Severity" = severity (Int).
  // Throws "Invalid parameter" when either text is null; `reserved` is
  // checked for null and stored nowhere.
  AMessage(SmartWcharPtr name, SmartWcharPtr reserved, int severity);
  // The Header item "Name" = name; a null name throws "Invalid parameter".
  explicit AMessage(SmartWcharPtr name);
  // Deep copies; copying a message onto itself leaves it as it is.
  AMessage(const AMessage& other);
  AMessage& operator=(const AMessage& other);
  AMessage(AMessage&& other) noexcept;
  AMessage& operator=(AMessage&& other);
  ~AMessage() = default;

  // The Header / Body List; the const forms answer a null reference when it
  // is missing, the others append an empty one.
  AZxvListReference header() const;
  AZxvListReference header();
  AZxvListReference body() const;
  AZxvListReference body();
  // The Header's "Tag" List, Header and Tag list made when missing.
  AZxvListReference getTags();
  // Appends a String item "Tag" = tag to getTags().  A null tag throws
  // "Invalid parameter" before anything changes.
  void addTag(SmartWcharPtr tag);

  // With `replace` the Header's children become copies of list's children;
  // otherwise a deep copy of the list is appended to the Header.  0, or -1
  // when the copy fails.
  int addHeaderData(const AZxVariantList& list, bool replace);
  // Appends a copy of the item (name, value, attributes; a List deeply) to
  // the Header.  0 or -1.
  int addHeaderData(const AZxVariant& item);
  // The same on the Body.
  int addData(const AZxVariantList& list, bool replace);
  int addData(const AZxVariant& item);

  // Looks the item's name up among the Header's non-List items (the first
  // match, ignoring case):
  //    0  found; `item` now holds the found item's name and a copy of its
  //       value (its attributes stay)
  //   -1  no such item, or no Header
  //   -2  found, but of another type than `item`
  //   -3  `item` has no name
  int findHeaderData(AZxVariant& item) const;
  // The same in the Body.
  int findData(AZxVariant& item) const;
  // findHeaderData; findData only when that answers -1.
  int find(AZxVariant& item) const;

  // A new Null item named `name` at the end of the Header when the name is
  // a header key, else of the Body (made when missing).  Every call appends.
  // A null name gives a null reference.
  AZxvReference operator[](SmartWcharPtr name);
  // The first non-List item named `name` in the Header, else in the Body;
  // a null reference when there is none.
  AZxvReference at(SmartWcharPtr name);
  AZxvReference at(SmartWcharPtr name) const;
  // The Header's item i when the Header has one, else the Body's item i;
  // null when neither has one or the item is a List.  The non-const form
  // first makes the Header and the Body when they are missing.
  AZxvReference at(int i);
  AZxvReference at(int i) const;

  // Frees everything the message holds: an empty List named "Message".
  void clear();

  // Whether `name` is found in the header-key table by its bisection (see
  // above); false for null.  Exact, case-sensitive.
  static bool isHeaderKey(const char16_t* name);

 private:
  AZxvListReference part(const char16_t* name) const;
  AZxvListReference partOrNew(const char16_t* name);
};

// -1 for a null record or one that is not a List; 0 when it has no "Header"
// List or its Header has no item named "Name"; 1 when it has.
ZXV_EXPORT int isNewMessageFormat(const ZxVariant* record);

// Appends the event's items to msg: the items of its record (GetAllData) at
// any depth, Lists entered but not copied, unnamed items skipped.
// "TechnologyName" goes to the Header when it is a direct item of the event
// record and to the Body when it lies deeper; other items go to the Header
// when their name is a header key, else to the Body.  Then the first Body
// item "ThreatSeverity" that is not a List is cut to its low 16 bits; its bit
// 0x10000 adds the tag "SecurityEvent" and its bit 0x80000 the tag
// "Notification".  False when the event has no record; throws "Invalid type
// conversion attempt" when that "ThreatSeverity" is not an Int (msg is then
// unchanged).
ZXV_EXPORT bool convertToAMessage(const Events::ZxVariantEventInfo& event, AMessage& msg);

// Builds a security-event record from a message record (loose, or flat in
// pointer form):
//   technology  Header "TechnologyName", else Body "TechnologyName", else
//               Header "Origin"; the empty text when not a String
//   event id    Body "ThreatEventID" (must be an Int), 0 when absent
//   description Body "EventIDDescription", the empty text when not a String
//   severity    Body (else Header) "ThreatSeverity" (must be an Int), OR the
//               bits of the tags: "SecurityEvent" 0x170000, "Notification"
//               0x80000, "Destination-ORX" 0x10000, "Destination-SMTP"
//               0x100000, "Destination-SNMP" 0x40000, "Destination-AppLog"
//               0x20000, "Destination-LocalDB" 0x200000; written back into
//               that "ThreatSeverity" item of `msg`
// then the Header's and the Body's items as custom data (see above).  *out
// receives a new flat block, zero-filled, from malloc (free it with free or
// ZxVariantHelper::Delete) when the event has its mandatory items.  False,
// *out null, for a null argument, a record without a "Header" List, a failed
// SetEventInfo (no technology name) or an item that cannot be custom data.
// Throws "Invalid type conversion attempt" for a non-Int "ThreatSeverity" or
// "ThreatEventID" or a tag that is neither Null nor a String.
ZXV_EXPORT bool convertFromAMessage(const ZxVariant* msg, ZxVariant** out);

}  // namespace ZxVariantHelper
