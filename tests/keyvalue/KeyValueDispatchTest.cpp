#include <keyvalue/KeyValueStore.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::_;
using ::testing::Return;

class MockStorageCache : public IStorageCache {
public:
    MOCK_METHOD(std::optional<std::string>, get, (Store, const std::string&, const std::string&),
                (override));
    MOCK_METHOD(bool, set, (Store, const std::string&, const std::string&, const std::string&),
                (override));
};

TEST(KeyValueDispatchTest, ForwardsItsStoreAndNameAndFallsBackToTheDefault) {
    auto cache = std::make_shared<MockStorageCache>();
    KeyValueDispatch dispatch(Store::Shared, "telemetry_service_settings", cache);

    EXPECT_CALL(*cache, get(Store::Shared, "telemetry_service_settings", "present"))
            .WillOnce(Return("1"));
    EXPECT_CALL(*cache, get(Store::Shared, "telemetry_service_settings", "absent"))
            .WillOnce(Return(std::nullopt));
    EXPECT_CALL(*cache, set(Store::Shared, "telemetry_service_settings", "k", "v"))
            .WillOnce(Return(true));
    EXPECT_CALL(*cache, set(Store::Shared, "telemetry_service_settings", "refused", _))
            .WillOnce(Return(false));

    EXPECT_EQ(dispatch.getValue("present", "0"), "1");
    EXPECT_EQ(dispatch.getValue("absent", "0"), "0");
    EXPECT_TRUE(dispatch.setValue("k", "v"));
    EXPECT_FALSE(dispatch.setValue("refused", "v"));
}

}  // namespace
