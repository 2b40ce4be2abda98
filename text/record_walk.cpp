// RecordNode, WalkRecord and the text pieces shared by the printers.
//
// Both forms share the 64-byte header, so every field is read at its offset
// with memcpy (nothing is aligned); only the meaning of a pointer slot
// differs: an address in pointer form, a 32-bit distance from the node in
// zero-based form (entry arrays: from the node that owns the array).
#include "text/xml_escape.h"
#include "text/record_walk.h"

#include <cstring>
#include <limits>

#include "record/explicit_stack.h"
#include "record/text_numbers.h"
#include "record/unaligned.h"

namespace ZxVariantHelper::detail {
namespace {

using T = ZxVariant::TypeCodes;

// Header offsets.
constexpr std::size_t kSize = 0, kType = 4, kNameLength = 8, kNameSlot = 16, kValue = 24,
                      kValueSlot = 32, kAttributeCount = 40, kAttributeSlot = 48;
constexpr std::uint64_t kHeaderBytes = sizeof(ZxVariant);
constexpr std::size_t kEntryBytes = 8;

// Units staged on the stack before one formatted append.
constexpr std::size_t kChunkUnits = 256;

class Chunk {
 public:
  explicit Chunk(AppendableWideString& out) : m_out(out) {}
  ~Chunk() { Flush(); }
  Chunk(const Chunk&) = delete;
  Chunk& operator=(const Chunk&) = delete;

  void Put(char16_t unit) {
    if (m_used == kChunkUnits) Flush();
    m_units[m_used++] = unit;
  }
  void Put(const char16_t* word) {
    while (*word != 0) Put(*word++);
  }
  void Flush() {
    if (m_used == 0) return;
    m_out.Append(u"%.*s", static_cast<int>(m_used), m_units);
    m_used = 0;
  }

 private:
  AppendableWideString& m_out;
  char16_t m_units[kChunkUnits];
  std::size_t m_used = 0;
};

void AppendUnits(AppendableWideString& out, const char16_t* units, std::size_t count) {
  out.Append(u"%.*s", static_cast<int>(count), units);
}

void AppendHex(AppendableWideString& out, const unsigned char* bytes, std::size_t size) {
  constexpr std::size_t kBytesPerChunk = kChunkUnits / 2;
  char16_t digits[kChunkUnits];
  for (std::size_t done = 0; done < size;) {
    std::size_t step = size - done < kBytesPerChunk ? size - done : kBytesPerChunk;
    HexEncode(bytes + done, step, digits);
    AppendUnits(out, digits, 2 * step);
    done += step;
  }
}

}  // namespace

// ---- RecordText -------------------------------------------------------------

bool RecordText::Equals(const char16_t* word) const {
  std::uint32_t i = 0;
  for (; i < length; ++i) {
    if (word[i] == 0 || LoadUnit(units, i) != word[i]) return false;
  }
  return word[i] == 0;
}

char16_t RecordText::First() const { return length == 0 ? u'\0' : LoadUnit(units, 0); }

// ---- RecordNode -------------------------------------------------------------

RecordNode RecordNode::Of(const ZxVariant* record) {
  return RecordNode(reinterpret_cast<const unsigned char*>(record), nullptr);
}

RecordNode RecordNode::Of(const ZxVariantZ* record) {
  if (record == nullptr) return RecordNode();
  const auto* node = reinterpret_cast<const unsigned char*>(record);
  std::uint32_t size = LoadU32(node + kSize);
  if (size < kHeaderBytes) return RecordNode();
  return RecordNode(node, node + size);
}

T RecordNode::Type() const { return m_node ? static_cast<T>(LoadU32(m_node + kType)) : T::Null; }

std::uint32_t RecordNode::SizeWord() const { return m_node ? LoadU32(m_node + kSize) : 0; }

std::uint32_t RecordNode::StoredCount() const { return m_node ? LoadU32(m_node + kValue) : 0; }

const unsigned char* RecordNode::Resolve(std::size_t offset, std::uint64_t bytes) const {
  std::uintptr_t slot = LoadSlot(m_node + offset);
  if (!ZeroBased()) return At<const unsigned char>(slot);
  auto distance = static_cast<std::uint32_t>(slot);
  std::uint64_t room = Address(m_end) - Address(m_node);
  if (distance == 0 || distance > room || bytes > room - distance) return nullptr;
  return m_node + distance;
}

RecordText RecordNode::Name() const {
  if (m_node == nullptr) return {};
  std::uint32_t length = LoadU32(m_node + kNameLength);
  if (length == 0) return {};
  const unsigned char* units = Resolve(kNameSlot, 2ull * length);
  if (units == nullptr) return {};
  return {reinterpret_cast<const char16_t*>(units), length};
}

void* RecordNode::RegisterValue() const {
  void* value = nullptr;
  if (m_node) std::memcpy(&value, m_node + kValue, sizeof value);
  return value;
}

bool RecordNode::BoolValue() const { return m_node && m_node[kValue] != 0; }

std::int32_t RecordNode::IntValue() const {
  return m_node ? static_cast<std::int32_t>(LoadU32(m_node + kValue)) : 0;
}

std::int64_t RecordNode::Int64Value() const {
  std::int64_t value = 0;
  if (m_node) std::memcpy(&value, m_node + kValue, sizeof value);
  return value;
}

double RecordNode::FloatValue() const {
  double value = 0.0;
  if (m_node) std::memcpy(&value, m_node + kValue, sizeof value);
  return value;
}

const unsigned char* RecordNode::BufferData() const {
  if (Type() != T::Buffer || StoredCount() == 0) return nullptr;
  return Resolve(kValueSlot, StoredCount());
}

std::uint32_t RecordNode::BufferSize() const { return BufferData() ? StoredCount() : 0; }

RecordText RecordNode::StringValue() const {
  if (Type() != T::String) return {};
  std::uint32_t length = StoredCount();
  if (length == 0) return {};
  const unsigned char* units = Resolve(kValueSlot, 2ull * length);
  if (units == nullptr) return {};
  return {reinterpret_cast<const char16_t*>(units), length};
}

std::uint32_t RecordNode::EntryCount(std::size_t countOffset, std::size_t slotOffset) const {
  if (m_node == nullptr) return 0;
  std::uint32_t count = LoadU32(m_node + countOffset);
  if (count == 0 || Resolve(slotOffset, std::uint64_t{kEntryBytes} * count) == nullptr) return 0;
  return count;
}

RecordNode RecordNode::Entry(std::size_t countOffset, std::size_t slotOffset,
                             std::uint32_t index) const {
  if (index >= EntryCount(countOffset, slotOffset)) return RecordNode();
  const unsigned char* entry = Resolve(slotOffset, 0) + kEntryBytes * index;
  if (!ZeroBased()) return RecordNode(At<const unsigned char>(LoadSlot(entry)), nullptr);
  // Entries measure from the owning node, i.e. from this one.
  std::uint32_t distance = LoadU32(entry);
  std::uint64_t room = Address(m_end) - Address(m_node);
  if (distance == 0 || distance > room || kHeaderBytes > room - distance) return RecordNode();
  return RecordNode(m_node + distance, m_end);
}

std::uint32_t RecordNode::ElementCount() const {
  return IsList() ? EntryCount(kValue, kValueSlot) : 0;
}

RecordNode RecordNode::Element(std::uint32_t index) const {
  return IsList() ? Entry(kValue, kValueSlot, index) : RecordNode();
}

std::uint32_t RecordNode::AttributeCount() const {
  return EntryCount(kAttributeCount, kAttributeSlot);
}

RecordNode RecordNode::Attribute(std::uint32_t index) const {
  return Entry(kAttributeCount, kAttributeSlot, index);
}

// ---- WalkRecord -------------------------------------------------------------

void WalkRecord(const RecordNode& root, RecordVisitor& visitor) {
  struct Frame {
    RecordNode node;      // handed back to Leave
    RecordNode children;  // whose elements are visited
    std::uint32_t next;
    std::uint32_t count;
  };
  ExplicitStack<Frame> stack;
  std::uint32_t open = 0;  // frames on the stack; the depth of their children
  // A laid-out block holds at most size / 64 nodes; anything beyond that can
  // only come from entries that share nodes, so it is not printed.
  std::uint64_t budget = root.SizeWord() >= kHeaderBytes ? root.SizeWord() / kHeaderBytes
                                                         : std::numeric_limits<std::uint64_t>::max();

  auto enter = [&](const RecordNode& node, std::uint32_t depth) {
    if (budget == 0) return;
    --budget;
    RecordNode children = visitor.Enter(node, depth);
    if (children.IsMissing()) return;
    if (stack.Push(Frame{node, children, 0, children.ElementCount()})) {
      ++open;
    } else {
      visitor.Leave(node, depth);
    }
  };

  enter(root, 0);
  while (!stack.Empty()) {
    Frame& top = stack.Top();
    if (top.next < top.count) {
      RecordNode child = top.children.Element(top.next++);
      enter(child, open);  // may grow the stack: `top` is not used after this
    } else {
      RecordNode node = top.node;
      stack.Pop();
      --open;
      visitor.Leave(node, open);
    }
  }
}

// ---- text pieces ------------------------------------------------------------

void AppendRecordText(AppendableWideString& out, RecordText text, Escape escape) {
  Chunk chunk(out);
  for (std::uint32_t i = 0; i < text.length; ++i) {
    char16_t unit = LoadUnit(text.units, i);
    if (unit == 0) break;
    const char16_t* entity = escape == Escape::Xml ? XmlEntity(unit) : nullptr;
    if (entity != nullptr) {
      chunk.Put(entity);
    } else {
      chunk.Put(unit);
    }
  }
}

void AppendRepeated(AppendableWideString& out, const char16_t* word, std::uint32_t times) {
  std::size_t width = UnitCount(word);
  if (width == 0 || width > kChunkUnits || times == 0) return;
  char16_t units[kChunkUnits];
  const std::size_t perChunk = kChunkUnits / width;
  const std::size_t filled = (times < perChunk ? times : perChunk);
  for (std::size_t i = 0; i < filled; ++i) std::memcpy(units + i * width, word, 2 * width);
  for (std::size_t left = times; left != 0;) {
    std::size_t step = left < filled ? left : filled;
    AppendUnits(out, units, step * width);
    left -= step;
  }
}

void AppendWord(AppendableWideString& out, const char16_t* word) {
  if (word != nullptr) out.Append(u"%s", word);
}

void AppendTypeName(AppendableWideString& out, T type) { AppendWord(out, TypeCodeImage(type)); }

bool ScalarTextIsEmpty(const RecordNode& node) {
  switch (node.Type()) {
    case T::Register:
    case T::Bool:
    case T::Int:
    case T::Float:
    case T::Int64:
    case T::Buffer: return false;
    case T::String: return node.StringValue().IsEmpty();
    default: return true;
  }
}

void AppendScalarText(AppendableWideString& out, const RecordNode& node, Escape escape) {
  char16_t number[kNumberTextUnits];
  std::size_t units = 0;
  switch (node.Type()) {
    case T::Register:
      number[0] = u'0', number[1] = u'x';
      units = 2 + FormatPointer(node.RegisterValue(), number + 2);
      break;
    case T::Bool: AppendWord(out, node.BoolValue() ? u"true" : u"false"); return;
    case T::Int: units = FormatInt(node.IntValue(), number); break;
    case T::Float: units = FormatDouble(node.FloatValue(), number); break;
    case T::Int64: units = FormatInt64(node.Int64Value(), number); break;
    case T::Buffer:
      AppendWord(out, u"0x");
      AppendHex(out, node.BufferData(), node.BufferSize());
      return;
    case T::String: AppendRecordText(out, node.StringValue(), escape); return;
    default: return;
  }
  AppendUnits(out, number, units);
}

}  // namespace ZxVariantHelper::detail
