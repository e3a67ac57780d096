// Parse rules of the three value types, exercised through one accessor of each type. Every
// case sets the property again, so a cached value would fail the next case.

#include <sysprop/SharedOsServicesProperties.h>

#include <android-base/properties.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <optional>
#include <initializer_list>
#include <string>

namespace props = halcyon::sysprop::SharedOsServicesProperties;

namespace {

#define P "persist.device_config.halcyon_shared_os_services."

void set(const char* key, const char* value) {
    ASSERT_TRUE(android::base::SetProperty(key, value));
}

TEST(SharedOsServicesPropertiesParse, BoolAcceptsOnlyWholeOneZeroTrueFalseInAnyCase) {
    auto expect = [](std::initializer_list<const char*> texts, std::optional<bool> expected) {
        for (const char* text : texts) {
            set(P "halcyon_mobile_telemetry_enable_history_store", text);
            EXPECT_EQ(props::telemetry_enable_history_store(), expected) << '"' << text << '"';
        }
    };
    expect({"1", "true", "TRUE", "tRuE"}, true);
    expect({"", "yes", "on", "no", " 1", "1 ", "true\n", "2", "01", "tru", "truex"}, std::nullopt);
    expect({"0", "false", "False", "FALSE"}, false);
}

// A rejected text must also leave errno telling why.
void expectInt(std::initializer_list<const char*> texts, std::optional<int> expected,
               int rejectErrno = 0) {
    for (const char* text : texts) {
        set(P "bracken_reserve_mb", text);
        errno = 0;
        EXPECT_EQ(props::bracken_reserve_mb(), expected) << '"' << text << '"';
        if (!expected) {
            EXPECT_EQ(errno, rejectErrno) << '"' << text << '"';
        }
    }
}

TEST(SharedOsServicesPropertiesParse, IntAcceptsDecimalAndPrefixedHexWithinInt32Only) {
    expectInt({"42", "\t\n\v\f\r 42"}, 42);  // leading blanks are skipped
    expectInt({"0x1F", "0X1f"}, 31);
    expectInt({"010"}, 10);  // no octal
    expectInt({"-5"}, -5);
    expectInt({"+7"}, 7);
    expectInt({"2147483647", "0x7fffffff"}, INT_MAX);
    expectInt({"-2147483648"}, INT_MIN);
    // Trailing blanks are not skipped; a sign before the prefix means base 10.
    expectInt({"42 ", "abc", "12abc", "-0x10", "0x", "0xG", "+", " ", "1.5"}, std::nullopt, EINVAL);
    // The last is beyond 64 bits too.
    expectInt({"2147483648", "-2147483649", "0x80000000", "99999999999999999999"}, std::nullopt,
              ERANGE);
}

TEST(SharedOsServicesPropertiesParse, StringIsReturnedVerbatimUnlessEmpty) {
    for (const char* text : {"a,b", "  padded\t", ""}) {
        set(P "halcyon_telemetry_choice", text);
        EXPECT_EQ(props::halcyon_telemetry_choice(),
                  *text ? std::optional<std::string>(text) : std::nullopt);
    }
}

}  // namespace
