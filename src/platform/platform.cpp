#include "platform/platform.h"

#include "platform/native.h"

namespace tnk {

const Platform nativePlatform = {
    .allocateLocal = native::allocateLocal,
    .freeLocal = native::freeLocal,
    .allocateGlobal = native::allocateGlobal,
    .freeGlobal = native::freeGlobal,
    .allocateMovable = native::allocateMovable,
    .reallocateMovable = native::reallocateMovable,
    .lockMovable = native::lockMovable,
    .unlockMovable = native::unlockMovable,
    .sizeOfMovable = native::sizeOfMovable,
    .freeMovable = native::freeMovable,
    .createSection = native::createSection,
    .closeSection = native::closeSection,
    .openFile = native::openFile,
    .readFile = native::readFile,
    .writeFile = native::writeFile,
    .seekFile = native::seekFile,
    .endFileHere = native::endFileHere,
    .closeFile = native::closeFile,
    .deleteFile = native::deleteFile,
    .isDirectory = native::isDirectory,
    .makeTempName = native::makeTempName,
    .lastErrorIsDiskFull = native::lastErrorIsDiskFull,
    .memoryStatus = native::memoryStatus,
    .handleCount = native::handleCount,
    .createThreadSlot = native::createThreadSlot,
    .threadValue = native::threadValue,
    .setThreadValue = native::setThreadValue,
    .deleteThreadSlot = native::deleteThreadSlot,
    .lock = native::lock,
    .unlock = native::unlock,
    .createPalette = native::createPalette,
    .paletteSize = native::paletteSize,
    .getPaletteEntries = native::getPaletteEntries,
    .setPaletteEntries = native::setPaletteEntries,
    .nearestPaletteIndex = native::nearestPaletteIndex,
    .deletePalette = native::deletePalette,
    .screenPalette = native::screenPalette,
    .deleteRegion = native::deleteRegion,
    .loadModule = native::loadModule,
    .findSymbol = native::findSymbol,
    .unloadModule = native::unloadModule,
    .yieldThread = native::yieldThread,
    .diskRoom = native::diskRoom,
    .toMultibyte = native::toMultibyte,
};

const Platform* platform = &nativePlatform;

}  // namespace tnk
