// The tables through which lower rooms reach what higher rooms do, filled before anything runs.
#include "bitmap/hooks.h"
#include "color/dither/dither.h"
#include "platform/load_hooks.h"
#include "system/settings.h"

namespace tnk {

constinit const LoadHooks loadHooks = {
    .attachProcess = attachProcess, .detachThread = detachThread, .detachProcess = detachProcess};

constinit const BitmapHooks bitmapHooks = {
    .stopDithering = stopDithering, .copyOverlays = nullptr, .releaseOverlays = nullptr};

}  // namespace tnk
