#include <hostproperties/PropertyFile.h>

#include <android-base/properties.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace {

using hostproperties::loadPropertyFile;
using testing::ElementsAre;
using testing::HasSubstr;

class PropertyFileTest : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = testing::TempDir() + "propfileXXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        dir_ = pattern;
    }
    void TearDown() override {
        for (const std::string& file : files_) unlink(file.c_str());
        rmdir(dir_.c_str());
    }

    std::string write(const std::string& contents) {
        std::string path = dir_ + "/props" + std::to_string(files_.size());
        std::ofstream(path, std::ios::binary) << contents;
        files_.push_back(path);
        return path;
    }

    std::string dir_;
    std::vector<std::string> files_;
};

std::string get(const char* key) {
    return android::base::GetProperty(key, "<unset>");
}

TEST_F(PropertyFileTest, AppliesEntriesAndSkipsCommentsAndBlankLines) {
    const std::string path =
            write("# device defaults\n"
                  "\n"
                  "   \t\n"
                  "  # indented comment\n"
                  "test.plain=true\n"
                  "  test.trimmed_key \t=42\n"
                  "test.verbatim= 1 \n"
                  "test.crlf=yes\r\n"
                  "test.with_equals=a=b\n"
                  "test.twice=first\n"
                  "test.twice=second\n"
                  "test.last_line_without_newline=end");

    const auto result = loadPropertyFile(path);
    EXPECT_TRUE(result.opened);
    EXPECT_EQ(result.loaded, 8u);
    EXPECT_THAT(result.errors, ElementsAre());

    EXPECT_EQ(get("test.plain"), "true");
    EXPECT_EQ(get("test.trimmed_key"), "42");
    EXPECT_EQ(get("test.verbatim"), " 1 ");
    EXPECT_EQ(get("test.crlf"), "yes");
    EXPECT_EQ(get("test.with_equals"), "a=b");
    EXPECT_EQ(get("test.twice"), "second");
    EXPECT_EQ(get("test.last_line_without_newline"), "end");
    EXPECT_EQ(get("# device defaults"), "<unset>");
}

TEST_F(PropertyFileTest, EmptyValueClearsAnEarlierOne) {
    ASSERT_TRUE(android::base::SetProperty("test.cleared", "old"));
    const auto result = loadPropertyFile(write("test.cleared=\n"));
    EXPECT_EQ(result.loaded, 1u);
    EXPECT_EQ(get("test.cleared"), "<unset>");
}

TEST_F(PropertyFileTest, MalformedLinesAreReportedWithLineNumbersAndSkipped) {
    const std::string path =
            write("test.before=1\n"
                  "no_equals_sign\n"
                  "=value\n"
                  "  \t= value\n"
                  "test.bad key=1\n"
                  "# fine\n"
                  "test.after=2\n");

    const auto result = loadPropertyFile(path);
    EXPECT_TRUE(result.opened);
    EXPECT_EQ(result.loaded, 2u);
    EXPECT_THAT(result.errors, ElementsAre(path + ":2: missing '='", path + ":3: empty key",
                                           path + ":4: empty key", path + ":5: blank inside key"));
    EXPECT_EQ(get("test.before"), "1");
    EXPECT_EQ(get("test.after"), "2");
    EXPECT_EQ(get("test.bad key"), "<unset>");
}

TEST_F(PropertyFileTest, MissingFileOrDirectoryIsNotOpened) {
    const std::string missing = dir_ + "/does-not-exist";
    const auto result = loadPropertyFile(missing);
    EXPECT_FALSE(result.opened);
    EXPECT_EQ(result.loaded, 0u);
    ASSERT_EQ(result.errors.size(), 1u);
    EXPECT_THAT(result.errors[0], HasSubstr(missing));

    const auto directory = loadPropertyFile(dir_);
    EXPECT_FALSE(directory.opened);
    ASSERT_EQ(directory.errors.size(), 1u);
    EXPECT_THAT(directory.errors[0], HasSubstr(dir_));
}

}  // namespace
