#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace telemetrydump {

// Length of the well-formed UTF-8 sequence at the start of `text` (no overlong forms, no
// surrogates, nothing above U+10FFFF), or 0 when there is none.
size_t utf8SequenceLength(std::string_view text);

bool isValidUtf8(std::string_view text);

// For a terminal: printable UTF-8 stays, a backslash becomes "\\", and every other byte
// (controls, DEL, C1 controls, bytes of invalid sequences) becomes "\xHH". A bad byte never
// takes valid bytes after it along.
std::string escapeForTerminal(std::string_view text);

// Each byte as the code point U+00XX, encoded as UTF-8.
std::string latin1ToUtf8(std::string_view bytes);

// The longest prefix of at most `limit` bytes that does not split a UTF-8 sequence.
std::string_view utf8Prefix(std::string_view text, size_t limit);

}  // namespace telemetrydump
