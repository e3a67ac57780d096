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

TEST(PropertyFile, AppliesEntriesReportsMalformedLinesAndUnreadableFiles) {
    ASSERT_TRUE(android::base::SetProperty("test.cleared", "old"));
    TemporaryDir dir;
    const std::string path = std::string(dir.path) + "/props";
    const char* contents =
            "# device defaults\n"
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
            "test.last_line_without_newline=end";
    ASSERT_TRUE(android::base::WriteStringToFile(contents, path));

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

    for (const std::string& absent : {path + ".missing", std::string(dir.path)}) {
        const auto missing = loadPropertyFile(absent);
        EXPECT_FALSE(missing.opened);
        EXPECT_THAT(missing.errors, ElementsAre(HasSubstr(absent)));
    }
}

}  // namespace
