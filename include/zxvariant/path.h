// Paths: naming a node inside a tree by child indexes and names.
//
// A PathElement is one step down a list: either a 0-based child index or a
// child name (exact, case-sensitive).  PathElements is a sequence of steps
// and Path wraps one, made from elements or from a text:
//
//   "server/ports/2"   name "server", name "ports", index 2
//
// Text rules:
//   * '/' separates segments; empty segments are skipped, so "/a//b/" is
//     "a/b" and "" is the empty path (the starting node itself);
//   * a segment made only of the digits 0-9 is an index; digits past
//     2147483647 read as 2147483647, which names no child in practice;
//   * '\' takes the next unit literally: "a\/b" is the one name "a/b",
//     "\\" a backslash, and "\2" the name "2" (an escaped unit makes the
//     segment a name); a '\' at the end of the text stands for itself;
//   * an empty name and a negative index have no text form.
// Text() writes the form that parses back to the same elements.
//
// Example:
//
//   using namespace ZxVariantHelper;
//   Path p(u"server/ports/2");
//   for (const PathElement& step : p.Elements()) {
//     if (step.IsIndex()) Use(step.Index()); else Use(step.Name());
//   }
//   Path q{u"a/b", 0};            // a name holding '/', then index 0
//   q.Text();                     // u"a\\/b/0"
//
// Thread safety: paths are plain values; distinct threads may read one path.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "zxvariant/export.h"

namespace ZxVariantHelper {

class ZXV_EXPORT PathElement {
 public:
  PathElement(int index);                  // NOLINT(implicit)
  PathElement(const char16_t* name);       // NOLINT(implicit); null is the empty name
  PathElement(std::u16string name);        // NOLINT(implicit)

  bool IsIndex() const { return m_isIndex; }
  // The index, or -1 for a name.
  int Index() const { return m_index; }
  // The name, or empty for an index.
  const std::u16string& Name() const { return m_name; }

  bool operator==(const PathElement& other) const = default;

 private:
  bool m_isIndex;
  std::int32_t m_index;
  std::u16string m_name;
};

using PathElements = std::vector<PathElement>;

class ZXV_EXPORT Path {
 public:
  Path() = default;
  // Parses a text by the rules above; null is the empty path.
  Path(const char16_t* text);  // NOLINT(implicit)
  Path(const std::u16string& text);  // NOLINT(implicit)
  Path(std::initializer_list<PathElement> elements) : m_elements(elements) {}
  explicit Path(PathElements elements) : m_elements(std::move(elements)) {}

  const PathElements& Elements() const { return m_elements; }
  bool IsEmpty() const { return m_elements.empty(); }
  // The escaped text form; empty names and negative indexes are left out.
  std::u16string Text() const;

  bool operator==(const Path& other) const = default;

 private:
  PathElements m_elements;
};

}  // namespace ZxVariantHelper

namespace ZxVariantHelperNative {
using ZxVariantHelper::Path;
using ZxVariantHelper::PathElement;
using ZxVariantHelper::PathElements;
}  // namespace ZxVariantHelperNative
