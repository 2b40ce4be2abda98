// Where the registry database lives.
#pragma once

#include <string>

namespace ZxVariantHelper::platform {

// The database file for the calling process now: $ZXV_REGISTRY_PATH when set
// and not empty; else $XDG_CONFIG_HOME/zxvariant/registry.db when that
// variable holds an absolute path; else <home>/.config/zxvariant/registry.db
// with <home> from $HOME or the password database.  For the two default
// locations the folders are created (mode 0700) when missing; the file named
// by ZXV_REGISTRY_PATH is used as it is.  Returns 0 with *path set, or
// ERROR_CANTOPEN (1011) when no home is known or a folder cannot be made.
int RegistryDatabasePath(std::string* path);

}  // namespace ZxVariantHelper::platform
