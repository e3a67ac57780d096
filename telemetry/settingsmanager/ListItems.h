#pragma once

#include <sstream>
#include <string>

namespace Tamar {
namespace OS {
namespace Telemetry {

// Calls `onItem` for every ";"-separated item of `text`, in order, with stream extraction
// semantics: an empty item between or before separators is reported, a trailing separator
// adds nothing, and empty text has no items.
template <typename OnItem>
void forEachListItem(const std::string& text, OnItem&& onItem) {
    std::istringstream stream(text);
    std::string item;
    while (std::getline(stream, item, ';')) onItem(item);
}

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
