// ZxvCast: one plain value laid out as a one-node record by its builder.
#include <cstdlib>

#include "zxvariant/builders.h"
#include "zxvariant/conversions.h"

namespace ZxVariantHelper {
namespace {

// Lays a temporary builder out into a malloc'd block of its computed size.
// A refusal or an allocation failure leaves the cast without a record.
template <typename Builder, typename... Args>
ZxVariant* LayOut(Args... args) noexcept {
  try {
    const Builder builder(args...);
    return builder.BuildNewZxVariant(nullptr);
  } catch (...) {
    return nullptr;
  }
}

constexpr const char16_t* kUnnamed = nullptr;

}  // namespace

ZxvCast::ZxvCast(void* value) : ZxvCast(kUnnamed, value) {}
ZxvCast::ZxvCast(bool value) : ZxvCast(kUnnamed, value) {}
ZxvCast::ZxvCast(int value) : ZxvCast(kUnnamed, value) {}
ZxvCast::ZxvCast(double value) : ZxvCast(kUnnamed, value) {}
ZxvCast::ZxvCast(void* data, int size) : ZxvCast(kUnnamed, data, size) {}
ZxvCast::ZxvCast(const char16_t* text) : ZxvCast(kUnnamed, text) {}
ZxvCast::ZxvCast(const char* utf8Text) : ZxvCast(kUnnamed, utf8Text) {}

ZxvCast::ZxvCast(const char16_t* name, void* value)
    : m_record(LayOut<ZxvRegister>(name, value)) {}
ZxvCast::ZxvCast(const char16_t* name, bool value) : m_record(LayOut<ZxvBool>(name, value)) {}
ZxvCast::ZxvCast(const char16_t* name, int value) : m_record(LayOut<ZxvInt>(name, value)) {}
ZxvCast::ZxvCast(const char16_t* name, double value) : m_record(LayOut<ZxvFloat>(name, value)) {}
ZxvCast::ZxvCast(const char16_t* name, void* data, int size)
    : m_record(LayOut<ZxvBuffer>(name, static_cast<const void*>(data), size)) {}
ZxvCast::ZxvCast(const char16_t* name, const char16_t* text)
    : m_record(LayOut<ZxvString>(name, text, 0)) {}
ZxvCast::ZxvCast(const char16_t* name, const char* utf8Text)
    : m_record(LayOut<ZxvStringFromUtf8>(name, utf8Text)) {}

ZxvCast::~ZxvCast() { std::free(m_record); }

}  // namespace ZxVariantHelper
