// AZxVariant and AZxVariantList: records owned by the object that embeds
// them.
//
// Every constructor delegates to the default one first, so once it runs the
// object is complete: when a later step throws, the destructor frees what
// was already allocated.  Copies are made aside and swapped in
// (AdoptContents), which sets the embedded size word to 0.
#include <cstring>

#include "tree/wrapper_records.h"
#include "zxvariant/basic_utils.h"
#include "zxvariant/wrappers.h"

namespace ZxVariantHelper {

using namespace wrapper_detail;
using T = ZxVariant::TypeCodes;

namespace {

// Takes over `from`'s contents (`into` must be empty) and leaves `from` an
// empty record of type `leftType`.
void Steal(ZxVariant& into, ZxVariant& from, T leftType) noexcept {
  std::memcpy(static_cast<void*>(&into), &from, sizeof into);
  std::memset(static_cast<void*>(&from), 0, sizeof from);
  from.type = leftType;
  into.next = nullptr;
  into.size = 0;
}

// Gives `into` the contents of `from` (left empty, of `leftType`); `into`'s
// old contents are freed once it holds the new ones.
void MoveContents(ZxVariant& into, ZxVariant& from, T leftType) {
  if (&into == &from) return;
  ZxVariant old;
  std::memcpy(static_cast<void*>(&old), &into, sizeof old);
  std::memset(static_cast<void*>(&into), 0, sizeof into);
  Steal(into, from, leftType);
  BasicUtils::clearZxVariant(&old);
}

// What a moved-from AZxVariant is left as: a List root stays a List, so a
// derived class keeps its shape.
T LeftBehind(const ZxVariant& root) { return IsList(&root) ? T::List : T::Null; }

}  // namespace

// ---- AZxVariant -----------------------------------------------------------------

AZxVariant::AZxVariant() {
  std::memset(static_cast<void*>(&m_root), 0, sizeof m_root);
  m_record = &m_root;
}

AZxVariant::AZxVariant(bool value) : AZxVariant() { StoreBool(&m_root, value); }

AZxVariant::AZxVariant(int value) : AZxVariant() { StoreInt(&m_root, value); }

AZxVariant::AZxVariant(long long value) : AZxVariant() { StoreInt64(&m_root, value); }

AZxVariant::AZxVariant(double value) : AZxVariant() { StoreFloat(&m_root, value); }

AZxVariant::AZxVariant(const char16_t* name) : AZxVariant() { NameOrThrow(&m_root, name); }

AZxVariant::AZxVariant(const unsigned short* name)
    : AZxVariant(reinterpret_cast<const char16_t*>(name)) {}

AZxVariant::AZxVariant(const char* utf8Name) : AZxVariant() {
  NameOrThrow(&m_root, FromUtf8(utf8Name).get());
}

AZxVariant::AZxVariant(SmartWcharPtr name, bool value) : AZxVariant(name.get()) {
  StoreBool(&m_root, value);
}

AZxVariant::AZxVariant(SmartWcharPtr name, int value) : AZxVariant(name.get()) {
  StoreInt(&m_root, value);
}

AZxVariant::AZxVariant(SmartWcharPtr name, long long value) : AZxVariant(name.get()) {
  StoreInt64(&m_root, value);
}

AZxVariant::AZxVariant(SmartWcharPtr name, double value) : AZxVariant(name.get()) {
  StoreFloat(&m_root, value);
}

AZxVariant::AZxVariant(SmartWcharPtr name, const char16_t* text) : AZxVariant(name.get()) {
  StoreString(&m_root, text);
}

AZxVariant::AZxVariant(SmartWcharPtr name, const unsigned short* text)
    : AZxVariant(name, reinterpret_cast<const char16_t*>(text)) {}

AZxVariant::AZxVariant(SmartWcharPtr name, const char* utf8Text) : AZxVariant(name.get()) {
  StoreUtf8(&m_root, utf8Text);
}

AZxVariant::AZxVariant(T type) : AZxVariant() {
  if (!IsKnownType(type)) ThrowInvalidParameter();
  m_root.type = type;
}

AZxVariant::AZxVariant(SmartWcharPtr name, T type) : AZxVariant(type) {
  NameOrThrow(&m_root, name.get());
}

AZxVariant::AZxVariant(const ZxVariant* record) : AZxVariant() { *this = record; }

AZxVariant::AZxVariant(const ZxVariant& record) : AZxVariant(&record) {}

AZxVariant::AZxVariant(const AZxvReference& reference) : AZxVariant() { *this = reference; }

AZxVariant::AZxVariant(const AZxVariant& other) : AZxVariant() { copyFrom(&other.m_root, true); }

AZxVariant::AZxVariant(AZxVariant&& other) noexcept : AZxVariant() {
  Steal(m_root, other.m_root, LeftBehind(other.m_root));
}

AZxVariant::~AZxVariant() { BasicUtils::clearZxVariant(&m_root); }

AZxVariant& AZxVariant::operator=(const AZxVariant& other) {
  if (this != &other) copyFrom(&other.m_root, true);
  return *this;
}

AZxVariant& AZxVariant::operator=(AZxVariant&& other) {
  MoveContents(m_root, other.m_root, LeftBehind(other.m_root));
  return *this;
}

AZxVariant& AZxVariant::operator=(const AZxvReference& reference) {
  const ZxVariant* source = reference;
  if (source == nullptr) ThrowInvalidParameter();
  if (source != &m_root) copyFrom(source, true);
  return *this;
}

AZxVariant& AZxVariant::operator=(const ZxVariant* record) {
  if (record == nullptr || record->type == T::List || !IsKnownType(record->type)) {
    ThrowInvalidParameter();
  }
  if (record != &m_root) copyFrom(record, false);
  return *this;
}

AZxVariant& AZxVariant::operator=(bool value) {
  StoreBool(&m_root, value);
  return *this;
}

AZxVariant& AZxVariant::operator=(int value) {
  StoreInt(&m_root, value);
  return *this;
}

AZxVariant& AZxVariant::operator=(long long value) {
  StoreInt64(&m_root, value);
  return *this;
}

AZxVariant& AZxVariant::operator=(double value) {
  StoreFloat(&m_root, value);
  return *this;
}

AZxVariant& AZxVariant::operator=(const char16_t* text) {
  StoreString(&m_root, text);
  return *this;
}

AZxVariant& AZxVariant::operator=(const unsigned short* text) {
  return *this = reinterpret_cast<const char16_t*>(text);
}

AZxVariant& AZxVariant::operator=(const char* utf8) {
  StoreUtf8(&m_root, utf8);
  return *this;
}

void AZxVariant::copyRoot(const ZxVariant* record) {
  if (record == nullptr || !IsKnownType(record->type)) ThrowInvalidParameter();
  if (record != &m_root) copyFrom(record, true);
}

void AZxVariant::copyFrom(const ZxVariant* source, bool withAttributes) {
  AdoptContents(&m_root, NewLooseCopyOrThrow(source, withAttributes));
}

// ---- AZxVariantList -------------------------------------------------------------

AZxVariantList::AZxVariantList() {
  std::memset(static_cast<void*>(&m_root), 0, sizeof m_root);
  m_root.type = T::List;
  m_record = &m_root;
}

AZxVariantList::AZxVariantList(SmartWcharPtr name) : AZxVariantList() {
  NameOrThrow(&m_root, name.get());
}

AZxVariantList::AZxVariantList(const ZxVariant* record) : AZxVariantList() { copyFrom(record); }

AZxVariantList::AZxVariantList(const AZxVariantList& other) : AZxVariantList() {
  copyFrom(&other.m_root);
}

AZxVariantList::AZxVariantList(AZxVariantList&& other) noexcept : AZxVariantList() {
  Steal(m_root, other.m_root, T::List);
}

AZxVariantList::~AZxVariantList() { BasicUtils::clearZxVariant(&m_root); }

AZxVariantList& AZxVariantList::operator=(const ZxVariant* record) {
  copyFrom(record);
  return *this;
}

AZxVariantList& AZxVariantList::operator=(const AZxvListReference& list) {
  copyFrom(list);
  return *this;
}

AZxVariantList& AZxVariantList::operator=(const AZxVariantList& other) {
  if (this != &other) copyFrom(&other.m_root);
  return *this;
}

AZxVariantList& AZxVariantList::operator=(AZxVariantList&& other) {
  MoveContents(m_root, other.m_root, T::List);
  return *this;
}

bool AZxVariantList::operator==(const AZxVariantList& other) const {
  return CompareRecords(&m_root, &other.m_root) == 0;
}

void AZxVariantList::copyFrom(const ZxVariant* record) {
  if (!IsList(record)) ThrowInvalidParameter();
  if (record == &m_root) return;
  AdoptContents(&m_root, NewLooseCopyOrThrow(record, true));
}

}  // namespace ZxVariantHelper
