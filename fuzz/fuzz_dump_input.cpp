// telemetry-settings-dump's input-file reader and report escaping on hostile files. Input:
// byte 0 picks the format (settings, properties, device config); the rest is the file.
#include <InputFile.h>
#include <Utf8Text.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

using namespace telemetrydump;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    static const int fd = memfd_create("input", 0);
    static const std::string path = "/proc/self/fd/" + std::to_string(fd);
    if (ftruncate(fd, 0) != 0 || pwrite(fd, data + 1, size - 1, 0) != ssize_t(size - 1)) return 0;
    const InputFormat formats[] = {InputFormat::kSettings, InputFormat::kProperties,
                                   InputFormat::kDeviceConfig};
    std::vector<InputEntry> entries;
    std::string error;
    readInputFile(path, formats[data[0] % 3], &entries, &error);
    for (const InputEntry& entry : entries) {
        escapeForTerminal(entry.key);
        escapeForTerminal(entry.value);
        utf8Prefix(entry.value, 16);
    }
    escapeForTerminal(error);
    return 0;
}
