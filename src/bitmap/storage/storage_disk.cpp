// Bitmaps in a temporary file that vanishes when it is closed. The file is one byte longer than the pixel data.
#include "base/pixel_format.h"
#include "base/shape.h"
#include "bitmap/storage/storage.h"
#include "platform/platform.h"
#include "system/file.h"

namespace tnk {
namespace {

bool writeZeroAt(T_HANDLE file, uint32_t position) {
    const uint8_t zero = 0;
    return seekBig(file, position, SeekOrigin::start) == position && writeBig(file, &zero, 1) == 1;
}

// Makes the file `size` + 1 bytes long and goes back to its start. Bytes never written read as zero.
Result fillFile(T_HANDLE file, uint32_t size) {
    if (!writeZeroAt(file, size - 1)) return lastFileError(FAILURE);
    if (seekBig(file, size, SeekOrigin::start) != size) return FAILURE;
    const uint8_t zero = 0;
    if (writeBig(file, &zero, 1) != 1) return lastFileError(ERROR_FILE_WRITE);
    return seekBig(file, 0, SeekOrigin::start) == 0 ? SUCCESS : FAILURE;
}

void releaseDisk(BitmapHandle& bitmap) {
    if (bitmap.DataHandle != 0) platform->closeFile(bitmap.DataHandle);
    bitmap.DataHandle = 0;
    bitmap.pData = nullptr;
}

int64_t positionOf(BitmapHandle& bitmap, int32_t row, uint32_t column) {
    return seekRow(bitmap, row) + static_cast<int64_t>(columnOffset(column, Shape(bitmap).bits));
}

int64_t readDisk(BitmapHandle& bitmap, int32_t row, uint32_t column, uint8_t* buffer, uint32_t bytes) {
    const int64_t position = positionOf(bitmap, row, column);
    // Handle 0 is a record that was marked as disk storage but has no file.
    if (bitmap.DataHandle == 0) return ERROR_FILE_SEEK;
    const Result result = readAt(bitmap.DataHandle, position, buffer, bytes);
    return result.ok() ? int64_t{bytes} : result.code;
}

int64_t writeDisk(BitmapHandle& bitmap, int32_t row, uint32_t column, const uint8_t* buffer, uint32_t bytes) {
    const int64_t position = positionOf(bitmap, row, column);
    if (bitmap.DataHandle == 0) return ERROR_FILE_SEEK;
    const Result result = writeAt(bitmap.DataHandle, position, buffer, bytes);
    if (result.ok()) return bytes;
    return result.code == ERROR_DISK_FULL ? ERROR_FILE_WRITE : result.code;
}

Result lendDisk(BitmapHandle&, int32_t, int32_t, uint8_t** rows) {
    *rows = nullptr;
    return SUCCESS;
}

Result resizeDisk(BitmapHandle& bitmap, int32_t height) {
    const uint32_t bytes = bytesWithOffset(bitmap, height);
    if (bitmap.DataHandle == 0 || !setFileSize(bitmap.DataHandle, bytes)) return FAILURE;
    bitmap.Size = bytes;
    return SUCCESS;
}

}  // namespace

Result allocateDisk(BitmapHandle& bitmap) {
    const T_HANDLE file = createTemporaryFile();
    if (file == kNoFile) return lastFileError(FAILURE);
    const Result filled = fillFile(file, bitmap.Size);
    if (!filled.ok()) {
        platform->closeFile(file);
        return filled;
    }
    bitmap.DataHandle = file;
    bitmap.DataOffset = 0;
    bitmap.pData = nullptr;
    bitmap.CurrentPos = 0;
    bitmap.CurrentRow = 0;
    bitmap.Flags |= BMF_ALLOCATED | BMF_DISK;
    return SUCCESS;
}

const StorageKind kDiskStorage = {MEMKIND_DISK, kPlainRows, releaseDisk, readDisk,
                                  writeDisk,    lendDisk,   resizeDisk,  measureRows};

}  // namespace tnk
