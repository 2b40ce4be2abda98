#include "zxvariant/registry.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
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

// An open key that closes itself.
class Key {
 public:
  Key() = default;
  ~Key() {
    if (handle_ != nullptr) CloseKey(handle_);
  }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  void** out() { return &handle_; }
  void* get() const { return handle_; }

 private:
  void* handle_ = nullptr;
};

int Set(void* key, const char16_t* name, const std::string& data, unsigned type = REG_BINARY) {
  return SetValue(key, name, type, data.data(), static_cast<unsigned>(data.size()));
}

// The whole value, or the error code in `code`.
std::string Get(void* key, const char16_t* name, int* code = nullptr, unsigned* type = nullptr) {
  unsigned size = 0;
  int rc = QueryValue(key, name, type, nullptr, &size);
  std::string data(size, '\0');
  if (rc == ERROR_SUCCESS) rc = QueryValue(key, name, type, data.data(), &size);
  if (code != nullptr) *code = rc;
  return rc == ERROR_SUCCESS ? data.substr(0, size) : std::string();
}

std::string FileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

// Runs `sql` on the file directly and returns the first column of the first
// row as text.
std::string QueryFile(const std::string& path, const char* sql) {
  sqlite3* db = nullptr;
  std::string result;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, sql, -1, &statement, nullptr) == SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW) {
      const void* blob = sqlite3_column_blob(statement, 0);
      result.assign(static_cast<const char*>(blob), sqlite3_column_bytes(statement, 0));
    }
    sqlite3_finalize(statement);
  }
  sqlite3_close(db);
  return result;
}

std::u16string Utf16Of(const std::string& blob) {
  std::u16string text(blob.size() / 2, u'\0');
  std::memcpy(text.data(), blob.data(), text.size() * 2);
  return text;
}

}  // namespace

TEST(RegistryRoots, HaveTheirWin32ValuesAndAreAlwaysOpen) {
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(ClassesRoot), 0x80000000u);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(CurrentUser), 0x80000001u);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(LocalMachine), 0x80000002u);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(Users), 0x80000003u);
  EXPECT_EQ(CloseKey(CurrentUser), ERROR_SUCCESS);
  EXPECT_EQ(CloseKey(CurrentUser), ERROR_SUCCESS);
}

TEST_F(Registry, RootsAreSeparateTrees) {
  ASSERT_EQ(Set(CurrentUser, u"Where", "user"), ERROR_SUCCESS);
  ASSERT_EQ(Set(LocalMachine, u"Where", "machine"), ERROR_SUCCESS);
  EXPECT_EQ(Get(CurrentUser, u"Where"), "user");
  EXPECT_EQ(Get(LocalMachine, u"Where"), "machine");
  int code = 0;
  Get(Users, u"Where", &code);
  EXPECT_EQ(code, ERROR_FILE_NOT_FOUND);
  Get(ClassesRoot, u"Where", &code);
  EXPECT_EQ(code, ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, CreateKeyMakesTheWholePathAndReportsTheDisposition) {
  Key created, again, opened;
  unsigned disposition = 0;
  ASSERT_EQ(CreateKey(CurrentUser, u"Software\\Zexora\\Agent", KEY_ALL_ACCESS, created.out(), &disposition),
            ERROR_SUCCESS);
  ASSERT_NE(created.get(), nullptr);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
  ASSERT_EQ(CreateKey(CurrentUser, u"Software\\Zexora\\Agent", KEY_ALL_ACCESS, again.out(), &disposition),
            ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
  EXPECT_NE(again.get(), created.get());  // every open gives a handle of its own
  ASSERT_EQ(OpenKey(CurrentUser, u"Software\\Zexora", KEY_READ, opened.out()), ERROR_SUCCESS);
  ASSERT_EQ(Set(created.get(), u"V", "1"), ERROR_SUCCESS);
  Key child;
  ASSERT_EQ(OpenKey(opened.get(), u"Agent", KEY_READ, child.out()), ERROR_SUCCESS);
  EXPECT_EQ(Get(child.get(), u"V"), "1");
}

TEST_F(Registry, OpenKeyOfAMissingPathFailsAndClearsTheHandle) {
  void* key = reinterpret_cast<void*>(1);
  EXPECT_EQ(OpenKey(CurrentUser, u"Nowhere\\Deeper", KEY_READ, &key), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key, nullptr);
  // Opening creates nothing.
  EXPECT_EQ(OpenKey(CurrentUser, u"Nowhere", KEY_READ, &key), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, AnEmptyOrNullSubkeyOpensTheParentAgain) {
  Key parent, same, viaNull;
  ASSERT_EQ(CreateKey(CurrentUser, u"P", KEY_ALL_ACCESS, parent.out()), ERROR_SUCCESS);
  ASSERT_EQ(OpenKey(parent.get(), u"", KEY_ALL_ACCESS, same.out()), ERROR_SUCCESS);
  ASSERT_EQ(CreateKey(parent.get(), nullptr, KEY_ALL_ACCESS, viaNull.out()), ERROR_SUCCESS);
  ASSERT_EQ(Set(same.get(), u"x", "through same"), ERROR_SUCCESS);
  EXPECT_EQ(Get(viaNull.get(), u"x"), "through same");
  EXPECT_EQ(Get(parent.get(), u"x"), "through same");
}

TEST_F(Registry, NamesCompareWithoutCaseAndKeepTheFirstSpelling) {
  Key a, b;
  ASSERT_EQ(CreateKey(CurrentUser, u"MixedCase\\Inner", KEY_ALL_ACCESS, a.out()), ERROR_SUCCESS);
  unsigned disposition = 0;
  ASSERT_EQ(CreateKey(CurrentUser, u"MIXEDCASE\\inner", KEY_ALL_ACCESS, b.out(), &disposition),
            ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
  ASSERT_EQ(Set(a.get(), u"Value", "one"), ERROR_SUCCESS);
  ASSERT_EQ(Set(b.get(), u"VALUE", "two"), ERROR_SUCCESS);  // replaces, keeps "Value"
  EXPECT_EQ(Get(a.get(), u"vAlUe"), "two");
  EXPECT_EQ(Utf16Of(QueryFile(DatabasePath(), "SELECT name FROM registry_keys WHERE folded = x'69006e006e0065007200'")),
            u"Inner");
  EXPECT_EQ(Utf16Of(QueryFile(DatabasePath(), "SELECT name FROM registry_values")), u"Value");
}

TEST_F(Registry, OnlyAsciiLettersFoldAndEveryUnitSurvives) {
  ASSERT_EQ(Set(CurrentUser, u"\u00c4rger", "upper"), ERROR_SUCCESS);
  ASSERT_EQ(Set(CurrentUser, u"\u00e4rger", "lower"), ERROR_SUCCESS);
  EXPECT_EQ(Get(CurrentUser, u"\u00c4RGER"), "upper");
  EXPECT_EQ(Get(CurrentUser, u"\u00e4rger"), "lower");
  const char16_t lone[] = {u'k', 0xD800, u'!', 0};
  const char16_t other[] = {u'K', 0xDBFF, u'!', 0};
  ASSERT_EQ(Set(CurrentUser, lone, "surrogate"), ERROR_SUCCESS);
  EXPECT_EQ(Get(CurrentUser, lone), "surrogate");
  int code = 0;
  Get(CurrentUser, other, &code);
  EXPECT_EQ(code, ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, PathRulesFollowTheWin32Registry) {
  Key key;
  EXPECT_EQ(CreateKey(CurrentUser, u"\\Leading", KEY_ALL_ACCESS, key.out()), ERROR_BAD_PATHNAME);
  EXPECT_EQ(CreateKey(CurrentUser, u"Double\\\\Slash", KEY_ALL_ACCESS, key.out()), ERROR_BAD_PATHNAME);
  EXPECT_EQ(CreateKey(CurrentUser, u"\\", KEY_ALL_ACCESS, key.out()), ERROR_BAD_PATHNAME);
  EXPECT_EQ(key.get(), nullptr);
  std::u16string longest(255, u'n');
  Key ok;
  ASSERT_EQ(CreateKey(CurrentUser, (u"Trailing\\" + longest + u"\\").c_str(), KEY_ALL_ACCESS, ok.out()),
            ERROR_SUCCESS);
  Key same;
  EXPECT_EQ(OpenKey(CurrentUser, (u"trailing\\" + longest).c_str(), KEY_READ, same.out()), ERROR_SUCCESS);
  EXPECT_EQ(CreateKey(CurrentUser, (longest + u"n").c_str(), KEY_ALL_ACCESS, key.out()),
            ERROR_INVALID_PARAMETER);
  const std::u16string longName(16384, u'v');
  EXPECT_EQ(Set(CurrentUser, longName.c_str(), "x"), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(Set(CurrentUser, longName.substr(1).c_str(), "x"), ERROR_SUCCESS);
}

TEST_F(Registry, QueryValueFollowsTheMoreDataProtocol) {
  const std::string data = "0123456789";
  ASSERT_EQ(Set(CurrentUser, u"Ten", data, REG_SZ), ERROR_SUCCESS);
  unsigned type = 99, size = 0;
  EXPECT_EQ(QueryValue(CurrentUser, u"Ten", &type, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 10u);
  EXPECT_EQ(type, REG_SZ);
  std::vector<char> buffer(16, '#');
  size = 4;
  type = 99;
  EXPECT_EQ(QueryValue(CurrentUser, u"Ten", &type, buffer.data(), &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, 10u);
  EXPECT_EQ(type, REG_SZ);
  size = 10;
  EXPECT_EQ(QueryValue(CurrentUser, u"Ten", nullptr, buffer.data(), &size), ERROR_SUCCESS);
  EXPECT_EQ(std::string(buffer.data(), 10), data);
  EXPECT_EQ(buffer[10], '#');
  size = 16;
  EXPECT_EQ(QueryValue(CurrentUser, u"Ten", nullptr, buffer.data(), &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 10u);
  EXPECT_EQ(QueryValue(CurrentUser, u"Ten", nullptr, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(QueryValue(CurrentUser, u"Ten", nullptr, buffer.data(), nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(QueryValue(CurrentUser, u"Missing", &type, nullptr, &size), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, ValuesKeepTheirTypeAndExactBytes) {
  std::string binary;
  for (int i = 0; i < 100000; ++i) binary.push_back(static_cast<char>(i * 7));
  ASSERT_EQ(Set(CurrentUser, u"Big", binary), ERROR_SUCCESS);
  ASSERT_EQ(SetValue(CurrentUser, u"Empty", REG_NONE, nullptr, 0), ERROR_SUCCESS);
  ASSERT_EQ(SetValue(CurrentUser, u"Odd", 0xDEADBEEF, "\0\1", 2), ERROR_SUCCESS);
  unsigned type = 0;
  int code = -1;
  EXPECT_EQ(Get(CurrentUser, u"Big", &code, &type), binary);
  EXPECT_EQ(type, REG_BINARY);
  EXPECT_EQ(Get(CurrentUser, u"Empty", &code, &type), "");
  EXPECT_EQ(code, ERROR_SUCCESS);
  EXPECT_EQ(type, REG_NONE);
  EXPECT_EQ(Get(CurrentUser, u"Odd", &code, &type), std::string("\0\1", 2));
  EXPECT_EQ(type, 0xDEADBEEFu);
  // Replacing changes type and data.
  ASSERT_EQ(Set(CurrentUser, u"Big", "tiny", REG_SZ), ERROR_SUCCESS);
  EXPECT_EQ(Get(CurrentUser, u"Big", &code, &type), "tiny");
  EXPECT_EQ(type, REG_SZ);
  EXPECT_EQ(SetValue(CurrentUser, u"Bad", REG_BINARY, nullptr, 3), ERROR_INVALID_PARAMETER);
}

TEST_F(Registry, TheDefaultValueIsNamedByNullOrEmpty) {
  ASSERT_EQ(Set(CurrentUser, nullptr, "default"), ERROR_SUCCESS);
  EXPECT_EQ(Get(CurrentUser, u""), "default");
  ASSERT_EQ(DeleteValue(CurrentUser, u""), ERROR_SUCCESS);
  int code = 0;
  Get(CurrentUser, nullptr, &code);
  EXPECT_EQ(code, ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, DeleteValueRemovesOnlyThatValue) {
  ASSERT_EQ(Set(CurrentUser, u"Keep", "k"), ERROR_SUCCESS);
  ASSERT_EQ(Set(CurrentUser, u"Drop", "d"), ERROR_SUCCESS);
  EXPECT_EQ(DeleteValue(CurrentUser, u"DROP"), ERROR_SUCCESS);
  EXPECT_EQ(DeleteValue(CurrentUser, u"Drop"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Get(CurrentUser, u"Keep"), "k");
}

TEST_F(Registry, DeleteTreeRemovesASubkeyWithEverythingBelow) {
  Key top, deep, sibling;
  ASSERT_EQ(CreateKey(CurrentUser, u"Tree\\A\\B\\C", KEY_ALL_ACCESS, deep.out()), ERROR_SUCCESS);
  ASSERT_EQ(CreateKey(CurrentUser, u"Tree\\Sibling", KEY_ALL_ACCESS, sibling.out()), ERROR_SUCCESS);
  ASSERT_EQ(CreateKey(CurrentUser, u"Tree", KEY_ALL_ACCESS, top.out()), ERROR_SUCCESS);
  ASSERT_EQ(Set(deep.get(), u"v", "deep"), ERROR_SUCCESS);
  ASSERT_EQ(Set(sibling.get(), u"v", "sibling"), ERROR_SUCCESS);
  ASSERT_EQ(Set(top.get(), u"v", "top"), ERROR_SUCCESS);

  EXPECT_EQ(DeleteTree(top.get(), u"a"), ERROR_SUCCESS);
  Key gone;
  EXPECT_EQ(OpenKey(CurrentUser, u"Tree\\A", KEY_READ, gone.out()), ERROR_FILE_NOT_FOUND);
  // A handle to a removed key knows it.
  int code = 0;
  Get(deep.get(), u"v", &code);
  EXPECT_EQ(code, ERROR_KEY_DELETED);
  EXPECT_EQ(Set(deep.get(), u"v", "again"), ERROR_KEY_DELETED);
  Key under;
  EXPECT_EQ(CreateKey(deep.get(), u"X", KEY_ALL_ACCESS, under.out()), ERROR_KEY_DELETED);
  // Re-creating the path makes a new key; the old handle stays deleted.
  Key fresh;
  ASSERT_EQ(CreateKey(CurrentUser, u"Tree\\A\\B\\C", KEY_ALL_ACCESS, fresh.out()), ERROR_SUCCESS);
  Get(deep.get(), u"v", &code);
  EXPECT_EQ(code, ERROR_KEY_DELETED);
  Get(fresh.get(), u"v", &code);
  EXPECT_EQ(code, ERROR_FILE_NOT_FOUND);

  EXPECT_EQ(Get(sibling.get(), u"v"), "sibling");
  EXPECT_EQ(Get(top.get(), u"v"), "top");
  EXPECT_EQ(DeleteTree(top.get(), u"Missing"), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, DeleteTreeWithoutSubkeyEmptiesTheKeyButKeepsIt) {
  Key top, child;
  ASSERT_EQ(CreateKey(CurrentUser, u"Box\\Child", KEY_ALL_ACCESS, child.out()), ERROR_SUCCESS);
  ASSERT_EQ(CreateKey(CurrentUser, u"Box", KEY_ALL_ACCESS, top.out()), ERROR_SUCCESS);
  ASSERT_EQ(Set(top.get(), u"v", "top"), ERROR_SUCCESS);
  ASSERT_EQ(Set(CurrentUser, u"Outside", "stays"), ERROR_SUCCESS);
  EXPECT_EQ(DeleteTree(top.get(), nullptr), ERROR_SUCCESS);
  int code = 0;
  Get(top.get(), u"v", &code);
  EXPECT_EQ(code, ERROR_FILE_NOT_FOUND);
  Get(child.get(), u"v", &code);
  EXPECT_EQ(code, ERROR_KEY_DELETED);
  EXPECT_EQ(Set(top.get(), u"after", "works"), ERROR_SUCCESS);
  EXPECT_EQ(Get(CurrentUser, u"Outside"), "stays");
  // A root can be emptied too, and stays usable.
  EXPECT_EQ(DeleteTree(CurrentUser, nullptr), ERROR_SUCCESS);
  Get(CurrentUser, u"Outside", &code);
  EXPECT_EQ(code, ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Set(CurrentUser, u"New", "n"), ERROR_SUCCESS);
}

TEST_F(Registry, HandlesAreCheckedNeverFollowed) {
  int local = 0;
  void* bogus[] = {nullptr, &local, reinterpret_cast<void*>(0x80000004u), reinterpret_cast<void*>(0x7FFFFFFFu)};
  for (void* handle : bogus) {
    Key key;
    EXPECT_EQ(CreateKey(handle, u"X", KEY_ALL_ACCESS, key.out()), ERROR_INVALID_HANDLE);
    EXPECT_EQ(Set(handle, u"v", "x"), ERROR_INVALID_HANDLE);
    EXPECT_EQ(QueryValue(handle, u"v", nullptr, nullptr, nullptr), ERROR_INVALID_HANDLE);
    EXPECT_EQ(DeleteValue(handle, u"v"), ERROR_INVALID_HANDLE);
    EXPECT_EQ(DeleteTree(handle, nullptr), ERROR_INVALID_HANDLE);
    EXPECT_EQ(CloseKey(handle), ERROR_INVALID_HANDLE);
  }
  void* key = nullptr;
  ASSERT_EQ(CreateKey(CurrentUser, u"Once", KEY_ALL_ACCESS, &key), ERROR_SUCCESS);
  EXPECT_EQ(CloseKey(key), ERROR_SUCCESS);
  EXPECT_EQ(CloseKey(key), ERROR_INVALID_HANDLE);
  EXPECT_EQ(Set(key, u"v", "x"), ERROR_INVALID_HANDLE);
  EXPECT_EQ(CreateKey(CurrentUser, u"X", KEY_ALL_ACCESS, nullptr), ERROR_INVALID_PARAMETER);
}

TEST_F(Registry, AccessRightsOfTheHandleAreEnforced) {
  Key writable, readable, writeOnly;
  ASSERT_EQ(CreateKey(CurrentUser, u"Rights", KEY_ALL_ACCESS, writable.out()), ERROR_SUCCESS);
  ASSERT_EQ(Set(writable.get(), u"v", "x"), ERROR_SUCCESS);
  ASSERT_EQ(OpenKey(CurrentUser, u"Rights", KEY_READ, readable.out()), ERROR_SUCCESS);
  ASSERT_EQ(OpenKey(CurrentUser, u"Rights", KEY_WRITE, writeOnly.out()), ERROR_SUCCESS);
  EXPECT_EQ(Set(readable.get(), u"v", "y"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(DeleteValue(readable.get(), u"v"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Get(readable.get(), u"v"), "x");
  int code = 0;
  Get(writeOnly.get(), u"v", &code);
  EXPECT_EQ(code, ERROR_ACCESS_DENIED);
  EXPECT_EQ(DeleteTree(writeOnly.get(), nullptr), ERROR_ACCESS_DENIED);
  // Creating below needs KEY_CREATE_SUB_KEY; opening an existing key does not.
  Key sub;
  EXPECT_EQ(CreateKey(readable.get(), u"Sub", KEY_ALL_ACCESS, sub.out()), ERROR_ACCESS_DENIED);
  ASSERT_EQ(CreateKey(writeOnly.get(), u"Sub", KEY_ALL_ACCESS, sub.out()), ERROR_SUCCESS);
  Key existing;
  EXPECT_EQ(CreateKey(readable.get(), u"Sub", KEY_READ, existing.out()), ERROR_SUCCESS);
  Key both;
  EXPECT_EQ(OpenKey(CurrentUser, u"Rights", KEY_READ | KEY_WOW64_32KEY | KEY_WOW64_64KEY, both.out()),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(OpenKey(CurrentUser, u"Rights", KEY_READ | KEY_WOW64_64KEY, both.out()), ERROR_SUCCESS);
}

TEST_F(Registry, TheFileIsInWalModeAndMarkedAsARegistry) {
  ASSERT_EQ(Set(CurrentUser, u"v", "x"), ERROR_SUCCESS);
  EXPECT_EQ(QueryFile(DatabasePath(), "PRAGMA journal_mode"), "wal");
  EXPECT_EQ(QueryFile(DatabasePath(), "PRAGMA application_id"), std::to_string(0x5A585652));
  EXPECT_EQ(QueryFile(DatabasePath(), "PRAGMA user_version"), "1");
  EXPECT_EQ(QueryFile(DatabasePath(), "SELECT count(*) FROM registry_keys WHERE parent = 0"), "4");
}

TEST_F(Registry, AFileThatIsNoRegistryIsReportedAndLeftAlone) {
  const std::string garbage(8192, '\x5a');
  WriteFile(DatabasePath(), garbage);
  Key key;
  EXPECT_EQ(CreateKey(CurrentUser, u"X", KEY_ALL_ACCESS, key.out()), ERROR_BADDB);
  EXPECT_EQ(Set(CurrentUser, u"v", "x"), ERROR_BADDB);
  EXPECT_EQ(QueryValue(CurrentUser, u"v", nullptr, nullptr, nullptr), ERROR_BADDB);
  EXPECT_EQ(FileBytes(DatabasePath()), garbage);
}

TEST_F(Registry, AnotherProgramsDatabaseIsNotTouched) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(DatabasePath().c_str(), &db), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(db, "CREATE TABLE notes(t TEXT); INSERT INTO notes VALUES('mine');", nullptr,
                         nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(db);
  const std::string before = FileBytes(DatabasePath());
  EXPECT_EQ(Set(CurrentUser, u"v", "x"), ERROR_BADDB);
  EXPECT_EQ(FileBytes(DatabasePath()), before);
  EXPECT_EQ(QueryFile(DatabasePath(), "PRAGMA journal_mode"), "delete");
}

TEST_F(Registry, AFileThatCannotBeOpenedIsReported) {
  ASSERT_EQ(mkdir(DatabasePath().c_str(), 0700), 0);  // a folder where the file should be
  EXPECT_EQ(Set(CurrentUser, u"v", "x"), ERROR_CANTOPEN);
}

TEST_F(Registry, AnOpenKeyStaysInItsFileWhenTheVariableChanges) {
  Key first;
  ASSERT_EQ(CreateKey(CurrentUser, u"K", KEY_ALL_ACCESS, first.out()), ERROR_SUCCESS);
  const std::string second = Folder() + "/second.db";
  ASSERT_EQ(setenv("ZXV_REGISTRY_PATH", second.c_str(), 1), 0);
  ASSERT_EQ(Set(first.get(), u"v", "first file"), ERROR_SUCCESS);
  int code = 0;
  Key other;
  EXPECT_EQ(OpenKey(CurrentUser, u"K", KEY_READ, other.out()), ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(Set(CurrentUser, u"v", "second file"), ERROR_SUCCESS);
  ASSERT_EQ(setenv("ZXV_REGISTRY_PATH", DatabasePath().c_str(), 1), 0);
  EXPECT_EQ(Get(first.get(), u"v", &code), "first file");
  Get(CurrentUser, u"v", &code);
  EXPECT_EQ(code, ERROR_FILE_NOT_FOUND);
}

namespace {

// Sets or clears an environment variable and restores it at scope end.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    had_ = old != nullptr;
    if (had_) old_ = old;
    value != nullptr ? setenv(name, value, 1) : unsetenv(name);
  }
  ~ScopedVariable() { had_ ? setenv(name_, old_.c_str(), 1) : unsetenv(name_); }

 private:
  const char* name_;
  bool had_;
  std::string old_;
};

bool Exists(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0;
}

}  // namespace

TEST_F(Registry, TheDefaultFileLivesUnderTheConfigFolder) {
  const std::string xdg = Folder() + "/xdg", home = Folder() + "/home";
  ScopedVariable named("ZXV_REGISTRY_PATH", nullptr);
  ScopedVariable homeVariable("HOME", home.c_str());
  {
    ScopedVariable config("XDG_CONFIG_HOME", xdg.c_str());
    EXPECT_EQ(Set(CurrentUser, u"where", "xdg"), ERROR_SUCCESS);
    EXPECT_TRUE(Exists(xdg + "/zxvariant/registry.db"));
  }
  {
    ScopedVariable config("XDG_CONFIG_HOME", nullptr);
    EXPECT_EQ(Set(CurrentUser, u"where", "home"), ERROR_SUCCESS);
    EXPECT_TRUE(Exists(home + "/.config/zxvariant/registry.db"));
  }
  ScopedVariable relative("XDG_CONFIG_HOME", "relative/folder");  // ignored
  EXPECT_EQ(Get(CurrentUser, u"where"), "home");
}

TEST_F(Registry, ThreadsWriteAndReadTheSameKeysAtOnce) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 60;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &failures] {
      const std::u16string own = u"Thread" + std::u16string(1, static_cast<char16_t>(u'0' + t));
      for (int i = 0; i < kRounds; ++i) {
        void* key = nullptr;
        if (CreateKey(CurrentUser, (u"Shared\\" + own).c_str(), KEY_ALL_ACCESS, &key) != ERROR_SUCCESS) {
          ++failures;
          continue;
        }
        const std::string mine = std::to_string(t) + ":" + std::to_string(i);
        if (Set(key, u"v", mine) != ERROR_SUCCESS || Get(key, u"v") != mine) ++failures;
        // Everyone also replaces one common value with a whole value of
        // their own; a reader sees one of them, never a mixture.
        const std::string common(100 + t * 50, static_cast<char>('a' + t));
        if (Set(CurrentUser, u"Common", common) != ERROR_SUCCESS) ++failures;
        // One query with room for any of them: the value may change between
        // two queries.
        char room[512];
        unsigned size = sizeof room;
        if (QueryValue(CurrentUser, u"Common", nullptr, room, &size) != ERROR_SUCCESS) ++failures;
        const std::string seen(room, size);
        if (seen.empty() || seen != std::string(seen.size(), seen[0]) ||
            seen.size() != 100u + (seen[0] - 'a') * 50u) {
          ++failures;
        }
        CloseKey(key);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
}

// The helpers under the record storage: open for reading, read any length.
TEST_F(Registry, RegKeyOpensForReadingOrThrowsWithTheCode) {
  ASSERT_EQ(Set(CurrentUser, u"v", "x"), ERROR_SUCCESS);
  CZxRegKey key;
  key.OpenForReading(CurrentUser, u"");
  ASSERT_NE(key.Handle(), nullptr);
  EXPECT_EQ(Get(key.Handle(), u"v"), "x");
  EXPECT_EQ(Set(key.Handle(), u"v", "y"), ERROR_ACCESS_DENIED);  // read access only
  key.Close();
  EXPECT_EQ(key.Handle(), nullptr);
  try {
    key.OpenForReading(CurrentUser, u"No\\Such");
    FAIL() << "no exception";
  } catch (const CZxRegKeyException& e) {
    EXPECT_EQ(e.ErrorCode(), ERROR_FILE_NOT_FOUND);
    EXPECT_STREQ(e.File(), "..\\..\\zx\\ZxRegKey");
    const std::string message = e.what();
    EXPECT_EQ(message.rfind("RegKey exception: Unable to open registry key for reading :No\\Such, code: 0x2 (ZxRegKey,", 0),
              0u)
        << message;
  }
}

TEST_F(Registry, RegValueReadsSmallValuesInsideAndLargeOnesOnTheHeap) {
  const std::string small(128, 's'), large(129, 'L');
  ASSERT_EQ(Set(CurrentUser, u"Small", small, REG_SZ), ERROR_SUCCESS);
  ASSERT_EQ(Set(CurrentUser, u"Large", large), ERROR_SUCCESS);
  CZxRegValue value;
  value.Read(CurrentUser, u"Small");
  const unsigned char* inner = value.Data();
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(inner), value.Size()), small);
  EXPECT_EQ(value.Type(), REG_SZ);
  EXPECT_GE(inner, reinterpret_cast<const unsigned char*>(&value));
  EXPECT_LT(inner, reinterpret_cast<const unsigned char*>(&value + 1));
  value.Read(CurrentUser, u"Large");
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(value.Data()), value.Size()), large);
  EXPECT_EQ(value.Type(), REG_BINARY);
  EXPECT_FALSE(value.Data() >= reinterpret_cast<const unsigned char*>(&value) &&
               value.Data() < reinterpret_cast<const unsigned char*>(&value + 1));
  try {
    value.Read(CurrentUser, u"Absent");
    FAIL() << "no exception";
  } catch (const CZxException& e) {
    EXPECT_EQ(e.ErrorCode(), ERROR_FILE_NOT_FOUND);
    const std::string message = e.what();
    EXPECT_EQ(message.rfind("RegValue exception: Unable to read registry value :Absent, code: 0x2 (ZxRegValue,", 0), 0u)
        << message;
  }
  EXPECT_EQ(value.Size(), 0u);
}
