#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace keyvaluetest {

// A fresh directory under the test temp dir, removed again at the end of the test.
class TemporaryStoreDirectory {
public:
    TemporaryStoreDirectory() {
        std::string pattern = ::testing::TempDir() + "keyvalue-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "mkdtemp failed";
        root_ = pattern;
    }
    ~TemporaryStoreDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }
    TemporaryStoreDirectory(const TemporaryStoreDirectory&) = delete;
    TemporaryStoreDirectory& operator=(const TemporaryStoreDirectory&) = delete;

    const std::string& path() const { return root_; }
    std::string databaseFile() const { return root_ + "/keyvalue.db"; }

private:
    std::string root_;
};

inline std::string readWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeWholeFile(const std::string& path, const std::string& contents) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << contents;
}

}  // namespace keyvaluetest
