// Parse rules of the three value types, exercised through one accessor of each type.

#include <sysprop/SharedOsServicesProperties.h>

#include <android-base/properties.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <optional>
#include <string>

namespace props = halcyon::sysprop::SharedOsServicesProperties;

namespace {

constexpr char kBoolKey[] =
        "persist.device_config.halcyon_shared_os_services."
        "halcyon_mobile_telemetry_enable_history_store";
constexpr char kIntKey[] = "persist.device_config.halcyon_shared_os_services.bracken_reserve_mb";
constexpr char kStringKey[] =
        "persist.device_config.halcyon_shared_os_services.halcyon_telemetry_choice";

void set(const char* key, const std::string& value) {
    ASSERT_TRUE(android::base::SetProperty(key, value));
}

TEST(SharedOsServicesPropertiesParse, BoolAcceptsOnlyWholeOneZeroTrueFalseInAnyCase) {
    struct Case {
        const char* text;
        std::optional<bool> expected;
    };
    const Case cases[] = {
            {"1", true},           {"true", true},
            {"TRUE", true},        {"tRuE", true},
            {"0", false},          {"false", false},
            {"False", false},      {"FALSE", false},
            {"yes", std::nullopt}, {"on", std::nullopt},
            {"no", std::nullopt},  {" 1", std::nullopt},
            {"1 ", std::nullopt},  {"true\n", std::nullopt},
            {"2", std::nullopt},   {"01", std::nullopt},
            {"tru", std::nullopt}, {"truex", std::nullopt},
    };
    for (const Case& c : cases) {
        set(kBoolKey, c.text);
        EXPECT_EQ(props::telemetry_enable_history_store(), c.expected) << '"' << c.text << '"';
    }
}

TEST(SharedOsServicesPropertiesParse, IntAcceptsDecimalAndPrefixedHexWithinInt32) {
    struct Case {
        const char* text;
        int expected;
    };
    const Case cases[] = {
            {"42", 42},
            {"0x1F", 31},
            {"0X1f", 31},
            {" 42", 42},
            {"\t\n\v\f\r 42", 42},
            {"010", 10},  // no octal
            {"-5", -5},
            {"+7", 7},
            {"0", 0},
            {"2147483647", INT_MAX},
            {"-2147483648", INT_MIN},
            {"0x7fffffff", INT_MAX},
    };
    for (const Case& c : cases) {
        set(kIntKey, c.text);
        EXPECT_EQ(props::bracken_reserve_mb(), std::optional<int>(c.expected))
                << '"' << c.text << '"';
    }
}

TEST(SharedOsServicesPropertiesParse, IntRejectsWithErrnoTellingWhy) {
    struct Case {
        const char* text;
        int expectedErrno;
    };
    const Case cases[] = {
            {"42 ", EINVAL},  // trailing blanks are not skipped
            {"abc", EINVAL},
            {"12abc", EINVAL},
            {"-0x10", EINVAL},  // a sign before the prefix means base 10
            {"0x", EINVAL},
            {"0xG", EINVAL},
            {"+", EINVAL},
            {" ", EINVAL},
            {"1.5", EINVAL},
            {"2147483648", ERANGE},
            {"-2147483649", ERANGE},
            {"0x80000000", ERANGE},
            {"99999999999999999999", ERANGE},  // beyond 64 bits too
    };
    for (const Case& c : cases) {
        set(kIntKey, c.text);
        errno = 0;
        EXPECT_EQ(props::bracken_reserve_mb(), std::nullopt) << '"' << c.text << '"';
        EXPECT_EQ(errno, c.expectedErrno) << '"' << c.text << '"';
    }
}

TEST(SharedOsServicesPropertiesParse, StringIsReturnedVerbatimUnlessEmpty) {
    set(kStringKey, "a,b");
    EXPECT_EQ(props::halcyon_telemetry_choice(), std::optional<std::string>("a,b"));

    set(kStringKey, "  padded\t");
    EXPECT_EQ(props::halcyon_telemetry_choice(), std::optional<std::string>("  padded\t"));

    set(kStringKey, "");
    EXPECT_EQ(props::halcyon_telemetry_choice(), std::nullopt);
}

TEST(SharedOsServicesPropertiesParse, EveryCallReadsTheCurrentValue) {
    set(kBoolKey, "true");
    EXPECT_EQ(props::telemetry_enable_history_store(), std::optional<bool>(true));
    set(kBoolKey, "false");
    EXPECT_EQ(props::telemetry_enable_history_store(), std::optional<bool>(false));
    set(kBoolKey, "");
    EXPECT_EQ(props::telemetry_enable_history_store(), std::nullopt);
}

}  // namespace
