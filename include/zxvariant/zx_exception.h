// CZxException and its kinds: the exceptions of the narrow string classes
// (zx_string.h) and of the registry key and value helpers.
//
// Each exception carries a category, the source file and line that raised
// it, an error code (a Win32-style code, 0 when there is none) and a message
// composed once, in the exception's own 256-byte buffer, as
//
//   <category> exception: <text> (<file>,<line>)
//
// where <file> is the recorded source name after its last backslash, cut at
// its first '.'; for instance
//
//   Internal exception: unexpected vsnprintf failure (ZxString,307)
//
// The kinds, their categories and the texts the library raises them with:
//   CZxStringException       "String"       "Illegal resize of fixed string"
//   CZxInternalException     "Internal"     "!(nPercent >= 100)",
//                                           "unexpected vsnprintf failure"
//   CZxOutOfMemoryException  "OutOfMemory"  "Unable to grow string", or a
//                                           registry value buffer that could
//                                           not be allocated
//   CZxRegKeyException       "RegKey"       "Unable to open registry key for
//                                           reading :<subkey>, code: 0x<code>"
//   CZxRegValueException     "RegValue"     "Unable to read registry value
//                                           :<name>, code: 0x<code>"
// Wide names appear in the message as UTF-8.  A message that would not fit
// in 255 bytes keeps its category and location and loses the end of its
// text (never in the middle of a UTF-8 sequence).
//
// Example:
//
//   try {
//     char room[8];
//     CZxBufString small(room, sizeof room);
//     small.Append("longer than eight bytes");
//   } catch (const CZxException& e) {
//     std::puts(e.what());       // String exception: Illegal resize of fixed
//                                // string (ZxString,<line>)
//     int code = e.ErrorCode();  // 0
//   }
//
// The exceptions are thrown by value and caught as CZxException (or as
// std::exception, whose what() gives the same message).
//
// Thread safety: an exception object is immutable after construction and may
// be read from any thread.
#pragma once

#include <exception>

#include "zxvariant/export.h"
#include "zxvariant/zx_string.h"

class ZXV_EXPORT CZxException : public std::exception {
 public:
  // `category` and `file` are kept by address and must outlive the exception
  // (string literals do); `text` is copied into the message.
  CZxException(const char* category, const char* file, int line, int errorCode, const char* text);
  CZxException(const CZxException& other) noexcept;
  CZxException& operator=(const CZxException& other) noexcept;
  ~CZxException() override;

  // The composed message.
  const char* what() const noexcept override;
  const char* Message() const noexcept { return m_message.c_str(); }
  const char* Category() const noexcept { return m_pszCategory; }
  // The source file name as recorded, for instance "..\..\zx\ZxString".
  const char* File() const noexcept { return m_pszFile; }
  int Line() const noexcept { return m_nLine; }
  // The Win32-style error code, 0 when there is none.
  int ErrorCode() const noexcept { return m_nErrorCode; }

 private:
  void Compose(const char* text) noexcept;

  int m_nLine;
  const char* m_pszFile;
  const char* m_pszCategory;
  int m_nErrorCode;
  char m_szMessage[256];
  CZxBufString m_message;
};

class ZXV_EXPORT CZxStringException : public CZxException {
 public:
  CZxStringException(const char* file, int line, const char* text);
};

class ZXV_EXPORT CZxInternalException : public CZxException {
 public:
  CZxInternalException(const char* file, int line, const char* text);
};

class ZXV_EXPORT CZxOutOfMemoryException : public CZxException {
 public:
  CZxOutOfMemoryException(const char* file, int line, const char* text);
};

// A registry key that could not be opened; `errorCode` is the store's code.
class ZXV_EXPORT CZxRegKeyException : public CZxException {
 public:
  CZxRegKeyException(const char* file, int line, int errorCode, const char16_t* subkey);
};

// A registry value that could not be read; `errorCode` is the store's code.
class ZXV_EXPORT CZxRegValueException : public CZxException {
 public:
  CZxRegValueException(const char* file, int line, int errorCode, const char16_t* valueName);
};
