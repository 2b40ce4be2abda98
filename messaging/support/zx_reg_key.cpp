// CZxRegKey: opening a registry key for reading.
#include "messaging/support/zx_reg_key.h"

#include "zxvariant/registry.h"
#include "zxvariant/zx_exception.h"

namespace {

constexpr const char* kSourceFile = "..\\..\\zx\\ZxRegKey";

namespace R = ZxVariantHelper::Registry;

}  // namespace

void CZxRegKey::OpenForReading(void* parent, const char16_t* subkey) {
  Close();
  const int code = R::OpenKey(parent, subkey, R::KEY_READ | R::KEY_WOW64_64KEY, &m_hKey);
  if (code != R::ERROR_SUCCESS) throw CZxRegKeyException(kSourceFile, __LINE__, code, subkey);
}

void CZxRegKey::Close() noexcept {
  if (m_hKey == nullptr) return;
  R::CloseKey(m_hKey);
  m_hKey = nullptr;
}
