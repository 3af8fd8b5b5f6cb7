// What the program tells as JSON.
#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>

namespace tool {

// Members stay in the order in which they were set.
using Json = nlohmann::ordered_json;

// Names of files need not be UTF-8; what is not becomes U+FFFD.
inline void printJson(const Json& value) {
    std::printf("%s\n", value.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
    std::fflush(stdout);
}

}  // namespace tool
