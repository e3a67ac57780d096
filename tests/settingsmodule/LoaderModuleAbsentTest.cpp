// Run with LD_LIBRARY_PATH naming an empty directory: there is no settings module.

#include <settingsmodule/SettingsManagerLoader.h>

#include <LogCapture.h>
#include <gtest/gtest.h>

namespace {

using BASALT::Settings::v3::createSettingsManagerPtr;

TEST(SettingsModuleAbsent, ReportsOnceAndStaysEmpty) {
    testsupport::LogCapture log;

    EXPECT_EQ(createSettingsManagerPtr(), nullptr);
    EXPECT_EQ(createSettingsManagerPtr(), nullptr);

    EXPECT_EQ(BASALT::internal::Loader::moduleHandle(), nullptr);
    EXPECT_EQ(log.count(ANDROID_LOG_DEBUG, "BasaltLoader",
                        "BASALT loading module 'libbasalt.halcyon.so'"),
              1u);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "BasaltLoader",
                        "BASALT module 'libbasalt.halcyon.so' not found"),
              1u);
    EXPECT_EQ(log.withTag("BasaltLoader").size(), 2u);
}

}  // namespace
