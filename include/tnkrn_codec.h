/*
 * tnkrn_codec.h - interface of the optional codec modules behind super-compressed bitmaps and coded images.
 *
 * A codec module is a shared library that packs rows of pixels without loss. The kernel looks for it beside itself,
 * outside Windows also in the folder tnkrn15u there, then where the system looks, when a super-compressed bitmap is
 * allocated, and keeps it loaded while the bitmap has its storage:
 *
 *     bits per pixel   modules, in the order in which they are tried
 *     1                TFFAX15U.DLL, then TFCMP15U.DLL
 *     8, 24            TFCMP15U.DLL
 *
 * (.so in place of .DLL outside Windows). A module has the entry points below, C functions under exactly these names;
 * on 32-bit Windows they are __stdcall and exported undecorated (fltSaveBuffer, no @20). Super-compressed bitmaps need
 * fltSaveBuffer and fltLoadBuffer; device-independent bitmaps that hold a coded image need fltLoadImage, of
 * TFCMP15U.DLL, which is loaded for the call.
 *
 * They may be called by several threads at a time and keep nothing between calls. The kernel unpacks and compares what
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

/* An image in a device-independent bitmap, as its header tells. */
typedef struct CodecImage {
    uint32_t StructSize; /* sizeof(CodecImage), 12 */
    int32_t Width;       /* pixels */
    int32_t Height;      /* rows, at least 1 */
} CodecImage;

/* Takes a row of Width pixels of 3 bytes, blue first. Returns 1 to go on; another value ends the work. */
typedef int32_t(TNK_CALL* CodecRowRoutine)(void* User, int32_t Row, const uint8_t* Pixels);

/*
 * Decodes an image of exactly Width x Height pixels and gives its rows to TakeRow, each once, 0 at the top of the picture
 * first. What coding it is shows in the data: JPEG is, with or without its Huffman tables (those of ITU-T T.81, Annex K,
 * stand in).
 * Returns 1, what TakeRow returned when that was not 1, or a negative code: -1 no memory; -13 null or a size that is none;
 * -16 data of no known coding, damaged, or of another size; -789 StructSize.
 */
TNK_CODEC_API int32_t TNK_CALL fltLoadImage(const CodecImage* Image, const uint8_t* Packed, uint32_t PackedBytes,
                                            CodecRowRoutine TakeRow, void* User);

/* The entry points as routines that were looked up. */
typedef int32_t(TNK_CALL* CodecSaveRoutine)(const CodecChunk* Chunk, const uint8_t* Rows, uint8_t* Packed,
                                            uint32_t Capacity, uint32_t* PackedBytes);
typedef int32_t(TNK_CALL* CodecLoadRoutine)(const CodecChunk* Chunk, const uint8_t* Packed, uint32_t PackedBytes,
                                            uint8_t* Rows);
typedef int32_t(TNK_CALL* CodecImageRoutine)(const CodecImage* Image, const uint8_t* Packed, uint32_t PackedBytes,
                                             CodecRowRoutine TakeRow, void* User);

#ifdef __cplusplus
}
#endif

#endif
