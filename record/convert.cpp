// The ZxvConvert... family: any node presented as a node of one type.
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "record/text_numbers.h"
#include "record/unaligned.h"
#include "record/value_bytes.h"
#include "zxvariant/conversions.h"

namespace ZxVariantHelper {
namespace {

using T = ZxVariant::TypeCodes;
using detail::LoadUnit;

// A double truncated toward zero to 64 bits the way the x86 conversion
// instruction does it: NaN and anything out of range give the most negative
// value.  The narrower targets keep the low bits of this result.
std::int64_t Truncate(double value) {
  constexpr double kTwo63 = 9223372036854775808.0;
  if (!(value >= -kTwo63 && value < kTwo63)) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(value);
}

std::int32_t Low32(std::uint64_t bits) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(bits));
}

std::uint64_t RegisterBits(const ZxVariant& node) {
  return reinterpret_cast<std::uintptr_t>(node.value.registerValue);
}

// A Register keeps as many bits as a pointer has.
void* AsRegister(std::uint64_t bits) {
  return reinterpret_cast<void*>(static_cast<std::uintptr_t>(bits));
}

// A String node's text; empty when it has no units (or, malformed, no text).
struct Text {
  const char16_t* str;
  std::size_t length;
  bool IsEmpty() const { return length == 0; }
};

Text TextOf(const ZxVariant& node) {
  const ZxVariant::String& s = node.value.string;
  if (s.str == nullptr) return {nullptr, 0};
  return {s.str, s.length};
}

// Units before the NUL or the end, as the runtime's text functions see them.
std::size_t VisibleUnits(const Text& text) {
  std::size_t n = 0;
  while (n < text.length && LoadUnit(text.str, n) != 0) ++n;
  return n;
}

bool RangeOrArgumentError() { return errno == EINVAL || errno == ERANGE; }

// "0x" followed by what scanf's %p reads.
bool ParseRegisterText(const Text& text, void** value) {
  const std::size_t units = VisibleUnits(text);
  if (units < 2 || LoadUnit(text.str, 0) != u'0' || LoadUnit(text.str, 1) != u'x') return false;
  return detail::ScanPointer(text.str + 2, units - 2, value);
}

// The first unit decides.  errno is deliberately not cleared before the
// decimal reading, so an error left by an earlier call makes the result
// invalid (the value is kept either way); this is kept on purpose for
// compatibility with the peers that read Bool texts the same way.
bool ParseBoolText(const Text& text, std::uint8_t* value) {
  const char16_t first = LoadUnit(text.str, 0);
  if (first == u'T' || first == u't') {
    *value = 1;
    return true;
  }
  if (first == u'F' || first == u'f') {
    *value = 0;
    return true;
  }
  if (!detail::IsDecimalDigit(first)) return false;
  *value = detail::ParseInt(text.str, text.length) != 0 ? 1 : 0;
  return !RangeOrArgumentError();
}

// An optional single sign, then one or more decimal digits and nothing else.
bool IsPlainInteger(const Text& text) {
  const std::size_t units = VisibleUnits(text);
  std::size_t i = 0;
  if (units > 0 && (LoadUnit(text.str, 0) == u'+' || LoadUnit(text.str, 0) == u'-')) ++i;
  if (i == units) return false;
  for (; i < units; ++i) {
    if (!detail::IsDecimalDigit(LoadUnit(text.str, i))) return false;
  }
  return true;
}

// An overflow keeps the saturated value but is invalid.
template <typename Int, Int (*Parse)(const char16_t*, std::size_t)>
bool ParseIntegerText(const Text& text, Int* value) {
  if (!IsPlainInteger(text)) return false;
  errno = 0;
  *value = Parse(text.str, text.length);
  return !RangeOrArgumentError();
}

// No syntax check: a text that is no number is 0.0 and valid.
bool ParseFloatText(const Text& text, double* value) {
  errno = 0;
  *value = detail::ParseDouble(text.str, text.length);
  return !RangeOrArgumentError();
}

const char16_t kEmptyText[] = u"";
// What a Buffer converts to when its digits cannot be allocated.
const char16_t kBareHexPrefix[] = u"0x";

}  // namespace

ZxvConvertBase::ZxvConvertBase() : m_valid(false), m_node(), m_owned(nullptr) {}

ZxvConvertBase::~ZxvConvertBase() { std::free(m_owned); }

void ZxvConvertBase::Begin(const ZxVariant& source, ZxVariant::TypeCodes target) {
  std::free(m_owned);
  m_owned = nullptr;
  m_valid = false;
  std::memset(&m_node, 0, sizeof m_node);
  m_node.type = target;
  m_node.name.length = source.name.length;
  m_node.name.str = source.name.str;
  m_node.size = static_cast<std::uint32_t>(sizeof(ZxVariant) + detail::TextBytes(source.name.length));
}

char16_t* ZxvConvertBase::OwnText(std::size_t units) {
  if (units >= std::numeric_limits<std::uint32_t>::max()) return nullptr;
  auto* text = static_cast<char16_t*>(std::malloc(2 * (units + 1)));
  if (text == nullptr) return nullptr;
  text[units] = 0;
  m_owned = text;
  m_node.value.string.length = static_cast<std::uint32_t>(units);
  m_node.value.string.str = text;
  return text;
}

bool ZxvConvertBase::SetAsNull(const ZxVariant& source) {
  Begin(source, T::Null);
  return m_valid = true;
}

bool ZxvConvertBase::SetAsRegister(const ZxVariant& source) {
  Begin(source, T::Register);
  void* out = nullptr;
  m_valid = true;
  switch (source.type) {
    case T::Null: break;
    case T::Register: out = source.value.registerValue; break;
    case T::Bool: out = AsRegister(source.value.boolValue != 0 ? 1 : 0); break;
    case T::Int: out = AsRegister(static_cast<std::uint32_t>(source.value.intValue)); break;
    case T::Float: out = AsRegister(Truncate(source.value.floatValue)); break;
    case T::Int64: out = AsRegister(source.value.int64Value); break;
    case T::String: {
      const Text text = TextOf(source);
      m_valid = !text.IsEmpty() && ParseRegisterText(text, &out);
      break;
    }
    default: m_valid = false; break;
  }
  m_node.value.registerValue = out;
  return m_valid;
}

bool ZxvConvertBase::SetAsBool(const ZxVariant& source) {
  Begin(source, T::Bool);
  std::uint8_t out = 0;
  m_valid = true;
  switch (source.type) {
    case T::Null: break;
    case T::Register: out = RegisterBits(source) != 0; break;
    case T::Bool: out = source.value.boolValue != 0; break;
    case T::Int: out = source.value.intValue != 0; break;
    case T::Float: out = Low32(Truncate(source.value.floatValue)) != 0; break;
    case T::Int64: out = source.value.int64Value != 0; break;
    case T::String: {
      const Text text = TextOf(source);
      m_valid = !text.IsEmpty() && ParseBoolText(text, &out);
      break;
    }
    default: m_valid = false; break;
  }
  m_node.value.boolValue = out;
  return m_valid;
}

bool ZxvConvertBase::SetAsInt(const ZxVariant& source) {
  Begin(source, T::Int);
  int out = 0;
  m_valid = true;
  switch (source.type) {
    case T::Null: break;
    case T::Register: out = Low32(RegisterBits(source)); break;
    case T::Bool: out = source.value.boolValue != 0 ? 1 : 0; break;
    case T::Int: out = source.value.intValue; break;
    case T::Float: out = Low32(Truncate(source.value.floatValue)); break;
    case T::Int64: out = Low32(source.value.int64Value); break;
    case T::String: {
      const Text text = TextOf(source);
      m_valid = !text.IsEmpty() && ParseIntegerText<int, detail::ParseInt>(text, &out);
      break;
    }
    default: m_valid = false; break;
  }
  m_node.value.intValue = out;
  return m_valid;
}

bool ZxvConvertBase::SetAsInt64(const ZxVariant& source) {
  Begin(source, T::Int64);
  long long out = 0;
  m_valid = true;
  switch (source.type) {
    case T::Null: break;
    case T::Register: out = static_cast<long long>(RegisterBits(source)); break;
    case T::Bool: out = source.value.boolValue != 0 ? 1 : 0; break;
    case T::Int: out = source.value.intValue; break;
    case T::Float: out = Truncate(source.value.floatValue); break;
    case T::Int64: out = source.value.int64Value; break;
    case T::String: {
      const Text text = TextOf(source);
      m_valid = !text.IsEmpty() && ParseIntegerText<long long, detail::ParseInt64>(text, &out);
      break;
    }
    default: m_valid = false; break;
  }
  m_node.value.int64Value = out;
  return m_valid;
}

bool ZxvConvertBase::SetAsFloat(const ZxVariant& source) {
  Begin(source, T::Float);
  double out = 0.0;
  m_valid = true;
  switch (source.type) {
    case T::Null: break;
    case T::Register: out = static_cast<double>(RegisterBits(source)); break;
    case T::Bool: out = source.value.boolValue != 0 ? 1.0 : 0.0; break;
    case T::Int: out = source.value.intValue; break;
    case T::Float: out = source.value.floatValue; break;
    case T::Int64: out = static_cast<double>(source.value.int64Value); break;
    case T::String: {
      const Text text = TextOf(source);
      m_valid = !text.IsEmpty() && ParseFloatText(text, &out);
      break;
    }
    default: m_valid = false; break;
  }
  m_node.value.floatValue = out;
  return m_valid;
}

bool ZxvConvertBase::SetAsString(const ZxVariant& source) {
  Begin(source, T::String);
  char16_t number[detail::kNumberTextUnits];
  std::size_t units = 0;
  switch (source.type) {
    case T::Null: return m_valid = true;
    case T::String:
      m_node.value.string.length = source.value.string.length;
      m_node.value.string.str = source.value.string.str;
      return m_valid = true;
    case T::Register:
      number[0] = u'0', number[1] = u'x';
      units = 2 + detail::FormatPointer(source.value.registerValue, number + 2);
      break;
    case T::Bool: {
      const char16_t* word = source.value.boolValue != 0 ? u"true" : u"false";
      units = detail::UnitCount(word);
      std::memcpy(number, word, 2 * units);
      break;
    }
    case T::Int: units = detail::FormatInt(source.value.intValue, number); break;
    case T::Float: units = detail::FormatDouble(source.value.floatValue, number); break;
    case T::Int64: units = detail::FormatInt64(source.value.int64Value, number); break;
    case T::Buffer: {
      const ZxVariant::Buffer& buffer = source.value.buffer;
      const std::size_t bytes = buffer.data != nullptr ? buffer.size : 0;
      char16_t* text = OwnText(2 + 2 * bytes);
      if (text == nullptr) {
        m_node.value.string.length = 2;
        m_node.value.string.str = kBareHexPrefix;
        return m_valid = false;
      }
      text[0] = u'0', text[1] = u'x';
      detail::HexEncode(buffer.data, bytes, text + 2);
      return m_valid = true;
    }
    default: return m_valid = false;
  }
  char16_t* text = OwnText(units);
  if (text == nullptr) return m_valid = false;
  std::memcpy(text, number, 2 * units);
  return m_valid = true;
}

bool ZxvConvertBase::SetAsBuffer(const ZxVariant& source) {
  Begin(source, T::Buffer);
  switch (source.type) {
    case T::Null: return m_valid = true;
    case T::Buffer:
      m_node.value.buffer.size = source.value.buffer.size;
      m_node.value.buffer.data = source.value.buffer.data;
      return m_valid = true;
    case T::String: {
      Text text = TextOf(source);
      if (text.length >= 2 && LoadUnit(text.str, 0) == u'0' && LoadUnit(text.str, 1) == u'x') {
        text.str += 2;
        text.length -= 2;
      }
      if (text.IsEmpty()) return m_valid = true;
      if (text.length % 2 != 0) return m_valid = false;
      auto* bytes = static_cast<unsigned char*>(std::malloc(text.length / 2));
      if (bytes == nullptr) return m_valid = false;
      if (!detail::HexDecode(text.str, text.length, bytes)) {
        std::free(bytes);
        return m_valid = false;
      }
      m_owned = bytes;
      m_node.value.buffer.size = static_cast<std::uint32_t>(text.length / 2);
      m_node.value.buffer.data = bytes;
      return m_valid = true;
    }
    default: return m_valid = false;
  }
}

bool ZxvConvertBase::SetAs(const ZxVariant& source, ZxVariant::TypeCodes target) {
  switch (target) {
    case T::Null: return SetAsNull(source);
    case T::Register: return SetAsRegister(source);
    case T::Bool: return SetAsBool(source);
    case T::Int: return SetAsInt(source);
    case T::Float: return SetAsFloat(source);
    case T::Buffer: return SetAsBuffer(source);
    case T::String: return SetAsString(source);
    case T::Int64: return SetAsInt64(source);
    default:  // List and unknown codes: a zero node of that type
      Begin(source, target);
      return m_valid = false;
  }
}

ZxvConvertString::operator const char16_t*() const {
  return m_node.value.string.str != nullptr ? m_node.value.string.str : kEmptyText;
}

}  // namespace ZxVariantHelper
