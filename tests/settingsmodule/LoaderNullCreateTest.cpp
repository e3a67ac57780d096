// Run against a settings module whose create function returns null.

#include "LoadedModule.h"

#include <settingsmodule/SettingsManagerLoader.h>

#include <LogCapture.h>
#include <gtest/gtest.h>

namespace {

using BASALT::Settings::v3::createSettingsManagerPtr;
using settingsmodule_test::loadedModuleFunction;

TEST(SettingsModuleCreateFails, EveryCallAsksTheModuleAgain) {
    testsupport::LogCapture log;

    EXPECT_EQ(createSettingsManagerPtr(), nullptr);
    EXPECT_EQ(createSettingsManagerPtr(), nullptr);
    EXPECT_EQ(createSettingsManagerPtr(), nullptr);

    auto* createCalls = loadedModuleFunction<int()>("testModuleCreateCalls");
    ASSERT_NE(createCalls, nullptr);
    EXPECT_EQ(createCalls(), 3);
    EXPECT_EQ(log.withTag("BasaltLoader").size(), 1u);  // only the loading line
}

}  // namespace
