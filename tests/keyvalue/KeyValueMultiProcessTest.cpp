#include <keyvalue/KeyValueStore.h>

#include "ChildProcess.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr const char* kName = "telemetry_service_settings";

// Each child writes its own keys twice (a pending value, then the final one) and one shared
// key; every child starts at once and opens the file itself, so the set-up of a new database
// races too.
TEST(KeyValueMultiProcessTest, ConcurrentWritersInSeveralProcessesLoseNothing) {
    testsupport::TempDir dir("keyvalue");
    constexpr int kChildren = 3;
    constexpr int kKeysPerChild = 40;
    const auto key = [](int child, int i) { return "c" + std::to_string(child * 1000 + i); };
    int start[2];
    ASSERT_EQ(pipe(start), 0);
    std::vector<pid_t> children;
    for (int child = 0; child < kChildren; ++child) {
        children.push_back(keyvaluetest::startChild([&, child] {
            close(start[1]);
            char ignored;
            while (read(start[0], &ignored, 1) > 0) {
            }
            SORRELKeyValueStorageStrategy strategy(dir.path(), std::chrono::milliseconds(5000));
            int failures = 0;
            for (int i = 0; i < kKeysPerChild; ++i) {
                for (const auto& [k, value] : {std::pair(key(child, i), std::string("pending")),
                                               std::pair(key(child, i), key(child, i)),
                                               std::pair(std::string("shared"), key(child, i))}) {
                    failures += strategy.write(Store::Shared, kName, k, value) ? 0 : 1;
                }
            }
            return failures > 100 ? 100 : failures;
        }));
    }
    close(start[0]);
    close(start[1]);  // starts every child at once
    for (pid_t pid : children) {
        EXPECT_EQ(keyvaluetest::waitForChild(pid), 0) << "failed writes in child " << pid;
    }

    SORRELKeyValueStorageStrategy reader(dir.path());
    std::set<std::optional<std::string>> lastWrites;
    for (int child = 0; child < kChildren; ++child) {
        for (int i = 0; i < kKeysPerChild; ++i) {
            EXPECT_EQ(reader.read(Store::Shared, kName, key(child, i)), key(child, i));
        }
        lastWrites.insert(key(child, kKeysPerChild - 1));
    }
    EXPECT_TRUE(lastWrites.contains(reader.read(Store::Shared, kName, "shared")));
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
