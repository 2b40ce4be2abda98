// Path elements and the text form of paths.
#include <climits>
#include <cstdint>
#include <string>
#include <utility>

#include "zxvariant/path.h"

namespace ZxVariantHelper {
namespace {

bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

bool AllDigits(const std::u16string& text) {
  if (text.empty()) return false;
  for (char16_t unit : text) {
    if (!IsDigit(unit)) return false;
  }
  return true;
}

// A segment of unescaped digits as an index, saturating at INT_MAX.
int ReadIndex(const std::u16string& digits) {
  std::int64_t value = 0;
  for (char16_t unit : digits) {
    value = value * 10 + (unit - u'0');
    if (value > INT_MAX) return INT_MAX;
  }
  return static_cast<int>(value);
}

}  // namespace

PathElement::PathElement(int index) : m_isIndex(true), m_index(index) {}

PathElement::PathElement(const char16_t* name)
    : m_isIndex(false), m_index(-1), m_name(name ? name : u"") {}

PathElement::PathElement(std::u16string name)
    : m_isIndex(false), m_index(-1), m_name(std::move(name)) {}

Path::Path(const char16_t* text) : Path(std::u16string(text ? text : u"")) {}

Path::Path(const std::u16string& text) {
  std::u16string segment;
  bool escaped = false;  // whether the current segment holds an escaped unit
  auto finish = [&] {
    if (segment.empty()) return;
    if (!escaped && AllDigits(segment)) {
      m_elements.emplace_back(ReadIndex(segment));
    } else {
      m_elements.emplace_back(std::move(segment));
    }
    segment.clear();
    escaped = false;
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    char16_t unit = text[i];
    if (unit == u'\\' && i + 1 < text.size()) {
      segment += text[++i];
      escaped = true;
    } else if (unit == u'/') {
      finish();
    } else {
      segment += unit;
    }
  }
  finish();
}

std::u16string Path::Text() const {
  std::u16string text;
  for (const PathElement& element : m_elements) {
    if (element.IsIndex() ? element.Index() < 0 : element.Name().empty()) continue;
    if (!text.empty()) text += u'/';
    if (element.IsIndex()) {
      std::string digits = std::to_string(element.Index());
      text.append(digits.begin(), digits.end());
      continue;
    }
    // An all-digit name escapes its first digit so that it stays a name.
    bool digits = AllDigits(element.Name());
    for (char16_t unit : element.Name()) {
      if (unit == u'/' || unit == u'\\' || digits) text += u'\\';
      text += unit;
      digits = false;
    }
  }
  return text;
}

}  // namespace ZxVariantHelper
