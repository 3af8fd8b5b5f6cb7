#include "platform/platform.h"

#include "platform/native.h"

namespace tnk {

// The groups are constants of other files, complete from the start, but not for the compiler: this copy is made before any
// other initialisation of the library, which may already need it.
[[gnu::init_priority(101)]] const Platform nativePlatform = {
    native::memoryTable,  native::fileTable,   native::processTable,
    native::displayTable, native::moduleTable, native::textTable,
};

const Platform* platform = &nativePlatform;

}  // namespace tnk
