#include <hostproperties/PropertyFile.h>

#include <android-base/file.h>
#include <android-base/properties.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using hostproperties::loadPropertyFile;
using testing::ElementsAre;
using testing::HasSubstr;

std::string get(const char* key) {
    return android::base::GetProperty(key, "<unset>");
}

class PropertyFileTest : public testing::Test {
protected:
    std::string write(const std::string& contents) {
        const std::string path = std::string(dir_.path) + "/props";
        EXPECT_TRUE(android::base::WriteStringToFile(contents, path));
        return path;
    }

    TemporaryDir dir_;
};

TEST_F(PropertyFileTest, AppliesEntriesAndReportsMalformedLinesWithTheirNumbers) {
    ASSERT_TRUE(android::base::SetProperty("test.cleared", "old"));
    const std::string path =
            write("# device defaults\n"
                  "\n"
                  "   \t\n"
                  "  # indented comment\n"
                  "test.plain=true\n"
                  "  test.trimmed_key \t=42\n"
                  "test.verbatim= 1 \n"
                  "test.crlf=yes\r\n"
                  "no_equals_sign\n"
                  "test.with_equals=a=b\n"
                  "=value\n"
                  "  \t= value\n"
                  "test.bad key=1\n"
                  "test..double_dot=1\n"
                  "test.twice=first\n"
                  "test.twice=second\n"
                  "test.cleared=\n"
                  "test.last_line_without_newline=end");

    const auto result = loadPropertyFile(path);
    EXPECT_TRUE(result.opened);
    EXPECT_EQ(result.loaded, 9u);
    EXPECT_THAT(result.errors, ElementsAre(path + ":9: missing '='", path + ":11: empty key",
                                           path + ":12: empty key", path + ":13: blank inside key",
                                           path + ":14: Illegal property name"));
    EXPECT_EQ(get("test.plain"), "true");
    EXPECT_EQ(get("test.trimmed_key"), "42");
    EXPECT_EQ(get("test.verbatim"), " 1 ");
    EXPECT_EQ(get("test.crlf"), "yes");
    EXPECT_EQ(get("test.with_equals"), "a=b");
    EXPECT_EQ(get("test.twice"), "second");
    EXPECT_EQ(get("test.cleared"), "<unset>");  // an empty value clears an earlier one
    EXPECT_EQ(get("test.last_line_without_newline"), "end");
    EXPECT_EQ(get("# device defaults"), "<unset>");
    EXPECT_EQ(get("test.bad key"), "<unset>");
}

TEST_F(PropertyFileTest, MissingFileOrDirectoryIsNotOpened) {
    for (const std::string& path : {std::string(dir_.path) + "/missing", std::string(dir_.path)}) {
        const auto result = loadPropertyFile(path);
        EXPECT_FALSE(result.opened);
        EXPECT_EQ(result.loaded, 0u);
        ASSERT_EQ(result.errors.size(), 1u);
        EXPECT_THAT(result.errors[0], HasSubstr(path));
    }
}

}  // namespace
