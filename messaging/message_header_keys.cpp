// The header-key table and AMessage::isHeaderKey.
//
// The table is searched by bisection although it is not in ordinal order:
// "ProcessName" stands between "Mapfile" and "MsgErrorCode", and "Timestamp"
// before "TimeToLive".  The search therefore never reaches those two entries
// and answers false for them, so operator[] puts them into the Body.  Every
// sender and receiver of messages places these items that way; the order of
// the table and the search are kept exactly as they are for that reason.
#include <cstddef>
#include <iterator>

#include "record/unaligned.h"
#include "zxvariant/message.h"

namespace ZxVariantHelper {
namespace {

constexpr const char16_t* kHeaderKeys[] = {
    u"AuthenticationCode", u"ClientID",       u"Cookie",                     // 0
    u"CorellationID",      u"Description",    u"Destination",                // 3
    u"Flags",              u"Formatting",     u"HeaderVersion",              // 6
    u"ID",                 u"Integrity",      u"Localization",               // 9
    u"Mapfile",            u"ProcessName",    u"MsgErrorCode",               // 12
    u"MsgSystemID",        u"Name",           u"NameAlias",                  // 15
    u"Origin",             u"Priority",       u"ProcessID",                  // 18
    u"Resource",           u"SequenceNumber", u"SessionID",                  // 21
    u"Severity",           u"SoftwareID",     u"SourceEXE",                  // 24
    u"SupplierList",       u"Tag",            u"Tag-DEPRECATED_DO_NOT_USE",  // 27
    u"ThreadID",           u"Timestamp",      u"TimeToLive",                 // 30
    u"Topic",              u"TransErrorCode",                                // 33
};
static_assert(std::size(kHeaderKeys) == 35, "the header-key table has 35 entries");

// Ordinal comparison of unsigned 16-bit units up to the terminating zero.
// The caller's name may lie at any address.
int CompareKey(const char16_t* key, const char16_t* name) {
  for (std::size_t i = 0;; ++i) {
    char16_t k = key[i];
    char16_t n = detail::LoadUnit(name, i);
    if (k != n) return k < n ? -1 : 1;
    if (k == 0) return 0;
  }
}

}  // namespace

bool AMessage::isHeaderKey(const char16_t* name) {
  if (name == nullptr) return false;
  int low = 0;
  int high = static_cast<int>(std::size(kHeaderKeys)) - 1;
  while (low <= high) {
    int middle = (low + high) / 2;
    int order = CompareKey(kHeaderKeys[middle], name);
    if (order == 0) return true;
    if (order > 0) {
      high = middle - 1;
    } else {
      low = middle + 1;
    }
  }
  return false;
}

}  // namespace ZxVariantHelper
