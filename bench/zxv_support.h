// The ZxVariant side of the shared data: counting and comparing records,
// and making the mixed trees through the builders and through ItemSpec.
#pragma once

#include <zxvariant/zxvariant.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "bench_data.h"

namespace zxvbench {

// Owners of malloc'd records.
struct RecordDeleter {
  void operator()(const ZxVariant* record) const { ZxVariantHelper::Delete(const_cast<ZxVariant*>(record)); }
};
using RecordPtr = std::unique_ptr<ZxVariant, RecordDeleter>;
inline std::shared_ptr<ZxVariant> ShareRecord(ZxVariant* record) {
  return std::shared_ptr<ZxVariant>(record, RecordDeleter());
}

// Nodes of a pointer-form record, attributes included.
std::size_t CountNodes(const ZxVariant* record);

// Whether `back`, read from the JSON text written for `original`, holds the
// same tree: the same types, names, strings and integers in the same order,
// and floats equal to the six significant digits the writer keeps (%g); a
// Float written without a fraction part comes back as an Int of its value.
bool SameAfterJsonText(const ZxVariant* original, const ZxVariant* back);

// The integer (Int or Int64) reached from the root by child names.
bool IntAt(const ZxVariant* record, const std::vector<std::string>& path, long long* value);

// The mixed tree through builder objects, every group and leaf named when
// `named`: builders made, laid out into one block, builders deleted.
ZxVariant* BuildMixedWithBuilders(const MixedTree& tree, bool named);

// The mixed tree as an ItemSpec table (ItemSpec nodes have no names); the
// entries point into the tree's values, which must outlive the table.
class MixedItems {
 public:
  void Fill(const MixedTree& tree);
  const ZxVariantHelper::ItemSpec* Root() const { return &m_root; }

 private:
  std::vector<ZxVariantHelper::ItemSpec> m_groups;
  std::vector<ZxVariantHelper::ItemSpec> m_leaves;
  ZxVariantHelper::ItemSpec m_root{};
};

// A pointer-form record from JSON text; null when it cannot be read.
ZxVariant* RecordFromJson(const std::u16string& text);

}  // namespace zxvbench
