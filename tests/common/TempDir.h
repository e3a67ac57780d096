#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace testsupport {

// A fresh directory under the test temp dir, removed with everything in it at the end of scope.
class TempDir {
public:
    explicit TempDir(const std::string& prefix = "test") {
        std::string pattern = ::testing::TempDir() + prefix + "-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "mkdtemp failed";
        path_ = pattern;
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace testsupport
