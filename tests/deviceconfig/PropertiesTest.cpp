#include <deviceconfig/Properties.h>
#include <gtest/gtest.h>

#include <climits>

namespace {

using com::halcyon::deviceconfig::Properties;
using com::halcyon::deviceconfig::aidl::Property;

Properties props(std::initializer_list<std::pair<std::string, std::string>> entries) {
    std::vector<Property> list;
    for (const auto& [key, value] : entries) {
        Property p;
        p.key = key;
        p.value = value;
        list.push_back(p);
    }
    return Properties(list);
}

TEST(Properties, MissingKeysAnswerTheDefault) {
    const Properties empty = props({});
    EXPECT_EQ("d", empty.getString("k", "d"));
    EXPECT_TRUE(empty.getBoolean("k", true));
    EXPECT_EQ(-3, empty.getLong("k", -3));
    EXPECT_EQ(2.5, empty.getDouble("k", 2.5));
    EXPECT_TRUE(empty.getKeys().empty());
}

TEST(Properties, TheFirstOccurrenceOfAKeyWinsAndKeysComeSorted) {
    const Properties p =
            props({{"b", "first"}, {"a", "x"}, {"b", "second"}, {"B", "upper"}, {"", "empty"}});
    EXPECT_EQ("first", p.getString("b", "d"));
    EXPECT_EQ("", p.getString("missing", ""));
    EXPECT_EQ((std::vector<std::string>{"", "B", "a", "b"}), p.getKeys());
}

TEST(Properties, BooleansAreTrueOrFalseInAnyAsciiCase) {
    const Properties p = props({{"t", "TRUE"},
                                {"f", "False"},
                                {"on", "on"},
                                {"one", "1"},
                                {"zero", "0"},
                                {"yes", "yes"},
                                {"empty", ""},
                                {"spaced", " true"},
                                {"trailing", "false "}});
    EXPECT_TRUE(p.getBoolean("t", false));
    EXPECT_FALSE(p.getBoolean("f", true));
    for (const char* key : {"on", "one", "zero", "yes", "empty", "spaced", "trailing"}) {
        EXPECT_TRUE(p.getBoolean(key, true)) << key;
        EXPECT_FALSE(p.getBoolean(key, false)) << key;
    }
}

TEST(Properties, LongsNeedTheWholeTextToBeANumber) {
    const Properties p = props({{"neg", "-17"},
                                {"lead", " 42"},
                                {"big", "9223372036854775807"},
                                {"hex", "0x10"},
                                {"trail", "42 "},
                                {"nl", "42\n"},
                                {"junk", "42abc"},
                                {"empty", ""},
                                {"word", "x"}});
    EXPECT_EQ(-17, p.getLong("neg", 0));
    EXPECT_EQ(42, p.getLong("lead", 0));
    EXPECT_EQ(LONG_MAX, p.getLong("big", 0));
    for (const char* key : {"hex", "trail", "nl", "junk", "empty", "word"}) {
        EXPECT_EQ(7, p.getLong(key, 7)) << key;
    }
}

TEST(Properties, DoublesNeedTheWholeTextToBeANumber) {
    const Properties p = props({{"exp", "1e3"},
                                {"frac", "-0.25"},
                                {"lead", "\t1.5"},
                                {"trail", "1.5 "},
                                {"junk", "1.5x"},
                                {"empty", ""}});
    EXPECT_DOUBLE_EQ(1000.0, p.getDouble("exp", 0));
    EXPECT_DOUBLE_EQ(-0.25, p.getDouble("frac", 0));
    EXPECT_DOUBLE_EQ(1.5, p.getDouble("lead", 0));
    for (const char* key : {"trail", "junk", "empty"}) {
        EXPECT_DOUBLE_EQ(9.5, p.getDouble(key, 9.5)) << key;
    }
}

}  // namespace
