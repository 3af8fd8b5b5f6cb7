// A prepared conversion that owns its palettes, so that it may outlive the call that made it.
#pragma once

#include <cstdint>

#include "convert/conversion_arguments.h"
#include "convert/row_converter.h"
#include "palette/palette.h"
#include "tnkrn.h"

namespace tnk {

class PreparedConversion {
  public:
    // Palettes of 1 to 8 bits are copied. The lookup table of a gray source, whose length nobody tells, stays where it is:
    // rows are looked up in what it holds when they are converted.
    void prepare(const Conversion& conversion);

    // Whether it was prepared for the same: palettes of 1 to 8 bits by content, lookup tables by address.
    bool isFor(const Conversion& conversion) const;

    RowConverter& converter() { return converter_; }
    const RowConverter& converter() const { return converter_; }

  private:
    Conversion conversion_;  // its palettes are those below, fixed ones, or a lookup table
    PaletteEntry source_[kMaxPaletteEntries];
    PaletteEntry target_[kMaxPaletteEntries];
    RowConverter converter_;
};

}  // namespace tnk
