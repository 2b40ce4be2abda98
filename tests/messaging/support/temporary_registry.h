// A registry database of the test's own: a fresh folder under the temporary
// directory, named to the library through ZXV_REGISTRY_PATH for the length of
// one test and removed with everything in it afterwards.
#pragma once

#include <dirent.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace zxt {

class TemporaryRegistry : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = ::testing::TempDir() + "zxv-registry-XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    path_ = folder_ + "/registry.db";
    ASSERT_EQ(setenv("ZXV_REGISTRY_PATH", path_.c_str(), 1), 0);
  }

  void TearDown() override {
    unsetenv("ZXV_REGISTRY_PATH");
    RemoveFolder(folder_);
  }

  // Removes a folder and everything below it.
  static void RemoveFolder(const std::string& folder) {
    if (DIR* listing = opendir(folder.c_str())) {
      while (const dirent* entry = readdir(listing)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        const std::string path = folder + "/" + name;
        if (unlink(path.c_str()) != 0) RemoveFolder(path);
      }
      closedir(listing);
    }
    rmdir(folder.c_str());
  }

  const std::string& DatabasePath() const { return path_; }
  const std::string& Folder() const { return folder_; }

 private:
  std::string folder_;
  std::string path_;
};

}  // namespace zxt
