// What somebody may have meant who typed a name that there is not. Any thread.
#pragma once

#include <string>
#include <vector>

namespace handset_tool {

// Up to three of the names that are nearest, "a, b or c"; empty when none is near.
std::string nearest(const std::string &typed, const std::vector<std::string> &names);

} // namespace handset_tool
