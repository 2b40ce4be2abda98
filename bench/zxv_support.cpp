#include "zxv_support.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace zxvbench {
namespace {

using ZxVariantHelper::ZxvView;
using T = ZxVariant::TypeCodes;

// Entry `index` of a built list's entry array (entries may be unaligned).
const ZxVariant* Entry(const ZxVariant::List& list, std::uint32_t index) {
  const ZxVariant* node;
  std::memcpy(&node, reinterpret_cast<const char*>(list.items) + 8ull * index, sizeof node);
  return node;
}

bool SameFloat(double a, double b) {
  const double scale = std::max(std::fabs(a), std::fabs(b));
  return std::fabs(a - b) <= 5e-6 * scale;
}

bool SameNode(const ZxVariant* a, const ZxVariant* b) {
  ZxvView x(a);
  ZxvView y(b);
  if (x.Name() != y.Name()) return false;
  if (x.Type() == T::Float && y.Type() != T::Float) {
    if (y.Type() == T::Int) return SameFloat(x.Float(), y.Int());
    if (y.Type() == T::Int64) return SameFloat(x.Float(), static_cast<double>(y.Int64()));
    return false;
  }
  if (x.Type() != y.Type()) return false;
  switch (x.Type()) {
    case T::Bool: return x.Bool() == y.Bool();
    case T::Int: return x.Int() == y.Int();
    case T::Int64: return x.Int64() == y.Int64();
    case T::Float: return SameFloat(x.Float(), y.Float());
    case T::String: return x.String() == y.String();
    case T::List: return x.List().count == y.List().count;
    default: return true;
  }
}

}  // namespace

std::size_t CountNodes(const ZxVariant* record) {
  if (record == nullptr) return 0;
  std::size_t count = 0;
  std::vector<const ZxVariant*> pending{record};
  while (!pending.empty()) {
    const ZxVariant* node = pending.back();
    pending.pop_back();
    ++count;
    for (std::uint32_t i = 0; i < node->attributes.count; ++i) pending.push_back(Entry(node->attributes, i));
    if (node->type == T::List) {
      for (std::uint32_t i = 0; i < node->value.list.count; ++i) pending.push_back(Entry(node->value.list, i));
    }
  }
  return count;
}

bool SameAfterJsonText(const ZxVariant* original, const ZxVariant* back) {
  if (original == nullptr || back == nullptr) return false;
  std::vector<std::pair<const ZxVariant*, const ZxVariant*>> pending{{original, back}};
  while (!pending.empty()) {
    auto [a, b] = pending.back();
    pending.pop_back();
    if (!SameNode(a, b)) return false;
    if (a->type == T::List) {
      for (std::uint32_t i = 0; i < a->value.list.count; ++i) {
        pending.emplace_back(Entry(a->value.list, i), Entry(b->value.list, i));
      }
    }
  }
  return true;
}

bool IntAt(const ZxVariant* record, const std::vector<std::string>& path, long long* value) {
  ZxvView node(record);
  for (const std::string& name : path) node = node[Utf8ToUtf16(name).c_str()];
  if (node.IsInt()) {
    *value = node.Int();
    return true;
  }
  if (node.IsInt64()) {
    *value = node.Int64();
    return true;
  }
  return false;
}

ZxVariant* BuildMixedWithBuilders(const MixedTree& tree, bool named) {
  using namespace ZxVariantHelper;
  ZxvList* root = NewList(nullptr);
  for (const MixedGroup& g : tree.groups) {
    ZxvList* list = NewList(named ? g.key16.c_str() : nullptr);
    root->Append(list);
    auto name = [named](int k) { return named ? kLeafNames16[k] : nullptr; };
    for (int k = 0; k < g.leaves; ++k) {
      switch (k) {
        case 0: list->Append(NewInt(name(k), g.id)); break;
        case 1: list->Append(NewFloat(name(k), g.score)); break;
        case 2: list->Append(NewString(name(k), g.name16.c_str(), static_cast<int>(g.name16.size()))); break;
        case 3: list->Append(NewBool(name(k), g.ok)); break;
        case 4: list->Append(NewInt64(name(k), g.big)); break;
        case 5: list->Append(NewNull(name(k))); break;
        default: list->Append(NewString(name(k), g.tag16.c_str(), static_cast<int>(g.tag16.size()))); break;
      }
    }
  }
  ZxVariant* record = root->BuildNewZxVariant(nullptr);
  Delete(root);
  return record;
}

void MixedItems::Fill(const MixedTree& tree) {
  using ZxVariantHelper::ItemSpec;
  std::size_t leaves = 0;
  for (const MixedGroup& g : tree.groups) leaves += static_cast<std::size_t>(g.leaves);
  m_groups.clear();
  m_leaves.clear();
  m_groups.reserve(tree.groups.size());
  m_leaves.reserve(leaves);  // never reallocated below: groups point into it
  for (const MixedGroup& g : tree.groups) {
    const ItemSpec* first = m_leaves.data() + m_leaves.size();
    for (int k = 0; k < g.leaves; ++k) {
      switch (k) {
        case 0: m_leaves.push_back({T::Int, &g.id, 0}); break;
        case 1: m_leaves.push_back({T::Float, &g.score, 0}); break;
        case 2: m_leaves.push_back({T::String, g.name16.c_str(), 0}); break;
        case 3: m_leaves.push_back({T::Bool, &g.ok, 0}); break;
        case 4: m_leaves.push_back({T::Int64, &g.big, 0}); break;
        case 5: m_leaves.push_back({T::Null, nullptr, 0}); break;
        default: m_leaves.push_back({T::String, g.tag16.c_str(), 0}); break;
      }
    }
    m_groups.push_back({T::List, first, static_cast<unsigned>(g.leaves)});
  }
  m_root = {T::List, m_groups.data(), static_cast<unsigned>(m_groups.size())};
}

ZxVariant* RecordFromJson(const std::u16string& text) { return ZxVariantHelper::NewJson(text.c_str()); }

}  // namespace zxvbench
