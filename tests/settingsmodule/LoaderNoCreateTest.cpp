// Run against a settings module that lacks "createSettingsManager".

#include <settingsmodule/SettingsManagerLoader.h>

#include <LogCapture.h>
#include <gtest/gtest.h>

namespace {

using BASALT::Settings::v3::createSettingsManagerPtr;

TEST(SettingsModuleWithoutCreate, AlwaysEmptyAndLogsNoError) {
    testsupport::LogCapture log;

    EXPECT_EQ(createSettingsManagerPtr(), nullptr);
    EXPECT_EQ(createSettingsManagerPtr(), nullptr);

    EXPECT_NE(BASALT::internal::Loader::moduleHandle(), nullptr);
    auto lines = log.withTag("BasaltLoader");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].priority, ANDROID_LOG_DEBUG);
    EXPECT_EQ(lines[0].message, "BASALT loading module 'libbasalt.halcyon.so'");
}

}  // namespace
