// The records that the registry storage tests and their child processes
// (registry_record_writer) write, and the write-and-read-back round they
// share.
#pragma once

#include <string>

#include "record/record_testing.h"

namespace zxt {

// Record 0 fits the reader's 128-byte inner buffer; record 1 does not.
inline Block StoredRecord(int which) {
  if (which % 2 == 0) return Lay(NewInt(u"n", 7));
  Owned<ZxvList> list(NewList(u"settings"));
  list->AppendAttribute(NewString(u"kind", u"large", 0));
  for (int i = 0; i < 12; ++i) {
    const std::u16string name = u"item" + std::u16string(1, static_cast<char16_t>(u'a' + i));
    list->Append(NewString(name.c_str(), u"a value long enough to need the heap buffer", 0));
  }
  list->Append(NewBuffer(u"odd", "\x01\x02\x03", 3));
  return Lay(*list);
}

// True when `record` is byte for byte one of the two stored records.
inline bool IsAStoredRecord(const ZxVariant* record) {
  return IsEqual(record, StoredRecord(0).get()) || IsEqual(record, StoredRecord(1).get());
}

// `rounds` times: writes a stored record (alternating, starting with `id`)
// to value `value` of `shared`, reads it back and checks that what comes
// back is one of the stored records (another writer may have replaced it);
// writes the same record below `shared`\Own<id> and checks that exactly it
// comes back.  Returns the number of failed steps, with the first failure
// described in *first.
inline int ChurnRecords(const std::u16string& shared, const char16_t* value, int rounds, int id,
                        std::string* first) {
  using namespace ZxVariantHelper;
  const std::u16string own = shared + u"\\Own" + std::u16string(1, static_cast<char16_t>(u'0' + id % 10));
  int failures = 0;
  auto fail = [&](const std::string& what, int round, int code) {
    if (failures++ == 0) *first = what + " in round " + std::to_string(round) + ": " + std::to_string(code);
  };
  for (int round = 0; round < rounds; ++round) {
    Block mine = StoredRecord(round + id);
    int code = WriteToRegistry(Registry::CurrentUser, shared.c_str(), value, mine.get());
    if (code != 0) fail("shared write", round, code);
    ZxVariant* back = nullptr;
    code = ReadFromRegistry(Registry::CurrentUser, shared.c_str(), value, &back);
    if (code != 0 || !IsAStoredRecord(back)) fail("shared read", round, code);
    Delete(back);
    code = WriteToRegistry(Registry::CurrentUser, own.c_str(), value, mine.get());
    if (code != 0) fail("own write", round, code);
    back = nullptr;
    code = ReadFromRegistry(Registry::CurrentUser, own.c_str(), value, &back);
    if (code != 0 || !IsEqual(back, mine.get())) fail("own read", round, code);
    Delete(back);
  }
  return failures;
}

}  // namespace zxt
