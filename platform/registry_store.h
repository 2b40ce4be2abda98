// The registry store: keys and typed values in one SQLite database file.
//
// Schema (application_id 0x5A585652 "ZXVR", user_version 1):
//
//   registry_keys(id INTEGER PRIMARY KEY AUTOINCREMENT,
//                 parent INTEGER NOT NULL,     0 for the four roots
//                 name BLOB NOT NULL,          UTF-16 units as created
//                 folded BLOB NOT NULL)        the name with A-Z folded to a-z
//     UNIQUE (parent, folded)
//   registry_values(key INTEGER NOT NULL, name BLOB NOT NULL,
//                   folded BLOB NOT NULL, type INTEGER NOT NULL,
//                   data BLOB NOT NULL)
//     UNIQUE (key, folded)
//
// The roots are rows 1 to 4 (ClassesRoot, CurrentUser, LocalMachine, Users).
// Key ids are never reused (AUTOINCREMENT), so a handle to a deleted key can
// tell that its key is gone.  Names are kept as UTF-16 blobs so that every
// unit, even an unpaired surrogate, survives exactly.
//
// The file is in WAL mode with a 10-second busy timeout.  Every write runs in
// one BEGIN IMMEDIATE transaction, so it waits for other writers up front and
// a process killed half-way leaves the previous state; reads run in one read
// transaction and see one consistent state.  One object is one connection,
// used by one thread at a time (the object's own lock sees to that).
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;

namespace ZxVariantHelper::platform {

using RegistryKeyId = std::int64_t;

// The row of a predefined root (0x80000000 + n is row n + 1), or 0.
RegistryKeyId RootKeyId(const void* handle);

// What to do with a key missing on a path.
enum class MissingKey {
  kFail,    // the lookup answers ERROR_FILE_NOT_FOUND
  kCreate,  // it is created
  kDeny,    // the lookup answers ERROR_ACCESS_DENIED (creation not allowed)
};

class RegistryStore {
 public:
  // Opens the store at `path`, creating the file and its schema when missing
  // or empty.  A file that is not a registry store is left as it is and gives
  // ERROR_BADDB.  Returns 0 with *store set, or a Win32 code.
  static int Open(const std::string& path, std::shared_ptr<RegistryStore>* store);
  ~RegistryStore();

  RegistryStore(const RegistryStore&) = delete;
  RegistryStore& operator=(const RegistryStore&) = delete;

  // The process that opened the connection; it is never used in another.
  pid_t Owner() const { return m_owner; }

  // Follows `names` from key `from`; *key receives the last key's id and
  // *created whether any key was created.
  int FindKey(RegistryKeyId from, const std::vector<std::u16string_view>& names, MissingKey missing,
              RegistryKeyId* key, bool* created);
  int SetValue(RegistryKeyId key, std::u16string_view name, unsigned type, const void* data,
               unsigned size);
  // The QueryValue protocol of registry.h, `size` non-null.
  int QueryValue(RegistryKeyId key, std::u16string_view name, unsigned* type, void* data,
                 unsigned* size);
  int DeleteValue(RegistryKeyId key, std::u16string_view name);
  // Empty `names`: the values and keys below `key`; else the key they name
  // with everything below it.
  int DeleteTree(RegistryKeyId key, const std::vector<std::u16string_view>& names);

 private:
  RegistryStore(sqlite3* db, pid_t owner) : m_db(db), m_owner(owner) {}
  int PrepareSchema();
  int Lookup(RegistryKeyId from, const std::vector<std::u16string_view>& names, MissingKey missing,
             RegistryKeyId* key, bool* created);
  int KeyState(RegistryKeyId key);

  std::mutex m_lock;
  sqlite3* m_db;
  pid_t m_owner;
};

}  // namespace ZxVariantHelper::platform
