// What combinations read: pixels that do not change while a destination does.
#pragma once

#include "base/entry_rule.h"
#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// What a combination asks of both bitmaps.
Result checkCombination(const BitmapHandle* destination, const BitmapHandle* source);

// Whether writing the one may change the other. Both stay accessed meanwhile.
bool sharesPixels(BitmapHandle& a, BitmapHandle& b);

// `destination`, a record that holds nothing, becomes a copy of the stored rectangle, of the source's kind. It tells no
// callback and no display module. A failure leaves what is to be freed.
Result copyPart(BitmapHandle& destination, BitmapHandle& source, const BitmapRect& part);

}  // namespace tnk
