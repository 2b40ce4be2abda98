// The registry database location, from the environment.
#include "platform/registry_path.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

#include "zxvariant/registry.h"

namespace ZxVariantHelper::platform {
namespace {

const char* NonEmptyVariable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && value[0] != '\0' ? value : nullptr;
}

// The user's home folder, or "" when none is known.
std::string HomeFolder() {
  if (const char* home = NonEmptyVariable("HOME")) return home;
  long size = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> scratch(size > 0 ? static_cast<std::size_t>(size) : 16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, scratch.data(), scratch.size(), &found) != 0 || found == nullptr ||
      found->pw_dir == nullptr) {
    return {};
  }
  return found->pw_dir;
}

bool IsFolder(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// mkdir -p for `folder`; true when it exists afterwards.  A parent that
// exists but refuses mkdir (read-only, no permission) is fine.
bool MakeFolders(const std::string& folder) {
  for (std::size_t slash = folder.find('/', 1);; slash = folder.find('/', slash + 1)) {
    const std::string prefix = folder.substr(0, slash);
    if (mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST && !IsFolder(prefix)) return false;
    if (slash == std::string::npos) break;
  }
  return IsFolder(folder);
}

}  // namespace

int RegistryDatabasePath(std::string* path) {
  if (const char* named = NonEmptyVariable("ZXV_REGISTRY_PATH")) {
    *path = named;
    return 0;
  }
  std::string config;
  const char* xdg = NonEmptyVariable("XDG_CONFIG_HOME");
  if (xdg != nullptr && xdg[0] == '/') {
    config = xdg;
  } else {
    const std::string home = HomeFolder();
    if (home.empty()) return Registry::ERROR_CANTOPEN;
    config = home + "/.config";
  }
  const std::string folder = config + "/zxvariant";
  if (!MakeFolders(folder)) return Registry::ERROR_CANTOPEN;
  *path = folder + "/registry.db";
  return 0;
}

}  // namespace ZxVariantHelper::platform
