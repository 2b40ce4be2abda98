// AMessage: a loose List record named "Message" with a Header and a Body.
//
// The root is the List record AZxVariant embeds; the Header, the Body and
// the tag list are List children found with findList and made with
// operator(), so every edit goes through the wrapper classes and the record
// stays a plain loose record that can be flattened at any time.
#include "zxvariant/message.h"

#include <utility>

#include "messaging/message_names.h"
#include "record/bad_allocation.h"
#include "tree/wrapper_records.h"
#include "zxvariant/basic_utils.h"

namespace ZxVariantHelper {

using namespace message_detail;
using wrapper_detail::ThrowInvalidParameter;
using T = ZxVariant::TypeCodes;

namespace {

// The List child `name` of `parent`, appended when it is missing.
AZxvListReference ListOrNew(AZxvListReference parent, const char16_t* name) {
  AZxvListReference found = parent.findList(name);
  if (!found.isNull()) return found;
  AZxvListReference made = parent(name);
  if (made.isNull()) detail::ThrowBadAllocation();
  return made;
}

// A new Null item named `name` at the end of `list`.  Going through the
// scalar reference's constructor keeps the rule that an item handed out by
// name is never a List ("Invalid type conversion attempt").
AZxvReference NewItem(AZxvListReference list, const char16_t* name) {
  ZxVariant* made = list.pushBack(name);
  if (made == nullptr) detail::ThrowBadAllocation();
  return AZxvReference(made);
}

int Result(bool ok) { return ok ? 0 : -1; }

int AddList(AZxvListReference target, const AZxVariantList& list, bool replace) {
  return Result(replace ? target.assignValue(list) : target.pushBack(list));
}

// The codes of findHeaderData and findData.
int FindIn(const AZxvListReference& list, AZxVariant& item) {
  if (item.isNull() || item.name().empty()) return -3;
  AZxvReference found = list.find(item.name().cStr());
  if (found.isNull()) return -1;
  if (found.type() != item.type()) return -2;
  const ZxVariant* target = item;
  if (target != static_cast<ZxVariant*>(found) && !item.assign(found)) {
    detail::ThrowBadAllocation();  // the value's copy could not be allocated
  }
  return 0;
}

}  // namespace

// ---- construction ---------------------------------------------------------------

AMessage::AMessage(const ZxVariant* record) : AZxVariant(kMessage, T::List) {
  if (!wrapper_detail::IsList(record)) ThrowInvalidParameter();
  copyRoot(record);
  if (part(kHeader).isNull()) ThrowInvalidParameter();
  if (!asList().name(kMessage)) detail::ThrowBadAllocation();
}

AMessage::AMessage(SmartWcharPtr name, SmartWcharPtr reserved, int severity)
    : AZxVariant(kMessage, T::List) {
  if (name.isNull() || reserved.isNull()) ThrowInvalidParameter();
  NewItem(header(), kName) = name.get();
  NewItem(header(), kSeverity) = severity;
}

AMessage::AMessage(SmartWcharPtr name) : AZxVariant(kMessage, T::List) {
  if (name.isNull()) ThrowInvalidParameter();
  NewItem(header(), kName) = name.get();
}

AMessage::AMessage(const AMessage& other) : AZxVariant(other) {}

AMessage& AMessage::operator=(const AMessage& other) {
  AZxVariant::operator=(other);
  return *this;
}

// AZxVariant leaves a moved-from List root empty and unnamed; a message is
// named "Message" again (when that allocation fails it stays unnamed).
AMessage::AMessage(AMessage&& other) noexcept : AZxVariant(std::move(other)) {
  other.asList().name(kMessage);
}

AMessage& AMessage::operator=(AMessage&& other) {
  if (this != &other) {
    AZxVariant::operator=(std::move(other));
    other.asList().name(kMessage);
  }
  return *this;
}

void AMessage::clear() {
  AZxvListReference root = asList();
  root.erase();
  if (!root.name(kMessage)) detail::ThrowBadAllocation();
}

// ---- the parts ------------------------------------------------------------------

AZxvListReference AMessage::part(const char16_t* name) const { return asList().findList(name); }

AZxvListReference AMessage::partOrNew(const char16_t* name) { return ListOrNew(asList(), name); }

AZxvListReference AMessage::header() const { return part(kHeader); }
AZxvListReference AMessage::header() { return partOrNew(kHeader); }
AZxvListReference AMessage::body() const { return part(kBody); }
AZxvListReference AMessage::body() { return partOrNew(kBody); }

AZxvListReference AMessage::getTags() { return ListOrNew(header(), kTag); }

void AMessage::addTag(SmartWcharPtr tag) {
  AZxVariant entry(kTag, tag.get());  // a null tag throws here, before any change
  if (!getTags().pushBack(entry)) detail::ThrowBadAllocation();
}

// ---- adding ----------------------------------------------------------------------

int AMessage::addHeaderData(const AZxVariantList& list, bool replace) {
  return AddList(header(), list, replace);
}

int AMessage::addHeaderData(const AZxVariant& item) { return Result(header().pushBack(item)); }

int AMessage::addData(const AZxVariantList& list, bool replace) {
  return AddList(body(), list, replace);
}

int AMessage::addData(const AZxVariant& item) { return Result(body().pushBack(item)); }

// ---- finding ----------------------------------------------------------------------

int AMessage::findHeaderData(AZxVariant& item) const { return FindIn(header(), item); }

int AMessage::findData(AZxVariant& item) const { return FindIn(body(), item); }

int AMessage::find(AZxVariant& item) const {
  int code = findHeaderData(item);
  return code == -1 ? findData(item) : code;
}

AZxvReference AMessage::operator[](SmartWcharPtr name) {
  if (name.isNull()) return nullReference();
  return NewItem(isHeaderKey(name) ? header() : body(), name);
}

AZxvReference AMessage::at(SmartWcharPtr name) { return std::as_const(*this).at(name); }

AZxvReference AMessage::at(SmartWcharPtr name) const {
  AZxvReference found = header().find(name);
  return found.isNull() ? body().find(name) : found;
}

AZxvReference AMessage::at(int i) {
  header();
  body();
  return std::as_const(*this).at(i);
}

AZxvReference AMessage::at(int i) const {
  AZxvListReference head = header();
  if (BasicUtils::findNodeInAList(head, i) != nullptr) return head.at(i);
  return body().at(i);
}

}  // namespace ZxVariantHelper
