// CZxRegKey: a registry key opened for reading, closed with the object.
#pragma once

class CZxRegKey {
 public:
  CZxRegKey() noexcept = default;
  ~CZxRegKey() { Close(); }
  CZxRegKey(const CZxRegKey&) = delete;
  CZxRegKey& operator=(const CZxRegKey&) = delete;

  // Opens `subkey` below `parent` (a root or an open key) with KEY_READ |
  // KEY_WOW64_64KEY, closing a key held before.  Throws CZxRegKeyException
  // "Unable to open registry key for reading :<subkey>, code: 0x<code>"
  // carrying the store's code.
  void OpenForReading(void* parent, const char16_t* subkey);
  // Closes the key; nothing when none is open.
  void Close() noexcept;
  // The open key, or null.
  void* Handle() const noexcept { return m_hKey; }

 private:
  void* m_hKey = nullptr;
};
