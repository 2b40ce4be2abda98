// The public registry functions: argument and access checks, key handles,
// and the store of the database file currently named by the environment.
//
// A handle is the address of an OpenedKey held in the process's handle
// table, so a stale or foreign value is recognised (answered with 6) instead
// of being followed.  Each handle keeps the store it was opened in alive.
#include <unistd.h>

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/registry_path.h"
#include "platform/registry_store.h"
#include "zxvariant/registry.h"

namespace ZxVariantHelper::Registry {
namespace {

using platform::MissingKey;
using platform::RegistryKeyId;
using platform::RegistryStore;

constexpr std::size_t kMaxKeyNameUnits = 255;
constexpr std::size_t kMaxValueNameUnits = 16383;
constexpr unsigned kRootAccess = ~0u;
constexpr unsigned kTreeDeleteAccess = DELETE | KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE;

struct OpenedKey {
  std::shared_ptr<RegistryStore> store;
  RegistryKeyId id = 0;
  unsigned access = 0;
};

// The open handles of this process.
struct HandleTable {
  std::mutex lock;
  std::unordered_map<const void*, std::unique_ptr<OpenedKey>> keys;
};
HandleTable& Handles() {
  static HandleTable* table = new HandleTable;  // never destroyed: handles may be closed at exit
  return *table;
}

// The store of the file the environment names now, opened once per file.
struct CurrentFile {
  std::mutex lock;
  std::string path;
  std::shared_ptr<RegistryStore> store;
};
CurrentFile& Current() {
  static CurrentFile* current = new CurrentFile;
  return *current;
}

int CurrentStore(std::shared_ptr<RegistryStore>* store) {
  std::string path;
  const int code = platform::RegistryDatabasePath(&path);
  if (code != ERROR_SUCCESS) return code;
  CurrentFile& current = Current();
  std::lock_guard<std::mutex> guard(current.lock);
  if (current.store == nullptr || current.path != path || current.store->Owner() != getpid()) {
    std::shared_ptr<RegistryStore> opened;
    const int rc = RegistryStore::Open(path, &opened);
    if (rc != ERROR_SUCCESS) return rc;
    current.store = std::move(opened);
    current.path = std::move(path);
  }
  *store = current.store;
  return ERROR_SUCCESS;
}

// The key behind a root or an open handle.
int Resolve(void* handle, OpenedKey* key) {
  if (const RegistryKeyId root = platform::RootKeyId(handle); root != 0) {
    key->id = root;
    key->access = kRootAccess;
    return CurrentStore(&key->store);
  }
  HandleTable& table = Handles();
  std::lock_guard<std::mutex> guard(table.lock);
  const auto found = table.keys.find(handle);
  if (found == table.keys.end() || found->second->store->Owner() != getpid()) {
    return ERROR_INVALID_HANDLE;
  }
  *key = *found->second;
  return ERROR_SUCCESS;
}

// The names of a subkey path: none for null or "", one trailing backslash
// ignored; a leading backslash or an empty name between two is refused.
int SplitPath(const char16_t* subkey, std::vector<std::u16string_view>* names) {
  std::u16string_view rest = subkey != nullptr ? std::u16string_view(subkey) : std::u16string_view();
  if (rest.empty()) return ERROR_SUCCESS;
  if (rest.front() == u'\\') return ERROR_BAD_PATHNAME;
  if (rest.back() == u'\\') rest.remove_suffix(1);
  for (;;) {
    const std::size_t end = rest.find(u'\\');
    const std::u16string_view name = rest.substr(0, end);
    if (name.empty()) return ERROR_BAD_PATHNAME;
    if (name.size() > kMaxKeyNameUnits) return ERROR_INVALID_PARAMETER;
    names->push_back(name);
    if (end == std::u16string_view::npos) return ERROR_SUCCESS;
    rest.remove_prefix(end + 1);
  }
}

// A value name; null is the default value's empty name.
int ValueName(const char16_t* name, std::u16string_view* view) {
  *view = name != nullptr ? std::u16string_view(name) : std::u16string_view();
  return view->size() > kMaxValueNameUnits ? ERROR_INVALID_PARAMETER : ERROR_SUCCESS;
}

bool ValidAccess(unsigned access) {
  return (access & (KEY_WOW64_32KEY | KEY_WOW64_64KEY)) != (KEY_WOW64_32KEY | KEY_WOW64_64KEY);
}

// Resolves `handle` and checks that it was opened with all of `needed`.
int KeyWithAccess(void* handle, unsigned needed, OpenedKey* key) {
  const int code = Resolve(handle, key);
  if (code != ERROR_SUCCESS) return code;
  return (key->access & needed) == needed ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

int OpenOrCreate(void* parent, const char16_t* subkey, unsigned access, void** key, bool create,
                 unsigned* disposition) {
  if (key == nullptr) return ERROR_INVALID_PARAMETER;
  *key = nullptr;
  if (!ValidAccess(access)) return ERROR_INVALID_PARAMETER;
  std::vector<std::u16string_view> names;
  int code = SplitPath(subkey, &names);
  if (code != ERROR_SUCCESS) return code;
  OpenedKey from;
  if ((code = Resolve(parent, &from)) != ERROR_SUCCESS) return code;
  MissingKey missing = MissingKey::kFail;
  if (create) missing = (from.access & KEY_CREATE_SUB_KEY) != 0 ? MissingKey::kCreate : MissingKey::kDeny;
  auto opened = std::make_unique<OpenedKey>();
  bool created = false;
  code = from.store->FindKey(from.id, names, missing, &opened->id, &created);
  if (code != ERROR_SUCCESS) return code;
  opened->store = std::move(from.store);
  opened->access = access;
  void* handle = opened.get();
  {
    HandleTable& table = Handles();
    std::lock_guard<std::mutex> guard(table.lock);
    table.keys.emplace(handle, std::move(opened));
  }
  *key = handle;
  if (disposition != nullptr) *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
  return ERROR_SUCCESS;
}

}  // namespace

int CreateKey(void* parent, const char16_t* subkey, unsigned access, void** key,
              unsigned* disposition) {
  return OpenOrCreate(parent, subkey, access, key, true, disposition);
}

int OpenKey(void* parent, const char16_t* subkey, unsigned access, void** key) {
  return OpenOrCreate(parent, subkey, access, key, false, nullptr);
}

int SetValue(void* key, const char16_t* name, unsigned type, const void* data, unsigned size) {
  std::u16string_view valueName;
  int code = ValueName(name, &valueName);
  if (code != ERROR_SUCCESS) return code;
  if (data == nullptr && size != 0) return ERROR_INVALID_PARAMETER;
  OpenedKey opened;
  if ((code = KeyWithAccess(key, KEY_SET_VALUE, &opened)) != ERROR_SUCCESS) return code;
  return opened.store->SetValue(opened.id, valueName, type, data, size);
}

int QueryValue(void* key, const char16_t* name, unsigned* type, void* data, unsigned* size) {
  std::u16string_view valueName;
  int code = ValueName(name, &valueName);
  if (code != ERROR_SUCCESS) return code;
  if (data != nullptr && size == nullptr) return ERROR_INVALID_PARAMETER;
  OpenedKey opened;
  if ((code = KeyWithAccess(key, KEY_QUERY_VALUE, &opened)) != ERROR_SUCCESS) return code;
  unsigned unwanted = 0;
  return opened.store->QueryValue(opened.id, valueName, type, data, size != nullptr ? size : &unwanted);
}

int DeleteValue(void* key, const char16_t* name) {
  std::u16string_view valueName;
  int code = ValueName(name, &valueName);
  if (code != ERROR_SUCCESS) return code;
  OpenedKey opened;
  if ((code = KeyWithAccess(key, KEY_SET_VALUE, &opened)) != ERROR_SUCCESS) return code;
  return opened.store->DeleteValue(opened.id, valueName);
}

int DeleteTree(void* key, const char16_t* subkey) {
  std::vector<std::u16string_view> names;
  int code = SplitPath(subkey, &names);
  if (code != ERROR_SUCCESS) return code;
  OpenedKey opened;
  if ((code = KeyWithAccess(key, kTreeDeleteAccess, &opened)) != ERROR_SUCCESS) return code;
  return opened.store->DeleteTree(opened.id, names);
}

int CloseKey(void* key) {
  if (platform::RootKeyId(key) != 0) return ERROR_SUCCESS;
  std::unique_ptr<OpenedKey> closed;
  {
    HandleTable& table = Handles();
    std::lock_guard<std::mutex> guard(table.lock);
    const auto found = table.keys.find(key);
    if (found == table.keys.end()) return ERROR_INVALID_HANDLE;
    closed = std::move(found->second);
    table.keys.erase(found);
  }
  // Closing the last handle of a store that is no longer current closes its
  // connection, outside the table's lock.
  return closed->store->Owner() == getpid() ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

}  // namespace ZxVariantHelper::Registry
