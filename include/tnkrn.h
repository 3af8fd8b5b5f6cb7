/*
 * tnkrn.h - public interface of the Tarnkit kernel library.
 *
 * On 32-bit Windows the library is Tnkrn15u.dll, elsewhere libtnkrn15u. The header compiles as C99 and as C++
 * and includes no platform header.
 *
 * Conventions
 *   Results    Functions return a signed 32-bit result: SUCCESS (1), a negative code from the table below, or,
 *              where stated, a count, a handle (0 on failure) or a colour value. A callback that stops an
 *              operation ends it with the callback's own value.
 *   Records    Records carry their size in their first field and are checked against the exact size, which
 *              is sizeof the record: 168 bytes for BitmapHandle where pointers have 32 bits.
 *   Ownership  The caller owns every record; the library owns what it attaches to one and releases it in
 *              T_FreeBitmap.
 *   Rows       A stored row is BytesPerLine bytes, a multiple of 4. Pixels of 1 to 7 bits are packed, the first
 *              pixel in the most significant bits. Row 0 is the first row in storage.
 *   Colours    A colour value is 32 bits: red in the low byte, then green, then blue; the top byte is a tag
 *              (COLOR_TAG_*).
 *   Callbacks  Callbacks and installed routines must not leave by an exception or longjmp: the operation that called
 *              them would not release what it holds. They end it by what they return.
 *   Threads    Settings belong to the calling thread. Any number of threads may read one bitmap at a time, by one
 *              record or by copies of it, whatever its storage; while a thread changes it (rows, pixels, storage,
 *              record) no other may use it.
 */
#ifndef TNKRN_H
#define TNKRN_H

#include <stdint.h>

#if defined(_WIN32) && (defined(__i386__) || defined(_M_IX86))
#define TNK_CALL __stdcall
#else
#define TNK_CALL
#endif

#if defined(_WIN32)
#define TNK_API
#else
#define TNK_API __attribute__((visibility("default")))
#endif

/* The release that this header belongs to: names the packages, the soname and what T_GetLibraryVersion answers. TNK_VERSION
 * is one number for comparisons, TNK_VERSION_STRING the three joined by points. */
#define TNK_VERSION_MAJOR 15
#define TNK_VERSION_MINOR 0
#define TNK_VERSION_PATCH 0
#define TNK_MAKE_VERSION(major, minor, patch) ((major)*10000 + (minor)*100 + (patch))
#define TNK_VERSION TNK_MAKE_VERSION(TNK_VERSION_MAJOR, TNK_VERSION_MINOR, TNK_VERSION_PATCH)
#define TNK_QUOTE_(text) #text
#define TNK_QUOTE_VERSION_(major, minor, patch) TNK_QUOTE_(major.minor.patch)
#define TNK_VERSION_STRING TNK_QUOTE_VERSION_(TNK_VERSION_MAJOR, TNK_VERSION_MINOR, TNK_VERSION_PATCH)

/* Wide characters have 16 bits on every target. */
#if defined(_WIN32)
#include <stddef.h>
typedef wchar_t T_WCHAR;
#elif defined(__cplusplus)
typedef char16_t T_WCHAR;
#else
typedef uint16_t T_WCHAR;
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* A file, section, palette, region or movable-block handle. 0 means none; a failed file handle is -1. */
typedef intptr_t T_HANDLE;

/* ------------------------------------------------------------------------------------------------------------
 * Result codes
 *
 * Every code has a name with the prefix T_. The short names without it are what the documentation uses; they are left
 * out when TNK_NO_SHORT_CODES is defined. Two of them are names of <windows.h> too, with values of its own. On Windows
 * these two stay the platform's, whichever header comes first; a file that never includes <windows.h> may ask for
 * them by TNK_ALL_SHORT_CODES.
 */
#define T_SUCCESS 1                          /* success */
#define T_FAILURE (-1)                       /* memory, a section or a temporary file could not be had */
#define T_ERROR_NOT_ALLOCATED (-2)           /* the bitmap, or a table it needs, has no storage */
#define T_ERROR_SIZE_TOO_LARGE (-3)          /* pixel data would reach 0xFFFF0001 bytes */
#define T_ERROR_FILE_SEEK (-4)               /* a seek did not reach the requested position */
#define T_ERROR_FILE_WRITE (-5)              /* a write failed */
#define T_ERROR_FILE_READ (-7)               /* a read failed */
#define T_ERROR_INVALID_SIZE (-11)           /* no data, a position outside the bitmap, a negative extent */
#define T_ERROR_INVALID_PARAMETER (-13)      /* null pointer, bad option, bad memory type, bad view perspective */
#define T_ERROR_INVALID_DIB (-16)            /* a device-independent bitmap that cannot be converted */
#define T_ERROR_BPP_NOT_SUPPORTED (-27)      /* bits per pixel not supported by the operation */
#define T_ERROR_NOT_INITIALIZED (-30)        /* the dispatch table was never set */
#define T_ERROR_ROWS_INCOMPLETE (-74)        /* a transfer ended before all rows were written */
#define T_ERROR_DISK_FULL (-295)             /* no temporary file, or the platform reports a full disk */
#define T_ERROR_CODEC_MISSING (-356)         /* a codec module for super-compression is not available */
#define T_ERROR_STRUCT_SIZE (-789)           /* a record's size field, or the size argument, is wrong */
#define T_ERROR_NULL_POINTER (-814)          /* a required output or table pointer is null */
#define T_ERROR_OVERLAY_NOT_ALLOCATED (-815) /* no overlay set, or an empty overlay slot */
#define T_ERROR_OVERLAY_INVALID (-816)       /* no bit-plane binding, or a plane outside the bitmap's bits */
#define T_ERROR_SIGNED_DATA (-1360)          /* signed samples where the operation takes none */
#define T_ERROR_LUT_LENGTH (-1486)           /* LUTLength does not match the bit window */

#if !defined(TNK_NO_SHORT_CODES)
#define SUCCESS T_SUCCESS
#define FAILURE T_FAILURE
#define ERROR_NOT_ALLOCATED T_ERROR_NOT_ALLOCATED
#define ERROR_SIZE_TOO_LARGE T_ERROR_SIZE_TOO_LARGE
#define ERROR_FILE_SEEK T_ERROR_FILE_SEEK
#define ERROR_FILE_WRITE T_ERROR_FILE_WRITE
#define ERROR_FILE_READ T_ERROR_FILE_READ
#define ERROR_INVALID_SIZE T_ERROR_INVALID_SIZE
#define ERROR_INVALID_DIB T_ERROR_INVALID_DIB
#define ERROR_BPP_NOT_SUPPORTED T_ERROR_BPP_NOT_SUPPORTED
#define ERROR_NOT_INITIALIZED T_ERROR_NOT_INITIALIZED
#define ERROR_ROWS_INCOMPLETE T_ERROR_ROWS_INCOMPLETE
#define ERROR_CODEC_MISSING T_ERROR_CODEC_MISSING
#define ERROR_STRUCT_SIZE T_ERROR_STRUCT_SIZE
#define ERROR_NULL_POINTER T_ERROR_NULL_POINTER
#define ERROR_OVERLAY_NOT_ALLOCATED T_ERROR_OVERLAY_NOT_ALLOCATED
#define ERROR_OVERLAY_INVALID T_ERROR_OVERLAY_INVALID
#define ERROR_SIGNED_DATA T_ERROR_SIGNED_DATA
#define ERROR_LUT_LENGTH T_ERROR_LUT_LENGTH
#if !defined(_WIN32) || (defined(TNK_ALL_SHORT_CODES) && !defined(_WINERROR_))
#define ERROR_INVALID_PARAMETER T_ERROR_INVALID_PARAMETER
#define ERROR_DISK_FULL T_ERROR_DISK_FULL
#endif
#endif

/*
 * What a result says, in English, for messages and logs: lower case, without a period. Every code above has a text of its
 * own; positive results (success, a count, a handle) share that of success; 0 and negative values that are no codes, which
 * callbacks may return, have texts that say so. Never null, never freed; any thread may ask at any time. The plain form is
 * ASCII.
 */
TNK_API const char* TNK_CALL T_GetErrorText(int32_t Result);
TNK_API const T_WCHAR* TNK_CALL T_GetErrorTextW(int32_t Result);

/* ------------------------------------------------------------------------------------------------------------
 * Records and constants
 */

/* One palette entry. Colour comparisons look at blue, green and red; the reserved byte is carried along. */
typedef struct PaletteEntry {
    uint8_t Blue;
    uint8_t Green;
    uint8_t Red;
    uint8_t Reserved;
} PaletteEntry;

/* BitmapHandle.Flags */
#define BMF_ALLOCATED 0x1u          /* storage is attached */
#define BMF_MEMORY 0x2u             /* data lies in memory (every kind but disk) */
#define BMF_DISK 0x4u               /* data lies in a temporary file */
#define BMF_LOCKED 0x10u            /* movable storage is accessed: pData is valid */
#define BMF_PLAYBACK_A 0x40u        /* animation flag, copied by T_CopyPlaybackParms */
#define BMF_PLAYBACK_B 0x80u        /* animation flag, copied by T_CopyPlaybackParms */
#define BMF_COMPRESSED 0x100u       /* 1-bit rows held run-compressed */
#define BMF_SIGNED 0x200u           /* samples with a sign; most operations refuse them unless BMF_WINDOW is set */
#define BMF_USERDATA 0x400u         /* pData belongs to the caller */
#define BMF_WINDOW 0x800u           /* LowBit..HighBit is in force instead of DataLowBit..DataHighBit */
#define BMF_MOVABLE 0x1000u         /* storage is a movable block (T_OsAllocHandle), locked on access */
#define BMF_BYTEMAP 0x2000u         /* the byte map is active */
#define BMF_TILED 0x4000u           /* storage is split into tiles */
#define BMF_SUPERCOMPRESSED 0x8000u /* storage is super-compressed */

/* BitmapHandle.Order */
#define ORDER_RGB 0u        /* red, green, blue by rising address; also every bitmap of 8 bits or fewer */
#define ORDER_BGR 1u        /* blue, green, red by rising address */
#define ORDER_GRAY 2u       /* gray samples: 12 (always), 16 and 32 bits */
#define ORDER_MATRIX_RGB 5u /* BGR byte order, components in a second RGB space: 24 and 48 bits */

/* Memory requests of T_AllocateBitmap, T_CreateBitmap and T_SetDefaultMemoryType. */
#define MEM_CONVENTIONAL 1u     /* memory */
#define MEM_USER 2u             /* none: the caller supplies the pixel memory (only alone) */
#define MEM_DISK 4u             /* a temporary file; served from memory up to the tile size */
#define MEM_NOTILES 8u          /* never split into tiles */
#define MEM_NOCONVENTIONAL 128u /* neither plain memory nor tiles: disk */
#define MEM_TILED 256u          /* plain memory or tiles, never disk (only alone) */
#define MEM_COMPRESSED \
    512u /* run-compressed rows; 1 bit per pixel only, ignored elsewhere. T_ChangeBitmapCompression
                                     compresses a bitmap that has its rows */
#define MEM_SUPERCOMPRESSED 1024u /* super-compressed; 1, 8 and 24 bits only, ignored elsewhere */

/* Kinds reported by T_GetBitmapMemoryInfo. */
#define MEMKIND_MEMORY 1u
#define MEMKIND_TILED 4u
#define MEMKIND_DISK 128u
#define MEMKIND_COMPRESSED 512u
#define MEMKIND_SUPERCOMPRESSED 1024u

/* Tags in the top byte of a colour value. */
#define COLOR_TAG_PLAIN 0x00000000u /* red, green, blue */
#define COLOR_TAG_INDEX 0x01000000u /* the low byte is a palette index */
#define COLOR_TAG_RAW 0x02000000u   /* the low 16 bits are a raw gray sample */
#define COLOR_TAG_GRAY 0x04000000u  /* the low 16 bits are a gray level; their high byte is the 8-bit level */
#define COLOR_ERROR 0x80000000u     /* no colour: T_GetPixelColor failed */

/*
 * A bitmap. The caller declares the record, T_InitBitmap fills it, T_AllocateBitmap attaches storage. The table
 * gives, in brackets, what T_InitBitmap sets.
 */
typedef struct BitmapHandle {
    uint32_t StructSize;      /* sizeof(BitmapHandle) */
    T_HANDLE DataHandle;      /* section, temporary file or movable block; 0 for caller memory [0] */
    uint8_t* pData;           /* pixel data of memory storage; else the library's own [null] */
    int32_t Width;            /* pixels a row */
    int32_t Height;           /* rows */
    int32_t BitsPerPixel;     /* 1-8, 12, 16, 24, 32, 48 or 64 */
    uint32_t BytesPerLine;    /* bytes of one stored row, a multiple of 4 */
    uint32_t CurrentPos;      /* disk: byte position of CurrentRow, modulo 2^32 [0] */
    uint32_t CurrentRow;      /* disk: last row sought [0] */
    uint32_t Flags;           /* BMF_* [0] */
    uint32_t ColorCount;      /* palette entries [2^bits for 8 bits or fewer, else 0] */
    PaletteEntry* Palette;    /* ColorCount entries, freed with the bitmap [null] */
    uint32_t ViewPerspective; /* orientation code 1-8 [4] */
    uint32_t Order;           /* ORDER_* [0 up to 8 bits, ORDER_GRAY for 12, else ORDER_BGR] */
    uint32_t Size;            /* bytes of pixel data; of the encoded rows when BMF_COMPRESSED */
    void* pDitherState;       /* state of T_StartDithering [null] */
    uint32_t DitherMethod;    /* method 0-8 used when this bitmap is reduced [the thread's default] */
    T_HANDLE Region;          /* region, deleted with the bitmap [0] */
    int32_t XResolution;      /* dots per inch [the thread's default, else 150] */
    int32_t YResolution;      /* dots per inch [the thread's default, else 150] */
    uint32_t PlaybackValue1;  /* animation values, copied by T_CopyPlaybackParms [0] */
    uint32_t PlaybackValue2;
    uint32_t PlaybackValue3;
    uint32_t PlaybackColor1; /* colour values, translated when copied [0] */
    uint32_t PlaybackColor2;
    uint32_t PlaybackMode;
    int32_t LowBit;        /* gray display window, in force with BMF_WINDOW [0] */
    int32_t HighBit;       /* -1: all bits [as DataHighBit] */
    PaletteEntry* pLUT;    /* gray lookup table of LUTLength entries [null] */
    uint32_t LUTLength;    /* 2^(high - low + 1) when a table is present [0] */
    uint32_t DataOffset;   /* bytes from the start of the mapped view to pData [0] */
    int32_t MinVal;        /* smallest sample of a gray bitmap [0] */
    int32_t MaxVal;        /* largest sample of a gray bitmap [0] */
    int32_t DataLowBit;    /* low bit of the stored samples [0] */
    int32_t DataHighBit;   /* [15 for 16, 48, 64 bits; 7 for 24; -1, all bits, for 32; else bits - 1] */
    int32_t ByteMapParam1; /* values kept with the byte map [100] */
    int32_t ByteMapParam2; /* [0] */
    int32_t ByteMapParam3; /* [0] */
    uint8_t* pByteMap;     /* 256 bytes, the identity after allocation [null] */
    void* pOverlays;       /* overlay set, released with the bitmap [null] */
    uint32_t Reserved2;    /* copied by T_DupBitmapNewDim [0] */
    uint32_t Reserved3;    /* [0] */
} BitmapHandle;

/* Filled by T_VersionInfo. */
typedef struct VersionRecord {
    uint32_t Size;        /* 108 */
    char ProductName[60]; /* zero-terminated, in the platform's multibyte code page */
    uint32_t Level;
    uint32_t MajorVersion;
    uint32_t MinorVersion;
    char BuildDate[16]; /* zero-terminated, zero-filled */
    char BuildTime[16];
} VersionRecord;

/* Takes a percentage 0-100; returns 1 to go on. Any other value ends the operation and becomes its result. */
typedef int32_t(TNK_CALL* StatusCallback)(int32_t Percent, void* UserData);

/* Kept for the caller only; its real signature is the caller's affair. */
typedef void(TNK_CALL* SubstituteFontCallback)(void);

/* ------------------------------------------------------------------------------------------------------------
 * Bitmap handle and lifecycle
 */

/*
 * Fills Bitmap for Width x Height pixels of BitsPerPixel, without storage. With all three 0 the record is zero
 * but for its size.
 * Codes: -13 null or negative dimensions, -789 StructSize is not sizeof(BitmapHandle), -27 depth, -3 the data
 * would reach 0xFFFF0001 bytes (the record is then all zero).
 */
TNK_API int32_t TNK_CALL T_InitBitmap(BitmapHandle* Bitmap, uint32_t StructSize, int32_t Width, int32_t Height,
                                      int32_t BitsPerPixel);

/*
 * Initialises, allocates, attaches a palette, sets order and perspective.
 *   MemoryType       a MEM_* request
 *   BitsPerPixel     0 makes an 8-bit bitmap with a gray palette
 *   Order            ORDER_*, taken above 8 bits; ORDER_MATRIX_RGB for 24 and 48 bits only
 *   Palette          2^BitsPerPixel entries, copied, for 8 bits or fewer; null takes the fixed palette
 *   ViewPerspective  1-8; 0 means 1
 *   Data, DataSize   caller memory for MEM_USER, see T_SetBitmapDataPointer; Data may be null
 * Codes: those of T_InitBitmap, T_AllocateBitmap and T_SetBitmapDataPointer; -27 order 5 at another depth; -13
 * ViewPerspective above 8, in which case the bitmap stays allocated and the caller frees it.
 */
TNK_API int32_t TNK_CALL T_CreateBitmap(BitmapHandle* Bitmap, uint32_t StructSize, uint32_t MemoryType, int32_t Width,
                                        int32_t Height, int32_t BitsPerPixel, uint32_t Order,
                                        const PaletteEntry* Palette, uint32_t ViewPerspective, void* Data,
                                        uint32_t DataSize);

/*
 * Attaches storage to an initialised record, choosing memory, tiles or a temporary file by MemoryType and the
 * thread's memory thresholds. Nothing that the record names is freed, storage and byte map included: other records may share
 * it. After a failure the record names what it named before. A bitmap of 1 bit whose rows exist changes its storage with
 * T_ChangeBitmapCompression.
 * Storage starts as zero; Size of a run-compressed bitmap is the sum of its encoded rows. MEM_SUPERCOMPRESSED needs an
 * optional codec module (tnkrn_codec.h) and gives memory when the process is short of handles.
 * Tiles (T_SetMemoryThresholds) are runs of whole rows, each in memory or in the bitmap's temporary file, the least
 * recently used in the file. A bitmap of less than a tile has one of its own size and tiles of the set size once it grows.
 * Where half of the files that the process may have are open, no more are made for tiles, which then stay in memory. They are tried where plain memory cannot be had or the thresholds rule it out, before disk: a
 * MaxMemory of 0 makes MEM_CONVENTIONAL and MEM_TILED give tiles, and so does MEM_DISK above the tile size. Rows of tiles
 * are moved by T_GetBitmapRow, T_PutBitmapRow and their companions only; outside the bitmap these fail. A read that pages
 * may give -1, -4, -5, -7 or -295: no row that was stored is lost, and it can be tried again.
 * Codes: -13 null or bad request, -789, -11 Size is 0, -1 no memory or no temporary file, -5 the file could not
 * be made long enough, -356 no codec module.
 */
TNK_API int32_t TNK_CALL T_AllocateBitmap(BitmapHandle* Bitmap, uint32_t MemoryType);

/* Releases everything attached and clears BMF_ALLOCATED; the description stays and can be allocated again. The gray table
 * and the byte map go with storage: a record without storage keeps them. Caller memory is not touched. A null record or a wrong size does nothing. */
TNK_API void TNK_CALL T_FreeBitmap(BitmapHandle* Bitmap);

/*
 * Copies the record, so that both share storage; the caller frees only one of the two. Destination may be null
 * (1). Codes: -13 null source, -789 the source's size field or StructSize.
 */
TNK_API int32_t TNK_CALL T_CopyBitmapHandle(BitmapHandle* Destination, const BitmapHandle* Source, uint32_t StructSize);

/*
 * Grows or shrinks storage to NewHeight rows, keeping the rows that both have; new rows are zero.
 * Codes: -2 null or not allocated, -789, -13 caller memory, accessed storage, or NewHeight below 1, -3 too
 * large, -1 the storage could not be resized (the bitmap is as it was).
 */
TNK_API int32_t TNK_CALL T_ChangeBitmapHeight(BitmapHandle* Bitmap, int32_t NewHeight);

/* Recomputes Size from the storage: the sum of the encoded rows of a run-compressed bitmap, the packed bytes of a
 * super-compressed one (whose Size counts the plain rows until then), else BytesPerLine x Height. Codes: -2 null or not
 * allocated, or compressed storage that is not there, -789. */
TNK_API int32_t TNK_CALL T_UpdateBitmapSize(BitmapHandle* Bitmap);

/*
 * Replaces pData, and nothing else; no copy, the caller keeps ownership. DataSize must equal Size, except for an allocated
 * MEM_USER bitmap: there it is not looked at, and it is the caller who answers for memory of Size bytes, which nothing checks.
 * A bitmap in memory of the library's own keeps that memory behind the caller's pointer: putting the old pData back works,
 * and T_FreeBitmap releases it and never the caller's, whichever is in place. A change of height carries the rows in
 * place over to the library's memory. Rows of a bitmap on disk stay where they are.
 * Codes: -13 null record, DataSize, or storage whose pData is no address of pixels (tiles, compressed rows); -789; -1 no
 * memory.
 */
TNK_API int32_t TNK_CALL T_SetBitmapDataPointer(BitmapHandle* Bitmap, void* Data, uint32_t DataSize);

/* Makes pData valid while storage is movable (BMF_MOVABLE), and ends that. Other storage needs neither. There is
 * no nesting count: nested users take T_LockBitmap, and where threads read the rows or pData of one bitmap, it is accessed
 * before the first of them begins and released after the last has ended. Operations on pixels and whole bitmaps access
 * storage themselves, in several threads at a time too; a release while one of them runs takes effect when it ends. */
TNK_API void TNK_CALL T_AccessBitmap(BitmapHandle* Bitmap);
TNK_API void TNK_CALL T_ReleaseBitmap(BitmapHandle* Bitmap);

/* Returns 1 when the bitmap was accessed already, else accesses it and returns 0 (0 for null). Hand the value
 * to T_UnlockBitmap, which releases only for 0. */
TNK_API int32_t TNK_CALL T_LockBitmap(BitmapHandle* Bitmap);
TNK_API void TNK_CALL T_UnlockBitmap(BitmapHandle* Bitmap, uint32_t WasLocked);

/*
 * Tells the storage kind (MEMKIND_*). The other outputs, each optional, are written for tiles only: bytes of a
 * tile, tiles, tiles in memory, Limit1 the most bytes that tiles hold in memory, Limit2 the least number of tiles in
 * memory, whatever their bytes.
 * Codes: -2 null or not allocated, -789, -13 MemoryKind null.
 */
TNK_API int32_t TNK_CALL T_GetBitmapMemoryInfo(const BitmapHandle* Bitmap, uint32_t* MemoryKind, uint32_t* TileBytes,
                                               uint32_t* TileCount, uint32_t* TilesInMemory, uint32_t* Limit1,
                                               uint32_t* Limit2);

/* Flags of T_DupBitmapNewDim and T_FreeDuplicateBitmap. A bit that is clear shares the source's item. */
#define DUP_ALLOCATE 1u /* allocate, in the source's kind of storage */
#define DUP_PALETTE 2u  /* copy the palette */
#define DUP_REGION 4u   /* copy the region (through the dispatch table) */
#define DUP_OVERLAYS 8u /* copy the overlay set */

/*
 * Initialises Destination as a bitmap of the given size and depth that carries Source's attributes. The pixels are
 * not copied.
 * Codes: -2 null record or unallocated source, -789, those of T_InitBitmap and T_AllocateBitmap, -1 no memory for
 * the gray table (Destination is undone), the region routine's result, which is asked also about a Source without a
 * region.
 */
TNK_API int32_t TNK_CALL T_DupBitmapNewDim(BitmapHandle* Destination, BitmapHandle* Source, uint32_t StructSize,
                                           int32_t Width, int32_t Height, int32_t BitsPerPixel, uint32_t DupFlags);

/* Undoes a duplication made with DupFlags: detaches what is shared with the source, then frees the bitmap as a whole,
 * without DUP_ALLOCATE its palette and its region only. Codes: -13 null. */
TNK_API int32_t TNK_CALL T_FreeDuplicateBitmap(BitmapHandle* Bitmap, uint32_t DupFlags);

/* Copies the gray window, the value range and the lookup table of Source (into a table of its own). Destination's older
 * table is freed unless it is Source's too. Codes: -13 null, -789, -1 no memory for the table (nothing changes). */
TNK_API int32_t TNK_CALL T_CopyGrayParams(BitmapHandle* Destination, const BitmapHandle* Source);

/* ------------------------------------------------------------------------------------------------------------
 * Copying and trimming
 *
 * Coordinates are stored columns and rows. What Destination held is neither looked at nor freed. Reports to the thread's
 * copy-status callback (T_SetCopyStatusCallBack): 0, then after each row of 100 or fewer, after each percent of more.
 * Codes of all of them: -1 no scratch memory, or a row could not be stored; -2, -4, -7 a row could not be read; the
 * callback's value.
 */

/*
 * Makes Destination a full copy of Source: pixels, palette, region, overlays, gray parameters. T_CopyBitmap keeps the
 * kind of storage and the byte map; T_CopyBitmap2 allocates by MemoryType, a MEM_* request, with a new byte map.
 * Destination and Source the same: 1, nothing is done.
 * Codes: -13 null record or unallocated source, -789, those of T_DupBitmapNewDim and T_AllocateBitmap. After a failure
 * Destination has no storage.
 */
TNK_API int32_t TNK_CALL T_CopyBitmap(BitmapHandle* Destination, BitmapHandle* Source, uint32_t StructSize);
TNK_API int32_t TNK_CALL T_CopyBitmap2(BitmapHandle* Destination, BitmapHandle* Source, uint32_t MemoryType,
                                       uint32_t StructSize);

/*
 * Makes Destination a bitmap of Width x Height with Source's pixels from (Left, Top) on, and with its attributes as
 * above. Pixels that Source does not cover, and the bits after the last pixel of a row, are 0. With Destination null or
 * Source itself the copy replaces Source, which stays as it was after a failure.
 * A copy that the callback stops leaves Destination allocated with the rows copied so far, for the caller to free; after
 * any other failure it has no storage.
 * Codes: -13 null or unallocated source, -789, -11 Width or Height 0 or negative, the region routine's result, and those
 * above.
 */
TNK_API int32_t TNK_CALL T_CopyBitmapRect(BitmapHandle* Destination, BitmapHandle* Source, uint32_t StructSize,
                                          int32_t Left, int32_t Top, int32_t Width, int32_t Height);
TNK_API int32_t TNK_CALL T_CopyBitmapRect2(BitmapHandle* Destination, BitmapHandle* Source, uint32_t StructSize,
                                           int32_t Left, int32_t Top, int32_t Width, int32_t Height,
                                           uint32_t MemoryType);

/*
 * Copies all rows of Source into Destination, which is allocated and has no fewer rows. Rows of fewer bytes take as many
 * bytes as they have, those behind their last pixel too. A copy that a callback stops leaves the rows copied so far.
 * Codes: -2 null or not allocated, -789, -13 Destination has fewer rows or rows of more bytes.
 */
TNK_API int32_t TNK_CALL T_CopyBitmapData(BitmapHandle* Destination, BitmapHandle* Source);

/* Replaces Bitmap by its rectangle, clipped to it. Codes: those of T_CopyBitmapRect; -11 nothing is left. */
TNK_API int32_t TNK_CALL T_TrimBitmap(BitmapHandle* Bitmap, int32_t Left, int32_t Top, int32_t Width, int32_t Height);

/* ------------------------------------------------------------------------------------------------------------
 * Lists of bitmaps
 *
 * A list holds records; the pixels of a record belong to the list while it is in it. Indexes count from 0; a run of items
 * (Index, Count) is cut at the end of the list. A list belongs to one thread at a time. While T_CopyBitmapListItems or
 * T_ColorResBitmapList(Ext) works on a list, its callbacks may read the list and copy from it; calls that would change or
 * destroy it are -13 and change nothing.
 * Codes of all of them: -13 null list or output, an index at or past the count, a run of none; -789 a record's size, or
 * the size argument; -814 a list that counts items and has none; -1 no memory, the lists are as they were.
 */
/* Makes an empty list. */
TNK_API int32_t TNK_CALL T_CreateBitmapList(T_HANDLE* List);
/* Frees all bitmaps and the list; 1. */
TNK_API int32_t TNK_CALL T_DestroyBitmapList(T_HANDLE List);
/* Tells the number of items. */
TNK_API int32_t TNK_CALL T_GetBitmapListCount(T_HANDLE List, uint32_t* Count);

/* Inserts the record before Index, or at the end with any index from the count on. The caller's record still names the
 * bitmap and is not to be freed. */
TNK_API int32_t TNK_CALL T_InsertBitmapListItem(T_HANDLE List, uint32_t Index, const BitmapHandle* Bitmap);

/* Takes the item out and, with Bitmap, hands it to the caller. Nothing is freed. */
TNK_API int32_t TNK_CALL T_RemoveBitmapListItem(T_HANDLE List, uint32_t Index, BitmapHandle* Bitmap);

/* The item's record; the bitmap stays the list's. */
TNK_API int32_t TNK_CALL T_GetBitmapListItem(T_HANDLE List, uint32_t Index, BitmapHandle* Bitmap, uint32_t StructSize);

/* Overwrites the item, with an empty record when Bitmap is null or of the wrong size. What was there is not freed: this is
 * for a record that was read, changed, and goes back. */
TNK_API int32_t TNK_CALL T_SetBitmapListItem(T_HANDLE List, uint32_t Index, const BitmapHandle* Bitmap);

/*
 * Puts Bitmap in the item's place. The old record is handed out in OldBitmap, of OldStructSize bytes, or freed without
 * it. Index 0xFFFFFFFF means the last item. An index equal to the count means a spare record behind the items, which
 * no other function sees and which is freed with the list. An empty list: -13.
 */
TNK_API int32_t TNK_CALL T_ReplaceBitmapListItem(T_HANDLE List, uint32_t Index, const BitmapHandle* Bitmap,
                                                 BitmapHandle* OldBitmap, uint32_t OldStructSize);

/* Removes a run of items and frees their bitmaps. */
TNK_API int32_t TNK_CALL T_DeleteBitmapListItems(T_HANDLE List, uint32_t Index, uint32_t Count);

/* Moves a run of items into a new list; or copies it with T_CopyBitmap, whose codes end the copy. NewList is written
 * on success. */
TNK_API int32_t TNK_CALL T_MoveBitmapListItems(T_HANDLE* NewList, T_HANDLE List, uint32_t Index, uint32_t Count);
TNK_API int32_t TNK_CALL T_CopyBitmapListItems(T_HANDLE* NewList, T_HANDLE List, uint32_t Index, uint32_t Count);

/* ------------------------------------------------------------------------------------------------------------
 * Rows
 *
 * Row is the stored row index. Row, column and byte count are the caller's responsibility: they are not checked
 * against the bitmap. The four transfer functions return the bytes moved, or a code; where rows of tiles cannot be stored,
 * T_PutBitmapRow returns 0 and T_PutBitmapRowCol -1, whatever the reason, and the row is as it was. Codes: -13 null, -789, -2 memory
 * storage without a data pointer (movable and not accessed), -4 seek, -5 write, -7 read, -1 neither memory nor
 * disk storage. Super-compressed bitmaps do check: -1 for bytes outside, with nothing moved; also -1 without memory,
 * and the codec module's negative code for rows that it cannot unpack.
 * Run-compressed rows do know their end: a transfer that is not inside the bitmap is -1 and changes nothing. They keep no
 * padding; it reads as 0.
 */
TNK_API int32_t TNK_CALL T_GetBitmapRow(BitmapHandle* Bitmap, uint8_t* Buffer, int32_t Row, uint32_t Bytes);
TNK_API int32_t TNK_CALL T_PutBitmapRow(BitmapHandle* Bitmap, const uint8_t* Buffer, int32_t Row, uint32_t Bytes);

/* As above, from the byte that holds the first bit of pixel column Col. */
TNK_API int32_t TNK_CALL T_GetBitmapRowCol(BitmapHandle* Bitmap, uint8_t* Buffer, int32_t Row, uint32_t Col,
                                           uint32_t Bytes);
TNK_API int32_t TNK_CALL T_PutBitmapRowCol(BitmapHandle* Bitmap, const uint8_t* Buffer, int32_t Row, uint32_t Col,
                                           uint32_t Bytes);

/*
 * Writes runs of pixels. Buffer holds the span of the row from column Col on, pixel for pixel, its first pixel in the top bits
 * of the first byte (12 bits: as an even pixel); Segments holds Count words, pairs (start, end) with end exclusive, in pixels
 * from Col. All other pixels stay. 2 bits: where Col begins a byte, a run from pixel 2 of a byte on leaves pixel 3 of that
 * byte as it was. KeepTopBits keeps the top bit of 16-bit
 * colour pixels and the alpha of 32- and 64-bit ones.
 * Returns 1 or a code as above.
 */
TNK_API int32_t TNK_CALL T_PutBitmapRowSegments(BitmapHandle* Bitmap, const uint8_t* Buffer, int32_t Row, uint32_t Col,
                                                const uint32_t* Segments, uint32_t Count, uint32_t KeepTopBits);

/* ------------------------------------------------------------------------------------------------------------
 * Run-compressed rows of 1 bit
 *
 * An encoded row is a count of 32 bits, then that many runs of 16 bits, little-endian: lengths in pixels, by turns of 0
 * bits and of 1 bits, beginning with 0 bits (of which there may be none). A run of more than 65,535 pixels is cut where
 * the last byte begins that would make it too long, and goes on after an empty run of the other colour: 70,000 pixels
 * are 65,528, 0, 4,472. A row of W pixels takes at most 4 + 2 x (W + 1) bytes; rows follow each other without padding.
 * Addresses need no alignment. Plain rows are 1 bit a pixel, the first pixel in the most significant bit.
 */

/* Encodes Pixels pixels of one row. Src is the byte of the first pixel, StartCol AND 7 its place there. Src is only
 * read. Returns Pixels. Codes: -13 null. */
TNK_API int32_t TNK_CALL T_CompressRow(void* Dst, uint8_t* Src, uint32_t StartCol, uint32_t Pixels);
/* Encodes rows that lie ((Width + 31) >> 3) & ~3 bytes apart. Codes: -13 null. */
TNK_API int32_t TNK_CALL T_CompressRows(void* Dst, const uint8_t* Src, uint32_t Width, uint32_t Rows);

/* Decodes pixels StartPixel .. StartPixel + Pixels - 1 of an encoded row into (Pixels + 7) / 8 bytes of Dst, from its
 * first bit on. Pixels that the runs do not reach, and the bits after the last pixel, are 0; runs beyond are not looked
 * at. Codes: -13 null. */
TNK_API int32_t TNK_CALL T_ExpandRow(const void* Src, uint8_t* Dst, uint32_t StartPixel, uint32_t Pixels);
/* Decodes encoded rows into rows ((Width + 31) >> 3) & ~3 bytes apart, of which the first (Width + 7) / 8 bytes are
 * written. Codes: -13 null. */
TNK_API int32_t TNK_CALL T_ExpandRows(const void* Src, uint8_t* Dst, uint32_t Width, uint32_t Rows);

/*
 * Rows of a 1-bit bitmap, in any kind of storage, as encoded rows; the Col forms move Pixels pixels from column Col on,
 * as one encoded row of Pixels pixels.
 *   WorkBuffer  BytesPerLine bytes for the call's own use while storage is not compressed, or null
 *   Buffer      get: room for 4 + 2 x (pixels + 1) bytes a row. Put: pixels that the runs lack are 0, runs beyond the
 *               last pixel are not looked at
 * Return the rows moved. Codes: -13 null, Rows below 1, Pixels 0; -2 not allocated; -789; -27 not 1 bit; -11 rows or
 * columns outside the bitmap; -1 no memory; those of row access. A put that fails leaves the row at which it failed,
 * and those after it, as they were; in storage on disk that row may be written in part.
 */
TNK_API int32_t TNK_CALL T_GetBitmapRowCompressed(BitmapHandle* Bitmap, void* WorkBuffer, void* Buffer,
                                                  int32_t FirstRow, int32_t Rows);
TNK_API int32_t TNK_CALL T_PutBitmapRowCompressed(BitmapHandle* Bitmap, void* WorkBuffer, const void* Buffer,
                                                  int32_t FirstRow, int32_t Rows);
TNK_API int32_t TNK_CALL T_GetBitmapRowColCompressed(BitmapHandle* Bitmap, void* WorkBuffer, void* Buffer, int32_t Row,
                                                     uint32_t Col, uint32_t Pixels);
TNK_API int32_t TNK_CALL T_PutBitmapRowColCompressed(BitmapHandle* Bitmap, void* WorkBuffer, const void* Buffer,
                                                     int32_t Row, uint32_t Col, uint32_t Pixels);

/* Turn an image of encoded rows upside down (the order of its rows), or left to right (each row of Width pixels: missing
 * pixels count as 0, runs beyond the last pixel are dropped). Dst may be Src, else they must not overlap. A mirrored row
 * of up to 65,535 pixels has at most one run more than it had; any has room in 4 + 2 x (Width + 1) bytes.
 * Codes: -13 null; -1 no memory for mirroring in place (nothing has changed). */
TNK_API int32_t TNK_CALL T_FlipCompressedBuffer(const void* Src, void* Dst, uint32_t Rows);
TNK_API int32_t TNK_CALL T_MirrorCompressedBuffer(const void* Src, void* Dst, uint32_t Width, uint32_t Rows);

/*
 * Change the storage of a 1-bit bitmap: Compress not 0 makes it run-compressed, 0 takes compressed rows to what a
 * request of MEM_CONVENTIONAL gives; T_ToggleBitmapCompression does the one or the other. All else in the record stays;
 * a bitmap that is as wanted is left alone. Memory of the caller is no longer used afterwards, and stays the caller's.
 * Reports to the status callback.
 * Codes: -13 null, or movable storage that is accessed; -2 not allocated; -789; -27 not 1 bit; those of T_AllocateBitmap
 * and of row access; a callback's value. After a failure the bitmap is as it was.
 */
TNK_API int32_t TNK_CALL T_ChangeBitmapCompression(BitmapHandle* Bitmap, uint32_t Compress);
TNK_API int32_t TNK_CALL T_ToggleBitmapCompression(BitmapHandle* Bitmap);

/* ------------------------------------------------------------------------------------------------------------
 * Pixels. Row is the stored row index, Col the pixel column.
 */

/*
 * Move the bytes that a pixel touches, as stored: ((Col + 1) * BitsPerPixel + 7) / 8 - Col * BitsPerPixel / 8 of them.
 * Neighbours that share the bytes come along.
 * Codes: -2 null record or buffer or not allocated, -789, -27 depth, -13 BufferSize below that, -1 not all could be
 * moved: the bytes do not lie in a stored row, or row access failed.
 */
TNK_API int32_t TNK_CALL T_GetPixelData(BitmapHandle* Bitmap, uint8_t* Buffer, int32_t Row, uint32_t Col,
                                        uint32_t BufferSize);
TNK_API int32_t TNK_CALL T_PutPixelData(BitmapHandle* Bitmap, const uint8_t* Buffer, int32_t Row, uint32_t Col,
                                        uint32_t BufferSize);

/*
 * The colour value of a pixel: plain, or COLOR_TAG_GRAY for 12- and 16-bit gray pixels, whose samples are read through
 * LowBit..HighBit and scaled to 16 bits; with a lookup table in force (pLUT and BMF_WINDOW) the colour of its entry.
 * Channels of 16 bits count by their high byte, alpha not at all. An entry that a palette or table does not have is
 * black. COLOR_ERROR for null, unallocated, a wrong size, a position outside, 32-bit gray and failed row access.
 */
TNK_API uint32_t TNK_CALL T_GetPixelColor(BitmapHandle* Bitmap, int32_t Row, int32_t Col);

/*
 * Stores a colour value; other pixels and alpha channels keep theirs.
 *   1-8 bits        COLOR_TAG_INDEX gives the index, anything else the nearest palette entry (0 without a palette)
 *   12, 16 gray     a level (COLOR_TAG_GRAY) or the gray level of the colour, scaled into LowBit..HighBit, the other
 *                   bits 0; COLOR_TAG_RAW is the whole sample; with a lookup table in force, the nearest entry's index
 *   32 gray         the value itself, all 32 bits
 *   colours         red, green and blue; COLOR_TAG_GRAY means its 8-bit level in all three, other tags do not count
 * Where the dispatch table has a position routine it decides what may be written, inside the bitmap.
 * Codes: -2 null or not allocated, -789, -1360 signed samples, -11 the position, -27 depth, -13 an order that the depth
 * does not have, and those of row access.
 */
TNK_API int32_t TNK_CALL T_PutPixelColor(BitmapHandle* Bitmap, int32_t Row, int32_t Col, uint32_t Color);

/* ------------------------------------------------------------------------------------------------------------
 * Settings of the calling thread, callbacks, version
 */

/* Dithering method 0-8 (DITHER_*) that T_InitBitmap gives to a bitmap. The setter: -13 above 8, else 1. */
TNK_API int32_t TNK_CALL T_GetDefaultDithering(void);
TNK_API int32_t TNK_CALL T_DefaultDithering(uint32_t Method);

/* Dots per inch that T_InitBitmap gives to a bitmap; values of 0 or less mean 150 there. Setters store unchecked
 * and return the previous value. */
TNK_API int32_t TNK_CALL T_GetDefaultXResolution(void);
TNK_API int32_t TNK_CALL T_GetDefaultYResolution(void);
TNK_API int32_t TNK_CALL T_SetDefaultXResolution(int32_t Resolution);
TNK_API int32_t TNK_CALL T_SetDefaultYResolution(int32_t Resolution);

/* Default memory type: MEM_CONVENTIONAL or MEM_NOCONVENTIONAL. Codes: -13 null or any other type. */
TNK_API int32_t TNK_CALL T_GetDefaultMemoryType(uint32_t* Type);
TNK_API int32_t TNK_CALL T_SetDefaultMemoryType(uint32_t Type);

/*
 * Memory thresholds. Bytes, or percent when negative (down to -100). The getter's pointers are optional.
 *   Reserve     memory to leave free; percent of physical memory plus paging file [0]
 *   MaxMemory   largest bitmap served from memory; percent of what is available [0x7FFFFFFF]
 *   TileSize    bytes of a tile, never negative; 0 means 16,777,216 [0]
 *   Threshold4  most memory that the tiles of a bitmap hold; percent of what is available at its allocation (of at most
 *               1 GB in 32-bit processes) [-100]
 *   Threshold5  least number of its tiles that stay in memory, at least 1; percent of its tiles [1]. It wins over
 *               Threshold4: 0 there keeps just these.
 * The setter looks at the values that Which selects (bits 0-4 in the order above) and stops with -13 at the first
 * one that is out of range; those before it stay stored. Both return 1.
 */
TNK_API int32_t TNK_CALL T_GetMemoryThresholds(int32_t* Reserve, int32_t* MaxMemory, int32_t* TileSize,
                                               int32_t* Threshold4, int32_t* Threshold5);
TNK_API int32_t TNK_CALL T_SetMemoryThresholds(int32_t Reserve, int32_t MaxMemory, int32_t TileSize, int32_t Threshold4,
                                               int32_t Threshold5, uint32_t Which);

/*
 * Memory of freed bitmaps that the process keeps for the next ones, an addition of this library: the system clears each
 * page that it hands out, which takes longer than most work on the pixels. New bitmaps are zero as ever. The longest unused goes
 * first; all goes when an allocation fails, when less than an eighth of the physical memory is available, and at unload.
 *   Limit   bytes kept at most, and of the largest bitmap that is kept; at first, and at most, 128 MB, in 32-bit processes
 *           64 MB. No more than an eighth of the physical memory is kept, whatever it says. 0 keeps nothing and gives back
 *           what is kept.
 *   Kept    bytes kept now
 * For all threads. The getter's pointers are optional. Both return 1.
 */
TNK_API int32_t TNK_CALL T_GetKeptMemory(uint32_t* Limit, uint32_t* Kept);
TNK_API int32_t TNK_CALL T_SetKeptMemory(uint32_t Limit);

/* Directory of temporary files; empty, as at first, means the platform's. Length counts characters with the
 * terminator; a longer path is cut, and Length 0 writes nothing. A path of 264 characters or more is cut to 263 when it
 * is stored, and then names another directory. Codes: -13 null, or a path that is not an existing directory. */
TNK_API int32_t TNK_CALL T_GetTempDirectory(T_WCHAR* Buffer, uint32_t Length);
TNK_API int32_t TNK_CALL T_SetTempDirectory(const T_WCHAR* Path);

/* Progress of long operations. The old values are written, where pointers are given, before the new are stored. */
TNK_API void TNK_CALL T_SetStatusCallBack(StatusCallback Callback, void* UserData, StatusCallback* OldCallback,
                                          void** OldUserData);
TNK_API StatusCallback TNK_CALL T_GetStatusCallBack(void** UserData);

/* The same for copying. */
TNK_API void TNK_CALL T_SetCopyStatusCallBack(StatusCallback Callback, void* UserData, StatusCallback* OldCallback,
                                              void** OldUserData);
TNK_API StatusCallback TNK_CALL T_GetCopyStatusCallBack(void** UserData);

/* Stores a callback for other modules, 1. The getter: -13 when a pointer is null, else 1. */
TNK_API int32_t TNK_CALL T_VecSetSubstituteFontCallback(SubstituteFontCallback Callback, void* UserData);
TNK_API int32_t TNK_CALL T_VecGetSubstituteFontCallback(SubstituteFontCallback* Callback, void** UserData);

/* Copies the animation flags and values; the two colours go through T_TranslateBitmapColor. Sizes and storage are not
 * looked at. Codes: -13 null. */
TNK_API int32_t TNK_CALL T_CopyPlaybackParms(BitmapHandle* Destination, const BitmapHandle* Source);

/* Fills the record: version 15.0. Codes: -13 null, -789 Size is not sizeof(VersionRecord). */
TNK_API int32_t TNK_CALL T_VersionInfo(VersionRecord* Record, uint32_t Size);

/* TNK_VERSION of the header that the library was built with: not less than the caller's own TNK_VERSION, and of the same
 * TNK_VERSION_MAJOR, where the two go together. */
TNK_API uint32_t TNK_CALL T_GetLibraryVersion(void);

/* ------------------------------------------------------------------------------------------------------------
 * Display dispatch table
 *
 * Twenty pointer-wide words, shared by all threads, installed by a display module: optional routines that the kernel
 * calls when a word is not 0. They answer 1 to go on; another answer ends the operation and becomes its result. They are
 * asked whether the bitmap has a region or not, but for counting colours, which takes a bitmap without one as a whole.
 */
#define DISPATCH_WORDS 20        /* words of the table */
#define DISPATCH_COPY_REGION 1   /* CopyRegionRoutine */
#define DISPATCH_SEGMENT_COUNT 3 /* SegmentCountRoutine */
#define DISPATCH_ROW_SEGMENTS 4  /* RowSegmentsRoutine */
#define DISPATCH_RESIZE 5        /* ResizeRoutine */
#define DISPATCH_BOUNDS 7        /* BoundsRoutine */
#define DISPATCH_WRITABLE 16     /* WritableRoutine */
#define DISPATCH_FLIP 18         /* FlipRoutine, told of a flip */
#define DISPATCH_REVERSE 19      /* FlipRoutine, told of a reversal */

/* Columns and rows; Right and Bottom are exclusive. */
typedef struct BitmapRect {
    int32_t Left;
    int32_t Top;
    int32_t Right;
    int32_t Bottom;
} BitmapRect;

/* Stores in Destination's Region a copy of Source's, moved by (DX, DY), or 0 when there is none. The two may be the same
 * record: then the copy takes the place of the region, which the caller has kept. */
typedef int32_t(TNK_CALL* CopyRegionRoutine)(BitmapHandle* Destination, BitmapHandle* Source, int32_t DX, int32_t DY);

/* Tells how many values a list of row segments must hold; 2 without a routine. */
typedef int32_t(TNK_CALL* SegmentCountRoutine)(BitmapHandle* Bitmap, uint32_t* Count);

/* Fills Segments with the pairs (start column, end column), end exclusive, of the region's pixels in a row, and sets
 * Count to the number of values, two a pair. Without a routine: one pair, 0 and the width. */
typedef int32_t(TNK_CALL* RowSegmentsRoutine)(BitmapHandle* Bitmap, int32_t Row, uint32_t* Segments, uint32_t* Count);

/* Is told that the bitmap, which still has its old size, is about to be resized. */
typedef int32_t(TNK_CALL* ResizeRoutine)(BitmapHandle* Bitmap, int32_t NewWidth, int32_t NewHeight);

/* Gives the bounds of the region, which are then cut to the bitmap; the whole bitmap without a routine. */
typedef int32_t(TNK_CALL* BoundsRoutine)(BitmapHandle* Bitmap, BitmapRect* Bounds);

/* Answers whether T_PutPixelColor may write a pixel: 1, or anything but 0, to write it where the bitmap has it. */
typedef int32_t(TNK_CALL* WritableRoutine)(BitmapHandle* Bitmap, int32_t Row, int32_t Column);

/* Is told that the bitmap was flipped or reversed. */
typedef int32_t(TNK_CALL* FlipRoutine)(BitmapHandle* Bitmap);

TNK_API int32_t TNK_CALL T_SetDisDispatch(const uintptr_t* Table); /* -13 null, else 1 */
TNK_API int32_t TNK_CALL T_GetDisDispatch(uintptr_t* Table);       /* -13 null, -30 word 0 is 0, else 1 */
TNK_API int32_t TNK_CALL T_ResetDisDispatch(void);                 /* 1 */

/* Deletes a region handle; 0 is accepted. Returns 1, or -1 when the platform refuses. */
TNK_API int32_t TNK_CALL T_DeleteTarnRgn(T_HANDLE Region);

/* ------------------------------------------------------------------------------------------------------------
 * Files and their redirection
 */

/* OpenFlags: access in the low two bits (0 read, 1 write, 2 or 3 both), then how the file comes to be. */
#define OPEN_READ 0x000u
#define OPEN_WRITE 0x001u
#define OPEN_READWRITE 0x002u
#define OPEN_CREATE 0x100u   /* always create, truncating */
#define OPEN_TRUNCATE 0x200u /* truncate an existing file */

/* ShareFlags: both share reading and writing, SHARE_READ alone shares reading, anything else shares nothing. */
#define SHARE_WRITE 0x80u
#define SHARE_READ 0x100u

/* Attributes of T_OsCreat. */
#define CREATE_READONLY 1u
#define CREATE_HIDDEN 2u
#define CREATE_SYSTEM 4u
#define CREATE_DELETE_ON_CLOSE 8u

/* Routines that T_RedirectIO installs; each takes the user data of its slot last. Meaning as the T_Os functions. */
typedef T_HANDLE(TNK_CALL* OpenRoutine)(const T_WCHAR* Name, uint32_t OpenFlags, uint32_t ShareFlags, void* UserData);
typedef T_HANDLE(TNK_CALL* OpenRoutineA)(const char* Name, uint32_t OpenFlags, uint32_t ShareFlags, void* UserData);
typedef int32_t(TNK_CALL* ReadRoutine)(T_HANDLE File, void* Buffer, uint32_t Count, void* UserData);
typedef int32_t(TNK_CALL* WriteRoutine)(T_HANDLE File, const void* Buffer, uint32_t Count, void* UserData);
typedef int32_t(TNK_CALL* SeekRoutine)(T_HANDLE File, int32_t Offset, int32_t Origin, void* UserData);
typedef int32_t(TNK_CALL* CloseRoutine)(T_HANDLE File, void* UserData);

/* The file layer. UserData is ignored. Files are 64-bit; 32-bit results carry the low 32 bits. */
TNK_API T_HANDLE TNK_CALL T_OsOpen(const T_WCHAR* Name, uint32_t OpenFlags, uint32_t ShareFlags,
                                   void* UserData);                                             /* -1 on failure */
TNK_API T_HANDLE TNK_CALL T_OsCreat(const T_WCHAR* Name, uint32_t Attributes);                  /* -1 on failure */
TNK_API int32_t TNK_CALL T_OsRead(T_HANDLE File, void* Buffer, uint32_t Count, void* UserData); /* bytes read, or -1 */
TNK_API int32_t TNK_CALL T_OsWrite(T_HANDLE File, const void* Buffer, uint32_t Count,
                                   void* UserData); /* bytes written, or -1; Count 0 ends the file here: 0 */
TNK_API int32_t TNK_CALL T_OsSeek(T_HANDLE File, int32_t Offset, int32_t Origin,
                                  void* UserData); /* new position; 0 on failure. Origin 0 start, 1 here, else end */
TNK_API uint64_t TNK_CALL T_OsSeekBig(T_HANDLE File, uint64_t Offset, uint32_t Origin, void* UserData);
/* Move Count bytes in chunks of at most 0x7FFFFFF; a chunk that moves nothing ends the transfer. The count, or -1. */
TNK_API int32_t TNK_CALL T_OsReadBig(T_HANDLE File, void* Buffer, uint32_t Count, void* UserData);
TNK_API int32_t TNK_CALL T_OsWriteBig(T_HANDLE File, const void* Buffer, uint32_t Count, void* UserData);
/* Cuts or lengthens a file. */
TNK_API int32_t TNK_CALL T_OsSetFileSize(T_HANDLE File, uint32_t Size); /* 0 or -1 */
/* Close a file; delete one. */
TNK_API int32_t TNK_CALL T_OsClose(T_HANDLE File);        /* 0 or -1 */
TNK_API int32_t TNK_CALL T_OsDelete(const T_WCHAR* Name); /* 0 or -1 */
/* Writes a unique name in the thread's temporary directory; Buffer holds 264 characters. 1, -1 or -13. */
TNK_API int32_t TNK_CALL T_OsGetTempName(T_WCHAR* Buffer);
/* -295 when the calling thread's last platform failure was a full disk, else Default. */
TNK_API int32_t TNK_CALL T_OsGetLastError(int32_t Default);

/*
 * Installs five routines for the calling thread; null means the library's own. UserData goes to all five. They catch what
 * goes through T_RedirectedOpen and its companions, as the toolkit's file filters do, and nothing else: the T_Os functions,
 * and the library's own temporary files (bitmaps on disk, tiles, huge blocks), stay with the platform's files.
 */
TNK_API void TNK_CALL T_RedirectIO(OpenRoutine Open, ReadRoutine Read, WriteRoutine Write, SeekRoutine Seek,
                                   CloseRoutine Close, void* UserData);

/* The same with an open routine that takes narrow names; characters that the code page does not have arrive replaced.
 * 1, or -1, and then nothing is installed, when the process has used 64 different narrow routines already. */
TNK_API int32_t TNK_CALL T_RedirectIOA(OpenRoutineA Open, ReadRoutine Read, WriteRoutine Write, SeekRoutine Seek,
                                       CloseRoutine Close, void* UserData);

/* Exchanges, slot by slot, the installed values with the caller's. Each pointer is optional; a null routine stays
 * out but the old one is returned. Calling it again with the returned values undoes it. */
TNK_API void TNK_CALL T_FilterIO(OpenRoutine* Open, ReadRoutine* Read, WriteRoutine* Write, SeekRoutine* Seek,
                                 CloseRoutine* Close, void** OpenData, void** ReadData, void** WriteData,
                                 void** SeekData, void** CloseData);

/* Writes the five user-data words through the pointers that are given; returns the thread's settings block. */
TNK_API void* TNK_CALL T_GetFilterIOData(void** OpenData, void** ReadData, void** WriteData, void** SeekData,
                                         void** CloseData);

/* Call the installed routine with its user data and return its result unchanged. */
TNK_API T_HANDLE TNK_CALL T_RedirectedOpen(const T_WCHAR* Name, uint32_t OpenFlags, uint32_t ShareFlags);
TNK_API int32_t TNK_CALL T_RedirectedRead(T_HANDLE File, void* Buffer, uint32_t Count);
TNK_API int32_t TNK_CALL T_RedirectedWrite(T_HANDLE File, const void* Buffer, uint32_t Count);
TNK_API int32_t TNK_CALL T_RedirectedSeek(T_HANDLE File, int32_t Offset, int32_t Origin);
TNK_API int32_t TNK_CALL T_RedirectedClose(T_HANDLE File);
TNK_API int32_t TNK_CALL T_RedirectedReadBig(T_HANDLE File, void* Buffer, uint32_t Count);
TNK_API int32_t TNK_CALL T_RedirectedWriteBig(T_HANDLE File, const void* Buffer, uint32_t Count);

/* Flags of T_StartRedirectToBuffer. */
#define REDIRECT_GROW 0x01u   /* a write past Capacity grows the block, in steps of 32,768 bytes */
#define REDIRECT_SHRINK 0x02u /* with REDIRECT_GROW: closing shrinks the block to its data */
#define REDIRECT_SOURCE 0x04u /* the block holds Capacity bytes of data; it is never shrunk */
#define REDIRECT_WRITE 0x08u  /* writes are allowed */

/*
 * Sends every redirected file access of the calling thread (T_RedirectIO says which) to a block of memory until the
 * matching stop. Starts and stops nest, last in first out. Handle, optional, receives the memory file's pseudo-handle.
 * hBuffer is a movable block (T_OsAllocHandle) or the address of a global one (T_GlobalAlloc), and stays of its kind when it
 * grows; 0 starts without one, and what is written then makes a movable block. The stop hands the block and the length of
 * its data back to the caller, who owns it.
 * Codes: -13 null Context, -1 no memory.
 */
TNK_API int32_t TNK_CALL T_StartRedirectToBuffer(void** Context, T_HANDLE* Handle, uint32_t Flags, T_HANDLE hBuffer,
                                                 uint32_t Capacity);
TNK_API int32_t TNK_CALL T_StopRedirectToBuffer(void* Context, T_HANDLE* hBuffer, uint32_t* Length);

/* ------------------------------------------------------------------------------------------------------------
 * Memory blocks. Line and Module name the place of the call, for tracking; 0 and null are accepted.
 */

/* Kinds of memory. Each kind has a family of its own, which re-allocates, measures and frees it. */
#define RESOURCE_GLOBAL 1u   /* T_Global...: a locked global block, which may change hands: palettes, tables */
#define RESOURCE_HEAP 2u     /* T_Local...: a block of the runtime heap, for work */
#define RESOURCE_HANDLE 3u   /* T_Os...Handle: an unlocked global handle, always zero-filled */
#define RESOURCE_ZERO 0x100u /* added to one of them: zero-filled */

/*
 * Blocks by kind: T_GlobalAlloc makes RESOURCE_GLOBAL blocks, and RESOURCE_HANDLE ones as T_OsAllocHandle does (the
 * pointer is the handle); T_LocalAlloc makes RESOURCE_HEAP ones. Any other kind is null and sends "Invalid resource type
 * used in (LINE) MODULE" to the debugger, outside Windows to the standard error stream.
 *   Re-allocation keeps the contents as far as they fit; growth is zero-filled. The block may move; after a failure it
 *   is as it was. A null block gives null.
 *   Size is in bytes, 0 for null; the platform may round global blocks up.
 *   Free accepts null and returns 1.
 * Null on failure. What a bitmap is to own (Palette, pLUT, pByteMap) is a RESOURCE_GLOBAL block, and so are the palette
 * arrays that the library hands out.
 */
TNK_API void* TNK_CALL T_GlobalAlloc(uint32_t Kind, uint32_t Bytes, uint32_t Line, const char* Module);
TNK_API void* TNK_CALL T_GlobalReAlloc(void* Block, uint32_t Bytes, uint32_t Line, const char* Module);
TNK_API uint32_t TNK_CALL T_GlobalSize(const void* Block);
TNK_API int32_t TNK_CALL T_GlobalFree(void* Block, uint32_t Line, const char* Module);
TNK_API void* TNK_CALL T_LocalAlloc(uint32_t Kind, uint32_t Bytes, uint32_t Line, const char* Module);
TNK_API void* TNK_CALL T_LocalReAlloc(void* Block, uint32_t Bytes, uint32_t Line, const char* Module);
TNK_API uint32_t TNK_CALL T_LocalSize(const void* Block);
TNK_API int32_t TNK_CALL T_LocalFree(void* Block, uint32_t Line, const char* Module);

/* Movable blocks (HGLOBALs on Windows), zero-filled; growth is zero-filled too. 0 on failure; a failed
 * re-allocation leaves the block as it was. */
TNK_API T_HANDLE TNK_CALL T_OsAllocHandle(uint32_t Bytes, uint32_t Line, const char* Module);
TNK_API T_HANDLE TNK_CALL T_OsReAllocHandle(T_HANDLE Block, uint32_t Bytes, uint32_t Line, const char* Module);
TNK_API void* TNK_CALL T_OsLockHandle(T_HANDLE Block);     /* null on failure */
TNK_API int32_t TNK_CALL T_OsUnlockHandle(T_HANDLE Block); /* 1 */
TNK_API uint32_t TNK_CALL T_OsSizeHandle(T_HANDLE Block);  /* bytes; the platform may round up */
TNK_API int32_t TNK_CALL T_OsFreeHandle(T_HANDLE Block, uint32_t Line, const char* Module); /* 1; 0 is accepted */

/*
 * Huge blocks: more bytes than an address space holds, reached by position. They lie in memory where that can be had,
 * else in a temporary file, and are zero at first, as is growth. A block belongs to one thread at a time.
 * A transfer that would pass the end is refused whole; a resize that fails leaves the block as it was.
 * Codes: -814 Block null; -13 no such block, null buffer, a size of 0 or above 2^63 - 1, a transfer past the end; -1 no
 * memory and no file; -295 the disk is full; -4 seek, -5 write, -7 read. T_HugeSize: 0 for what is no block. T_HugeFree
 * accepts 0.
 */
TNK_API int32_t TNK_CALL T_HugeAlloc(T_HANDLE* Block, uint64_t Bytes, uint32_t Line, const char* Module);
TNK_API int32_t TNK_CALL T_HugeReSize(T_HANDLE Block, uint64_t Bytes, uint32_t Line, const char* Module);
TNK_API uint64_t TNK_CALL T_HugeSize(T_HANDLE Block);
TNK_API int32_t TNK_CALL T_HugeRead(T_HANDLE Block, uint64_t Position, void* Buffer, uint32_t Bytes);
TNK_API int32_t TNK_CALL T_HugeWrite(T_HANDLE Block, uint64_t Position, const void* Buffer, uint32_t Bytes);
TNK_API int32_t TNK_CALL T_HugeFree(T_HANDLE Block, uint32_t Line, const char* Module);

/* Hooks for leak tracking. This library tracks nothing: they do nothing and return 1. */
TNK_API int32_t TNK_CALL T_ResourceAdd(uint32_t Kind, T_HANDLE Resource, uint32_t Line, const char* Module);
TNK_API int32_t TNK_CALL T_ResourceRemove(uint32_t Kind, T_HANDLE Resource, uint32_t Line, const char* Module);
TNK_API int32_t TNK_CALL T_ResourceLeakDetect(void);
TNK_API int32_t TNK_CALL T_ResourceLeakReport(void);

/* ------------------------------------------------------------------------------------------------------------
 * Thread slots, strings, modules
 */

/* Slots that hold one pointer a thread, null at first. T_TlsAlloc gives an index, or -1 when there is no slot left.
 * Values stay the caller's: neither the end of a thread nor T_TlsFree does anything to them. Setting and freeing: 1, -13
 * for an index that is not in use, -1 when the platform fails; reading such an index gives null. */
TNK_API int32_t TNK_CALL T_TlsAlloc(void);
TNK_API int32_t TNK_CALL T_TlsFree(int32_t Index);
TNK_API void* TNK_CALL T_TlsGetValue(int32_t Index);
TNK_API int32_t TNK_CALL T_TlsSetValue(int32_t Index, void* Value);

/*
 * Narrow text, in the platform's multibyte code page (UTF-8 outside Windows), to wide text and back. Malformed text
 * becomes replacement characters. The length is that of the whole result, in characters of its type with the terminator;
 * 0 for null, and where it does not fit 31 bits. The helpers write at most Capacity characters, always with the
 * terminator, cut between characters, and return Out; null when an argument is null or Capacity is not positive.
 * C++ callers have the classes T_A2W and T_W2A at the end of this header.
 */
TNK_API int32_t TNK_CALL T_A2WLength(const char* Text);
TNK_API int32_t TNK_CALL T_W2ALength(const T_WCHAR* Text);
TNK_API T_WCHAR* TNK_CALL T_A2WHelper(T_WCHAR* Out, const char* Text, int32_t Capacity);
TNK_API char* TNK_CALL T_W2AHelper(char* Out, const T_WCHAR* Text, int32_t Capacity);

/*
 * A loader of an optional module. Opening remembers the name and loads nothing; a name without a folder is looked for
 * beside this library, then where the system keeps its own modules, but not in the current folder. Loads are counted: the module goes with as many unloads, or
 * with T_DllLoaderClose. Finding a symbol loads a module that is not loaded, which counts as one load. After a failure
 * the next call tries again. A loader belongs to one thread at a time. C++ callers have the class T_DllLoader.
 */
TNK_API T_HANDLE TNK_CALL T_DllLoaderOpen(const T_WCHAR* Name);              /* 0: null, empty, no memory */
TNK_API int32_t TNK_CALL T_DllLoaderLoad(T_HANDLE Loader);                   /* 1, -13 no loader, -1 */
TNK_API int32_t TNK_CALL T_DllLoaderUnload(T_HANDLE Loader);                 /* 1, -13, -1 not loaded */
TNK_API int32_t TNK_CALL T_DllLoaderIsLoaded(T_HANDLE Loader);               /* 1 or 0 */
TNK_API void* TNK_CALL T_DllLoaderFind(T_HANDLE Loader, const char* Symbol); /* null: not found */
TNK_API int32_t TNK_CALL T_DllLoaderClose(T_HANDLE Loader);                  /* 1, -13; 0 is accepted */

/* ------------------------------------------------------------------------------------------------------------
 * Objects of Windows
 *
 * Each function makes or frees one object by the system call of the same name. Structures are the system's own: RECT,
 * LOGPALETTE, LOGPEN, LOGBRUSH, LOGFONTW, BITMAP, BITMAPINFO, POINT, RGNDATA. Colour is a plain colour value. The result
 * is a handle, 0 on failure; a null structure gives 0 where the system asks for one. Objects go with T_WinDeleteObject,
 * which, as T_WinReleaseDC and T_WinDeleteDC, returns 1, or 0 when the system refuses. Outside Windows every result is 0.
 */

/* Device contexts. */
TNK_API T_HANDLE TNK_CALL T_WinGetDC(T_HANDLE Window, uint32_t Line, const char* Module);
TNK_API int32_t TNK_CALL T_WinReleaseDC(T_HANDLE Window, T_HANDLE DC, uint32_t Line, const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreateDC(const T_WCHAR* Driver, const T_WCHAR* Device, const T_WCHAR* Port,
                                        const void* DevMode, uint32_t Line, const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreateCompatibleDC(T_HANDLE DC, uint32_t Line, const char* Module);
TNK_API int32_t TNK_CALL T_WinDeleteDC(T_HANDLE DC, uint32_t Line, const char* Module);

/* Bitmaps of the device. */
TNK_API T_HANDLE TNK_CALL T_WinCreateBitmap(int32_t Width, int32_t Height, uint32_t Planes, uint32_t BitsPerPixel,
                                            const void* Bits, uint32_t Line, const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreateBitmapIndirect(const void* Bitmap, uint32_t Line, const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreateCompatibleBitmap(T_HANDLE DC, int32_t Width, int32_t Height, uint32_t Line,
                                                      const char* Module);
/* The section's pixels are told in Bits, null on failure. */
TNK_API T_HANDLE TNK_CALL T_WinCreateDIBSection(T_HANDLE DC, const void* Info, uint32_t Usage, void** Bits,
                                                T_HANDLE Section, uint32_t Offset, uint32_t Line, const char* Module);

/* Palettes. */
TNK_API T_HANDLE TNK_CALL T_WinCreatePalette(const void* Palette, uint32_t Line, const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreateHalftonePalette(T_HANDLE DC, uint32_t Line, const char* Module);

/* Pens, brushes, fonts. */
TNK_API T_HANDLE TNK_CALL T_WinCreatePen(int32_t Style, int32_t Width, uint32_t Color, uint32_t Line,
                                         const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreatePenIndirect(const void* Pen, uint32_t Line, const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreateSolidBrush(uint32_t Color, uint32_t Line, const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreateHatchBrush(int32_t Style, uint32_t Color, uint32_t Line, const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreatePatternBrush(T_HANDLE Bitmap, uint32_t Line, const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreateDIBPatternBrushPt(const void* PackedDib, uint32_t Usage, uint32_t Line,
                                                       const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreateBrushIndirect(const void* Brush, uint32_t Line, const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreateFontIndirect(const void* Font, uint32_t Line, const char* Module);

/* Regions. */
TNK_API T_HANDLE TNK_CALL T_WinCreateRectRgn(int32_t Left, int32_t Top, int32_t Right, int32_t Bottom, uint32_t Line,
                                             const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreateRectRgnIndirect(const void* Rect, uint32_t Line, const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreateEllipticRgn(int32_t Left, int32_t Top, int32_t Right, int32_t Bottom,
                                                 uint32_t Line, const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreateEllipticRgnIndirect(const void* Rect, uint32_t Line, const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreateRoundRectRgn(int32_t Left, int32_t Top, int32_t Right, int32_t Bottom,
                                                  int32_t CornerWidth, int32_t CornerHeight, uint32_t Line,
                                                  const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinCreatePolygonRgn(const void* Points, int32_t Count, int32_t FillMode, uint32_t Line,
                                                const char* Module);
TNK_API T_HANDLE TNK_CALL T_WinExtCreateRegion(const void* Transform, uint32_t Bytes, const void* Data, uint32_t Line,
                                               const char* Module);

/* Deletes any of them. */
TNK_API int32_t TNK_CALL T_WinDeleteObject(T_HANDLE Object, uint32_t Line, const char* Module);

/* A memory device context of the toolkit, compatible with the screen; the palette of Bitmap, where it is given and has
 * one, is selected into it. 0 on failure, for a record of the wrong size and outside Windows. Only T_DeleteTarnDC frees
 * it whole: 1, or -1 when the platform refuses; 0 is accepted. */
TNK_API T_HANDLE TNK_CALL T_CreateTarnDC(const BitmapHandle* Bitmap);
TNK_API int32_t TNK_CALL T_DeleteTarnDC(T_HANDLE DC);

/* ------------------------------------------------------------------------------------------------------------
 * Palettes
 */

/* Writes 2^Bits entries of the fixed palette; Bits 0 writes the 256-entry gray ramp. Codes: -13 null or above 8. */
TNK_API int32_t TNK_CALL T_GetFixedPalette(PaletteEntry* Palette, uint32_t Bits);
/* The library's own tables, 2^Bits entries (null outside 1-8) and 256 entries; read-only. */
TNK_API const PaletteEntry* TNK_CALL T_IntGetFixedPalette(int32_t Bits);
TNK_API const PaletteEntry* TNK_CALL T_IntGetNetscapePalette(void);

/* New arrays, freed with T_GlobalFree; null on failure. Bits 0 and 1 give 2 fixed entries, above 8 null. The gray ramp
 * has 2^Bits entries, for Bits 0 256; above 29 it is null. Count is 1 to 256, else null. */
TNK_API PaletteEntry* TNK_CALL T_CreateFixedPalette(uint32_t Bits);
TNK_API PaletteEntry* TNK_CALL T_CreateGrayPalette(uint32_t Bits);
TNK_API PaletteEntry* TNK_CALL T_CreateNewPalette(const PaletteEntry* Palette, uint32_t Count);

/* Attach a fixed or gray palette to a bitmap that has none (an older one is not freed). The fixed one is that of
 * ColorCount, but for 4 colours: black, white, black, gray 85. The gray one sets ColorCount to 2^BitsPerPixel.
 * Codes: -13 null, -1 no memory; fixed: 0 for a ColorCount that is not 2, 4, ..., 256; gray: -27 outside 1-8 bits. */
TNK_API int32_t TNK_CALL T_CreateBitmapFixedPalette(BitmapHandle* Bitmap);
TNK_API int32_t TNK_CALL T_CreateBitmapGrayPalette(BitmapHandle* Bitmap);

/* Gray classification: 0 not gray, 1 ramp from black, 2 ramp from white, 3 gray but no full ramp. Steps of a ramp are
 * 255 / (Count - 1), truncated; the first entry, which is read for Count 0 too, decides for a single one. A palette
 * with fewer entries than the bitmap's depth has is no full ramp. A bitmap in ORDER_GRAY is 1, or judged by its lookup
 * table while BMF_WINDOW is set.
 * Codes: -13 null or negative Count; for a bitmap -13 null, -789, -1486 a table of the wrong length. */
#define GRAYSCALE_NO 0
#define GRAYSCALE_NORMAL 1
#define GRAYSCALE_INVERTED 2
#define GRAYSCALE_OTHER 3
TNK_API int32_t TNK_CALL T_IsGrayScalePalette(const PaletteEntry* Palette, uint32_t Count);
TNK_API int32_t TNK_CALL T_IsGrayScaleBitmap(const BitmapHandle* Bitmap);

/* Index of the nearest entry by squared distance; among equals the last one of the wanted colour's hue class wins,
 * else the first. An exact match is the first one, but black is sought at the first and then the last entry, white at
 * the last and then the first, before any other. 0 for null, 0xFFFFFFFF for Count 0. */
TNK_API uint32_t TNK_CALL T_FindPaletteIndex(const PaletteEntry* Palette, uint32_t Count, uint8_t Red, uint8_t Green,
                                             uint8_t Blue);

/* Read or write entries First .. First + Count - 1 of the bitmap's palette. Where it has only some of them, reading
 * gives those and -13, writing changes nothing. Writing makes a palette of ColorCount black entries where there is
 * none.
 * Codes: -2 null (put: or not allocated), -789, -13 range, array, depth above 8 or (get) Count 0; put: -13 no palette and
 * a ColorCount above 2^BitsPerPixel, -1 no memory. */
TNK_API int32_t TNK_CALL T_GetBitmapColors(const BitmapHandle* Bitmap, int32_t First, int32_t Count,
                                           PaletteEntry* Palette);
TNK_API int32_t TNK_CALL T_PutBitmapColors(BitmapHandle* Bitmap, int32_t First, int32_t Count,
                                           const PaletteEntry* Palette);
/* Reads what there is; returns the number of entries, 0 for a null or a bad range. */
TNK_API int32_t TNK_CALL T_GetBitmapPaletteEntries(const BitmapHandle* Bitmap, int32_t First, int32_t Count,
                                                   PaletteEntry* Palette);
/* Replaces the palette by a copy of Count entries: 1, or 0 when no copy could be made (a Count outside 1-256, memory);
 * then there is no palette left, but ColorCount is Count. A null array only frees, 1, and leaves ColorCount alone.
 * A null bitmap is 0. The size of the record is not looked at. */
TNK_API int32_t TNK_CALL T_SetBitmapNewPalette(BitmapHandle* Bitmap, const PaletteEntry* Palette, uint32_t Count);
/* Replaces Destination's palette by a copy of Source's; a source without one leaves none and ColorCount 0, 1.
 * Codes: -13 null, -789, else as T_SetBitmapNewPalette. */
TNK_API int32_t TNK_CALL T_CopyBitmapPalette(BitmapHandle* Destination, const BitmapHandle* Source);
/* 1 when those of the first Count entries that the bitmap has equal the array's in blue, green and red, else 0; 0 for a
 * null. */
TNK_API int32_t TNK_CALL T_CompareBitmapToPalette(const BitmapHandle* Bitmap, const PaletteEntry* Palette,
                                                  uint32_t Count);
/* The colour value that stands in Destination for Color in Source: an index (COLOR_TAG_INDEX) for 8 bits or fewer, and
 * for gray levels where Destination is in ORDER_GRAY with a lookup table in force; else a plain colour, or Color.
 * A null Destination gives Color; an index that Source does not have, or without a Source, is black. */
TNK_API uint32_t TNK_CALL T_TranslateBitmapColor(const BitmapHandle* Destination, const BitmapHandle* Source,
                                                 uint32_t Color);

/* Logical palettes: GDI palettes on Windows, objects of the library's own elsewhere. Handles are 0 on failure,
 * counts are entries moved, at most 256 and clipped at the palette's end; 0 for a null array or a handle that is none.
 * Palettes have 1 to 256 entries. T_CreateSystemPalette copies the screen's, 0 where it has none. T_DeletePalette
 * returns 1, or 0 when the handle is none. */
TNK_API T_HANDLE TNK_CALL T_CreatePalette(const PaletteEntry* Palette, uint32_t Count);
TNK_API T_HANDLE TNK_CALL T_CreateSystemPalette(void);
TNK_API T_HANDLE TNK_CALL T_DupPalette(T_HANDLE Handle);
TNK_API T_HANDLE TNK_CALL T_DupBitmapPalette(const BitmapHandle* Bitmap);
TNK_API int32_t TNK_CALL T_DeletePalette(T_HANDLE Handle);
TNK_API uint32_t TNK_CALL T_GetPaletteSize(T_HANDLE Handle);
TNK_API uint32_t TNK_CALL T_GetPaletteEntries(T_HANDLE Handle, uint32_t First, uint32_t Count, PaletteEntry* Palette);
TNK_API uint32_t TNK_CALL T_SetPaletteEntries(T_HANDLE Handle, uint32_t First, uint32_t Count,
                                              const PaletteEntry* Palette);
/* Takes the bitmap's palette from a handle of 2 to 256 entries, and ColorCount too. Codes: -2 null, -789, -13 no such
 * handle or size (the palette stays), -1 no memory (the palette is gone). */
TNK_API int32_t TNK_CALL T_SetBitmapPalette(BitmapHandle* Bitmap, T_HANDLE Handle);
/* The platform's nearest entry of the bitmap's palette to a colour, whose tag is not looked at; 0 for a null, a wrong
 * size, or without a palette. Outside Windows it is the first at the least squared distance. */
TNK_API uint32_t TNK_CALL T_GetNearestPaletteIndex(const BitmapHandle* Bitmap, uint32_t Color);

/* ------------------------------------------------------------------------------------------------------------
 * Buffer conversion
 */

/* Flags of T_ConvertBufferExt. */
#define CONVERT_SRC_GRAY 0x01u         /* derived from the orders; the caller's value is ignored */
#define CONVERT_DST_GRAY 0x02u         /* likewise */
#define CONVERT_SRC_BIT_RANGE 0x04u    /* only bits LowBit..HighBit of each source gray sample count */
#define CONVERT_DST_BIT_RANGE 0x08u    /* the result goes to bits LowBit..HighBit of each gray sample */
#define CONVERT_ALPHA_FROM_VALUE 0x10u /* a new alpha channel takes the engine's alpha value, which is opaque */
#define CONVERT_ALPHA_OPAQUE 0x20u     /* a new alpha channel is opaque; without either flag it is 0 */

/*
 * Converts one row in place. Buffer holds Width pixels of BitsSrc in OrderSrc on entry, of BitsDst in OrderDst on
 * return, and is as long as the larger row (T_CalcConvertSize).
 *   Bits      0 (an 8-bit gray level), 1-8, 12, 16, 24, 32, 48, 64
 *   Orders    not looked at for 0-8 bits; ORDER_GRAY for 12, 16 and 32; ORDER_MATRIX_RGB for 24 and 48, as a
 *             destination only from 24 and 48; ORDER_RGB and ORDER_BGR above 12
 *   Palettes  2^bits entries for 1-8 bits; null takes the fixed palette of the depth (as a source: of 8 bits).
 *             For 12-, 16- and 32-bit gray sources PaletteSrc is a lookup table, one entry a sample value.
 * Colours become palette indexes by T_FindPaletteIndex, gray levels by (2 red + 5 green + blue + 4) >> 3.
 * The last four different conversions of a thread stay prepared, so that row after row pays for them once. Palettes are
 * compared by content and may change from call to call.
 * Codes: -13 bad argument (the buffer is untouched).
 */
TNK_API int32_t TNK_CALL T_ConvertBuffer(uint8_t* Buffer, int32_t Width, int32_t BitsSrc, int32_t BitsDst,
                                         uint32_t OrderSrc, uint32_t OrderDst, const PaletteEntry* PaletteSrc,
                                         const PaletteEntry* PaletteDst);
TNK_API int32_t TNK_CALL T_ConvertBufferExt(uint8_t* Buffer, int32_t Width, int32_t BitsSrc, int32_t BitsDst,
                                            uint32_t OrderSrc, uint32_t OrderDst, const PaletteEntry* PaletteSrc,
                                            const PaletteEntry* PaletteDst, uint32_t Flags, int32_t LowBit,
                                            int32_t HighBit);

/*
 * Conversion of many rows at once, an addition of this library: a conversion is prepared once and then run over as many
 * rows, in as many calls, as there are. Any number of conversions may be there; each serves one thread at a time.
 *
 * T_StartConvert takes the arguments of T_ConvertBufferExt. Palettes of 1-8 bits are copied; the lookup table of a gray
 * source stays the caller's, must live until T_StopConvert, and is read as rows are converted. *Conversion is 0 after a
 * failure. Codes: -13 bad argument, -1 no memory.
 *
 * T_ConvertLines converts Rows rows of Width pixels.
 *   Strides   bytes from one row to the next, negative for rows that lie bottom-up in memory: Source and Destination are
 *             then the topmost row, which lies last. At least a row's bytes in size; not looked at for one row
 *   In place  Destination may be Source; strides are then equal and at least the longer row's bytes in size. Else the
 *             two areas, each from its first to its last byte, do not overlap
 *   Packed    bits after the last pixel of a row are zero; in place they stay
 * Codes: -13 not a conversion, null, no rows or pixels, strides or areas as above; nothing is written then.
 *
 * T_StopConvert ends a conversion. Codes: -13 not a conversion.
 */
TNK_API int32_t TNK_CALL T_StartConvert(T_HANDLE* Conversion, int32_t BitsSrc, int32_t BitsDst, uint32_t OrderSrc,
                                        uint32_t OrderDst, const PaletteEntry* PaletteSrc,
                                        const PaletteEntry* PaletteDst, uint32_t Flags, int32_t LowBit,
                                        int32_t HighBit);
TNK_API int32_t TNK_CALL T_ConvertLines(T_HANDLE Conversion, const uint8_t* Source, int32_t SourceStride,
                                        uint8_t* Destination, int32_t DestinationStride, int32_t Width, int32_t Rows);
TNK_API int32_t TNK_CALL T_StopConvert(T_HANDLE Conversion);

/* Bytes that a buffer needs to convert Width pixels of Bits into NewWidth pixels of NewBits: the largest of the
 * three row sizes met on the way; 0 when a size is negative or does not fit 32 bits. */
TNK_API uint32_t TNK_CALL T_CalcConvertSize(int32_t Width, int32_t Bits, int32_t NewWidth, int32_t NewBits);

/*
 * The window of significant bits of gray samples: Bits = min(HighBit - LowBit + 1, MaxBits), Mask = 2^Bits - 1,
 * Shift = HighBit - Bits + 1, with LowBit < 0 taken as 0 and HighBit < 0 as BitsPerPixel - 1. A sample s has the
 * value (s >> Shift) & Mask. Bits is optional; nothing is written, and -13 returned, unless Mask and Shift are given.
 */
TNK_API int32_t TNK_CALL T_GetGrayParams(int32_t BitsPerPixel, int32_t MaxBits, int32_t LowBit, int32_t HighBit,
                                         int32_t* Bits, uint32_t* Mask, int32_t* Shift);

/* Smallest and largest stored sample of a gray bitmap (12, 16 or 32 bits; signed with BMF_SIGNED); 0 and 0 for other
 * bitmaps. Codes: -2 null or not allocated, -789, -13 null output, -1 no memory, and row read codes. */
TNK_API int32_t TNK_CALL T_IntGetMinMaxValGray(BitmapHandle* Bitmap, int32_t* MinVal, int32_t* MaxVal);

/* ------------------------------------------------------------------------------------------------------------
 * Gray-scale conversion of whole bitmaps
 *
 * Results of 8 bits have a palette of 256 grays from black to white, others are in ORDER_GRAY; both are unsigned, fill
 * all bits and have no window and no lookup table. MinVal and MaxVal are the range of 12- and 16-bit results. Size,
 * perspective, resolution, byte map, region, overlays, animation values and the kind of storage stay, but for compressed
 * rows and caller or movable memory, which become plain memory. In place, the new pixels are built aside: a failure or a
 * stop leaves the bitmap as it was, success ends a dithering run on it. Reports to the status callback.
 * Codes of all: -13 null, -2 not allocated, -789, -1486 a lookup table in force of the wrong length, -13 an empty window
 * or an order that the depth does not have, -3 too large, -1 no memory, those of T_AllocateBitmap and of row access, and
 * the callback's value.
 */

/*
 * To 8, 12 or 16 bits (else -27), by the rules of T_ConvertBuffer: indexes through the palette, colours by
 * (2 red + 5 green + blue + 4) >> 3. Gray samples are read through LowBit..HighBit with BMF_WINDOW, else through
 * DataLowBit..DataHighBit, and spread over the result; with a lookup table in force the level of their entry counts.
 * Signed samples (BMF_SIGNED) need a window, else -1360; one that takes in the sign begins with the least sample.
 * 1 at once when the bitmap has that form already.
 */
TNK_API int32_t TNK_CALL T_GrayScaleBitmap(BitmapHandle* Bitmap, int32_t BitsPerPixel);
/* The same into Destination, whose old contents are neither looked at nor freed; Source stays as it is, and may have
 * the form already. The region is copied through the dispatch table. After a failure other than -2, -789 or a null
 * record Destination is empty. Also -13: Destination is Source. */
TNK_API int32_t TNK_CALL T_CreateGrayScaleBitmap(BitmapHandle* Destination, BitmapHandle* Source, uint32_t StructSize,
                                                 int32_t BitsPerPixel);

/*
 * 32-bit gray (else -27) to 16 and to 8 bits in place: round((s - least) * 65535 / (greatest - least)), or with 255,
 * halves up. With BMF_WINDOW s is the value of bits LowBit..HighBit, from 0 to all ones; without it, the whole sample,
 * from the least to the greatest that the bitmap has, where a single value becomes 0. Signed samples (BMF_SIGNED) count
 * as two's complement, also in a window that takes in the sign. A lookup table in force is used as in T_GrayScaleBitmap.
 */
TNK_API int32_t TNK_CALL T_Gray32To16(BitmapHandle* Bitmap);
TNK_API int32_t TNK_CALL T_Gray32To8(BitmapHandle* Bitmap);

/* ------------------------------------------------------------------------------------------------------------
 * Dithering
 */
#define DITHER_NONE 0u            /* nearest colour */
#define DITHER_FLOYD_STEINBERG 1u /* R. Floyd, L. Steinberg, 1976 */
#define DITHER_STUCKI 2u          /* P. Stucki, 1981, with the weights of the second row folded into the first */
#define DITHER_BURKES 3u          /* D. Burkes, 1988 */
#define DITHER_SIERRA 4u          /* F. Sierra, 1989, three rows */
#define DITHER_STEVENSON_ARCE 5u  /* R. Stevenson, G. Arce, 1985 */
#define DITHER_JARVIS 6u          /* J. Jarvis, C. Judice, W. Ninke, 1976 */
#define DITHER_ORDERED 7u         /* ordered, dispersed matrix (B. Bayer, 1973, with five raised thresholds) */
#define DITHER_CLUSTERED 8u       /* ordered, clustered-dot matrix */

/*
 * Starts dithering of Bitmap's rows by its DitherMethod; the state hangs on pDitherState until T_StopDithering.
 * T_StartDithering derives the output bits from Count (the smallest depth that holds it).
 *   Palette     Count entries, 1-256; null takes the fixed palette of Count's band. Entries whose reserved byte has
 *               bit 0 or 1 set are never chosen.
 *   OutputBits  1-8; others write no indexes
 *   MatchTable  null, or a table of 32,768 words (T_CreateUserMatchTable) that maps 15-bit colours to entries; it is
 *               completed while dithering and stays the caller's
 * A state that is there already is not freed: stop dithering first.
 * Codes: -13 null, depth, negative width, count, method above 8, or a palette without usable entries; -789; -1 no
 * memory. The bitmap is then as it was.
 */
TNK_API int32_t TNK_CALL T_StartDithering(BitmapHandle* Bitmap, const PaletteEntry* Palette, uint32_t Count);
TNK_API int32_t TNK_CALL T_StartDitheringExt(BitmapHandle* Bitmap, const PaletteEntry* Palette, uint32_t Count,
                                             uint32_t OutputBits, uint32_t* MatchTable);

/* Dithers the next row, top to bottom: Width pixels of the bitmap's format from Input, Width indexes of the output
 * bits to Output, where bits after the last index are kept. Input rows of 24 and 48 bits in ORDER_MATRIX_RGB are
 * changed. Output may be Input where the output bits are not more than the bitmap's; rows that overlap otherwise may not
 * be given.
 * Codes: -13 null, not started, wider or of another depth than at the start, or (above 12 bits) an order that the depth
 * does not have: nothing is written then; -789; -1360 signed samples, with BMF_WINDOW too. */
TNK_API int32_t TNK_CALL T_DitherLine(BitmapHandle* Bitmap, uint8_t* Input, uint8_t* Output);

/* Dithers the next Rows rows at once, an addition of this library: the same results as Rows calls of T_DitherLine, several
 * times faster for the methods that spread errors, and best for 16 rows and more. The two may take turns. Strides are
 * bytes from one row to the next, negative for rows that lie bottom-up in memory; at least a row's bytes in size, and not
 * looked at for one row. Output may be Input as in T_DitherLine; strides are then equal and at least the longer row's
 * bytes in size. Else the two areas, each from its first to its last byte, do not overlap.
 * Codes: those of T_DitherLine; -13 also no rows, and strides or areas other than above: nothing is written then. */
TNK_API int32_t TNK_CALL T_DitherLines(BitmapHandle* Bitmap, uint8_t* Input, int32_t InputStride, uint8_t* Output,
                                       int32_t OutputStride, int32_t Rows);

/* Ends dithering. Codes: -13 null; 1 also when nothing was started. */
TNK_API int32_t TNK_CALL T_StopDithering(BitmapHandle* Bitmap);

/* A match table of 32,768 words for a palette, or null for a null palette, a negative Count or without memory. It is a
 * block of T_LocalAlloc, freed with T_FreeUserMatchTable (1; null is accepted) or T_LocalFree. Word red << 10 | green << 5 | blue, of channels >> 3, is the index
 * of the nearest entry plus 1. */
TNK_API uint32_t* TNK_CALL T_CreateUserMatchTable(const PaletteEntry* Palette, uint32_t Count);
TNK_API int32_t TNK_CALL T_FreeUserMatchTable(uint32_t* Table);
/* Makes Table, or none, the calling thread's current one (CRF_USERMATCHTABLE) and returns the one before. */
TNK_API uint32_t* TNK_CALL T_SetUserMatchTable(uint32_t* Table);

/* ------------------------------------------------------------------------------------------------------------
 * Colours of pictures
 */

/*
 * Counts the distinct colours inside the bitmap's region, or of the whole bitmap without one. With a Colors array Count
 * holds the array's entries on entry: colours are collected in the order of their first pixels, and one more than there
 * is room for ends the count, so that Count comes back as the room and one. Without it gray bitmaps count samples, and
 * with it 8-bit levels; colours of 48 and 64 bits count by their high bytes; alpha does not count. Reports to the status
 * callback.
 * Takes one bit of zeroed memory for every colour or sample that there could be: 2 MB for colours, up to 512 MB of address
 * space for 32-bit gray without an array, of which only what is marked is touched.
 * Codes: -2 null or not allocated, -13 null Count, -789, -1 no memory, those of row access; a callback's value. Count is
 * then as it was.
 */
TNK_API int32_t TNK_CALL T_GetBitmapColorCountExt(BitmapHandle* Bitmap, uint32_t* Count, PaletteEntry* Colors);

/*
 * Chooses one palette for all bitmaps of a list: their own colours where there are no more than wanted (a single bitmap),
 * or their palettes in one (8 bits or fewer each); else those of a histogram of 5 bits a channel that is split where it
 * varies most (variance-based quantisation, S. Wan, P. Prusinkiewicz, S. Wong, 1990), until there are as many as wanted or
 * nothing is left to split. Own colours are as T_GetBitmapColorCountExt collects them: gray levels of fewer than 8 bits
 * are not stretched, ORDER_MATRIX_RGB is not turned. Sorted by red, green, blue.
 *   Palette         room for Count entries; those that are not needed become zero
 *   Count           colours wanted, 1-256; gets the number chosen
 *   MatchTable      null, or gets a table for T_StartDitheringExt (0 for colours that do not occur), which the caller frees
 *                   with T_FreeUserMatchTable or T_LocalFree, or null where no pixel needs one
 *   NeedsDithering  gets 0 when every pixel's colour is in the palette, else 1
 * Codes: -13 null pointer, list or Count; -2 no bitmap, or one without storage; -789; -1 no memory; those of row access.
 * Nothing is written then.
 */
TNK_API int32_t TNK_CALL T_CreateBitmapListOptPal(T_HANDLE List, PaletteEntry* Palette, uint32_t* Count,
                                                  uint32_t** MatchTable, uint32_t* NeedsDithering);

/*
 * The same with flags, an addition of this library: CRF_PEELDOMINANT, and CRF_FULLPRECISION for better palettes. The
 * histogram then keeps the sums of its pixels' channels (of 16 bits in sources of 48 and 64). Its colours are compared by
 * lightness and two opponent hues, along the axes of CIELAB; boxes are split at the mean where the squared error is
 * largest, and entries are the rounded means of their pixels after two passes of refinement (S. Lloyd, 1982). The
 * dominant colours need no entries set aside. A match table has a word for every colour: the entry nearest to the mean of
 * its pixels, or to its middle, where differences of hue count half.
 * Codes: as above, and -13 other flags.
 */
TNK_API int32_t TNK_CALL T_CreateBitmapListOptPalExt(T_HANDLE List, PaletteEntry* Palette, uint32_t* Count,
                                                     uint32_t** MatchTable, uint32_t* NeedsDithering, uint32_t Flags);

/* ------------------------------------------------------------------------------------------------------------
 * Colour resolution
 */

/* Palette choice, bits 0-9 of the flags, for destinations of 8 bits or fewer. */
#define CRF_OPTIMIZEDPALETTE 0x0000u    /* optimized from the image */
#define CRF_FIXEDPALETTE 0x0001u        /* the fixed palette of the depth */
#define CRF_RESERVESYSTEMCOLORS 0x0008u /* optimized, keeping the display's static colours */
#define CRF_USERPALETTE 0x0010u         /* the caller's array or handle */
#define CRF_USERMATCHTABLE 0x0020u      /* with CRF_USERPALETTE: the thread's current match table */
#define CRF_WEBPALETTE 0x0040u          /* the web palette, 8 bits only; with CRF_FIXEDPALETTE: fixed elsewhere */
#define CRF_NOMATCHTABLE 0x0200u        /* optimized without a match table */
#define CRF_PEELDOMINANT 0x0400u        /* optimized: dominant colours may take all entries but one, not all but 63 */
#define CRF_FULLPRECISION 0x1000u       /* optimized: entries of 8 bits a channel, matched by eye; this library's own */
/* Order of deeper destinations (RGB without any). */
#define CRF_BGR 0x0004u
#define CRF_GRAY 0x0080u
#define CRF_MATRIXRGB 0x0800u                                /* 24 and 48 bits */
#define CRF_OPAQUEALPHA 0x01000000u                          /* a new alpha channel is opaque */
#define CRF_DITHER_METHOD(method) ((uint32_t)(method) << 16) /* DITHER_*, bits 16-23 */

/* Takes each finished row; any result other than 1 ends the run. Rows is 1. */
typedef int32_t(TNK_CALL* ColorResRowCallback)(BitmapHandle* Bitmap, uint8_t* Row, uint32_t Rows, void* UserData);

/*
 * Converts Source to another depth into Destination, which is initialised and allocated here, on disk when Source is.
 * Destination may be null (rows go to the callback only) or Source itself (in place: what Source held is freed at the
 * end); what another record held is neither looked at nor freed. Size, perspective, resolution, region and animation
 * values are Source's, MinVal and MaxVal the range of a gray destination. Reports to the status callback.
 *
 * Destinations of 8 bits or fewer are dithered, others converted row by row as by T_ConvertBufferExt. The method is that of
 * the flags (0, the nearest colour, when none is given): DitherMethod of the record is not asked. Dithering to palettes
 * other than the library's own matches by 15-bit keys, the upper five bits of each channel: colours with one key get one
 * entry, which is not always the nearest that T_ConvertBuffer finds. With CRF_FULLPRECISION an optimized palette is made
 * and matched as T_CreateBitmapListOptPalExt says, together with the entries to keep, wherever they stand. Where all colours of the image are in its optimized
 * palette, pixels are converted by that exact match instead.
 *   BitsPerPixel   1-8, 12 (gray whatever the flags), 16, 24, 32, 48, 64
 *   Flags          CRF_*, combined as listed; other combinations are -13. Up to 8 bits one palette:
 *                    CRF_OPTIMIZEDPALETTE                  from the image; with CRF_RESERVESYSTEMCOLORS,
 *                                                          CRF_NOMATCHTABLE, CRF_PEELDOMINANT,
 *                                                          CRF_FULLPRECISION as wanted
 *                    CRF_FIXEDPALETTE                      of the depth
 *                    CRF_WEBPALETTE                        8 bits only
 *                    CRF_WEBPALETTE | CRF_FIXEDPALETTE     web for 8 bits, fixed for fewer
 *                    CRF_USERPALETTE                       Palette
 *                    CRF_USERPALETTE | CRF_USERMATCHTABLE  Palette, matched by the thread's table if it has one
 *                  and a method, CRF_DITHER_METHOD(0-8). CRF_BGR, CRF_GRAY and those below say nothing there.
 *                  Above 8 bits one order, where the palettes and the method say nothing:
 *                    none                                  ORDER_RGB
 *                    CRF_BGR                               ORDER_BGR
 *                    CRF_GRAY                              ORDER_GRAY: 16 and 32 bits, else -27
 *                    CRF_GRAY | CRF_BGR                    ORDER_GRAY for 16 bits, ORDER_BGR for more
 *                    CRF_MATRIXRGB                         ORDER_MATRIX_RGB: 24 and 48 bits, else -27
 *                  and CRF_OPAQUEALPHA
 *   Palette        user palette of ColorCount entries, or null
 *                  With an optimized palette: entries to keep; those whose Reserved has bit 1 set and bit 0 clear are filled
 *                  from the image, or zero where it has no more colours. Where all its colours fit, pixels keep them and
 *                  ColorCount shrinks to the last entry used.
 *   PaletteHandle  a logical palette in its place, or 0; chosen whatever the flags say
 *   ColorCount     0, and what is above it, means 2^BitsPerPixel; above 8 bits it is only stored
 *   RowCallback    or null
 * Codes: -13 null or unallocated source, both palettes, depth, palette choice, method, an order that the conversion
 * does not take; -789; -1360 signed samples without BMF_WINDOW, or with it where they would be dithered; -1486 a lookup
 * table in force of the wrong length; -27 an order the depth does not have; -3 too large; -1 no memory; those of
 * T_AllocateBitmap and of row access; a callback's value.
 * Destination after a failure: an in-place source is as it was. Another record holds
 *   nothing new                      after -13 for a null Source, -789
 *   its StructSize                   after -13 for a Source without storage, for both palettes and for the depth, and
 *                                    -1360 without BMF_WINDOW
 *   size, depth, perspective,        after every other failure: initialised, nothing attached, so that it may be
 *   resolution and ColorCount        freed or used again
 */
TNK_API int32_t TNK_CALL T_ColorResBitmap(BitmapHandle* Source, BitmapHandle* Destination, uint32_t StructSize,
                                          int32_t BitsPerPixel, uint32_t Flags, const PaletteEntry* Palette,
                                          T_HANDLE PaletteHandle, uint32_t ColorCount, ColorResRowCallback RowCallback,
                                          void* UserData);

/* Takes rows of a list's items: the item's new bitmap, Rows rows, the item's index, the first row's number. */
typedef int32_t(TNK_CALL* ColorResListRowCallback)(BitmapHandle* Bitmap, uint8_t* Row, uint32_t Item, uint32_t FirstRow,
                                                   uint32_t Rows, void* UserData);

/*
 * Converts every bitmap of a list in place, in order, and stops at the first that fails. Optimized palettes are built once
 * for all items, which are then dithered to it through one match table; with CRF_NOMATCHTABLE each item gets its own. User
 * palettes share a match table too. The thread's current table is as it was afterwards. Palette may be the palette of an
 * item. PaletteHandle with an optimized palette (without CRF_NOMATCHTABLE) gives entries to keep, as Palette does; entries
 * that the handle lacks are filled.
 * Codes: -13 null list, a list that an operation works on, both palettes, depth; -2 no items for an optimized palette;
 * else as T_ColorResBitmap. Items before the failing one stay converted, it and those after it are as they were.
 */
TNK_API int32_t TNK_CALL T_ColorResBitmapListExt(T_HANDLE List, int32_t BitsPerPixel, uint32_t Flags,
                                                 const PaletteEntry* Palette, T_HANDLE PaletteHandle,
                                                 uint32_t ColorCount, ColorResListRowCallback RowCallback,
                                                 void* UserData);
TNK_API int32_t TNK_CALL T_ColorResBitmapList(T_HANDLE List, int32_t BitsPerPixel, uint32_t Flags,
                                              const PaletteEntry* Palette, T_HANDLE PaletteHandle, uint32_t ColorCount);

/* ------------------------------------------------------------------------------------------------------------
 * Clearing and filling
 *
 * Both write the pixels of the bitmap's region, asked for by the display dispatch table: all pixels without routines.
 * Codes: -13 null or unallocated; -789; -1 no memory; the routines', callback's and storage's own. A region without any
 * segments is a success that writes nothing. Disk bitmaps report to the status callback row by row, others 0 and 100.
 */

/* Sets every byte of the pixels to 0. */
TNK_API int32_t TNK_CALL T_ClearBitmap(BitmapHandle* Bitmap);

/* Sets the pixels to a colour value: COLOR_TAG_INDEX names a palette index, COLOR_TAG_GRAY a level (the green byte where
 * 8 bits are kept, the low 16 bits where 16 are); other colours are matched to the palette of 8 bits and fewer. A new
 * alpha channel is 0. */
TNK_API int32_t TNK_CALL T_FillBitmap(BitmapHandle* Bitmap, uint32_t Color);

/* ------------------------------------------------------------------------------------------------------------
 * Alpha channels
 *
 * Bitmaps of 32 and 64 bits have an alpha channel of 8 and 16 bits, those of 16 bits one of a single bit, the top one of
 * a pixel. Alpha says how opaque a pixel is: 0 not at all; colours are not multiplied by it.
 */

/* Sets the alpha of the pixels in the first Bytes bytes of a row: the low byte of Alpha at 32 bits per pixel, 16 bits at
 * 64. Nothing at other depths, and for a part of a pixel at the end. */
TNK_API void TNK_CALL T_SetRowAlphaValues(int32_t BitsPerPixel, uint8_t* Row, uint32_t Bytes, uint32_t Alpha);

/* The same for all pixels in the bitmap's region, as T_FillBitmap finds them. Reports a row at a time.
 * Codes: -13 null or unallocated; -789; -27 neither 32 nor 64 bits; -1 no memory; the routines', callback's and storage's
 * own, after which rows keep what was done so far. */
TNK_API int32_t TNK_CALL T_SetBitmapAlphaValues(BitmapHandle* Bitmap, uint32_t Alpha);

/*
 * T_GetBitmapAlpha makes AlphaBitmap, a record that holds nothing, a gray bitmap of the alpha channel: 16 bits in
 * ORDER_GRAY for 64-bit bitmaps, else 8 bits with a gray palette. A 16-bit bitmap gives 255 and 0, one without a channel
 * 0 throughout. View, resolution and region are those of Bitmap.
 * T_SetBitmapAlpha writes the gray values of AlphaBitmap into the channel, for the rows and columns that both have, from
 * the first stored one of each on. A bitmap that has no channel gets one first: 64 bits from 48, 32 bits from all others. A mask of
 * other depth or view than needed, and one in colours, is converted in a copy. At 16 bits the bit is set where the mask is
 * 1, or 128 and more.
 * Both report to the status callback.
 * Codes: -13 null or unallocated; -789; -1360 signed samples; -1 no memory; those of T_ColorResBitmap,
 * T_GrayScaleBitmap and T_ChangeBitmapViewPerspective; the storage's, routines' and callback's. After a failure
 * AlphaBitmap of the first holds nothing; Bitmap of the second has the rows so far where it had its channel before, and is as
 * it was where it had none.
 */
TNK_API int32_t TNK_CALL T_GetBitmapAlpha(BitmapHandle* Bitmap, BitmapHandle* AlphaBitmap, uint32_t StructSize);
TNK_API int32_t TNK_CALL T_SetBitmapAlpha(BitmapHandle* Bitmap, BitmapHandle* AlphaBitmap);

/* ------------------------------------------------------------------------------------------------------------
 * Device-independent bitmaps
 *
 * A packed DIB is a movable block (T_OsAllocHandle; on Windows a GMEM_MOVEABLE block, as the clipboard takes it): a header,
 * the colour table, the rows.
 */
#define DIB_HEADER_INFO 0u /* BITMAPINFOHEADER, 40 bytes; also for any other value */
#define DIB_HEADER_V4 1u   /* BITMAPV4HEADER, 108 bytes */
#define DIB_HEADER_V5 2u   /* BITMAPV5HEADER, 124 bytes, tagged as sRGB */

/*
 * Make a packed DIB, uncompressed and bottom-up, which the caller frees with T_OsFreeHandle; 0 on failure. Depths become:
 * 1, 4, 8 the same; 2 and 3 bits 4; 5 to 7 bits 8; 12 bits, and 16 bits of gray samples, 24; 16, 24, 32 bits the same, in
 * BGR order; 48 bits 24; 64 bits 32. The DIB shows the picture as it is seen. It has the colours of the bitmap's palette, all
 * 16 or 256 where the depth changes, and those of the fixed palette where there is none. Nothing is reported but the copy of
 * a picture that lies on its side, to the copy status callback, which may stop it.
 * T_ConvertToDIB leaves the bitmap as it is. T_ChangeToDIB consumes it: it takes bitmaps that are neither accessed
 * (BMF_LOCKED) nor BMF_SIGNED and frees them when the DIB is made. Memory of the library's own is given back in bands as rows
 * go over, so that the picture is in memory once and a band; one that lies on its side (views 5 to 8) is turned in a
 * second image first. After a failure the bitmap is as it was.
 */
TNK_API T_HANDLE TNK_CALL T_ConvertToDIB(BitmapHandle* Bitmap, uint32_t Type);
TNK_API T_HANDLE TNK_CALL T_ChangeToDIB(BitmapHandle* Bitmap, uint32_t Type);

/*
 * Make a bitmap from a DIB: Bitmap, a record that holds nothing, is initialised, allocated in the thread's default memory
 * type, and filled. Headers of 12 bytes (BITMAPCOREHEADER) and of 40 and more; bottom-up or, with a negative height,
 * top-down (view BOTTOM_LEFT or TOP_LEFT). What the rows may be coded as:
 *
 *     compression                       bits          made of it
 *     0 BI_RGB                          1 4 8 16 24 32    the same depth; 16 bits are 5-5-5
 *     1 BI_RLE8, 2 BI_RLE4              8, 4          the same depth; pixels that are skipped are 0
 *     3 BI_BITFIELDS                    16, 32        the same depth: 5-5-5, alpha in the top bit, or 8-8-8, alpha in the top byte
 *     YVU9 IF09                         9, 24         24 bits. Planes 4:1:0, sides multiples of 16
 *     I420 IYUV YV12                    12, 24        24 bits. Planes 4:2:0, sides multiples of 4
 *     UYVY cyuv YUY2 YVYU Y42T          16, 24        24 bits. 4:2:2, even width
 *     Y41P Y41T                         12, 24        24 bits. 4:1:1, sides multiples of 4
 *     Y211                              8, 24         24 bits. Even width
 *     JPEG MJPG dmb1                    any           decoded by the codec module TFCMP15U (tnkrn_codec.h)
 *
 * With U' = U - 128 and V' = V - 128 a pixel is B = Y + (1772 U' + 500) / 1000, G = Y + (-714 V' - 344 U' + 500) / 1000,
 * R = Y + (1402 V' + 500) / 1000, quotients truncated toward zero, sums clamped to 0..255. Planes have no padding, lie in the
 * order of the letters (YVU9 and YV12: V first) and are seen in the other view; IF09 is YVU9 before a plane of
 * differences, which is not read. Other rows are whole double words: Y41P has 8 pixels in U0 Y0 V0 Y1 U4 Y2 V4 Y3 Y4 Y5 Y6
 * Y7, Y211 4 in Y0 U0 Y2 V0. cyuv is UYVY; Y42T is UYVY and Y41T is Y41P with a transparency in the lowest bit of Y, which
 * is taken as part of Y.
 *
 * Masks of channels may be any bits; values of other widths are scaled, rounded. A header of 40 bytes is followed by its three;
 * one for alpha is in headers from 56 bytes on, and alpha is 0 without. A colour table counts up to 8 bits and has as many
 * entries as the header says, at most those that the depth has; above, one is passed over where the block has room for it.
 * Resolutions are the header's, else those of the screen, else the thread's default.
 *
 * T_ConvertFromDIB takes header with colour table, and rows, by address; both are as long as the header says, which is the
 * caller's affair. Without Bits the record is only initialised. The others take a packed DIB, of which they read nothing
 * behind its end, and leave it to the caller. T_MirrorFromDIB stores the rows the other way up, with the view that shows the same
 * picture: first row first for a bottom-up DIB.
 * Codes: -13 null, what is no block, a negative width, a height of -2^31; -789 StructSize; -16 a form that is not in the
 * table, or a block too short; -3 too large; -11 rows to read of a picture without a pixel; -356 no codec module; -1 no
 * memory; those of T_AllocateBitmap and the storage. After a failure other than of arguments Bitmap is an empty record.
 */
TNK_API int32_t TNK_CALL T_ConvertFromDIB(BitmapHandle* Bitmap, uint32_t StructSize, const void* BitmapInfo,
                                          const void* Bits);
TNK_API int32_t TNK_CALL T_ChangeFromDIB(BitmapHandle* Bitmap, uint32_t StructSize, T_HANDLE Dib);
TNK_API int32_t TNK_CALL T_MirrorFromDIB(BitmapHandle* Bitmap, uint32_t StructSize, T_HANDLE Dib);

/* ------------------------------------------------------------------------------------------------------------
 * View perspectives
 *
 * BitmapHandle.ViewPerspective says where row 0 and column 0 of the stored rows lie as the picture is meant to be seen;
 * the eight values are those of the orientation tag of EXIF and TIFF. From LEFT_TOP on the picture lies on its side: it is
 * seen Height wide and Width high.
 */
#define TOP_LEFT 1     /* row 0 at the top, column 0 at the left */
#define TOP_RIGHT 2    /* row 0 at the top, column 0 at the right */
#define BOTTOM_RIGHT 3 /* row 0 at the bottom, column 0 at the right */
#define BOTTOM_LEFT 4  /* row 0 at the bottom, column 0 at the left */
#define LEFT_TOP 5     /* row 0 at the left, column 0 at the top */
#define RIGHT_TOP 6    /* row 0 at the right, column 0 at the top */
#define RIGHT_BOTTOM 7 /* row 0 at the right, column 0 at the bottom */
#define LEFT_BOTTOM 8  /* row 0 at the left, column 0 at the bottom */

/* How coordinates of one view become those of another: turned upside down first when Flip is 1, then rotated clockwise by
 * Rotation degrees. From 2 to 8 the rotation is -90; in every other case it is 0, 90, 180 or 270.
 * Codes: -13 a null pointer, a view outside 1 to 8. */
TNK_API int32_t TNK_CALL T_GetChangeViewPerspectiveParams(int32_t FromView, int32_t ToView, int32_t* Flip,
                                                          int32_t* Rotation);

/* Carries a rectangle of a picture that is Width x Height in FromView to ToView. Views outside 1 to 8 change nothing, and
 * the rotation of -90 (2 to 8) is left out. Code: -13 null. */
TNK_API int32_t TNK_CALL T_ChangeRectViewPerspective(int32_t FromView, int32_t Width, int32_t Height, int32_t ToView,
                                                     BitmapRect* Rect);

/* Carry a rectangle or a point between the caller's view and the stored rows, as above.
 * KEEP: on the way to a bitmap of another view, the picture's width and height are exchanged for the caller's views 6 and
 * 8 but not for 5 and 7. Codes: -13 null (also for a null coordinate); -789. */
TNK_API int32_t TNK_CALL T_RectToBitmap(const BitmapHandle* Bitmap, int32_t View, BitmapRect* Rect);
TNK_API int32_t TNK_CALL T_RectFromBitmap(const BitmapHandle* Bitmap, int32_t View, BitmapRect* Rect);
TNK_API int32_t TNK_CALL T_PointToBitmap(const BitmapHandle* Bitmap, int32_t View, int32_t* X, int32_t* Y);
TNK_API int32_t TNK_CALL T_PointFromBitmap(const BitmapHandle* Bitmap, int32_t View, int32_t* X, int32_t* Y);

/* Moves the pixels so that the same picture is seen with another view code. Destination null or Source: in place; else
 * Destination, a record that holds nothing, becomes a bitmap of its own, and nothing after a failure. The copy reports to
 * the copy callback; the status callback is not called. Codes: -13 null or unallocated, a view outside 1 to 8 (nothing
 * moves); -789 a wrong size or StructSize; those of the flip, the copy and the rotation. After a failed rotation a bitmap
 * changed in place has its rows flipped and view 1. The Int form does not check Source's size; it makes Destination, where
 * there is one, with DupFlags (DUP_*); without DUP_ALLOCATE that is -2. */
TNK_API int32_t TNK_CALL T_ChangeBitmapViewPerspective(BitmapHandle* Destination, BitmapHandle* Source,
                                                       uint32_t StructSize, int32_t View);
TNK_API int32_t TNK_CALL T_IntChangeBitmapViewPerspective(BitmapHandle* Destination, BitmapHandle* Source,
                                                          uint32_t StructSize, int32_t View, uint32_t DupFlags);

/* ------------------------------------------------------------------------------------------------------------
 * Flips
 *
 * Flipping turns a picture upside down, reversing exchanges left and right. T_FlipBitmap and T_ReverseBitmap do so as the
 * picture is seen, the Int forms with the stored rows. Data moves in place in every kind of storage; rows already moved
 * stay moved when the callback stops the work. A routine of the display dispatch table is told at the end, and its answer
 * is the result. Codes: -2 null or unallocated (-13 in T_FlipBitmap; in T_ReverseBitmap -13 for null alone); -789 (public
 * forms); -1 no memory; the storage's and the callback's.
 */
TNK_API int32_t TNK_CALL T_FlipBitmap(BitmapHandle* Bitmap);
TNK_API int32_t TNK_CALL T_ReverseBitmap(BitmapHandle* Bitmap);
TNK_API int32_t TNK_CALL T_IntFlipBitmap(BitmapHandle* Bitmap);
TNK_API int32_t TNK_CALL T_IntReverseBitmap(BitmapHandle* Bitmap);

/* Change the view code alone; a code outside 1 to 8 stays. Codes: -13 null (-2 in the Int forms), -789 (public forms). */
TNK_API int32_t TNK_CALL T_FlipBitmapViewPerspective(BitmapHandle* Bitmap);
TNK_API int32_t TNK_CALL T_ReverseBitmapViewPerspective(BitmapHandle* Bitmap);
TNK_API int32_t TNK_CALL T_IntFlipBitmapViewPerspective(BitmapHandle* Bitmap);
TNK_API int32_t TNK_CALL T_IntReverseBitmapViewPerspective(BitmapHandle* Bitmap);

/* Reverses the order of Width pixels in place, at any address. At 1, 2 and 4 bits padding bits become 0, at 3, 5, 6, 7 and
 * 12 they stay. Other depths than those of bitmaps change nothing. Code: -13 null. */
TNK_API int32_t TNK_CALL T_MirrorLine(uint8_t* Row, uint32_t Width, int32_t BitsPerPixel);

/* ------------------------------------------------------------------------------------------------------------
 * Rotation
 *
 * Angles are hundredths of a degree, any 32-bit value; positive ones turn clockwise as the picture is seen. A turned bitmap
 * has view TOP_LEFT (or BOTTOM_LEFT, when its old view was a mirrored one); when its pixels were turned by 90 or 270
 * degrees, XResolution and YResolution are exchanged.
 */
#define ROTATE_RESIZE 1u     /* the result holds the whole turned picture; without it the picture keeps its size */
#define ROTATE_RESAMPLE 2u   /* linear between pixels, where they can be blended; nearest else */
#define ROTATE_BICUBIC 4u    /* bicubic (Catmull, Rom 1974), likewise; wins over ROTATE_RESAMPLE */
#define ROTATE_NOFASTPATH 8u /* the general turn also for angles of 0, 90, 180 and 270 degrees */

/* Turns a bitmap about its centre. Pixels that nothing covers get Color, as T_FillBitmap takes it. Turns by multiples of 90
 * degrees move pixels exactly, cropped where the size stays and differs. Pixels can be blended in the gray ramp of 8 bits
 * (or its negative), in gray samples and in colours of 16 bits and more; at its edges the picture is blended with Color. The
 * Int form reports progress from ProgressStart to ProgressEnd and does not check the size of the record; the two last
 * arguments are not read.
 * Codes: -2 null or unallocated; -789, which T_RotateBitmap looks at first; -3 the result cannot be; -1 no memory; the
 * storage's and the callback's. The bitmap is as before after any of them. */
TNK_API int32_t TNK_CALL T_RotateBitmap(BitmapHandle* Bitmap, int32_t Angle, uint32_t Flags, uint32_t Color);
TNK_API int32_t TNK_CALL T_IntRotateBitmap(BitmapHandle* Bitmap, int32_t Angle, uint32_t Flags, uint32_t Color,
                                           int32_t ProgressStart, int32_t ProgressEnd, float Reserved1,
                                           float Reserved2);

/* A quarter turn as the picture is seen, counter-clockwise for direction 0, clockwise for others. The view code stays.
 * Codes as T_IntRotateBitmap. */
TNK_API int32_t TNK_CALL T_RotateBitmap90(BitmapHandle* Bitmap, int32_t Direction, int32_t ProgressStart,
                                          int32_t ProgressEnd);

/* Turn the view code alone, by whole degrees that are a multiple of 90; 90 and 270 exchange the resolutions.
 * Codes: -13 null, another angle; -789 (public form). KEEP: a code outside 1 to 8 becomes -13 in the record. */
TNK_API int32_t TNK_CALL T_RotateBitmapViewPerspective(BitmapHandle* Bitmap, int32_t Angle);
TNK_API int32_t TNK_CALL T_IntRotateBitmapViewPerspective(BitmapHandle* Bitmap, int32_t Angle);

/* Sine and cosine of an angle from 0 to 36000 (others count modulo 36000), times 16384 and rounded. */
TNK_API int32_t TNK_CALL T_SinValue(int32_t Angle);
TNK_API int32_t TNK_CALL T_CosValue(int32_t Angle);

/* Turn a picture of Width x Height pixels whose rows take ((Width * BitsPerPixel + 31) / 32) * 4 bytes; those of the result
 * likewise, for its own width. The buffers must not overlap. Direction 0 turns counter-clockwise, others clockwise.
 * Behind the last pixel of a row T_RotateBuffer90 writes zero; T_RotateBuffer180 copies whole rows and mirrors their pixels.
 * Code: -13 null. Other depths than those of bitmaps, and sizes below 1, change nothing. */
TNK_API int32_t TNK_CALL T_RotateBuffer90(const uint8_t* Source, uint8_t* Destination, int32_t Direction, int32_t Width,
                                          int32_t Height, int32_t BitsPerPixel);
TNK_API int32_t TNK_CALL T_RotateBuffer180(const uint8_t* Source, uint8_t* Destination, int32_t Width, int32_t Height,
                                           int32_t BitsPerPixel);

/* ------------------------------------------------------------------------------------------------------------
 * Resizing
 *
 * Nearest pixels are taken without centring: destination pixel i of n shows source pixel floor(i * m / n) of m.
 */
#define RESIZE_NORMAL 0u       /* nearest pixel */
#define RESIZE_FAVOUR_BLACK 1u /* 1 bit with a gray palette: black where any pixel of the cell is black */
#define RESIZE_RESAMPLE 2u     /* linear, by area where it shrinks: T_ResampleBitmap */
#define RESIZE_BICUBIC 4u      /* cubic splines: T_BicubicResampleBitmap; linear for a shrink in both directions */

/* Resizes a bitmap. A dimension of 0 follows from the other one. Storage kind, palette, region, resolution and the other
 * properties stay. Codes: -13 null or unallocated, both dimensions 0, a negative one; -789; -3 too large; -1 no memory;
 * the storage's, the callback's and the resize routine's of the display dispatch table. The bitmap is as before after
 * any of them. */
TNK_API int32_t TNK_CALL T_SizeBitmap(BitmapHandle* Bitmap, int32_t NewWidth, int32_t NewHeight, uint32_t Flags);

/* Resizes Source's picture into Destination, a bitmap of the wanted size with the same depth and order; its view is kept.
 * Codes: -13 null, another depth or order, a view outside 1 to 8; -2 unallocated; -789; -1; the storage's and the
 * callback's, after which rows written so far stay in Destination. */
TNK_API int32_t TNK_CALL T_ResizeBitmap(BitmapHandle* Source, BitmapHandle* Destination, uint32_t Flags);

/* A new size between neighbouring samples by exact steps, and by areas where a dimension shrinks; and by natural cubic
 * splines through the samples. Gray samples and channels, alpha and the fields of 5-5-5 pixels too, are blended as such,
 * and so are 8-bit pixels whose palette is the gray ramp or its negative; others of 8 bits and fewer go through colours and
 * come back by the bitmap's dithering method and palette. The Int forms fill Destination, a bitmap of the new size with the
 * same depth and order.
 * Codes: -2 (linear) and -13 (bicubic) null or unallocated; -13 no size; -789; -3; -1; the storage's and the
 * callback's. The bitmap is as before after any of them. */
TNK_API int32_t TNK_CALL T_ResampleBitmap(BitmapHandle* Bitmap, int32_t NewWidth, int32_t NewHeight);
TNK_API int32_t TNK_CALL T_BicubicResampleBitmap(BitmapHandle* Bitmap, int32_t NewWidth, int32_t NewHeight);
TNK_API int32_t TNK_CALL T_ResampleBitmapInt(BitmapHandle* Source, BitmapHandle* Destination, uint32_t StructSize);
TNK_API int32_t TNK_CALL T_BicubicResampleBitmapInt(BitmapHandle* Source, BitmapHandle* Destination,
                                                    uint32_t StructSize);

/* Resizing for a caller who has one source row at a time, in rising or falling order. T_Resize scales the row in place (it
 * must have room for the wider of the two widths) and answers how often the row is to be written: 0 times, it is skipped.
 * KEEP: source row r is written floor((r + 1) * H / h) - floor(r * H / h) times, which keeps rows 1 and 2 of 3 where
 * columns 0 and 1 are kept. Codes: -13 null, an invalid size (T_SizeBitmap's rule, a source of 0); -1 no memory. */
TNK_API int32_t TNK_CALL T_StartResize(int32_t OldWidth, int32_t OldHeight, int32_t NewWidth, int32_t NewHeight,
                                       void** State);
TNK_API int32_t TNK_CALL T_Resize(uint8_t* Row, int32_t RowIndex, int32_t BitsPerPixel, int32_t* NewWidth,
                                  int32_t* RowCount, void* State);
TNK_API int32_t TNK_CALL T_StopResize(void* State);

/* Picks Count pixels from Source to Destination: from pixel First on, Step pixels further each time and one more when the
 * error, which grows by Remainder from Error on, reaches Divisor. Returns the pixel reached. The Reverse form writes the
 * same pixels so that a row may grow or shrink in place, and returns to First. A null row, a depth outside 1 to 64, a
 * Divisor below 1: nothing is done. Pixels that share bytes have the most significant bit first, but for 12 bits, which lie
 * as in bitmaps. BytesPerLine and Direction are not read. */
TNK_API int32_t TNK_CALL T_GetResizedScanLine(int32_t BitsPerPixel, int32_t BytesPerLine, int32_t First, int32_t Step,
                                              int32_t Error, int32_t Remainder, const uint8_t* Source,
                                              uint8_t* Destination, int32_t Count, int32_t Divisor, int32_t Direction);
TNK_API int32_t TNK_CALL T_ReverseGetResizedScanLine(int32_t BitsPerPixel, int32_t BytesPerLine, int32_t First,
                                                     int32_t Step, int32_t Error, int32_t Remainder,
                                                     const uint8_t* Source, uint8_t* Destination, int32_t Count,
                                                     int32_t Divisor, int32_t Direction);

/* Hands out rows, or parts of rows, of a bitmap as T_SizeBitmap would resize it, without making it: what a display needs
 * to scroll. Started by size and RESIZE_* flags; the bitmap must live, and neither change nor be freed, until the stop.
 * T_GetResizedRowCol gives Bytes bytes of row Row from the byte of column Col on, like T_GetBitmapRowCol; rows may be
 * asked for in any order, rising ones are fastest. Dithered results need the rows before them, which are made
 * again after a step back. Returns the bytes, or a code: -13 null or no resizer; -11 outside the resized rows; -1 no memory; the storage's.
 * T_StartResizeBitmap: codes of T_SizeBitmap, -814 Resizer null. T_StopResizeBitmap: -13 null or no resizer. */
TNK_API int32_t TNK_CALL T_StartResizeBitmap(BitmapHandle* Bitmap, int32_t NewWidth, int32_t NewHeight, uint32_t Flags,
                                             void** Resizer);
TNK_API int32_t TNK_CALL T_GetResizedRowCol(void* Resizer, uint8_t* Buffer, int32_t Row, uint32_t Col, uint32_t Bytes);
TNK_API int32_t TNK_CALL T_StopResizeBitmap(void* Resizer);

/* ------------------------------------------------------------------------------------------------------------
 * Shear
 */

/* Slants a picture as it is seen by an angle between -9000 and 9000 hundredths of a degree: with Horizontal rows are moved
 * sideways, to the right further down for a positive angle, without it columns are moved up and down. The bitmap is
 * replaced by one that has room for all pixels; Color, as T_FillBitmap takes it, fills the rest.
 * Codes: -2 null or unallocated; -789; -13 the angle; -3 too large; -1 no memory; the storage's and the callback's. The
 * bitmap is as before after any of them. */
TNK_API int32_t TNK_CALL T_ShearBitmap(BitmapHandle* Bitmap, int32_t Angle, int32_t Horizontal, uint32_t Color);

/* ------------------------------------------------------------------------------------------------------------
 * Combining, warping, scrambling
 */

/* How a pixel d of the destination and s of the source become one: by the bits of their channels, or by their values,
 * which saturate. Channels are the fields of 16-bit colours, the bytes of 24 and 32 bits, the words of 48 and 64, with alpha
 * as one of them, and whole gray samples. Palette indexes are combined by their bits as they are; by value, their colours
 * are, and the nearest entry is taken (a pixel whose colour stays keeps its index). 8-bit pixels whose palette is the gray
 * ramp, or that are gray without one, are levels. */
#define COMBINE_COPY 0u       /* s */
#define COMBINE_NOT 1u        /* all bits of s turned over */
#define COMBINE_AND 2u        /* d and s */
#define COMBINE_OR 3u         /* d or s */
#define COMBINE_XOR 4u        /* d exclusive or s */
#define COMBINE_ADD 5u        /* d + s, at most the greatest value */
#define COMBINE_SUBTRACT 6u   /* d - s, at least 0 */
#define COMBINE_DIFFERENCE 7u /* |d - s| */
#define COMBINE_MULTIPLY 8u   /* d * s / greatest value, rounded */
#define COMBINE_AVERAGE 9u    /* (d + s + 1) / 2 */
#define COMBINE_MINIMUM 10u   /* the less */
#define COMBINE_MAXIMUM 11u   /* the greater */
#define COMBINE_ALPHA 12u     /* s over d by the alpha of s (Porter and Duff, 1984); a source without alpha is opaque */

/* Channels that are written, of colours above 8 bits; none of these: all of the pixel, as gray samples and indexes always
 * are. The first component of ORDER_MATRIX_RGB counts as blue. */
#define COMBINE_RED 0x100u
#define COMBINE_GREEN 0x200u
#define COMBINE_BLUE 0x400u
#define COMBINE_CHANNEL_ALPHA 0x800u

/* Of warps only: blend the four nearest pixels; else the nearest one. */
#define COMBINE_LINEAR 0x10000u

/* A position in the picture as it is seen, in pixels: the corner (0, 0) is the top left corner of the top left pixel. */
typedef struct BitmapPoint {
    int32_t x;
    int32_t y;
} BitmapPoint;

/*
 * Combines the rectangle of Width x Height pixels of Source from (SourceLeft, SourceTop) on with that of Destination from
 * (Left, Top) on. Positions are those of the pictures as they are seen; the rectangle is clipped to both, and what is
 * written to Destination's region (T_FillBitmap). A source of other depth, order or palette is converted as by
 * T_ConvertBuffer, colours to a palette without dithering and to the gray ramp by their level; alpha goes along, and a
 * source without any is opaque. One of another view is turned in a copy. Source may be Destination or share its pixels:
 * they are those from before.
 * Codes: -13 null or unallocated, a view outside 1 to 8, a mode or flag that is none; -789; -1360 signed samples; -11 a
 * negative width or height; -1 no memory; those of the conversions; the storage's, the region routines' and the
 * callback's, after which rows keep what was done so far.
 */
TNK_API int32_t TNK_CALL T_CombineBitmapKrn(BitmapHandle* Destination, int32_t Left, int32_t Top, int32_t Width,
                                            int32_t Height, BitmapHandle* Source, int32_t SourceLeft, int32_t SourceTop,
                                            uint32_t Flags);

/*
 * Combines a quadrilateral of Source with one of Destination by the projective map that carries corner to corner (the
 * mapping of Heckbert, 1989). Corners are four points in order around the shape, either way round, convex, inside
 * -32768 .. 32767; without SourceCorners they are those of the whole picture from the top left one clockwise. A pixel of
 * Destination is written where its centre lies in the quadrilateral; a centre on an edge belongs to the shape to the right
 * of it, or below, so that neighbours share no pixel and leave none out. It shows the pixel that its position lies in;
 * with COMBINE_LINEAR a blend of the four around it, at the edges of Source fewer, taken to 1/256 pixel. Indexes into
 * other palettes than gray ramps are blended as colours of 24 bits. What lies outside Source is left alone.
 * Codes: as above; -13 also null Corners, and corners that are not convex, have no area, or lie outside the range.
 */
TNK_API int32_t TNK_CALL T_CombineBitmapWarp(BitmapHandle* Destination, const BitmapPoint* Corners,
                                             BitmapHandle* Source, const BitmapPoint* SourceCorners, uint32_t Flags);

/*
 * Makes a rectangle unrecognisable, as it is seen and clipped to the bitmap, and brings it back when it is called with the
 * same rectangle and key again: the bits of pixels are combined with a sequence of numbers that the key and the place in
 * the rectangle give. It hides a face or a name from who passes by; it does not encrypt: who sees many pictures of one key,
 * or tries keys, finds the pixels. A part that was cut out is brought back by the rectangle's place in the part, negative
 * positions included. Palette, region and what lies after the last pixel of a row play no part.
 * Codes: -13 null or unallocated; -789; -11 a negative width or height; -1 no memory; the storage's and the callback's,
 * after which all rows are as before where the storage lets them.
 */
TNK_API int32_t TNK_CALL T_ScrambleBitmap(BitmapHandle* Bitmap, int32_t Left, int32_t Top, int32_t Width,
                                          int32_t Height, uint32_t Key);

/* ------------------------------------------------------------------------------------------------------------
 * Overlays
 *
 * A bitmap has up to 16 overlays, Index 0 to 15: bitmaps of 1 bit that are shown over it in a colour. They are released
 * with it, duplicated with it, and follow it when it is flipped, turned, resized or sheared while OVERLAY_FOLLOWS is set.
 * An overlay may be bound to a bit plane of a bitmap of 8, 12 or 16 bits.
 * A set that other records share (T_CopyBitmapHandle) is released once, like the rest of them.
 *
 * What follows moves with what is seen: by flips and reversals exactly, by turns about the picture's centre, exactly by right
 * angles; by resizing to a place and a size that are rounded down, of at least one pixel; by shear to whole pixels. What is
 * uncovered is not set. Overlays without storage only move with rectangle copies, by -Left and -Top of the stored
 * rectangle as numbers. A change of view, of data or of the code alone, leaves origins as they are. Callbacks do not hear of
 * overlays. A turn, a shear or another size fails with bitmap and overlays as they were, and gives overlays new storage,
 * so that a record that shared the old one must be taken anew; a flip that fails for an overlay stays with those before it.
 */
#define OVERLAY_FOLLOWS 0x2u        /* follows its bitmap's changes of geometry */
#define OVERLAY_HAS_PLANE 0x8u      /* bound to a bit plane */
#define OVERLAY_CHANGED 0x80000000u /* for the caller; cleared whenever the overlay's bitmap is replaced or made anew */

/* What T_Set- and T_GetOverlayAttributes move. */
#define OVERLAY_ORIGIN 1u
#define OVERLAY_COLOR 2u
#define OVERLAY_FLAGS 4u
#define OVERLAY_PLANE 8u
#define OVERLAY_EXTENDED 16u
#define OVERLAY_TEXT_CHARS 65

/* 512 bytes. The extended fields are kept and given back as they are. */
typedef struct OverlayAttributes {
    uint32_t StructSize; /* 512 */
    int32_t OriginX;     /* the overlay's top left corner in the picture as it is seen */
    int32_t OriginY;
    uint32_t Color; /* a plain colour value */
    uint32_t Flags; /* OVERLAY_*, all other bits are the caller's */
    uint16_t BitPlane;
    uint16_t Value1;
    uint16_t Value2;
    uint8_t Block1[34];
    uint16_t Value3;
    T_WCHAR Text1[OVERLAY_TEXT_CHARS];
    T_WCHAR Text2[OVERLAY_TEXT_CHARS];
    T_WCHAR Text3[OVERLAY_TEXT_CHARS];
    uint32_t Value4;
    double Real1;
    double Real2;
    uint32_t Value5;
    uint16_t Value6;
    uint8_t Block2[34];
} OverlayAttributes;

/* The same with narrow texts, zero-terminated, of at most 130 bytes and 64 characters with their end; longer ones are cut. */
typedef struct OverlayAttributesA {
    uint32_t StructSize;
    int32_t OriginX;
    int32_t OriginY;
    uint32_t Color;
    uint32_t Flags;
    uint16_t BitPlane;
    uint16_t Value1;
    uint16_t Value2;
    uint8_t Block1[34];
    uint16_t Value3;
    char Text1[2 * OVERLAY_TEXT_CHARS];
    char Text2[2 * OVERLAY_TEXT_CHARS];
    char Text3[2 * OVERLAY_TEXT_CHARS];
    uint32_t Value4;
    double Real1;
    double Real2;
    uint32_t Value5;
    uint16_t Value6;
    uint8_t Block2[34];
} OverlayAttributesA;

/*
 * Codes of all: -13 null record, Index; -789 a record's size, the size word of attributes or of a set; -815 no such
 * overlay, where it is not made; -814 a null output or attribute record; -1 no memory. What is no set by its size word is
 * neither followed nor freed nor copied.
 */

/* The overlays that the bitmap has. Reserved is not looked at. */
TNK_API int32_t TNK_CALL T_GetOverlayCount(BitmapHandle* Bitmap, uint32_t* Count, uint32_t Reserved);

/*
 * Set makes the overlay where it does not exist, and takes the groups in the order above; one that is refused (-13: a
 * colour above 0xFFFFFF, a plane that the bitmap does not have) ends the call, those before it stay set. Bit 31 of the
 * flags is cleared, and a plane sets OVERLAY_HAS_PLANE. The colour makes a logical palette anew.
 */
TNK_API int32_t TNK_CALL T_SetOverlayAttributes(BitmapHandle* Bitmap, int32_t Index,
                                                const OverlayAttributes* Attributes, uint32_t Which);
TNK_API int32_t TNK_CALL T_GetOverlayAttributes(BitmapHandle* Bitmap, int32_t Index, OverlayAttributes* Attributes,
                                                uint32_t StructSize, uint32_t Which);
TNK_API int32_t TNK_CALL T_SetOverlayAttributesA(BitmapHandle* Bitmap, int32_t Index,
                                                 const OverlayAttributesA* Attributes, uint32_t Which);
TNK_API int32_t TNK_CALL T_GetOverlayAttributesA(BitmapHandle* Bitmap, int32_t Index, OverlayAttributesA* Attributes,
                                                 uint32_t StructSize, uint32_t Which);

/* Mode of the two below. */
#define OVERLAY_COPY 0u  /* the pixels are copied */
#define OVERLAY_SHARE 1u /* the record is: both have one storage, which is freed once */
#define OVERLAY_MOVE 3u  /* the record is, and the giver's becomes empty */

/*
 * Set puts a bitmap of 1 bit (else -27) in the overlay's place, which is made where it does not exist; what was there is
 * freed, unless Overlay shares it. An Overlay without storage gives its size only (OVERLAY_COPY); null makes the overlay an
 * empty bitmap from its origin to the end of the picture. A palette of another colour and black (in this order) becomes black
 * and white, pixels too, so that set pixels are the light ones, also in the record that shares the storage.
 * Get gives the overlay; Out holds nothing before.
 * Storage that is shared is freed with the overlay: take it out by OVERLAY_MOVE to keep it. When the record that gave it is
 * freed first, the overlay is left with its size and no storage.
 * Codes: -13 also another mode, a bitmap as its own overlay, the bitmap or the overlay as Out, and with OVERLAY_SHARE and
 * OVERLAY_MOVE what hangs on the bitmap already or leads back to it; those of T_CopyBitmap and T_ColorResBitmap. A failure
 * changes nothing.
 */
TNK_API int32_t TNK_CALL T_SetOverlayBitmap(BitmapHandle* Bitmap, int32_t Index, BitmapHandle* Overlay, uint32_t Mode);
TNK_API int32_t TNK_CALL T_GetOverlayBitmap(BitmapHandle* Bitmap, int32_t Index, BitmapHandle* Out, uint32_t StructSize,
                                            uint32_t Mode);

#define OVERLAY_TO_PLANE 1u /* write the overlay into the plane; else take the plane out */

/*
 * Takes the bound plane out into the overlay, which is made anew with its old size (from the origin to the end of the
 * picture without one) and the bitmap's view, 0 beyond the bitmap; or writes it back, where both overlap.
 * Codes: -27 the bitmap's depth; -816 no plane is bound, or one that the bitmap does not have; -2 bitmap, or overlay to
 * write, without storage; -13 the origin lies outside the bitmap; those of T_CreateBitmap and of the storage, after which the
 * overlay is as it was, or the bitmap has the rows so far.
 */
TNK_API int32_t TNK_CALL T_UpdateBitmapOverlayBits(BitmapHandle* Bitmap, int32_t Index, uint32_t Flags);

#ifdef __cplusplus
}

/* ------------------------------------------------------------------------------------------------------------
 * Helper classes for C++. They are inline over the functions above and so work with every compiler.
 */

/* Narrow text as wide text for as long as the object lives:  T_OsDelete(T_A2W(name)). Null stays null, and is what is
 * given without memory. */
class T_A2W {
  public:
    explicit T_A2W(const char* Text) : Result(nullptr) {
        const int32_t length = T_A2WLength(Text);
        if (length == 0) return;
        T_WCHAR* out =
            length <= InsideLength
                ? Inside
                : static_cast<T_WCHAR*>(T_LocalAlloc(RESOURCE_HEAP, static_cast<uint32_t>(length) * 2u, 0, "T_A2W"));
        Result = T_A2WHelper(out, Text, length);
    }
    ~T_A2W() {
        if (Result != Inside) T_LocalFree(Result, 0, "T_A2W");
    }
    T_A2W(const T_A2W&) = delete;
    T_A2W& operator=(const T_A2W&) = delete;
    operator const T_WCHAR*() const { return Result; }

  private:
    enum { InsideLength = 264 };
    T_WCHAR* Result;
    T_WCHAR Inside[InsideLength];
};

/* Wide text as narrow text, likewise. */
class T_W2A {
  public:
    explicit T_W2A(const T_WCHAR* Text) : Result(nullptr) {
        const int32_t length = T_W2ALength(Text);
        if (length == 0) return;
        char* out = length <= InsideLength
                        ? Inside
                        : static_cast<char*>(T_LocalAlloc(RESOURCE_HEAP, static_cast<uint32_t>(length), 0, "T_W2A"));
        Result = T_W2AHelper(out, Text, length);
    }
    ~T_W2A() {
        if (Result != Inside) T_LocalFree(Result, 0, "T_W2A");
    }
    T_W2A(const T_W2A&) = delete;
    T_W2A& operator=(const T_W2A&) = delete;
    operator const char*() const { return Result; }

  private:
    enum { InsideLength = 528 };
    char* Result;
    char Inside[InsideLength];
};

/* An optional module:  T_DllLoader codec(name); auto load = codec.Find<LoadRoutine>("fltLoadBuffer"); */
class T_DllLoader {
  public:
    explicit T_DllLoader(const T_WCHAR* Name) : Loader(T_DllLoaderOpen(Name)) {}
    ~T_DllLoader() { T_DllLoaderClose(Loader); }
    T_DllLoader(const T_DllLoader&) = delete;
    T_DllLoader& operator=(const T_DllLoader&) = delete;

    bool Load() { return T_DllLoaderLoad(Loader) == T_SUCCESS; }
    bool Unload() { return T_DllLoaderUnload(Loader) == T_SUCCESS; }
    bool IsLoaded() const { return T_DllLoaderIsLoaded(Loader) != 0; }
    template <typename Routine>
    Routine Find(const char* Symbol) {
        return reinterpret_cast<Routine>(T_DllLoaderFind(Loader, Symbol));
    }

  private:
    T_HANDLE Loader;
};
#endif

#endif
