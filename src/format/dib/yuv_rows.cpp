#include "format/dib/yuv_rows.h"

#include <algorithm>
#include <cstddef>

#include "format/dib/fourcc.h"
#include "kernels/kernels.h"

namespace tnk {
namespace {

// ---- the forms ----

// A plane of luma, then two of chroma, each without padding: one sample of chroma for `across` x `down` pixels.
struct Planes {
    uint8_t across;  // 2 or 4
    uint8_t down;
    bool vFirst;
};

// Samples side by side in groups of some pixels, in rows of whole double words, which is why a row may end inside a group.
// Of each two pixels of a group: where their lumas, their U and their V lie.
struct PixelPair {
    uint8_t luma[2];
    uint8_t u;
    uint8_t v;
};
struct Groups {
    uint8_t bytes;
    uint8_t pairs;
    PixelPair pair[4];
};

constexpr Groups kUyvy = {4, 1, {{{1, 3}, 0, 2}}};
constexpr Groups kYuy2 = {4, 1, {{{0, 2}, 1, 3}}};
constexpr Groups kYvyu = {4, 1, {{{0, 2}, 3, 1}}};
constexpr Groups kY41p = {12, 4, {{{1, 3}, 0, 2}, {{5, 7}, 0, 2}, {{8, 9}, 4, 6}, {{10, 11}, 4, 6}}};
constexpr Groups kY211 = {4, 2, {{{0, 0}, 1, 3}, {{2, 2}, 1, 3}}};  // every second luma, every fourth chroma

constexpr Planes kNone = {};

}  // namespace

struct YuvForm {
    uint32_t compression;
    uint8_t bits;       // a pixel; headers may say 24 instead, the depth of what is made of it
    uint8_t widthStep;  // sides are multiples of these
    uint8_t heightStep;
    Planes planes;         // across 0: none
    const Groups* groups;  // null: planes
};

namespace {

constexpr YuvForm kForms[] = {
    {fourcc("YVU9"), 9, 16, 16, {4, 4, true}, nullptr},
    {fourcc("IF09"), 9, 16, 16, {4, 4, true}, nullptr},  // a plane of differences to another picture follows, not read
    {fourcc("I420"), 12, 4, 4, {2, 2, false}, nullptr},
    {fourcc("IYUV"), 12, 4, 4, {2, 2, false}, nullptr},
    {fourcc("YV12"), 12, 4, 4, {2, 2, true}, nullptr},
    {fourcc("UYVY"), 16, 2, 1, kNone, &kUyvy},
    {fourcc("cyuv"), 16, 2, 1, kNone, &kUyvy},
    {fourcc("YUY2"), 16, 2, 1, kNone, &kYuy2},
    {fourcc("YVYU"), 16, 2, 1, kNone, &kYvyu},
    {fourcc("Y42T"), 16, 2, 1, kNone, &kUyvy},
    {fourcc("Y41P"), 12, 4, 4, kNone, &kY41p},
    {fourcc("Y41T"), 12, 4, 4, kNone, &kY41p},
    {fourcc("Y211"), 8, 2, 1, kNone, &kY211},
};

uint64_t groupedRowBytes(const YuvForm& form, uint64_t width) { return (width * form.bits + 31) / 32 * 4; }

// ---- rows ----

// Pixels that are gathered at a time, a multiple of every form's group.
constexpr size_t kBlockPixels = 512;

struct Block {
    uint8_t luma[kBlockPixels];
    uint8_t u[kBlockPixels / 2];
    uint8_t v[kBlockPixels / 2];
};

void repeat(const uint8_t* samples, size_t pairs, uint8_t* out) {
    for (size_t i = 0; i < pairs; ++i) out[i] = samples[i / 2];
}

void planarRow(const YuvForm& form, const uint8_t* bits, size_t width, size_t height, size_t row, uint8_t* bgr) {
    const Planes& planes = form.planes;
    const size_t across = width / planes.across;
    const uint8_t* const luma = bits + width * row;
    const uint8_t* const first = bits + width * height + across * (row / planes.down);
    const uint8_t* const second = first + across * (height / planes.down);
    const uint8_t* u = planes.vFirst ? second : first;
    const uint8_t* v = planes.vFirst ? first : second;
    if (planes.across == 2) {
        kernels().yuvToBgr(luma, bgr, width, {u, v});
        return;
    }
    Block block;
    for (size_t x = 0; x < width; x += kBlockPixels) {
        const size_t count = std::min(width - x, kBlockPixels);
        repeat(u + x / 4, count / 2, block.u);
        repeat(v + x / 4, count / 2, block.v);
        kernels().yuvToBgr(luma + x, bgr + 3 * x, count, {block.u, block.v});
    }
}

void gather(const Groups& groups, const uint8_t* bytes, size_t count, Block& block) {
    for (size_t i = 0; i < count / 2; ++i) {
        const PixelPair& pair = groups.pair[i % groups.pairs];
        const uint8_t* const group = bytes + i / groups.pairs * groups.bytes;
        block.luma[2 * i] = group[pair.luma[0]];
        block.luma[2 * i + 1] = group[pair.luma[1]];
        block.u[i] = group[pair.u];
        block.v[i] = group[pair.v];
    }
}

void groupedRow(const YuvForm& form, const uint8_t* row, size_t width, uint8_t* bgr) {
    const Groups& groups = *form.groups;
    if (groups.pairs == 1) {
        const PixelPair& pair = groups.pair[0];
        kernels().yuvPairsToBgr(row, bgr, width, {pair.luma[0] == 0, pair.u < pair.v});
        return;
    }
    Block block;
    for (size_t x = 0; x < width; x += kBlockPixels) {
        const size_t count = std::min(width - x, kBlockPixels);
        gather(groups, row + x / (2u * groups.pairs) * groups.bytes, count, block);
        kernels().yuvToBgr(block.luma, bgr + 3 * x, count, {block.u, block.v});
    }
}

}  // namespace

const YuvForm* findYuvForm(uint32_t compression) {
    for (const YuvForm& form : kForms)
        if (form.compression == compression) return &form;
    return nullptr;
}

Result checkYuvForm(const YuvForm& form, int32_t bits, int32_t width, int32_t height) {
    const bool fits = (bits == form.bits || bits == 24) && width % form.widthStep == 0 && height % form.heightStep == 0;
    return fits ? SUCCESS : ERROR_INVALID_DIB;
}

bool isPlanar(const YuvForm& form) { return form.groups == nullptr; }

uint64_t yuvBytes(const YuvForm& form, int32_t width, int32_t height) {
    const uint64_t columns = static_cast<uint32_t>(width);
    const uint64_t rows = static_cast<uint32_t>(height);
    if (!isPlanar(form)) return groupedRowBytes(form, columns) * rows;
    return columns * rows + 2 * (columns / form.planes.across) * (rows / form.planes.down);
}

void yuvRowToBgr(const YuvForm& form, const uint8_t* bits, int32_t width, int32_t height, int32_t row, uint8_t* bgr) {
    const auto columns = static_cast<size_t>(width);
    if (isPlanar(form)) {
        planarRow(form, bits, columns, static_cast<size_t>(height), static_cast<size_t>(row), bgr);
        return;
    }
    const auto rowBytes = static_cast<size_t>(groupedRowBytes(form, columns));
    groupedRow(form, bits + rowBytes * static_cast<size_t>(row), columns, bgr);
}

}  // namespace tnk
