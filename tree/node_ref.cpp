// NodeRef handles, Value and AutoExport.
#include <cstdlib>
#include <cstring>
#include <string>

#include "record/text_copy.h"
#include "tree/node_internal.h"
#include "zxvariant/basic_utils.h"
#include "zxvariant/node_tree.h"
#include "zxvariant/operations.h"

namespace ZxVariantHelper {
namespace {

using T = ZxVariant::TypeCodes;

}  // namespace

// ---- Value ------------------------------------------------------------------

Value::Value() : m_record(&m_header) {
  std::memset(&m_header, 0, sizeof m_header);
  m_header.size = sizeof(ZxVariant);
}

Value::Value(int value) : Value() {
  m_header.type = T::Int;
  m_header.value.intValue = value;
}

Value::Value(bool value) : Value() {
  m_header.type = T::Bool;
  m_header.value.boolValue = value ? 1 : 0;
}

Value::Value(long long value) : Value() {
  m_header.type = T::Int64;
  m_header.value.int64Value = value;
}

Value::Value(void* value) : Value() {
  m_header.type = T::Register;
  m_header.value.registerValue = value;
}

// The characters live outside the header: a Value is only ever read field
// by field, never copied as a block.
Value::Value(const char16_t* text) : Value() {
  m_header.type = T::String;
  std::uint32_t units;
  m_header.value.string.str = detail::CopyText(text, 0, &units);
  m_header.value.string.length = units;
}

Value::Value(const ZxVariant* record) : m_record(record) {
  std::memset(&m_header, 0, sizeof m_header);
}

Value::Value(const Value& other) : Value() { CopyFrom(other); }

Value& Value::operator=(const Value& other) {
  if (&other == this) return *this;
  if (OwnsText()) std::free(const_cast<char16_t*>(m_header.value.string.str));
  CopyFrom(other);
  return *this;
}

Value::~Value() {
  if (OwnsText()) std::free(const_cast<char16_t*>(m_header.value.string.str));
}

bool Value::OwnsText() const { return m_record == &m_header && m_header.type == T::String; }

void Value::CopyFrom(const Value& other) {
  std::memcpy(&m_header, &other.m_header, sizeof m_header);
  if (!other.OwnsText()) {
    m_record = other.m_record == &other.m_header ? &m_header : other.m_record;
    return;
  }
  m_record = &m_header;
  std::uint32_t units;
  const ZxVariant::String& text = other.m_header.value.string;
  m_header.value.string.str = detail::CopyText(text.length != 0 ? text.str : nullptr,
                                               static_cast<int>(text.length), &units);
  m_header.value.string.length = units;
}

// ---- AutoExport -------------------------------------------------------------

AutoExport::~AutoExport() { Delete(m_record); }

// ---- NodeRef ----------------------------------------------------------------

template <SourceWalk W>
BasicNodeRef<W>::BasicNodeRef(Node* node) : m_node(node) {
  if (m_node != nullptr) m_node->AddRef();
}

template <SourceWalk W>
BasicNodeRef<W>::BasicNodeRef(const ZxVariant* record)
    : m_node(record != nullptr ? new Node(record) : nullptr) {}

template <SourceWalk W>
BasicNodeRef<W>::BasicNodeRef(const BasicNodeRef& other) : BasicNodeRef(other.m_node) {}

template <SourceWalk W>
BasicNodeRef<W>& BasicNodeRef<W>::operator=(const BasicNodeRef& other) {
  if (other.m_node == m_node) return *this;
  // The new reference first: dropping the old one may free the other node's
  // owner.
  if (other.m_node != nullptr) other.m_node->AddRef();
  Node* old = m_node;
  m_node = other.m_node;
  if (old != nullptr) old->DecRef();
  return *this;
}

template <SourceWalk W>
BasicNodeRef<W>::~BasicNodeRef() {
  if (m_node != nullptr) m_node->DecRef();
}

template <SourceWalk W>
void BasicNodeRef<W>::BindRoot() {
  if (m_node == nullptr) m_node = new Node();
}

// Kept on purpose: the node keeps its own name (and its place under its
// parent); the name the Value carries is dropped.  The new contents are
// seeded aside first, so the Value may stand for a part of this very node.
template <SourceWalk W>
BasicNodeRef<W>& BasicNodeRef<W>::operator=(const Value& value) {
  if (m_node == nullptr) {
    m_node = new Node(value.Record());
    return *this;
  }
  const std::u16string name = detail::NameKey(m_node->m_value);
  Node fresh(value.Record());
  m_node->SwapContents(fresh);
  m_node->m_value->SetName(name.empty() ? nullptr : name.c_str());
  return *this;
}

template <SourceWalk W>
BasicNodeRef<W> BasicNodeRef<W>::operator[](const char16_t* name) {
  BindRoot();
  return m_node->LazyChildren().FindOrCreate(PathElement(name));
}

template <SourceWalk W>
BasicNodeRef<W> BasicNodeRef<W>::operator[](int index) {
  BindRoot();
  // Kept on purpose: even an index turns a leaf into a list.
  return m_node->LazyChildren().FindOrCreate(PathElement(index));
}

template <SourceWalk W>
BasicNodeRef<W> BasicNodeRef<W>::Lookup(const char16_t* name) const {
  if (m_node == nullptr || m_node->m_children == nullptr) return BasicNodeRef();
  return m_node->m_children->Find(PathElement(name));
}

template <SourceWalk W>
BasicNodeRef<W> BasicNodeRef<W>::Lookup(int index) const {
  if (m_node == nullptr || m_node->m_children == nullptr) return BasicNodeRef();
  return m_node->m_children->Find(PathElement(index));
}

template <SourceWalk W>
BasicNodeRef<W> BasicNodeRef<W>::First() const {
  return m_node != nullptr ? m_node->First() : BasicNodeRef();
}

template <SourceWalk W>
BasicNodeRef<W> BasicNodeRef<W>::Last() const {
  return m_node != nullptr ? m_node->Last() : BasicNodeRef();
}

template <SourceWalk W>
int BasicNodeRef<W>::Count() const {
  return m_node != nullptr ? m_node->Count() : 0;
}

template <SourceWalk W>
ZxVariant::TypeCodes BasicNodeRef<W>::Type() const {
  if (m_node == nullptr) return T::Null;
  if (m_node->m_children != nullptr) return T::List;
  return m_node->m_value != nullptr ? m_node->m_value->type : T::Null;
}

template <SourceWalk W>
const ZxVariant* BasicNodeRef<W>::Leaf() const {
  if (m_node == nullptr || m_node->m_children != nullptr) return nullptr;
  return m_node->m_value;
}

template <SourceWalk W>
ZxvView BasicNodeRef<W>::View(const Path& path) const {
  BasicNodeRef at = *this;
  for (const PathElement& element : path.Elements()) {
    if (at.m_node == nullptr || at.m_node->m_children == nullptr) return ZxvView();
    at = at.m_node->m_children->Find(element);
  }
  return at.View();
}

template <SourceWalk W>
ZxvStringView BasicNodeRef<W>::Name() const {
  return ZxvStringView(m_node != nullptr ? m_node->Name() : nullptr);
}

template <SourceWalk W>
void BasicNodeRef<W>::SetTopName(const char16_t* name) {
  if (m_node == nullptr || !m_node->m_top || m_node->m_value == nullptr) return;
  m_node->m_value->SetName(name);
}

template <SourceWalk W>
bool BasicNodeRef<W>::SetTopAttribute(const BasicUtils::NameValuePair& pair) {
  const ZxVariant* source = pair;
  if (m_node == nullptr || m_node->m_value == nullptr || source->type == T::List) return false;
  // Kept on purpose: attribute names match ignoring case here, unlike the
  // exact names of the tree.
  ZxVariant::List& attributes = m_node->m_value->attributes;
  ZxVariant* target = BasicUtils::findNodeInAList(&attributes, pair.name());
  if (target == nullptr || target->type != source->type) return false;
  const bool copied = BasicUtils::copyZxVariantValue(target, source);
  target->size = 0;  // the copy brings the pair's size word; a builder keeps 0
  return copied;
}

template <SourceWalk W>
void BasicNodeRef<W>::InsertBefore(const PathElement& at, const BasicNodeRef& child) {
  if (child.IsNull()) return;
  BindRoot();
  m_node->InsertBefore(at, child);
}

template <SourceWalk W>
void BasicNodeRef<W>::Append(const BasicNodeRef& child) {
  if (child.IsNull()) return;
  BindRoot();
  m_node->Append(child);
}

template <SourceWalk W>
bool BasicNodeRef<W>::Delete(const PathElement& at) {
  return m_node != nullptr && m_node->Delete(at);
}

template <SourceWalk W>
bool BasicNodeRef<W>::DeleteFirst() {
  return m_node != nullptr && m_node->DeleteFirst();
}

template <SourceWalk W>
bool BasicNodeRef<W>::DeleteLast() {
  return m_node != nullptr && m_node->DeleteLast();
}

template <SourceWalk W>
bool BasicNodeRef<W>::DeleteAll() {
  return m_node != nullptr && m_node->m_children != nullptr && m_node->m_children->DeleteAll();
}

template <SourceWalk W>
ZxVariant* BasicNodeRef<W>::Export(ZxvAllocator alloc) const {
  return m_node != nullptr ? m_node->Export(alloc) : nullptr;
}

template class BasicNodeRef<SourceWalk::Chains>;
template class BasicNodeRef<SourceWalk::Arrays>;

}  // namespace ZxVariantHelper
