// CZxRegValue: reading a value of any length through the 234 protocol.
#include "messaging/support/zx_reg_value.h"

#include <cstdlib>

#include "zxvariant/registry.h"
#include "zxvariant/zx_exception.h"

namespace {

constexpr const char* kSourceFile = "..\\..\\zx\\ZxRegValue";

namespace R = ZxVariantHelper::Registry;

// Queries after the first one that a value growing under concurrent writers
// may cost before its reader gives up with ERROR_MORE_DATA.
constexpr int kMaxRequeries = 16;

}  // namespace

CZxRegValue::~CZxRegValue() { Release(); }

void CZxRegValue::Release() noexcept {
  std::free(m_pHeap);
  m_pHeap = nullptr;
  m_pData = m_inner;
  m_nSize = 0;
  m_nType = 0;
}

void CZxRegValue::Read(void* key, const char16_t* name) {
  Release();
  unsigned room = sizeof m_inner;
  int code = R::QueryValue(key, name, &m_nType, m_pData, &room);
  for (int requery = 0; code == R::ERROR_MORE_DATA && requery < kMaxRequeries; ++requery) {
    // `room` now holds the size the value needs, more than the buffer had
    // and so more than the inner 128 bytes.
    std::free(m_pHeap);
    m_pData = m_inner;
    m_pHeap = static_cast<unsigned char*>(std::malloc(room));
    if (m_pHeap == nullptr) {
      Release();
      throw CZxOutOfMemoryException(kSourceFile, __LINE__, "Unable to allocate registry value buffer");
    }
    m_pData = m_pHeap;
    code = R::QueryValue(key, name, &m_nType, m_pData, &room);
  }
  if (code != R::ERROR_SUCCESS) {
    Release();
    throw CZxRegValueException(kSourceFile, __LINE__, code, name);
  }
  m_nSize = room;
}
