// Pixels moved so that the same picture is seen with another view code.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// In place, for a bitmap with storage and a view of 1 to 8. Overlays stay where they are seen. No callback is called. A failed flip leaves the view as it was,
// a failed rotation leaves flipped rows and view 1.
Result changeView(BitmapHandle& bitmap, int32_t view);

// `destination`, a record that holds nothing, becomes a copy with the view, made with DUP_* flags; it is freed after a
// failure.
Result copyWithView(BitmapHandle& destination, BitmapHandle& source, int32_t view, uint32_t dupFlags);

}  // namespace tnk
