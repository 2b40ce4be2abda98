// CZxRegValue: one registry value read into memory, in a 128-byte buffer
// inside the object or, for larger values, a heap buffer it owns.
#pragma once

class CZxRegValue {
 public:
  CZxRegValue() noexcept = default;
  ~CZxRegValue();
  CZxRegValue(const CZxRegValue&) = delete;
  CZxRegValue& operator=(const CZxRegValue&) = delete;

  // Reads the value `name` of the open key `key`, replacing what was read
  // before.  The first query goes to the inner buffer; when the store answers
  // ERROR_MORE_DATA (234) a buffer of the reported size is taken and the
  // query repeated (again while a concurrent writer keeps enlarging the
  // value, a bounded number of times).  Throws CZxOutOfMemoryException when
  // the buffer cannot be allocated and CZxRegValueException "Unable to read
  // registry value :<name>, code: 0x<code>" for any other failure.
  void Read(void* key, const char16_t* name);

  const unsigned char* Data() const noexcept { return m_pData; }
  unsigned Size() const noexcept { return m_nSize; }
  unsigned Type() const noexcept { return m_nType; }

 private:
  void Release() noexcept;

  unsigned char m_inner[128];
  unsigned char* m_pHeap = nullptr;
  unsigned char* m_pData = m_inner;
  unsigned m_nSize = 0;
  unsigned m_nType = 0;
};
