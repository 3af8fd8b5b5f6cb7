// Runs of a scanned page beside the codings of 1-bit pages that libtiff has, each from memory to memory.
#include <algorithm>
#include <cstring>
#include <random>

#include "contest.h"

#ifdef PEER_TIFF
#include <tiffio.h>
#endif
#ifdef PEER_LEPTONICA
#include <leptonica/allheaders.h>
#endif

namespace tnk::bench {
namespace {

// A4 at 300 dots per inch.
constexpr uint32_t kPageWidth = 2480;
constexpr uint32_t kPageHeight = 3508;
constexpr uint32_t kPageLine = 312;

struct Page {
    std::vector<uint8_t> rows = std::vector<uint8_t>(size_t{kPageLine} * kPageHeight);
    std::mt19937 random{11};

    void dot(uint32_t x, uint32_t y) { rows[size_t{y} * kPageLine + x / 8] |= static_cast<uint8_t>(0x80 >> x % 8); }

    // A stroke four or five pixels thick whose edge frays, as a scanner sees it.
    void stroke(uint32_t x, uint32_t y, int32_t dx, int32_t dy, uint32_t length) {
        for (uint32_t i = 0; i < length; ++i) {
            const uint32_t thick = random() % 6 == 0 ? 4 : 5;
            const auto cx = static_cast<uint32_t>(static_cast<int32_t>(x) + dx * static_cast<int32_t>(i) / 2);
            const auto cy = static_cast<uint32_t>(static_cast<int32_t>(y) + dy * static_cast<int32_t>(i) / 2);
            for (uint32_t v = 0; v < (dx != 0 ? thick : 1); ++v) {
                for (uint32_t u = 0; u < (dy != 0 ? thick : 1); ++u) dot(cx + u, cy + v);
            }
        }
    }
    void glyph(uint32_t x, uint32_t y) {
        constexpr int32_t kDirections[][2] = {{0, 2}, {2, 0}, {1, 2}, {2, 1}, {0, 1}};
        for (uint32_t strokes = 2 + random() % 3; strokes > 0; --strokes) {
            const auto& direction = kDirections[random() % 5];
            stroke(x + random() % 12, y + random() % 12, direction[0], direction[1], 14 + random() % 12);
        }
    }
};

// Lines of text 10 points high between margins of an inch, words apart, and specks of dust.
const Page& page() {
    static const Page instance = [] {
        Page p;
        for (uint32_t y = 300; y + 300 < kPageHeight; y += 58) {
            const uint32_t end = p.random() % 5 == 0 ? 1300 : 2150;
            for (uint32_t x = 300; x < end; x += p.random() % 6 == 0 ? 46 : 27) p.glyph(x, y + x / 300);
        }
        for (int i = 0; i < 400; ++i) p.dot(p.random() % kPageWidth, p.random() % kPageHeight);
        return p;
    }();
    return instance;
}

constexpr char kEncode[] = "Encode a scanned page";
constexpr char kDecode[] = "Decode a scanned page";

void registerRunRows() {
    const Page& p = page();
    auto* encoded = new std::vector<uint8_t>(size_t{kPageHeight} * (4 + 2 * (kPageWidth + 1)));
    T_CompressRows(encoded->data(), p.rows.data(), kPageWidth, kPageHeight);
    contender(kEncode, kThere,
              [=, &p] { T_CompressRows(output(encoded->size()), p.rows.data(), kPageWidth, kPageHeight); });
    contender(kDecode, kThere,
              [=, &p] { T_ExpandRows(encoded->data(), output(p.rows.size()), kPageWidth, kPageHeight); });
    copyOf(kEncode, p.rows.size(), p.rows.size());
    copyOf(kDecode, p.rows.size(), p.rows.size());
}

#ifdef PEER_TIFF
struct MemoryFile {
    std::vector<uint8_t> bytes;
    size_t size = 0;
    size_t at = 0;

    static tmsize_t read(thandle_t handle, void* to, tmsize_t count) {
        auto* file = static_cast<MemoryFile*>(handle);
        const size_t n = std::min(static_cast<size_t>(count), file->size - file->at);
        std::memcpy(to, file->bytes.data() + file->at, n);
        file->at += n;
        return static_cast<tmsize_t>(n);
    }
    static tmsize_t write(thandle_t handle, void* from, tmsize_t count) {
        auto* file = static_cast<MemoryFile*>(handle);
        std::memcpy(file->bytes.data() + file->at, from, static_cast<size_t>(count));
        file->at += static_cast<size_t>(count);
        file->size = std::max(file->size, file->at);
        return count;
    }
    static toff_t seek(thandle_t handle, toff_t offset, int whence) {
        auto* file = static_cast<MemoryFile*>(handle);
        const size_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? file->at : file->size;
        return file->at = base + static_cast<size_t>(offset);
    }
    static int close(thandle_t) { return 0; }
    static toff_t length(thandle_t handle) { return static_cast<MemoryFile*>(handle)->size; }
    static int map(thandle_t handle, void** base, toff_t* size) {
        auto* file = static_cast<MemoryFile*>(handle);
        *base = file->bytes.data();
        *size = file->size;
        return 1;
    }
    static void unmap(thandle_t, void*, toff_t) {}

    TIFF* open(const char* mode) {
        at = 0;
        return TIFFClientOpen("page", mode, this, read, write, seek, close, length, map, unmap);
    }
};

void writeTiff(MemoryFile& file, uint16_t compression, const uint8_t* rows) {
    file.size = 0;
    TIFF* tiff = file.open("w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kPageWidth);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kPageHeight);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 1);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kPageHeight);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    TIFFWriteEncodedStrip(tiff, 0, const_cast<uint8_t*>(rows), 310 * tmsize_t{kPageHeight});
    TIFFClose(tiff);
}

void registerTiff() {
    const struct {
        const char* name;
        uint16_t compression;
    } codings[] = {{"libtiff PackBits", COMPRESSION_PACKBITS},
                   {"libtiff MH", COMPRESSION_CCITTRLE},
                   {"libtiff G4", COMPRESSION_CCITTFAX4}};
    // libtiff's rows are whole bytes, not words.
    auto* rows = new std::vector<uint8_t>;
    for (size_t y = 0; y < kPageHeight; ++y) {
        rows->insert(rows->end(), &page().rows[y * kPageLine], &page().rows[y * kPageLine] + 310);
    }
    for (const auto& coding : codings) {
        auto* file = new MemoryFile;
        auto* scratch = new MemoryFile;
        file->bytes.resize(4 << 20);
        scratch->bytes.resize(4 << 20);
        writeTiff(*file, coding.compression, rows->data());
        const uint16_t compression = coding.compression;
        contender(kEncode, coding.name, [=] { writeTiff(*scratch, compression, rows->data()); });
        contender(kDecode, coding.name, [=] {
            TIFF* tiff = file->open("r");
            TIFFReadEncodedStrip(tiff, 0, output(rows->size()), static_cast<tmsize_t>(rows->size()));
            TIFFClose(tiff);
        });
    }
}
#endif

#ifdef PEER_LEPTONICA
// Its way to code a page in memory; the coder inside is libtiff's.
void registerLeptonica() {
    PIX* pix = pixCreate(kPageWidth, kPageHeight, 1);
    for (uint32_t y = 0; y < kPageHeight; ++y) {
        std::memcpy(pixGetData(pix) + y * static_cast<uint32_t>(pixGetWpl(pix)), &page().rows[size_t{y} * kPageLine],
                    310);
    }
    pixEndianByteSwap(pix);
    l_uint8* data = nullptr;
    size_t size = 0;
    if (pixWriteMemTiff(&data, &size, pix, IFF_TIFF_G4) != 0) return;
    contender(kEncode, "leptonica G4", [=] {
        l_uint8* out = nullptr;
        size_t bytes = 0;
        pixWriteMemTiff(&out, &bytes, pix, IFF_TIFF_G4);
        lept_free(out);
    });
    contender(kDecode, "leptonica G4", [=] {
        PIX* read = pixReadMemTiff(data, size, 0);
        pixDestroy(&read);
    });
}
#endif

}  // namespace

void registerRuns() {
    registerRunRows();
#ifdef PEER_TIFF
    registerTiff();
#endif
#ifdef PEER_LEPTONICA
    registerLeptonica();
#endif
}

}  // namespace tnk::bench
