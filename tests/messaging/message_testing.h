// Shared helpers of the message tests.
#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "expect_logic_error.h"
#include "record/record_testing.h"

namespace zxt {

using Names = std::vector<std::u16string>;

// The names of a list's children (loose, flat or builder), in order.
inline Names ChildNames(const ZxVariant* list) {
  Names names;
  for (ZxvView c = ZxvView(list).First(); !c.IsTheNull(); c = c.Next())
    names.push_back(S(c.Name()));
  return names;
}
inline std::u16string NameOf(const ZxVariant* r) { return S(ZxvView(r).Name()); }
inline std::u16string Text(const SmartWcharPtr& text) {
  return text.isNull() ? u"<null>" : text.get();
}

using zxv_testing::ExpectLogicError;
using zxv_testing::kConversion;
using zxv_testing::kParameter;

}  // namespace zxt
