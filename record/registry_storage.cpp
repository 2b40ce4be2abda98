// Records stored as one REG_BINARY value in zero-based form.
//
// The stored bytes are exactly the record block after RebaseToZero, so they
// are position-independent and the same as a 32-bit peer would store.  Bytes
// read back are trusted only after two checks: their count equals the size
// word they start with, and ValidateZero accepts them.
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "messaging/support/zx_reg_key.h"
#include "messaging/support/zx_reg_value.h"
#include "record/unaligned.h"
#include "zxvariant/operations.h"
#include "zxvariant/registry.h"
#include "zxvariant/zx_exception.h"

namespace ZxVariantHelper {
namespace {

namespace R = Registry;

// KEY_WRITE with the 64-bit view, as the value has always been written.
constexpr unsigned kWriteAccess = R::KEY_WRITE | R::KEY_WOW64_64KEY;

struct FreeRecord {
  void operator()(ZxVariant* record) const { Delete(record); }
};

// True when `bytes` hold one whole zero-based record block.
bool IsStoredRecord(const unsigned char* bytes, unsigned count) {
  if (count < sizeof(std::uint32_t) || detail::LoadU32(bytes) != count) return false;
  return ValidateZero(reinterpret_cast<const ZxVariant*>(bytes));
}

}  // namespace

int WriteToRegistry(void* key, const char16_t* subkey, const char16_t* valueName,
                    const ZxVariant* record) {
  if (record == nullptr) return R::ERROR_INVALID_DATA;
  std::unique_ptr<ZxVariant, FreeRecord> zeroBased(NewCopy(record, nullptr, false, true));
  if (zeroBased == nullptr) return R::ERROR_NOT_ENOUGH_MEMORY;
  void* target = nullptr;
  const int code = R::CreateKey(key, subkey, kWriteAccess, &target);
  if (code != R::ERROR_SUCCESS) return code;
  const int written = R::SetValue(target, valueName, R::REG_BINARY, zeroBased.get(), record->size);
  R::CloseKey(target);
  return written;
}

int ReadFromRegistry(void* key, const char16_t* subkey, const char16_t* valueName,
                     ZxVariant** record) {
  if (record == nullptr) return R::ERROR_INVALID_PARAMETER;
  try {
    CZxRegKey source;
    source.OpenForReading(key, subkey);
    CZxRegValue value;
    value.Read(source.Handle(), valueName);
    source.Close();
    if (!IsStoredRecord(value.Data(), value.Size())) return R::ERROR_INVALID_DATA;
    ZxVariant* copy = NewCopy(reinterpret_cast<const ZxVariant*>(value.Data()), nullptr, true, false);
    if (copy == nullptr) return R::ERROR_NOT_ENOUGH_MEMORY;
    *record = copy;
    return R::ERROR_SUCCESS;
  } catch (const CZxException& failure) {
    return failure.ErrorCode() != 0 ? failure.ErrorCode() : R::ERROR_READ_FAULT;
  }
}

}  // namespace ZxVariantHelper
