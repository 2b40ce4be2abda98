// The registry store over SQLite: opening and checking the file, key paths,
// values and tree removal, each as one transaction.
#include "platform/registry_store.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cstring>

#include "zxvariant/registry.h"

namespace ZxVariantHelper::platform {
namespace {

namespace R = ZxVariantHelper::Registry;

constexpr int kApplicationId = 0x5A585652;  // "ZXVR"
constexpr int kSchemaVersion = 1;
constexpr int kBusyTimeoutMs = 10000;
constexpr std::uintptr_t kFirstRootHandle = 0x80000000u;
constexpr const char16_t* kRootNames[] = {u"HKEY_CLASSES_ROOT", u"HKEY_CURRENT_USER",
                                          u"HKEY_LOCAL_MACHINE", u"HKEY_USERS"};
constexpr RegistryKeyId kRootCount = sizeof kRootNames / sizeof kRootNames[0];

constexpr const char* kCreateSchema =
    "CREATE TABLE registry_keys(id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER NOT NULL,"
    " name BLOB NOT NULL, folded BLOB NOT NULL);"
    "CREATE UNIQUE INDEX registry_keys_by_parent ON registry_keys(parent, folded);"
    "CREATE TABLE registry_values(key INTEGER NOT NULL, name BLOB NOT NULL, folded BLOB NOT NULL,"
    " type INTEGER NOT NULL, data BLOB NOT NULL, UNIQUE(key, folded));";

// The ids of `?1` and every key below it.
#define ZXV_KEY_TREE                                                                 \
  "WITH RECURSIVE tree(id) AS (SELECT ?1 UNION SELECT registry_keys.id FROM registry_keys" \
  " JOIN tree ON registry_keys.parent = tree.id) "

// The Win32 code for an SQLite result.  `writing` tells an I/O failure of a
// write from one of a read.
int ErrorFromSqlite(int rc, bool writing) {
  switch (rc & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE: return R::ERROR_SUCCESS;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL: return R::ERROR_BUSY;
    case SQLITE_NOMEM: return R::ERROR_NOT_ENOUGH_MEMORY;
    case SQLITE_FULL: return R::ERROR_DISK_FULL;
    case SQLITE_CANTOPEN: return R::ERROR_CANTOPEN;
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH: return R::ERROR_ACCESS_DENIED;
    case SQLITE_IOERR: return writing ? R::ERROR_CANTWRITE : R::ERROR_CANTREAD;
    case SQLITE_TOOBIG: return R::ERROR_INVALID_PARAMETER;
    default: return R::ERROR_BADDB;  // corrupt, not a database, missing tables, ...
  }
}

// One prepared statement.  The first failure of preparing, binding or
// stepping is kept and answered by every later Step().
class Statement {
 public:
  Statement(sqlite3* db, const char* sql) { m_rc = sqlite3_prepare_v2(db, sql, -1, &m_stmt, nullptr); }
  ~Statement() { sqlite3_finalize(m_stmt); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  void Bind(int index, std::int64_t value) {
    if (m_rc == SQLITE_OK) m_rc = sqlite3_bind_int64(m_stmt, index, value);
  }
  // An empty range binds an empty blob, never NULL.  The bytes are not
  // copied: they must stay in place until the statement is done.
  void BindBytes(int index, const void* bytes, std::size_t size) {
    if (m_rc != SQLITE_OK) return;
    m_rc = size == 0 ? sqlite3_bind_zeroblob(m_stmt, index, 0)
                     : sqlite3_bind_blob64(m_stmt, index, bytes, size, SQLITE_STATIC);
  }
  void BindName(int index, std::u16string_view name) {
    BindBytes(index, name.data(), name.size() * sizeof(char16_t));
  }
  // SQLITE_ROW, SQLITE_DONE or an error.
  int Step() {
    if (m_rc != SQLITE_OK) return m_rc;
    const int rc = sqlite3_step(m_stmt);
    if (rc != SQLITE_ROW && rc != SQLITE_DONE) m_rc = rc;
    return rc;
  }
  // Ready for new bindings and another Step().
  void Reset() {
    if (m_rc == SQLITE_OK) m_rc = sqlite3_reset(m_stmt);
  }
  std::int64_t Int(int column) const { return sqlite3_column_int64(m_stmt, column); }
  const void* Blob(int column) const { return sqlite3_column_blob(m_stmt, column); }
  int Bytes(int column) const { return sqlite3_column_bytes(m_stmt, column); }
  const unsigned char* Text(int column) const { return sqlite3_column_text(m_stmt, column); }

 private:
  sqlite3_stmt* m_stmt = nullptr;
  int m_rc;
};

// Ends every statement still running on `db` (a stepped SELECT stays open
// until reset), so that COMMIT and ROLLBACK find none in progress.
void ResetStatements(sqlite3* db) {
  for (sqlite3_stmt* statement = sqlite3_next_stmt(db, nullptr); statement != nullptr;
       statement = sqlite3_next_stmt(db, statement)) {
    if (sqlite3_stmt_busy(statement)) sqlite3_reset(statement);
  }
}

// BEGIN on construction, ROLLBACK on destruction unless committed.
class Transaction {
 public:
  Transaction(sqlite3* db, bool write)
      : m_db(db), m_write(write),
        m_rc(sqlite3_exec(db, write ? "BEGIN IMMEDIATE" : "BEGIN", nullptr, nullptr, nullptr)) {}
  ~Transaction() {
    if (m_rc == SQLITE_OK && !m_finished) Rollback();
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  // The Win32 code of BEGIN.
  int Began() const { return ErrorFromSqlite(m_rc, m_write); }
  // The Win32 code of COMMIT; a failed commit is rolled back.
  int Commit() {
    m_finished = true;
    ResetStatements(m_db);
    const int rc = sqlite3_exec(m_db, "COMMIT", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) Rollback();
    return ErrorFromSqlite(rc, m_write);
  }
  // `code` when it is a failure, else the code of COMMIT.
  int Finish(int code) { return code != R::ERROR_SUCCESS ? code : Commit(); }

 private:
  void Rollback() {
    ResetStatements(m_db);
    sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
  }

  sqlite3* m_db;
  bool m_write;
  int m_rc;
  bool m_finished = false;
};

// The comparison form of a name: A-Z become a-z, every other unit stays.
std::u16string Folded(std::u16string_view name) {
  std::u16string folded(name);
  for (char16_t& unit : folded) {
    if (unit >= u'A' && unit <= u'Z') unit = static_cast<char16_t>(unit - u'A' + u'a');
  }
  return folded;
}

enum class FileKind { kEmpty, kRegistry, kForeign };

// What the file holds, judged from its header and catalogue alone.
int ClassifyFile(sqlite3* db, FileKind* kind) {
  Statement header(db,
                   "SELECT (SELECT application_id FROM pragma_application_id),"
                   " (SELECT user_version FROM pragma_user_version),"
                   " (SELECT count(*) FROM sqlite_master)");
  const int rc = header.Step();
  if (rc != SQLITE_ROW) return ErrorFromSqlite(rc, false);
  const std::int64_t application = header.Int(0), version = header.Int(1), objects = header.Int(2);
  if (application == 0 && version == 0 && objects == 0) {
    *kind = FileKind::kEmpty;
  } else if (application == kApplicationId && version == kSchemaVersion) {
    *kind = FileKind::kRegistry;
  } else {
    *kind = FileKind::kForeign;
  }
  return R::ERROR_SUCCESS;
}

}  // namespace

RegistryKeyId RootKeyId(const void* handle) {
  const auto value = reinterpret_cast<std::uintptr_t>(handle);
  if (value < kFirstRootHandle || value >= kFirstRootHandle + kRootCount) return 0;
  return static_cast<RegistryKeyId>(value - kFirstRootHandle + 1);
}

int RegistryStore::Open(const std::string& path, std::shared_ptr<RegistryStore>* store) {
  std::shared_ptr<RegistryStore> opened(new RegistryStore(nullptr, getpid()));
  const int rc = sqlite3_open_v2(path.c_str(), &opened->m_db,
                                 SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX,
                                 nullptr);
  if (rc != SQLITE_OK) return ErrorFromSqlite(rc, false);  // the destructor closes the handle
  sqlite3_busy_timeout(opened->m_db, kBusyTimeoutMs);
  const int code = opened->PrepareSchema();
  if (code != R::ERROR_SUCCESS) return code;
  *store = std::move(opened);
  return R::ERROR_SUCCESS;
}

RegistryStore::~RegistryStore() {
  // A connection inherited through fork() belongs to the parent: closing it
  // here could disturb the parent's locks, so the child leaves it alone.
  if (m_db != nullptr && m_owner == getpid()) sqlite3_close_v2(m_db);
}

// Decides from reading alone whether the file is ours, so that a foreign or
// damaged file is never written to; an empty file gets the schema.
int RegistryStore::PrepareSchema() {
  FileKind kind;
  int code = ClassifyFile(m_db, &kind);
  if (code != R::ERROR_SUCCESS) return code;
  if (kind == FileKind::kForeign) return R::ERROR_BADDB;

  int rc;
  {
    Statement journal(m_db, "PRAGMA journal_mode = WAL");
    rc = journal.Step();
    if (rc != SQLITE_ROW) return ErrorFromSqlite(rc, true);
    const unsigned char* mode = journal.Text(0);
    if (mode == nullptr || std::strcmp(reinterpret_cast<const char*>(mode), "wal") != 0) {
      return R::ERROR_CANTOPEN;
    }
  }
  // WAL keeps every commit atomic with NORMAL; only a power loss may take
  // back the last commits, and never half of one.
  sqlite3_exec(m_db, "PRAGMA synchronous = NORMAL", nullptr, nullptr, nullptr);
  if (kind == FileKind::kRegistry) return R::ERROR_SUCCESS;

  // Another process may have created the schema since the file was read.
  Transaction create(m_db, true);
  if ((code = create.Began()) != R::ERROR_SUCCESS) return code;
  if ((code = ClassifyFile(m_db, &kind)) != R::ERROR_SUCCESS) return code;
  if (kind == FileKind::kForeign) return R::ERROR_BADDB;
  if (kind == FileKind::kEmpty) {
    const std::string marks = "PRAGMA application_id = " + std::to_string(kApplicationId) +
                              "; PRAGMA user_version = " + std::to_string(kSchemaVersion) + ";";
    rc = sqlite3_exec(m_db, kCreateSchema, nullptr, nullptr, nullptr);
    if (rc == SQLITE_OK) rc = sqlite3_exec(m_db, marks.c_str(), nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) return ErrorFromSqlite(rc, true);
    Statement root(m_db, "INSERT INTO registry_keys(id, parent, name, folded) VALUES(?1, 0, ?2, ?3)");
    for (RegistryKeyId id = 1; id <= kRootCount; ++id) {
      const std::u16string_view name = kRootNames[id - 1];
      const std::u16string folded = Folded(name);
      root.Reset();
      root.Bind(1, id);
      root.BindName(2, name);
      root.BindName(3, folded);
      if ((rc = root.Step()) != SQLITE_DONE) return ErrorFromSqlite(rc, true);
    }
  }
  return create.Commit();
}

// 0 when the key exists, ERROR_KEY_DELETED when it is gone.
int RegistryStore::KeyState(RegistryKeyId key) {
  Statement find(m_db, "SELECT 1 FROM registry_keys WHERE id = ?1");
  find.Bind(1, key);
  const int rc = find.Step();
  if (rc == SQLITE_ROW) return R::ERROR_SUCCESS;
  return rc == SQLITE_DONE ? R::ERROR_KEY_DELETED : ErrorFromSqlite(rc, false);
}

int RegistryStore::Lookup(RegistryKeyId from, const std::vector<std::u16string_view>& names,
                          MissingKey missing, RegistryKeyId* key, bool* created) {
  Statement find(m_db, "SELECT id FROM registry_keys WHERE parent = ?1 AND folded = ?2");
  Statement add(m_db, "INSERT INTO registry_keys(parent, name, folded) VALUES(?1, ?2, ?3)");
  RegistryKeyId current = from;
  for (const std::u16string_view name : names) {
    const std::u16string folded = Folded(name);
    find.Reset();
    find.Bind(1, current);
    find.BindName(2, folded);
    int rc = find.Step();
    if (rc == SQLITE_ROW) {
      current = find.Int(0);
      continue;
    }
    if (rc != SQLITE_DONE) return ErrorFromSqlite(rc, false);
    if (missing == MissingKey::kFail) return R::ERROR_FILE_NOT_FOUND;
    if (missing == MissingKey::kDeny) return R::ERROR_ACCESS_DENIED;
    add.Reset();
    add.Bind(1, current);
    add.BindName(2, name);
    add.BindName(3, folded);
    if ((rc = add.Step()) != SQLITE_DONE) return ErrorFromSqlite(rc, true);
    current = sqlite3_last_insert_rowid(m_db);
    *created = true;
  }
  *key = current;
  return R::ERROR_SUCCESS;
}

int RegistryStore::FindKey(RegistryKeyId from, const std::vector<std::u16string_view>& names,
                           MissingKey missing, RegistryKeyId* key, bool* created) {
  std::lock_guard<std::mutex> guard(m_lock);
  *created = false;
  // An existing path is found without taking the write lock; only a path
  // that needs new keys is walked again inside a write transaction.
  {
    Transaction read(m_db, false);
    int code = read.Began();
    if (code == R::ERROR_SUCCESS) code = KeyState(from);
    if (code == R::ERROR_SUCCESS) {
      code = Lookup(from, names, missing == MissingKey::kCreate ? MissingKey::kFail : missing, key,
                    created);
    }
    if (code != R::ERROR_FILE_NOT_FOUND || missing != MissingKey::kCreate) return read.Finish(code);
  }
  Transaction write(m_db, true);
  int code = write.Began();
  if (code == R::ERROR_SUCCESS) code = KeyState(from);
  if (code == R::ERROR_SUCCESS) code = Lookup(from, names, MissingKey::kCreate, key, created);
  if (code != R::ERROR_SUCCESS) *created = false;
  return write.Finish(code);
}

int RegistryStore::SetValue(RegistryKeyId key, std::u16string_view name, unsigned type,
                            const void* data, unsigned size) {
  std::lock_guard<std::mutex> guard(m_lock);
  if (size > static_cast<unsigned>(sqlite3_limit(m_db, SQLITE_LIMIT_LENGTH, -1))) {
    return R::ERROR_INVALID_PARAMETER;
  }
  Transaction write(m_db, true);
  int code = write.Began();
  if (code == R::ERROR_SUCCESS) code = KeyState(key);
  if (code != R::ERROR_SUCCESS) return code;
  // A replaced value keeps the spelling its name was first stored with.
  Statement put(m_db,
                "INSERT INTO registry_values(key, name, folded, type, data) VALUES(?1, ?2, ?3, ?4, ?5)"
                " ON CONFLICT(key, folded) DO UPDATE SET type = excluded.type, data = excluded.data");
  const std::u16string folded = Folded(name);  // bound without a copy: must outlive Step()
  put.Bind(1, key);
  put.BindName(2, name);
  put.BindName(3, folded);
  put.Bind(4, type);
  put.BindBytes(5, data, size);
  const int rc = put.Step();
  if (rc != SQLITE_DONE) return ErrorFromSqlite(rc, true);
  return write.Commit();
}

int RegistryStore::QueryValue(RegistryKeyId key, std::u16string_view name, unsigned* type,
                              void* data, unsigned* size) {
  std::lock_guard<std::mutex> guard(m_lock);
  Transaction read(m_db, false);
  int code = read.Began();
  if (code == R::ERROR_SUCCESS) code = KeyState(key);
  if (code != R::ERROR_SUCCESS) return code;
  // length() answers from the record header, so a size query never loads
  // the data itself.
  Statement get(m_db,
                "SELECT type, length(data), data FROM registry_values WHERE key = ?1 AND folded = ?2");
  const std::u16string folded = Folded(name);
  get.Bind(1, key);
  get.BindName(2, folded);
  const int rc = get.Step();
  if (rc == SQLITE_DONE) return R::ERROR_FILE_NOT_FOUND;
  if (rc != SQLITE_ROW) return ErrorFromSqlite(rc, false);
  const auto bytes = static_cast<unsigned>(get.Int(1));
  if (type != nullptr) *type = static_cast<unsigned>(get.Int(0));
  if (data != nullptr && *size < bytes) code = R::ERROR_MORE_DATA;
  if (data != nullptr && code == R::ERROR_SUCCESS && bytes != 0) {
    const void* stored = get.Blob(2);
    if (stored == nullptr) {
      return sqlite3_errcode(m_db) == SQLITE_NOMEM ? R::ERROR_NOT_ENOUGH_MEMORY : R::ERROR_BADDB;
    }
    // A data column that is not a blob (a damaged file) may convert to
    // another length; never copy more than was promised.
    if (static_cast<unsigned>(get.Bytes(2)) != bytes) return R::ERROR_BADDB;
    std::memcpy(data, stored, bytes);
  }
  *size = bytes;
  const int ended = read.Commit();
  return code != R::ERROR_SUCCESS ? code : ended;
}

int RegistryStore::DeleteValue(RegistryKeyId key, std::u16string_view name) {
  std::lock_guard<std::mutex> guard(m_lock);
  Transaction write(m_db, true);
  int code = write.Began();
  if (code == R::ERROR_SUCCESS) code = KeyState(key);
  if (code != R::ERROR_SUCCESS) return code;
  Statement remove(m_db, "DELETE FROM registry_values WHERE key = ?1 AND folded = ?2");
  const std::u16string folded = Folded(name);
  remove.Bind(1, key);
  remove.BindName(2, folded);
  const int rc = remove.Step();
  if (rc != SQLITE_DONE) return ErrorFromSqlite(rc, true);
  if (sqlite3_changes(m_db) == 0) return R::ERROR_FILE_NOT_FOUND;
  return write.Commit();
}

int RegistryStore::DeleteTree(RegistryKeyId key, const std::vector<std::u16string_view>& names) {
  std::lock_guard<std::mutex> guard(m_lock);
  Transaction write(m_db, true);
  int code = write.Began();
  if (code == R::ERROR_SUCCESS) code = KeyState(key);
  RegistryKeyId top = key;
  bool unused = false;
  if (code == R::ERROR_SUCCESS && !names.empty()) {
    code = Lookup(key, names, MissingKey::kFail, &top, &unused);
  }
  if (code != R::ERROR_SUCCESS) return code;
  Statement values(m_db, ZXV_KEY_TREE "DELETE FROM registry_values WHERE key IN (SELECT id FROM tree)");
  values.Bind(1, top);
  int rc = values.Step();
  if (rc != SQLITE_DONE) return ErrorFromSqlite(rc, true);
  // The key named by a subkey goes too; the key of the handle stays.
  Statement keys(m_db, ZXV_KEY_TREE
                 "DELETE FROM registry_keys WHERE id IN (SELECT id FROM tree) AND (?2 OR id <> ?1)");
  keys.Bind(1, top);
  keys.Bind(2, names.empty() ? 0 : 1);
  rc = keys.Step();
  if (rc != SQLITE_DONE) return ErrorFromSqlite(rc, true);
  return write.Commit();
}

}  // namespace ZxVariantHelper::platform
