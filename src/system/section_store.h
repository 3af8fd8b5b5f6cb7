// Sections of freed bitmaps, kept for the next ones: the system clears each page that it hands out, which costs more than
// most work on the pixels.
#pragma once

#include <cstdint>

#include "platform/platform.h"

namespace tnk {

enum class Content {
    zero,
    unset,  // the taker writes each byte that it asked for before anybody can look at one
};

// A section of at least `bytes` bytes, kept or new; what lies behind them is zero.
bool takeSection(uint64_t bytes, Content content, Section* section);

// Gives up a section: keeps it, or closes it where it is larger than all that may be kept.
void giveSection(const Section& section);

// Closes all that is kept; false when nothing was.
bool emptySectionStore();

}  // namespace tnk
