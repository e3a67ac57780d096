#pragma once

// Loads system properties from a text file into the host property store, so that host
// tools and tests can start with a device-like property set.
//
// Format, one entry per line:
//   key=value      sets property `key`; blanks (space, tab) around the key are dropped,
//                  the value is taken verbatim up to the end of the line, so "k= 1" sets
//                  " 1" (a trailing '\r' of a CRLF file is dropped). "key=" sets an empty
//                  value: the property exists, GetProperty gives its default.
//   # comment      ignored when '#' is the first non-blank character
//   (blank line)   ignored
// A malformed line, or one the device's rules refuse (illegal name, value too long, an
// "ro." property already set), is reported as "<path>:<line>: <reason>" and skipped; the
// other lines are still applied.

#include <cstddef>
#include <string>
#include <vector>

namespace hostproperties {

struct PropertyFileResult {
    bool opened = false;              // false when the file could not be read
    size_t loaded = 0;                // number of properties set
    std::vector<std::string> errors;  // one message per skipped line, or the open failure
};

PropertyFileResult loadPropertyFile(const std::string& path);

}  // namespace hostproperties
