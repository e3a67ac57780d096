#pragma once

#include <string>

namespace keyvalue {

// The directory named by KEYVALUE_STORE_DIR, else $XDG_STATE_HOME/halcyon-keyvalue, else
// $HOME/.local/state/halcyon-keyvalue; empty when none of them is set.
std::string defaultStoreDirectory();

// Creates the directory and any missing parents with mode 0700. True when it exists as a
// directory afterwards; logs and returns false otherwise.
bool ensureStoreDirectory(const std::string& path);

}  // namespace keyvalue
