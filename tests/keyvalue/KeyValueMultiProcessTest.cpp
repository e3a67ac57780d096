#include <keyvalue/KeyValueStore.h>

#include "ChildProcess.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

namespace {

constexpr const char* kName = "telemetry_service_settings";

std::string keyFor(int child, int index) {
    return "c" + std::to_string(child) + "-k" + std::to_string(index);
}
std::string finalValueFor(int child, int index) {
    return std::to_string(child * 1000 + index);
}

TEST(KeyValueMultiProcessTest, ConcurrentWritersInSeveralProcessesLoseNothing) {
    testsupport::TempDir dir("keyvalue");
    constexpr int kChildren = 3;
    constexpr int kKeysPerChild = 40;
    int start[2];
    ASSERT_EQ(pipe(start), 0);

    std::vector<pid_t> children;
    for (int child = 0; child < kChildren; ++child) {
        children.push_back(keyvaluetest::startChild([&, child] {
            close(start[1]);
            char ignored;
            while (read(start[0], &ignored, 1) > 0) {
            }
            // Every child opens the file itself, so the set-up of a new database races too.
            SORRELKeyValueStorageStrategy strategy(dir.path(), std::chrono::milliseconds(5000));
            int failures = 0;
            auto put = [&](const std::string& key, const std::string& value) {
                if (!strategy.write(Store::Shared, kName, key, value)) ++failures;
            };
            for (int i = 0; i < kKeysPerChild; ++i) {
                put(keyFor(child, i), "pending");
                put(keyFor(child, i), finalValueFor(child, i));
                put("shared", finalValueFor(child, i));
            }
            return failures > 100 ? 100 : failures;
        }));
    }
    close(start[0]);
    close(start[1]);  // starts every child at once

    for (pid_t pid : children)
        EXPECT_EQ(keyvaluetest::waitForChild(pid), 0) << "failed writes in child " << pid;

    SORRELKeyValueStorageStrategy reader(dir.path());
    for (int child = 0; child < kChildren; ++child)
        for (int i = 0; i < kKeysPerChild; ++i)
            EXPECT_EQ(reader.read(Store::Shared, kName, keyFor(child, i)), finalValueFor(child, i));
    const auto shared = reader.read(Store::Shared, kName, "shared");
    ASSERT_TRUE(shared.has_value());
    bool isSomeLastWrite = false;
    for (int child = 0; child < kChildren; ++child)
        isSomeLastWrite |= *shared == finalValueFor(child, kKeysPerChild - 1);
    EXPECT_TRUE(isSomeLastWrite) << *shared;
}

TEST(KeyValueMultiProcessTest, AcknowledgedWriteSurvivesTheWriterBeingKilled) {
    testsupport::TempDir dir("keyvalue");
    const pid_t pid = keyvaluetest::startChild([&] {
        SORRELKeyValueStorageStrategy strategy(dir.path());
        if (!strategy.write(Store::Shared, kName, "kestrel", "id-1")) return 1;
        kill(getpid(), SIGKILL);
        return 2;
    });
    ASSERT_EQ(keyvaluetest::waitForChild(pid), -SIGKILL);

    SORRELKeyValueStorageStrategy reader(dir.path());
    EXPECT_EQ(reader.read(Store::Shared, kName, "kestrel"), "id-1");
}

}  // namespace
