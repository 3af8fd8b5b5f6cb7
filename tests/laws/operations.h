// The table of operations on bitmaps, for the laws that all of them keep. A row says what the operation works on and how it
// is called; kept laws are in laws_test.cpp, run over every kind of storage. To add one, write its row.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "support/picture.h"

namespace tnk::test {

// To which callback; one report whenever the percentage of the source's rows grows, or at other steps from 0 to 100.
enum class Reports { no, toStatus, toCopyStatus, toStatusInSteps };

// What may be left after a failure: nothing; the rows so far in `made` (and items of the list what became of them); rows so
// far in the source.
enum class Leaves { nothing, made, source };

struct World;

struct Operation {
    const char* name;
    Format format;  // of the source
    int32_t (*run)(World&);
    Reports reports = Reports::no;
    Leaves leaves = Leaves::nothing;
    void (*prepare)(World&) = nullptr;
};

inline void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

std::span<const Operation> operations();

// What one run of an operation meets and leaves. Everything in it is freed with it.
struct World {
    World(const Operation& operation, Kind kind, int32_t height);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    // The source, the bitmap that was made, the answer, then the items of the list.
    std::vector<Bytes> parts();
    void makeList(uint32_t items);  // of copies of the source
    BitmapHandle item(uint32_t index) const;
    uint32_t items() const;

    const Kind kind;
    const uint32_t request;             // for bitmaps of the source's kind
    std::optional<TileSettings> tiles;  // destinations of tiled sources are tiles too
    StoredBitmap source;
    BitmapHandle record;  // the source's, before the operation
    BitmapHandle made{};
    T_HANDLE list = 0;
    T_HANDLE palette = 0;
    Bytes answer;  // what else the operation gave
};

}  // namespace tnk::test
