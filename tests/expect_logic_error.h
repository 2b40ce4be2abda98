// The wrappers and the message type report errors as std::logic_error with
// one of two fixed texts; tests check the exact text.
#pragma once

#include <gtest/gtest.h>

#include <stdexcept>

namespace zxv_testing {

inline constexpr const char* kConversion = "Invalid type conversion attempt";
inline constexpr const char* kParameter = "Invalid parameter";

// `f` throws std::logic_error with exactly `text`.
template <typename F>
void ExpectLogicError(F&& f, const char* text) {
  try {
    f();
    ADD_FAILURE() << "no exception, expected: " << text;
  } catch (const std::logic_error& e) {
    EXPECT_STREQ(e.what(), text);
  }
}

}  // namespace zxv_testing
