// The conversions that the calling thread used last, kept prepared for callers who convert row by row.
#pragma once

#include "convert/conversion_arguments.h"
#include "convert/row_converter.h"

namespace tnk {

// One that is prepared for the arguments, and now the last one used. Null without memory to keep it in, or where the
// thread has nothing of its own: prepare one for this row then.
RowConverter* keptConverter(const Conversion& conversion);

// Frees what the calling thread has kept.
void dropKeptConversions();

}  // namespace tnk
