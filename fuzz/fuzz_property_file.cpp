// Property-file loader on hostile files. Input: the file's bytes. Key bytes other than
// blanks and a leading '#' are folded to 'k' so that the process-wide property map, which
// nothing can clear, stays small across runs; values are kept as they are.
#include <hostproperties/PropertyFile.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const int fd = memfd_create("properties", 0);
    static const std::string path = "/proc/self/fd/" + std::to_string(fd);
    std::string text(reinterpret_cast<const char*>(data), size);
    bool inKey = true;
    bool lineStart = true;
    for (char& c : text) {
        if (c == '\n') {
            inKey = lineStart = true;
        } else if (c == '=') {
            inKey = false;
        } else if (inKey && c != ' ' && c != '\t' && c != '\r' && !(lineStart && c == '#')) {
            c = 'k';
        }
        if (c != ' ' && c != '\t' && c != '\n') lineStart = false;
    }
    if (ftruncate(fd, 0) != 0 || pwrite(fd, text.data(), text.size(), 0) != ssize_t(text.size())) {
        return 0;
    }
    hostproperties::loadPropertyFile(path);
    return 0;
}
