// Progress for the callbacks of the calling thread.
#pragma once

#include <cstdint>

#include "base/progress.h"
#include "system/settings.h"

namespace tnk {

inline Progress statusProgress(int32_t rows) {
    const ThreadSettings& settings = currentSettings();
    return Progress(settings.statusCallback, settings.statusUserData, rows);
}

inline Progress copyProgress(int32_t rows) {
    const ThreadSettings& settings = currentSettings();
    return Progress(settings.copyStatusCallback, settings.copyStatusUserData, rows);
}

}  // namespace tnk
