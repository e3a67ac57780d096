// The host's bionic property functions over libbase's map.

#include <sys/system_properties.h>

#include <android-base/properties.h>
#include <gtest/gtest.h>
#include <hostproperties/PropertyStore.h>

#include <array>
#include <cstdint>
#include <string>

namespace {

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
                ++out->calls;
                out->name = name;
                out->value = value;
                out->serial = serial;
            },
            &read);
    return read;
}

TEST(SystemProperties, UnsetAndEmptyPropertiesAreNotFound) {
    EXPECT_EQ(__system_property_find("test.unset"), nullptr);

    ASSERT_TRUE(android::base::SetProperty("test.empty", ""));
    EXPECT_EQ(__system_property_find("test.empty"), nullptr);

    std::array<char, PROP_VALUE_MAX> buffer;
    buffer.fill('x');
    EXPECT_EQ(__system_property_get("test.unset", buffer.data()), 0);
    EXPECT_STREQ(buffer.data(), "");
}

TEST(SystemProperties, BothReadPathsSeeValuesSetThroughLibbase) {
    ASSERT_TRUE(android::base::SetProperty("test.shared", "hello"));

    const prop_info* info = __system_property_find("test.shared");
    ASSERT_NE(info, nullptr);
    const Read read = readCallback(info);
    EXPECT_EQ(read.calls, 1);
    EXPECT_EQ(read.name, "test.shared");
    EXPECT_EQ(read.value, "hello");

    std::array<char, PROP_VALUE_MAX> buffer;
    EXPECT_EQ(__system_property_get("test.shared", buffer.data()), 5);
    EXPECT_STREQ(buffer.data(), "hello");

    // And the other way round: the guarded setter writes libbase's map.
    ASSERT_TRUE(hostproperties::setProperty("test.shared", "world"));
    EXPECT_EQ(android::base::GetProperty("test.shared", ""), "world");
    EXPECT_EQ(readCallback(info).value, "world");
}

TEST(SystemProperties, HandlesAreStableAndOutliveValueChanges) {
    ASSERT_TRUE(android::base::SetProperty("test.handle", "1"));
    const prop_info* first = __system_property_find("test.handle");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(__system_property_find("test.handle"), first);

    ASSERT_TRUE(android::base::SetProperty("test.handle", ""));
    EXPECT_EQ(__system_property_find("test.handle"), nullptr);
    const Read cleared = readCallback(first);  // old handle still usable
    EXPECT_EQ(cleared.calls, 1);
    EXPECT_EQ(cleared.value, "");

    ASSERT_TRUE(android::base::SetProperty("test.handle", "2"));
    EXPECT_EQ(__system_property_find("test.handle"), first);
}

TEST(SystemProperties, SerialChangesOnlyWithTheValue) {
    ASSERT_TRUE(android::base::SetProperty("test.serial", "a"));
    const prop_info* info = __system_property_find("test.serial");
    ASSERT_NE(info, nullptr);
    const uint32_t first = readCallback(info).serial;
    EXPECT_EQ(readCallback(info).serial, first);

    ASSERT_TRUE(android::base::SetProperty("test.serial", "b"));
    EXPECT_NE(readCallback(info).serial, first);
}

TEST(SystemProperties, GetCutsLongValuesToTheDeviceLimit) {
    const std::string longValue(200, 'v');
    ASSERT_TRUE(android::base::SetProperty("test.long", longValue));

    std::array<char, PROP_VALUE_MAX> buffer;  // exactly the room a device caller has
    EXPECT_EQ(__system_property_get("test.long", buffer.data()), PROP_VALUE_MAX - 1);
    EXPECT_EQ(std::string(buffer.data()), longValue.substr(0, PROP_VALUE_MAX - 1));

    // The callback path has no limit.
    EXPECT_EQ(readCallback(__system_property_find("test.long")).value, longValue);
}

TEST(SystemProperties, NullArgumentsAreHarmless) {
    EXPECT_EQ(__system_property_find(nullptr), nullptr);
    EXPECT_EQ(readCallback(nullptr).calls, 0);

    ASSERT_TRUE(android::base::SetProperty("test.null", "x"));
    __system_property_read_callback(__system_property_find("test.null"), nullptr, nullptr);

    std::array<char, PROP_VALUE_MAX> buffer;
    buffer.fill('x');
    EXPECT_EQ(__system_property_get(nullptr, buffer.data()), 0);
    EXPECT_STREQ(buffer.data(), "");
    EXPECT_EQ(__system_property_get("test.null", nullptr), 0);
}

TEST(SystemProperties, CallbackMayReadOtherProperties) {
    ASSERT_TRUE(android::base::SetProperty("test.outer", "outer"));
    ASSERT_TRUE(android::base::SetProperty("test.inner", "inner"));
    std::string inner;
    __system_property_read_callback(
            __system_property_find("test.outer"),
            [](void* cookie, const char*, const char*, uint32_t) {
                std::array<char, PROP_VALUE_MAX> buffer;
                __system_property_get("test.inner", buffer.data());
                *static_cast<std::string*>(cookie) = buffer.data();
            },
            &inner);
    EXPECT_EQ(inner, "inner");
}

}  // namespace
