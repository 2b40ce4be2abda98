#include "zxvariant/registry.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "messaging/support/temporary_registry.h"
#include "messaging/support/zx_reg_key.h"
#include "messaging/support/zx_reg_value.h"
#include "zxvariant/zx_exception.h"

namespace {

using namespace ZxVariantHelper::Registry;
using Registry = zxt::TemporaryRegistry;

enum Mode { Create, Open };

// A key opened (or created) on construction and closed with the object;
// `code` is what opening it returned.
struct Key {
  Key(void* parent, const char16_t* path, unsigned access = KEY_ALL_ACCESS, Mode mode = Create)
      : code(mode == Create ? CreateKey(parent, path, access, &handle, &disposition)
                            : OpenKey(parent, path, access, &handle)) {}
  Key(const Key&) = delete;
  ~Key() { CloseKey(handle); }  // 6 for a key that failed to open
  void* handle = nullptr;
  unsigned disposition = 0;
  int code;
};

int Set(void* key, const char16_t* name, const std::string& data, unsigned type = REG_BINARY) {
  return SetValue(key, name, type, data.data(), static_cast<unsigned>(data.size()));
}

// The code of a size query: whether the value can be read.
int Lookup(void* key, const char16_t* name) {
  unsigned size = 0;
  return QueryValue(key, name, nullptr, nullptr, &size);
}

// The whole value ("" when it cannot be read) and its type.
std::string Get(void* key, const char16_t* name, unsigned* type = nullptr) {
  unsigned size = 0;
  if (QueryValue(key, name, type, nullptr, &size) != ERROR_SUCCESS) return "";
  std::string data(size, '\0');
  return QueryValue(key, name, type, data.data(), &size) == ERROR_SUCCESS ? data.substr(0, size) : "";
}

std::string FileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Runs `sql` on the file directly: the first column of the first row as text.
std::string QueryFile(const std::string& path, const char* sql, int flags = SQLITE_OPEN_READONLY) {
  sqlite3* db = nullptr;
  std::string result;
  if (sqlite3_open_v2(path.c_str(), &db, flags, nullptr) == SQLITE_OK) {
    sqlite3_exec(db, sql, [](void* out, int, char** row, char**) {
      *static_cast<std::string*>(out) = row[0] != nullptr ? row[0] : "";
      return 1;
    }, &result, nullptr);
  }
  sqlite3_close(db);
  return result;
}

// Sets (null: clears) an environment variable until the end of the scope.
struct ScopedVariable {
  ScopedVariable(const char* name, const char* value) : name(name) {
    if (const char* now = std::getenv(name)) old = now;
    value != nullptr ? setenv(name, value, 1) : unsetenv(name);
  }
  ~ScopedVariable() { old ? setenv(name, old->c_str(), 1) : unsetenv(name); }
  const char* name;
  std::optional<std::string> old;
};

}  // namespace

TEST_F(Registry, TheFourRootsAreSeparateTreesAndAlwaysOpen) {
  void* const roots[] = {ClassesRoot, CurrentUser, LocalMachine, Users};
  for (int i = 0; i < 4; ++i) ASSERT_EQ(Set(roots[i], u"Where", std::to_string(i)), ERROR_SUCCESS);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(CloseKey(roots[i]), ERROR_SUCCESS);
    EXPECT_EQ(Get(roots[i], u"Where"), std::to_string(i));
  }
}

TEST_F(Registry, CreateKeyMakesTheWholePathAndOpenKeyOnlyFindsIt) {
  Key created(CurrentUser, u"Software\\Zexora\\Agent");
  ASSERT_EQ(created.code, ERROR_SUCCESS);
  EXPECT_EQ(created.disposition, REG_CREATED_NEW_KEY);
  Key again(CurrentUser, u"software\\zexora\\agent\\");  // any case, a trailing backslash
  EXPECT_EQ(again.disposition, REG_OPENED_EXISTING_KEY);
  EXPECT_NE(again.handle, created.handle);  // every open gives a handle of its own
  ASSERT_EQ(Set(created.handle, u"V", "1"), ERROR_SUCCESS);
  Key parent(CurrentUser, u"Software\\Zexora", KEY_READ, Open);
  Key child(parent.handle, u"Agent", KEY_READ, Open), same(child.handle, u"", KEY_READ, Open),
      viaNull(child.handle, nullptr, KEY_READ);  // needs no KEY_CREATE_SUB_KEY: creates nothing
  for (const Key* key : {&child, &same, &viaNull}) EXPECT_EQ(Get(key->handle, u"v"), "1");
  void* missing = reinterpret_cast<void*>(1);
  EXPECT_EQ(OpenKey(CurrentUser, u"Nowhere\\Deeper", KEY_READ, &missing), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(missing, nullptr);
  EXPECT_EQ(Key(CurrentUser, u"Nowhere", KEY_READ, Open).code, ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, NamesFoldOnlyAsciiLettersAndKeepTheirFirstSpelling) {
  Key a(CurrentUser, u"MixedCase\\Inner"), b(CurrentUser, u"MIXEDCASE\\inner");
  EXPECT_EQ(b.disposition, REG_OPENED_EXISTING_KEY);
  ASSERT_EQ(Set(a.handle, u"Value", "one"), ERROR_SUCCESS);
  ASSERT_EQ(Set(b.handle, u"VALUE", "two"), ERROR_SUCCESS);
  EXPECT_EQ(Get(a.handle, u"vAlUe"), "two");
  // "Inner" and "Value" as UTF-16 blobs.
  EXPECT_EQ(QueryFile(DatabasePath(), "SELECT count(*) FROM registry_keys WHERE name = x'49006e006e0065007200'"), "1");
  EXPECT_EQ(QueryFile(DatabasePath(), "SELECT count(*) FROM registry_values WHERE name = x'560061006c0075006500'"), "1");
  ASSERT_EQ(Set(CurrentUser, u"\u00c4rger", "upper"), ERROR_SUCCESS);
  ASSERT_EQ(Set(CurrentUser, u"\u00e4rger", "lower"), ERROR_SUCCESS);
  EXPECT_EQ(Get(CurrentUser, u"\u00c4RGER"), "upper");
  const char16_t lone[] = {u'k', 0xD800, u'!', 0}, other[] = {u'K', 0xDBFF, u'!', 0};
  ASSERT_EQ(Set(CurrentUser, lone, "surrogate"), ERROR_SUCCESS);
  EXPECT_EQ(Get(CurrentUser, lone), "surrogate");
  EXPECT_EQ(Lookup(CurrentUser, other), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, PathAndNameRulesFollowTheWin32Registry) {
  for (const char16_t* bad : {u"\\Leading", u"Double\\\\Slash", u"\\"}) {
    EXPECT_EQ(Key(CurrentUser, bad).code, ERROR_BAD_PATHNAME);
  }
  const std::u16string longest(255, u'n');
  EXPECT_EQ(Key(CurrentUser, (u"Trailing\\" + longest).c_str()).code, ERROR_SUCCESS);
  EXPECT_EQ(Key(CurrentUser, (longest + u"n").c_str()).code, ERROR_INVALID_PARAMETER);
  const std::u16string longName(16384, u'v');
  EXPECT_EQ(Set(CurrentUser, longName.c_str(), "x"), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(Set(CurrentUser, longName.substr(1).c_str(), "x"), ERROR_SUCCESS);
}

TEST_F(Registry, QueryValueFollowsTheMoreDataProtocol) {
  ASSERT_EQ(Set(CurrentUser, u"Ten", "0123456789", REG_SZ), ERROR_SUCCESS);
  unsigned type = 99, size = 9;
  char buffer[16];
  std::memset(buffer, '#', sizeof buffer);
  EXPECT_EQ(QueryValue(CurrentUser, u"Ten", &type, buffer, &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, 10u);
  EXPECT_EQ(type, REG_SZ);
  EXPECT_EQ(QueryValue(CurrentUser, u"Ten", nullptr, buffer, &size), ERROR_SUCCESS);  // exactly enough
  EXPECT_EQ(std::string(buffer, 11), "0123456789#");
  size = sizeof buffer;
  EXPECT_EQ(QueryValue(CurrentUser, u"Ten", nullptr, buffer, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 10u);
  EXPECT_EQ(QueryValue(CurrentUser, u"Ten", nullptr, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(QueryValue(CurrentUser, u"Ten", nullptr, buffer, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(Lookup(CurrentUser, u"Missing"), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, ValuesKeepTypeAndBytesAndAreReplacedOrDeletedByName) {
  const struct { const char16_t* name; unsigned type; std::string data; } values[] = {
      {u"Big", REG_BINARY, std::string(70000, '\0') + "\xff"}, {u"Empty", REG_NONE, ""},
      {u"Odd", 0xDEADBEEF, std::string("\0\1", 2)}, {nullptr, REG_SZ, "default"}};
  for (const auto& v : values) ASSERT_EQ(Set(CurrentUser, v.name, v.data, v.type), ERROR_SUCCESS);
  for (const auto& v : values) {
    unsigned type = 0;
    EXPECT_EQ(Get(CurrentUser, v.name, &type), v.data);
    EXPECT_EQ(type, v.type);
  }
  EXPECT_EQ(Lookup(CurrentUser, u"Empty"), ERROR_SUCCESS);
  EXPECT_EQ(Get(CurrentUser, u""), "default");  // the default value has the empty name
  ASSERT_EQ(Set(CurrentUser, u"BIG", "tiny", REG_SZ), ERROR_SUCCESS);
  unsigned type = 0;
  EXPECT_EQ(Get(CurrentUser, u"Big", &type), "tiny");
  EXPECT_EQ(type, REG_SZ);
  EXPECT_EQ(SetValue(CurrentUser, u"Bad", REG_BINARY, nullptr, 3), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(DeleteValue(CurrentUser, u"big"), ERROR_SUCCESS);
  EXPECT_EQ(DeleteValue(CurrentUser, u"Big"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(DeleteValue(CurrentUser, u""), ERROR_SUCCESS);
  EXPECT_EQ(Lookup(CurrentUser, nullptr), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Lookup(CurrentUser, u"Odd"), ERROR_SUCCESS);
}

TEST_F(Registry, DeleteTreeRemovesASubkeyOrEverythingBelowAndOldHandlesKnowIt) {
  // The deleted keys are the newest: a re-created key must not reuse their ids.
  Key top(CurrentUser, u"Tree"), sibling(CurrentUser, u"Tree\\Sibling"), deep(CurrentUser, u"Tree\\A\\B\\C");
  for (void* key : {top.handle, deep.handle, sibling.handle, CurrentUser}) ASSERT_EQ(Set(key, u"v", "x"), ERROR_SUCCESS);
  EXPECT_EQ(DeleteTree(top.handle, u"a"), ERROR_SUCCESS);
  EXPECT_EQ(Key(CurrentUser, u"Tree\\A", KEY_READ, Open).code, ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Lookup(deep.handle, u"v"), ERROR_KEY_DELETED);
  EXPECT_EQ(Set(deep.handle, u"v", "again"), ERROR_KEY_DELETED);
  EXPECT_EQ(Key(deep.handle, u"X").code, ERROR_KEY_DELETED);
  Key fresh(CurrentUser, u"Tree\\A\\B\\C");  // a new key: the old handle stays deleted
  EXPECT_EQ(Lookup(deep.handle, u"v"), ERROR_KEY_DELETED);
  EXPECT_EQ(Lookup(fresh.handle, u"v"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Lookup(sibling.handle, u"v"), ERROR_SUCCESS);
  EXPECT_EQ(DeleteTree(top.handle, u"Missing"), ERROR_FILE_NOT_FOUND);
  // Without a subkey the key itself stays, emptied.
  EXPECT_EQ(DeleteTree(top.handle, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(Lookup(top.handle, u"v"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Lookup(sibling.handle, u"v"), ERROR_KEY_DELETED);
  EXPECT_EQ(Set(top.handle, u"after", "works"), ERROR_SUCCESS);
  EXPECT_EQ(Lookup(CurrentUser, u"v"), ERROR_SUCCESS);
  EXPECT_EQ(DeleteTree(CurrentUser, nullptr), ERROR_SUCCESS);  // a root stays usable
  EXPECT_EQ(Lookup(CurrentUser, u"v"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Lookup(top.handle, u"after"), ERROR_KEY_DELETED);
  EXPECT_EQ(Set(CurrentUser, u"New", "n"), ERROR_SUCCESS);
}

TEST_F(Registry, HandlesAreCheckedNeverFollowed) {
  int local = 0;
  void* once = nullptr;
  ASSERT_EQ(CreateKey(CurrentUser, u"Once", KEY_ALL_ACCESS, &once), ERROR_SUCCESS);
  EXPECT_EQ(CloseKey(once), ERROR_SUCCESS);
  void* const bogus[] = {nullptr, &local, once, reinterpret_cast<void*>(0x80000004u), reinterpret_cast<void*>(0x7FFFFFFFu)};
  for (void* handle : bogus) {
    void* key = nullptr;
    EXPECT_EQ(CreateKey(handle, u"X", KEY_ALL_ACCESS, &key), ERROR_INVALID_HANDLE);
    EXPECT_EQ(Set(handle, u"v", "x"), ERROR_INVALID_HANDLE);
    EXPECT_EQ(QueryValue(handle, u"v", nullptr, nullptr, nullptr), ERROR_INVALID_HANDLE);
    EXPECT_EQ(DeleteValue(handle, u"v"), ERROR_INVALID_HANDLE);
    EXPECT_EQ(DeleteTree(handle, nullptr), ERROR_INVALID_HANDLE);
    EXPECT_EQ(CloseKey(handle), ERROR_INVALID_HANDLE);
  }
  EXPECT_EQ(CreateKey(CurrentUser, u"X", KEY_ALL_ACCESS, nullptr), ERROR_INVALID_PARAMETER);
}

TEST_F(Registry, AccessRightsOfTheHandleAreEnforced) {
  Key writable(CurrentUser, u"Rights"), readable(CurrentUser, u"Rights", KEY_READ, Open),
      writeOnly(CurrentUser, u"Rights", KEY_WRITE, Open);
  ASSERT_EQ(Set(writable.handle, u"v", "x"), ERROR_SUCCESS);
  EXPECT_EQ(Set(readable.handle, u"v", "y"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(DeleteTree(readable.handle, nullptr), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Get(readable.handle, u"v"), "x");
  EXPECT_EQ(Lookup(writeOnly.handle, u"v"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Key(readable.handle, u"Sub").code, ERROR_ACCESS_DENIED);  // creating needs KEY_CREATE_SUB_KEY
  EXPECT_EQ(Key(writeOnly.handle, u"Sub").code, ERROR_SUCCESS);
  EXPECT_EQ(Key(readable.handle, u"Sub", KEY_READ).code, ERROR_SUCCESS);  // opening an existing key does not
  EXPECT_EQ(Key(CurrentUser, u"Rights", KEY_READ | KEY_WOW64_32KEY | KEY_WOW64_64KEY, Open).code,
            ERROR_INVALID_PARAMETER);
}

TEST_F(Registry, UsesOnlyItsOwnWalFileAndLeavesAnyOtherAlone) {
  ASSERT_EQ(Set(CurrentUser, u"v", "x"), ERROR_SUCCESS);
  EXPECT_EQ(QueryFile(DatabasePath(), "PRAGMA journal_mode"), "wal");
  const std::string garbage = Folder() + "/garbage.db", foreign = Folder() + "/foreign.db";
  std::ofstream(garbage, std::ios::binary) << std::string(8192, '\x5a');
  QueryFile(foreign, "CREATE TABLE notes(t TEXT); INSERT INTO notes VALUES('mine');",
            SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  ASSERT_EQ(QueryFile(foreign, "SELECT t FROM notes"), "mine");
  for (const std::string& path : {garbage, foreign}) {
    const std::string before = FileBytes(path);
    ASSERT_EQ(setenv("ZXV_REGISTRY_PATH", path.c_str(), 1), 0);
    EXPECT_EQ(Set(CurrentUser, u"v", "x"), ERROR_BADDB) << path;
    EXPECT_EQ(Lookup(CurrentUser, u"v"), ERROR_BADDB) << path;
    EXPECT_EQ(FileBytes(path), before) << path;
  }
  const std::string folder = Folder() + "/folder.db";  // a folder where the file should be
  ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
  ASSERT_EQ(setenv("ZXV_REGISTRY_PATH", folder.c_str(), 1), 0);
  EXPECT_EQ(Set(CurrentUser, u"v", "x"), ERROR_CANTOPEN);
}

TEST_F(Registry, AnOpenKeyStaysInItsFileWhenTheVariableChanges) {
  Key first(CurrentUser, u"K");
  ASSERT_EQ(setenv("ZXV_REGISTRY_PATH", (Folder() + "/second.db").c_str(), 1), 0);
  ASSERT_EQ(Set(first.handle, u"v", "first file"), ERROR_SUCCESS);
  EXPECT_EQ(Key(CurrentUser, u"K", KEY_READ, Open).code, ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(Set(CurrentUser, u"v", "second file"), ERROR_SUCCESS);
  ASSERT_EQ(setenv("ZXV_REGISTRY_PATH", DatabasePath().c_str(), 1), 0);
  EXPECT_EQ(Get(first.handle, u"v"), "first file");
  EXPECT_EQ(Lookup(CurrentUser, u"v"), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, TheDefaultFileLivesUnderTheConfigFolder) {
  const std::string xdg = Folder() + "/xdg", home = Folder() + "/home";
  unsetenv("ZXV_REGISTRY_PATH");
  ScopedVariable homeVariable("HOME", home.c_str());
  {
    ScopedVariable config("XDG_CONFIG_HOME", xdg.c_str());
    EXPECT_EQ(Set(CurrentUser, u"where", "xdg"), ERROR_SUCCESS);
    EXPECT_EQ(access((xdg + "/zxvariant/registry.db").c_str(), F_OK), 0);
  }
  ScopedVariable config("XDG_CONFIG_HOME", nullptr);
  EXPECT_EQ(Set(CurrentUser, u"where", "home"), ERROR_SUCCESS);
  EXPECT_EQ(access((home + "/.config/zxvariant/registry.db").c_str(), F_OK), 0);
  ScopedVariable relative("XDG_CONFIG_HOME", "relative/folder");  // ignored
  EXPECT_EQ(Get(CurrentUser, u"where"), "home");
}

TEST_F(Registry, ThreadsWriteAndReadTheSameKeysAtOnce) {
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (char16_t t = u'a'; t < u'e'; ++t) {
    threads.emplace_back([t, &failures] {
      // Each thread stores whole values of its own, in its own key and in one
      // common value; a query with room for any of them sees one, never a mixture.
      const std::string mine(100 + (t - u'a') * 50, static_cast<char>(t));
      const std::u16string own = u"Shared\\Thread" + std::u16string(1, t);
      for (int i = 0; i < 60; ++i) {
        Key key(CurrentUser, own.c_str());
        char room[512];
        unsigned size = sizeof room;
        if (Set(key.handle, u"v", mine) != ERROR_SUCCESS || Get(key.handle, u"v") != mine ||
            Set(CurrentUser, u"Common", mine) != ERROR_SUCCESS ||
            QueryValue(CurrentUser, u"Common", nullptr, room, &size) != ERROR_SUCCESS || room[0] < 'a' ||
            room[0] > 'd' || std::string(room, size) != std::string(100 + (room[0] - 'a') * 50, room[0])) {
          ++failures;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
}

// The helpers under the record storage (their reads of any length are tested
// through ReadFromRegistry).
TEST_F(Registry, RegKeyOpensReadOnlyAndBothHelpersThrowWithTheStoresCodeAndTheName) {
  CZxRegKey key;
  key.OpenForReading(CurrentUser, u"");
  EXPECT_EQ(Set(key.Handle(), u"v", "y"), ERROR_ACCESS_DENIED);
  const auto failure = [](auto read) -> std::string {
    try {
      read();
    } catch (const CZxException& e) {
      return std::to_string(e.ErrorCode()) + " " + e.what();
    }
    return "no exception";
  };
  EXPECT_EQ(failure([&] { key.OpenForReading(CurrentUser, u"No\\Such"); })
                .rfind("2 RegKey exception: Unable to open registry key for reading :No\\Such, code: 0x2 (ZxRegKey,", 0),
            0u);
  CZxRegValue value;
  EXPECT_EQ(failure([&] { value.Read(CurrentUser, u"Absent"); })
                .rfind("2 RegValue exception: Unable to read registry value :Absent, code: 0x2 (ZxRegValue,", 0),
            0u);
}
