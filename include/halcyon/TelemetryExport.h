#pragma once

// The library is built with hidden visibility; only declarations marked TELEMETRY_EXPORT are
// part of its dynamic symbol table (and of the ABI its soname promises). Consumers see the
// same attribute, which is harmless for them.
#define TELEMETRY_EXPORT __attribute__((visibility("default")))
