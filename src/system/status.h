// Progress for the callbacks of the calling thread.
#pragma once

#include <cstdint>

#include "base/progress.h"
#include "system/section_store.h"
#include "system/settings.h"

namespace tnk {

inline Progress statusProgress(int32_t rows, ProgressRange range = {}) {
    const ThreadSettings& settings = currentSettings();
    return Progress(settings.statusCallback, settings.statusUserData, rows, range);
}

inline Progress copyProgress(int32_t rows) {
    const ThreadSettings& settings = currentSettings();
    return Progress(settings.copyStatusCallback, settings.copyStatusUserData, rows);
}

// Whether code of the caller's may run during an operation that has no callbacks of its own.
inline bool isWatched() {
    const ThreadSettings& settings = currentSettings();
    return settings.statusCallback != nullptr || settings.copyStatusCallback != nullptr;
}

// For storage that the operation at hand is about to write whole: callbacks could look at it before.
inline Content contentToFill() { return isWatched() ? Content::zero : Content::unset; }

}  // namespace tnk
