// The CZxException family: message composition and the kinds' texts.
#include "zxvariant/zx_exception.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "record/unaligned.h"
#include "record/utf8.h"

namespace {

// The recorded file name after its last backslash, up to its first '.'.
std::string_view SourceBaseName(const char* file) {
  if (file == nullptr) return {};
  const char* start = std::strrchr(file, '\\');
  start = start != nullptr ? start + 1 : file;
  return std::string_view(start, std::strcspn(start, "."));
}

// The longest prefix of `text` no longer than `limit` bytes that does not end
// inside a UTF-8 sequence.
std::size_t Utf8Prefix(const char* text, std::size_t size, std::size_t limit) {
  if (size <= limit) return size;
  std::size_t cut = limit;
  while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
  return cut;
}

// The text of a registry exception: `lead`, the name as UTF-8 and the code in
// hexadecimal.  Longer texts are cut later, when composed.
std::string RegistryText(const char* lead, const char16_t* name, int errorCode) {
  const std::string utf8 = name != nullptr
                               ? ZxVariantHelper::detail::Utf16ToUtf8(
                                     name, ZxVariantHelper::detail::UnitCount(name))
                               : std::string("(null)");
  char text[256];
  std::snprintf(text, sizeof text, "%s%s, code: 0x%x", lead, utf8.c_str(),
                static_cast<unsigned>(errorCode));
  return text;
}

}  // namespace

CZxException::CZxException(const char* category, const char* file, int line, int errorCode,
                           const char* text)
    : m_nLine(line),
      m_pszFile(file),
      m_pszCategory(category),
      m_nErrorCode(errorCode),
      m_message(m_szMessage, sizeof m_szMessage) {
  Compose(text);
}

CZxException::CZxException(const CZxException& other) noexcept
    : std::exception(other),
      m_nLine(other.m_nLine),
      m_pszFile(other.m_pszFile),
      m_pszCategory(other.m_pszCategory),
      m_nErrorCode(other.m_nErrorCode),
      m_message(m_szMessage, sizeof m_szMessage) {
  m_message.Append(other.m_message.c_str(), other.m_message.length());
}

CZxException& CZxException::operator=(const CZxException& other) noexcept {
  if (this == &other) return *this;
  std::exception::operator=(other);
  m_nLine = other.m_nLine;
  m_pszFile = other.m_pszFile;
  m_pszCategory = other.m_pszCategory;
  m_nErrorCode = other.m_nErrorCode;
  m_message.clear();
  m_message.Append(other.m_message.c_str(), other.m_message.length());
  return *this;
}

CZxException::~CZxException() = default;

const char* CZxException::what() const noexcept { return m_message.c_str(); }

// "<category> exception: <text> (<file>,<line>)".  The pieces are cut to the
// buffer's room so that composing never throws; the location is kept whole
// and the text gives way first.
void CZxException::Compose(const char* text) noexcept {
  const std::string_view base = SourceBaseName(m_pszFile);
  char location[128];
  int made = std::snprintf(location, sizeof location, " (%.*s,%u)", static_cast<int>(base.size()),
                           base.data(), static_cast<unsigned>(m_nLine));
  std::size_t locationSize = made < 0 ? 0 : static_cast<std::size_t>(made);
  if (locationSize >= sizeof location) locationSize = Utf8Prefix(location, locationSize, sizeof location - 1);

  char head[128];
  made = std::snprintf(head, sizeof head, "%s exception: ", m_pszCategory != nullptr ? m_pszCategory : "");
  std::size_t headSize = made < 0 ? 0 : static_cast<std::size_t>(made);
  if (headSize >= sizeof head) headSize = Utf8Prefix(head, headSize, sizeof head - 1);

  const char* body = text != nullptr ? text : "";
  std::size_t room = m_message.room();
  headSize = Utf8Prefix(head, headSize, room);
  m_message.Append(head, static_cast<unsigned>(headSize));
  room = m_message.room();
  const std::size_t bodyRoom = room > locationSize ? room - locationSize : 0;
  m_message.Append(body, static_cast<unsigned>(Utf8Prefix(body, std::strlen(body), bodyRoom)));
  m_message.Append(location, static_cast<unsigned>(Utf8Prefix(location, locationSize, m_message.room())));
}

CZxStringException::CZxStringException(const char* file, int line, const char* text)
    : CZxException("String", file, line, 0, text) {}

CZxInternalException::CZxInternalException(const char* file, int line, const char* text)
    : CZxException("Internal", file, line, 0, text) {}

CZxOutOfMemoryException::CZxOutOfMemoryException(const char* file, int line, const char* text)
    : CZxException("OutOfMemory", file, line, 0, text) {}

CZxRegKeyException::CZxRegKeyException(const char* file, int line, int errorCode,
                                       const char16_t* subkey)
    : CZxException("RegKey", file, line, errorCode,
                   RegistryText("Unable to open registry key for reading :", subkey, errorCode)
                       .c_str()) {}

CZxRegValueException::CZxRegValueException(const char* file, int line, int errorCode,
                                           const char16_t* valueName)
    : CZxException("RegValue", file, line, errorCode,
                   RegistryText("Unable to read registry value :", valueName, errorCode)
                       .c_str()) {}
