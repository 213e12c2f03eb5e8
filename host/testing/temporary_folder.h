// A folder for one test, removed with everything in it.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace tarnctl {

class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string pattern = "/tmp/tarnfi-test-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) {
            ADD_FAILURE() << "cannot create a folder in /tmp";
        } else {
            path_ = pattern;
        }
    }
    ~TemporaryFolder() {
        std::error_code error;
        std::filesystem::remove_all(path_, error);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string at(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace tarnctl
