// Child process of the registry storage tests.  The database is the one the
// parent names in ZXV_REGISTRY_PATH.
//
//   registry_record_writer loop <subkey> <value>
//       writes the two stored records alternately until killed; after the
//       first write it prints "R" to tell the parent it is running.
//   registry_record_writer churn <subkey> <value> <rounds> <id>
//       runs ChurnRecords; exit status 0 when every step succeeded.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "record/registry_records.h"

namespace {

std::u16string Widen(const char* text) { return std::u16string(text, text + std::strlen(text)); }

int Loop(const std::u16string& subkey, const std::u16string& value) {
  zxt::Block records[] = {zxt::StoredRecord(0), zxt::StoredRecord(1)};
  for (unsigned long round = 0;; ++round) {
    const int code = ZxVariantHelper::WriteToRegistry(ZxVariantHelper::Registry::CurrentUser, subkey.c_str(),
                                                      value.c_str(), records[round % 2].get());
    if (code != 0) {
      std::fprintf(stderr, "write failed: %d\n", code);
      return 3;
    }
    if (round == 0 && write(STDOUT_FILENO, "R", 1) != 1) return 4;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "loop") == 0) return Loop(Widen(argv[2]), Widen(argv[3]));
  if (argc == 6 && std::strcmp(argv[1], "churn") == 0) {
    std::string first;
    const int failures = zxt::ChurnRecords(Widen(argv[2]), Widen(argv[3]).c_str(), std::atoi(argv[4]),
                                           std::atoi(argv[5]), &first);
    if (failures != 0) std::fprintf(stderr, "%d failures, first: %s\n", failures, first.c_str());
    return failures == 0 ? 0 : 1;
  }
  std::fprintf(stderr, "usage: registry_record_writer loop <subkey> <value> | churn <subkey> <value> <rounds> <id>\n");
  return 2;
}
