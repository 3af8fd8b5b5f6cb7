// The tables through which lower rooms reach what higher rooms do, filled before anything runs.
#include "bitmap/hooks.h"
#include "collections/overlays/overlay_geometry.h"
#include "collections/overlays/overlay_set.h"
#include "collections/overlays/shared_overlays.h"
#include "color/dither/dither.h"
#include "platform/system_hooks.h"
#include "system/section_store.h"
#include "system/settings.h"

namespace tnk {

constinit const SystemHooks systemHooks = {.attachProcess = attachProcess,
                                           .detachThread = detachThread,
                                           .detachProcess =
                                               [] {
                                                   emptySectionStore();
                                                   detachProcess();
                                               },
                                           .giveBackMemory = emptySectionStore};

constinit const BitmapHooks bitmapHooks = {.stopDithering = stopDithering,
                                           .copyOverlays = copyOverlaySet,
                                           .releaseOverlays = releaseOverlaySet,
                                           .leaveOverlays = leaveSharedOverlays,
                                           .offsetOverlays = offsetOverlays,
                                           .flipOverlays = flipOverlays,
                                           .reverseOverlays = reverseOverlays,
                                           .resizeOverlays = resizeOverlays,
                                           .rotateOverlays = rotateOverlays,
                                           .shearOverlays = shearOverlays};

}  // namespace tnk
