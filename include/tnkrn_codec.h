/*
 * tnkrn_codec.h - interface of the optional codec modules behind super-compressed bitmaps.
 *
 * A codec module is a shared library that packs rows of pixels without loss. The kernel looks for it beside itself,
 * then where the system looks, when a super-compressed bitmap is allocated, and keeps it loaded while the bitmap has its
 * storage:
 *
 *     bits per pixel   modules, in the order in which they are tried
 *     1                TFFAX15U.DLL, then TFCMP15U.DLL
 *     8, 24            TFCMP15U.DLL
 *
 * (.so in place of .DLL outside Windows). A module has both entry points below, C functions under exactly these names;
 * on 32-bit Windows they are __stdcall and exported undecorated (fltSaveBuffer, no @20).
 *
 * Both may be called by several threads at a time and keep nothing between calls. The kernel unpacks and compares what
 * was packed before it lets go of the rows, and keeps rows that a module cannot pack as they are: no answer of a module
 * loses pixels.
 */
#ifndef TNKRN_CODEC_H
#define TNKRN_CODEC_H

#include "tnkrn.h"

#if defined(TNK_CODEC_BUILDING) && defined(_WIN32)
#define TNK_CODEC_API __declspec(dllexport)
#elif defined(_WIN32)
#define TNK_CODEC_API
#else
#define TNK_CODEC_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Rows that are packed together: a whole number of stored rows as BitmapHandle has them. The bits and bytes after the
 * last pixel of a row are data like the others. The same record goes to both entry points. */
typedef struct CodecChunk {
    uint32_t StructSize;   /* sizeof(CodecChunk), 24 */
    int32_t BitsPerPixel;  /* 1, 8 or 24 */
    uint32_t Order;        /* ORDER_* of the bitmap when it was allocated: a hint for predictors */
    int32_t Width;         /* pixels a row */
    int32_t Rows;          /* at least 1 */
    uint32_t BytesPerLine; /* bytes a row, a multiple of 4 */
} CodecChunk;

/*
 * Packs Rows (Chunk->Rows x Chunk->BytesPerLine bytes) into at most Capacity bytes at Packed and writes their number.
 * Returns 1, or a negative code: -1 no memory, or the result does not fit Capacity; -13 null; -27 depth; -789
 * StructSize. After a code the kernel keeps the rows unpacked.
 */
TNK_CODEC_API int32_t TNK_CALL fltSaveBuffer(const CodecChunk* Chunk, const uint8_t* Rows, uint8_t* Packed,
                                             uint32_t Capacity, uint32_t* PackedBytes);

/*
 * Unpacks what fltSaveBuffer made into exactly Chunk->Rows x Chunk->BytesPerLine bytes at Rows.
 * Returns 1, or a negative code: -1 no memory, or the data is damaged; -13, -27, -789 as above. A code becomes the
 * result of the row access, and the packed bytes are kept.
 */
TNK_CODEC_API int32_t TNK_CALL fltLoadBuffer(const CodecChunk* Chunk, const uint8_t* Packed, uint32_t PackedBytes,
                                             uint8_t* Rows);

typedef int32_t(TNK_CALL* CodecSaveRoutine)(const CodecChunk* Chunk, const uint8_t* Rows, uint8_t* Packed,
                                            uint32_t Capacity, uint32_t* PackedBytes);
typedef int32_t(TNK_CALL* CodecLoadRoutine)(const CodecChunk* Chunk, const uint8_t* Packed, uint32_t PackedBytes,
                                            uint8_t* Rows);

#ifdef __cplusplus
}
#endif

#endif
