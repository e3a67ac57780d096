#pragma once

// The file of saved "persist." properties: "name\0value\0" pairs, replaced whole (temporary
// file, fsync, rename, fsync of the directory) so that a crash leaves the old or new set.

#include <string>
#include <utility>
#include <vector>

namespace hostproperties {

using PropertyList = std::vector<std::pair<std::string, std::string>>;

// The saved pairs; empty when there is no file. A damaged tail is dropped and reported.
PropertyList loadPersistentProperties(const std::string& path, std::string* error);

// Replaces the file with `properties`; false with *error when it could not be made durable.
bool savePersistentProperties(const std::string& path, const PropertyList& properties,
                              std::string* error);

}  // namespace hostproperties
