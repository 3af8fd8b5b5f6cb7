// Which pictures a command works on, and what their results are called.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "commands.h"

namespace tool {

struct Entry {
    std::string file;
    int page;         // of the file, from 0
    std::string out;  // with {bits} and {dither} still in it
};

// The pages of all inputs, or those that are selected of them, in order. A file that cannot be opened counts as one page,
// whose reading will fail. Throws a usage failure where different pages would have one name; pages go to one file when
// `oneFile`, those of each input when its name says so.
std::vector<Entry> listPages(const PagesOptions& options, bool oneFile);

}  // namespace tool
