// The host's bionic property functions over libbase's map.

#include <sys/system_properties.h>

#include <android-base/properties.h>
#include <gtest/gtest.h>
#include <hostproperties/PropertyStore.h>

#include <array>
#include <cstdint>
#include <string>

namespace {

using android::base::SetProperty;

struct Read {
    int calls = 0;
    std::string name;
    std::string value;
    uint32_t serial = 0;
};

Read readCallback(const prop_info* info) {
    Read read;
    __system_property_read_callback(
            info,
            [](void* cookie, const char* name, const char* value, uint32_t serial) {
                auto* out = static_cast<Read*>(cookie);
                *out = {out->calls + 1, name, value, serial};
            },
            &read);
    return read;
}

// A buffer of exactly the room a device caller has, pre-filled so a missing terminator shows.
std::string get(const char* name, int expectedLength) {
    std::array<char, PROP_VALUE_MAX> buffer;
    buffer.fill('x');
    EXPECT_EQ(__system_property_get(name, buffer.data()), expectedLength) << name;
    return buffer.data();
}

TEST(SystemProperties, UnsetEmptyAndNullAreNotFoundAndHarmless) {
    ASSERT_TRUE(SetProperty("test.empty", ""));
    ASSERT_TRUE(SetProperty("test.null", "x"));
    EXPECT_EQ(__system_property_find("test.unset"), nullptr);
    EXPECT_EQ(__system_property_find("test.empty"), nullptr);
    EXPECT_EQ(__system_property_find(nullptr), nullptr);
    EXPECT_EQ(get("test.unset", 0), "");
    EXPECT_EQ(get(nullptr, 0), "");
    EXPECT_EQ(__system_property_get("test.null", nullptr), 0);
    EXPECT_EQ(readCallback(nullptr).calls, 0);
    __system_property_read_callback(__system_property_find("test.null"), nullptr, nullptr);
}

TEST(SystemProperties, BothReadPathsSeeValuesSetThroughLibbase) {
    ASSERT_TRUE(SetProperty("test.shared", "hello"));

    const prop_info* info = __system_property_find("test.shared");
    ASSERT_NE(info, nullptr);
    const Read read = readCallback(info);
    EXPECT_EQ(read.calls, 1);
    EXPECT_EQ(read.name, "test.shared");
    EXPECT_EQ(read.value, "hello");
    EXPECT_EQ(get("test.shared", 5), "hello");

    // And the other way round: the guarded setter writes libbase's map.
    ASSERT_TRUE(hostproperties::setProperty("test.shared", "world"));
    EXPECT_EQ(android::base::GetProperty("test.shared", ""), "world");
    EXPECT_EQ(readCallback(info).value, "world");
}

TEST(SystemProperties, HandlesAreStableAndSerialsChangeOnlyWithTheValue) {
    ASSERT_TRUE(SetProperty("test.handle", "1"));
    const prop_info* first = __system_property_find("test.handle");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(__system_property_find("test.handle"), first);
    const uint32_t serial = readCallback(first).serial;
    EXPECT_EQ(readCallback(first).serial, serial);

    ASSERT_TRUE(SetProperty("test.handle", ""));
    EXPECT_EQ(__system_property_find("test.handle"), nullptr);
    const Read cleared = readCallback(first);  // old handle still usable
    EXPECT_EQ(cleared.calls, 1);
    EXPECT_EQ(cleared.value, "");

    ASSERT_TRUE(SetProperty("test.handle", "2"));
    EXPECT_EQ(__system_property_find("test.handle"), first);
    EXPECT_NE(readCallback(first).serial, serial);
}

TEST(SystemProperties, GetCutsLongValuesToTheDeviceLimit) {
    const std::string longValue(200, 'v');
    ASSERT_TRUE(SetProperty("test.long", longValue));
    EXPECT_EQ(get("test.long", PROP_VALUE_MAX - 1), longValue.substr(0, PROP_VALUE_MAX - 1));
    // The callback path has no limit.
    EXPECT_EQ(readCallback(__system_property_find("test.long")).value, longValue);
}

// A callback that reads another property must not deadlock on the store.
TEST(SystemProperties, CallbackMayReadOtherProperties) {
    ASSERT_TRUE(SetProperty("test.outer", "outer"));
    ASSERT_TRUE(SetProperty("test.inner", "inner"));
    std::string inner;
    __system_property_read_callback(
            __system_property_find("test.outer"),
            [](void* cookie, const char*, const char*, uint32_t) {
                *static_cast<std::string*>(cookie) = get("test.inner", 5);
            },
            &inner);
    EXPECT_EQ(inner, "inner");
}

}  // namespace
