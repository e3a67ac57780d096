// bionic's property functions and libbase's, over this process's own property area.

#include <sys/system_properties.h>

#include <android-base/properties.h>
#include <gtest/gtest.h>
#include <hostproperties/PropertyStore.h>

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <thread>

namespace {

using hostproperties::SetPropertyResult;
using hostproperties::writeProperty;

struct Read {
    int calls = 0;
    std::string name;
    std::string value;
};

Read readCallback(const prop_info* info) {
    Read read;
    __system_property_read_callback(
            info,
            [](void* cookie, const char* name, const char* value, uint32_t) {
                auto* out = static_cast<Read*>(cookie);
                *out = {out->calls + 1, name, value};
            },
            &read);
    return read;
}

Read readByName(const char* name) {
    const prop_info* info = __system_property_find(name);
    EXPECT_NE(info, nullptr) << name;
    return readCallback(info);
}

// A buffer of exactly the room a device caller has, pre-filled so a missing terminator shows.
std::string get(const char* name, int expectedLength) {
    std::array<char, PROP_VALUE_MAX> buffer;
    buffer.fill('x');
    EXPECT_EQ(__system_property_get(name, buffer.data()), expectedLength) << name;
    return buffer.data();
}

TEST(SystemProperties, WritesFollowTheDeviceRules) {
    const std::string longest(PROP_VALUE_MAX - 1, 'v');
    const struct {
        std::string name;
        std::string value;
        SetPropertyResult expected;
    } cases[] = {
            {"test.rules.ok-_@:9", "v", SetPropertyResult::kOk},
            {"", "v", SetPropertyResult::kInvalidName},
            {".test", "v", SetPropertyResult::kInvalidName},
            {"test.", "v", SetPropertyResult::kInvalidName},
            {"test..rules", "v", SetPropertyResult::kInvalidName},
            {"test.bad name", "v", SetPropertyResult::kInvalidName},
            {"test/rules", "v", SetPropertyResult::kInvalidName},
            {"test.rules.nul", std::string("a\0b", 3), SetPropertyResult::kInvalidValue},
            {"test.rules.longest", longest, SetPropertyResult::kOk},
            {"test.rules.longest", longest + "v", SetPropertyResult::kValueTooLong},
            {"ro.test.rules", "first", SetPropertyResult::kOk},
            {"ro.test.rules", "second", SetPropertyResult::kReadOnly},
            {"ro.test.rules", "first", SetPropertyResult::kReadOnly},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(writeProperty(c.name, c.value), c.expected) << c.name;
    }
    EXPECT_EQ(__system_property_find("test..rules"), nullptr);
    EXPECT_EQ(__system_property_find("test.rules.nul"), nullptr);
    EXPECT_EQ(readByName("test.rules.longest").value, longest);
    EXPECT_EQ(readByName("ro.test.rules").value, "first");
    EXPECT_STREQ(hostproperties::describe(SetPropertyResult::kReadOnly),
                 "Read-only property was already set");
    EXPECT_EQ(__system_property_set("test..rules", "v"), -1);
    EXPECT_EQ(__system_property_set("test.rules.set", "v"), 0);
    EXPECT_EQ(get("test.rules.set", 1), "v");
}

TEST(SystemProperties, EmptyValuesExistAndEveryWriteMovesTheAreaSerial) {
    ASSERT_EQ(writeProperty("test.empty", ""), SetPropertyResult::kOk);
    const prop_info* empty = __system_property_find("test.empty");
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(readCallback(empty).calls, 1);
    EXPECT_EQ(get("test.empty", 0), "");
    EXPECT_EQ(android::base::GetProperty("test.empty", "default"), "default");

    // Unset and null inputs are harmless.
    EXPECT_EQ(__system_property_find("test.unset"), nullptr);
    EXPECT_EQ(__system_property_find(nullptr), nullptr);
    EXPECT_EQ(get("test.unset", 0), "");
    EXPECT_EQ(readCallback(nullptr).calls, 0);
    EXPECT_EQ(__system_property_get("test.empty", nullptr), 0);

    // Every write, even of the same value, moves the area serial that watchers wait on.
    ASSERT_TRUE(hostproperties::setProperty("test.serial", "abc"));
    uint32_t area = __system_property_area_serial();
    for (const char* value : {"abc", "", "abcdef"}) {
        ASSERT_TRUE(hostproperties::setProperty("test.serial", value));
        EXPECT_EQ(readByName("test.serial").value, value);
        EXPECT_NE(__system_property_area_serial(), area) << value;
        area = __system_property_area_serial();
    }
}

// Long read-only values read whole only through the callback. libbase's own functions
// (GetIntProperty and GetBoolProperty call GetProperty inside libbase) must resolve to the area,
// not to libbase's private map.
TEST(SystemProperties, LongValuesAndLibbaseFunctionsReadTheArea) {
    const std::string value(300, 'r');
    ASSERT_TRUE(hostproperties::setProperty("ro.test.long", value));
    EXPECT_EQ(readByName("ro.test.long").value, value);
    EXPECT_EQ(android::base::GetProperty("ro.test.long", ""), value);
    EXPECT_EQ(get("ro.test.long", 50), "Must use __system_property_read_callback() to read");

    ASSERT_TRUE(android::base::SetProperty("test.libbase.int", "42"));
    EXPECT_EQ(readByName("test.libbase.int").value, "42");
    EXPECT_EQ(android::base::GetIntProperty("test.libbase.int", 0), 42);
    ASSERT_TRUE(hostproperties::setProperty("test.libbase.bool", "true"));
    EXPECT_TRUE(android::base::GetBoolProperty("test.libbase.bool", false));
    EXPECT_FALSE(android::base::SetProperty("test..libbase", "1"));
}

TEST(SystemProperties, ForeachListsEveryPropertyAndWaitFollowsTheAreaSerial) {
    for (const char* name : {"test.each.a", "test.each.b", "test.each.c"}) {
        ASSERT_TRUE(hostproperties::setProperty(name, name));
    }
    std::set<std::string> names;
    EXPECT_EQ(__system_property_foreach(
                      [](const prop_info* info, void* cookie) {
                          static_cast<std::set<std::string>*>(cookie)->insert(
                                  readCallback(info).name);
                      },
                      &names),
              0);
    EXPECT_TRUE(names.contains("test.each.a") && names.contains("test.each.c"));
    const auto listed = hostproperties::listProperties();
    EXPECT_EQ(listed.size(), names.size());
    EXPECT_TRUE(std::is_sorted(listed.begin(), listed.end()));

    const uint32_t areaSerial = __system_property_area_serial();
    const timespec shortWait{0, 1000000};
    EXPECT_FALSE(__system_property_wait(nullptr, areaSerial, nullptr, &shortWait));
    const timespec bound{30, 0};
    uint32_t areaChanged = 0;
    std::thread waiter([&] {
        EXPECT_TRUE(__system_property_wait(nullptr, areaSerial, &areaChanged, &bound));
    });
    ASSERT_TRUE(hostproperties::setProperty("test.each.a", "next"));
    waiter.join();
    EXPECT_NE(areaChanged, areaSerial);
}

}  // namespace
