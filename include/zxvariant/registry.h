// The registry: a store of keys and typed values, shaped like the Win32
// registry functions, and the storage of records in it.
//
// Keys form trees under four predefined roots (ClassesRoot, CurrentUser,
// LocalMachine, Users).  A key is named by a path of backslash-separated
// names below an open key or a root; names compare case-insensitively (A-Z
// and a-z fold, every other character compares exactly) and keep the case
// they were created with.  Each key holds values: a name (the empty name, or
// null, is the key's default value), a type code (REG_BINARY, ...) and data
// bytes, stored as given, up to SQLite's length limit (1,000,000,000 bytes
// unless the system's SQLite was built otherwise).
//
// The store is one SQLite database file shared by every process and thread
// of the user: the file named by the environment variable ZXV_REGISTRY_PATH,
// else $XDG_CONFIG_HOME/zxvariant/registry.db, else
// ~/.config/zxvariant/registry.db (the folder is created when missing).  The
// variable is read whenever a root is opened, so a process may switch files;
// an open key stays in the file it was opened in.  Every write is one
// transaction: a process killed in the middle of a write leaves the old or
// the new state, never a mixture.
//
// Example:
//
//   using namespace ZxVariantHelper::Registry;
//   void* key = nullptr;
//   if (CreateKey(CurrentUser, u"Software\\Zexora\\Agent", KEY_WRITE | KEY_READ, &key) == 0) {
//     const unsigned char bytes[] = {1, 2, 3};
//     SetValue(key, u"Blob", REG_BINARY, bytes, sizeof bytes);
//     unsigned type = 0, size = 0;
//     QueryValue(key, u"Blob", &type, nullptr, &size);          // size 3
//     CloseKey(key);
//   }
//   // A record stored as one REG_BINARY value in zero-based form:
//   ZxVariantHelper::WriteToRegistry(CurrentUser, u"Software\\Zexora", u"Config", record);
//   ZxVariant* copy = nullptr;
//   if (ZxVariantHelper::ReadFromRegistry(CurrentUser, u"Software\\Zexora", u"Config", &copy) == 0)
//     ZxVariantHelper::Delete(copy);
//
// Errors: every function returns a Win32 error code and never throws, except
// that std::bad_alloc may pass through when memory runs out.  The codes:
//   0    ERROR_SUCCESS
//   2    ERROR_FILE_NOT_FOUND      missing key or value
//   5    ERROR_ACCESS_DENIED       the key was not opened with the rights
//                                  the call needs (KEY_QUERY_VALUE to query,
//                                  KEY_SET_VALUE to set or delete a value,
//                                  KEY_CREATE_SUB_KEY to create a key below
//                                  it, DELETE | KEY_ENUMERATE_SUB_KEYS |
//                                  KEY_QUERY_VALUE for DeleteTree); roots
//                                  allow everything; or the database file
//                                  is read-only
//   6    ERROR_INVALID_HANDLE      not a root or an open key (closed, null,
//                                  or opened before the process forked)
//   8    ERROR_NOT_ENOUGH_MEMORY
//   87   ERROR_INVALID_PARAMETER   a null output pointer, null data with a
//                                  non-zero size, data too large, a key name
//                                  longer than 255 units, a value name longer
//                                  than 16383 units, both KEY_WOW64 flags
//   161  ERROR_BAD_PATHNAME        a subkey path that starts with a backslash
//                                  or has an empty name between two
//   170  ERROR_BUSY                the database stayed locked by another
//                                  writer for 10 seconds
//   234  ERROR_MORE_DATA           QueryValue's buffer is too small
//   1009 ERROR_BADDB               the database file is not a registry store
//                                  (corrupt, another program's database, or
//                                  no database at all); it is left untouched
//   1011 ERROR_CANTOPEN            the database file cannot be opened or
//                                  created
//   1012 ERROR_CANTREAD, 1013 ERROR_CANTWRITE, 112 ERROR_DISK_FULL
//   1018 ERROR_KEY_DELETED         the open key was deleted meanwhile
// WriteToRegistry and ReadFromRegistry add 13 (ERROR_INVALID_DATA) and 30
// (ERROR_READ_FAULT), see below.
//
// Thread safety: every function may be called from any thread and process at
// once.  Calls of one process on one database file are serialised; calls of
// different processes wait for each other's writes (up to 10 seconds).  A
// key handle may be used by several threads; once one thread closes it, the
// others get 6.  Handles do not survive fork(): in the child they answer 6.
// As with any SQLite file, a child created by fork() from a process that
// used the registry should exec() before it uses the registry itself.
#pragma once

#include <cstdint>

#include "zxvariant/export.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper::Registry {

// The predefined roots, with their Win32 values.  They are always open;
// CloseKey on them does nothing.
inline void* const ClassesRoot = reinterpret_cast<void*>(std::uintptr_t{0x80000000u});
inline void* const CurrentUser = reinterpret_cast<void*>(std::uintptr_t{0x80000001u});
inline void* const LocalMachine = reinterpret_cast<void*>(std::uintptr_t{0x80000002u});
inline void* const Users = reinterpret_cast<void*>(std::uintptr_t{0x80000003u});

// Value types.  The store keeps the code and the bytes as given; the codes
// name what callers put there.
inline constexpr unsigned REG_NONE = 0;
inline constexpr unsigned REG_SZ = 1;
inline constexpr unsigned REG_EXPAND_SZ = 2;
inline constexpr unsigned REG_BINARY = 3;
inline constexpr unsigned REG_DWORD = 4;
inline constexpr unsigned REG_DWORD_BIG_ENDIAN = 5;
inline constexpr unsigned REG_LINK = 6;
inline constexpr unsigned REG_MULTI_SZ = 7;
inline constexpr unsigned REG_QWORD = 11;

// Access rights of a key handle.  KEY_WOW64_64KEY and KEY_WOW64_32KEY are
// accepted and ignored (there is one view), but not both together.
inline constexpr unsigned KEY_QUERY_VALUE = 0x0001;
inline constexpr unsigned KEY_SET_VALUE = 0x0002;
inline constexpr unsigned KEY_CREATE_SUB_KEY = 0x0004;
inline constexpr unsigned KEY_ENUMERATE_SUB_KEYS = 0x0008;
inline constexpr unsigned KEY_NOTIFY = 0x0010;
inline constexpr unsigned KEY_WOW64_64KEY = 0x0100;
inline constexpr unsigned KEY_WOW64_32KEY = 0x0200;
inline constexpr unsigned DELETE = 0x00010000;
inline constexpr unsigned READ_CONTROL = 0x00020000;
inline constexpr unsigned KEY_READ = 0x00020019;
inline constexpr unsigned KEY_WRITE = 0x00020006;
inline constexpr unsigned KEY_ALL_ACCESS = 0x000F003F;

// Dispositions reported by CreateKey.
inline constexpr unsigned REG_CREATED_NEW_KEY = 1;
inline constexpr unsigned REG_OPENED_EXISTING_KEY = 2;

// Error codes (see above).
inline constexpr int ERROR_SUCCESS = 0;
inline constexpr int ERROR_FILE_NOT_FOUND = 2;
inline constexpr int ERROR_ACCESS_DENIED = 5;
inline constexpr int ERROR_INVALID_HANDLE = 6;
inline constexpr int ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr int ERROR_INVALID_DATA = 13;
inline constexpr int ERROR_READ_FAULT = 30;
inline constexpr int ERROR_INVALID_PARAMETER = 87;
inline constexpr int ERROR_DISK_FULL = 112;
inline constexpr int ERROR_BAD_PATHNAME = 161;
inline constexpr int ERROR_BUSY = 170;
inline constexpr int ERROR_MORE_DATA = 234;
inline constexpr int ERROR_BADDB = 1009;
inline constexpr int ERROR_CANTOPEN = 1011;
inline constexpr int ERROR_CANTREAD = 1012;
inline constexpr int ERROR_CANTWRITE = 1013;
inline constexpr int ERROR_KEY_DELETED = 1018;

// Opens `subkey` below `parent` (a root or an open key), creating it and any
// missing key on its path; *key receives a new handle with `access`.  A null
// or empty subkey opens a new handle to `parent` itself; a trailing backslash
// is ignored.  `disposition`, when not null, receives REG_CREATED_NEW_KEY or
// REG_OPENED_EXISTING_KEY.  On failure *key is set to null.
ZXV_EXPORT int CreateKey(void* parent, const char16_t* subkey, unsigned access, void** key,
                         unsigned* disposition = nullptr);

// Opens an existing `subkey` below `parent` as CreateKey does, without
// creating anything: 2 when a key on the path is missing.
ZXV_EXPORT int OpenKey(void* parent, const char16_t* subkey, unsigned access, void** key);

// Stores `size` bytes of `data` (null only when size is 0) with `type` as the
// value `name` (null or empty: the default value), replacing a value of that
// name.  A replaced value keeps the case its name was first stored with.
ZXV_EXPORT int SetValue(void* key, const char16_t* name, unsigned type, const void* data,
                        unsigned size);

// Reads the value `name`.  *type (when `type` is not null) receives its type.
// With `data` null, *size (when `size` is not null) receives the value's byte
// count and the result is 0.  With `data` given, `size` must not be null and
// *size is the room at data: when the value fits it is copied and *size
// becomes its byte count; when it does not the result is 234 and *size is the
// byte count needed (the contents of data are then undefined).  2 when there
// is no such value.
ZXV_EXPORT int QueryValue(void* key, const char16_t* name, unsigned* type, void* data,
                          unsigned* size);

// Removes the value `name`; 2 when there is none.
ZXV_EXPORT int DeleteValue(void* key, const char16_t* name);

// With a subkey: removes that key with all its values and all keys below it
// (2 when missing).  With a null or empty subkey: removes every value and
// every key below `key`, and keeps `key` itself.  Open handles to removed
// keys answer 1018 from then on.
ZXV_EXPORT int DeleteTree(void* key, const char16_t* subkey);

// Closes a handle from CreateKey or OpenKey; 0 for a root; 6 for anything
// else (a handle closed twice included).
ZXV_EXPORT int CloseKey(void* key);

}  // namespace ZxVariantHelper::Registry

namespace ZxVariantHelper {

// Stores `record` (pointer form) as the REG_BINARY value `valueName` of
// `subkey` below `key` (a root or an open key; the subkey is created when
// missing, through a handle with access KEY_WRITE | KEY_WOW64_64KEY).  The
// value's data is the record block in zero-based form, exactly record->size
// bytes.  Returns 0; 13 for a null record; 8 when the zero-based copy cannot
// be allocated; otherwise the store's code (CreateKey's or SetValue's).
ZXV_EXPORT int WriteToRegistry(void* key, const char16_t* subkey, const char16_t* valueName,
                               const ZxVariant* record);

// Reads the value `valueName` of `subkey` below `key` (opened with KEY_READ |
// KEY_WOW64_64KEY) and, when its byte count equals the size word at its start
// and the bytes pass ValidateZero, stores in *record a new pointer-form copy
// from malloc (free it with Delete) and returns 0.  Otherwise *record is left
// untouched and the result is: 13 for data that fails either test; 8 when the
// copy cannot be allocated; 87 for a null `record`; the store's code for a
// key or value that cannot be read (2 when missing), or 30 when a read
// failed without a code (its buffer could not be allocated).
ZXV_EXPORT int ReadFromRegistry(void* key, const char16_t* subkey, const char16_t* valueName,
                                ZxVariant** record);

}  // namespace ZxVariantHelper
