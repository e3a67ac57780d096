#include "Utf8Text.h"

#include <algorithm>

namespace telemetrydump {

size_t utf8SequenceLength(std::string_view text) {
    if (text.empty()) return 0;
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) return 1;
    size_t length = 0;
    char32_t code = 0;
    char32_t minimum = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2, code = lead & 0x1F, minimum = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3, code = lead & 0x0F, minimum = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4, code = lead & 0x07, minimum = 0x10000;
    } else {
        return 0;
    }
    if (text.size() < length) return 0;
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
        code = (code << 6) | (byte(i) & 0x3F);
    }
    if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
    return length;
}

bool isValidUtf8(std::string_view text) {
    while (!text.empty()) {
        const size_t length = utf8SequenceLength(text);
        if (length == 0) return false;
        text.remove_prefix(length);
    }
    return true;
}

std::string escapeForTerminal(std::string_view text) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const auto lead = static_cast<unsigned char>(text[0]);
        size_t length = utf8SequenceLength(text);
        // U+0080..U+009F (C1 controls) are encoded as C2 80..C2 9F.
        const bool control =
                lead < 0x20 || lead == 0x7F ||
                (length == 2 && lead == 0xC2 && static_cast<unsigned char>(text[1]) < 0xA0);
        if (lead == '\\') {
            out += "\\\\";
        } else if (length != 0 && !control) {
            out.append(text.substr(0, length));
        } else {
            length = length == 0 ? 1 : length;
            for (size_t i = 0; i < length; ++i) {
                const auto c = static_cast<unsigned char>(text[i]);
                out += {'\\', 'x', kHex[c >> 4], kHex[c & 0xF]};
            }
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return out;
}

std::string latin1ToUtf8(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size() * 2);
    for (unsigned char c : bytes) {
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

std::string_view utf8Prefix(std::string_view text, size_t limit) {
    size_t end = 0;
    while (end < text.size()) {
        const size_t length = std::max<size_t>(utf8SequenceLength(text.substr(end)), 1);
        if (end + length > limit) break;
        end += length;
    }
    return text.substr(0, end);
}

}  // namespace telemetrydump
