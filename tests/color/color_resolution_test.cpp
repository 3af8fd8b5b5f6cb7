// Colour resolution held against the plain forms over drawn bitmaps and requests, and what it refuses.
#include <gtest/gtest.h>

#include <set>

#include "fuzz/resolution_properties.h"
#include "platform/platform.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

TEST(ColorResolution, EqualsThePlainForm) {
    RandomNumbers random(331);
    for (int i = 0; i < 4000; ++i) {
        const Bytes script = random.bytes(200);
        ASSERT_STREQ(brokenResolution(Script(script.data(), script.size())), nullptr) << i;
    }
}

// A display with a palette of its own.
class PaletteDisplay {
  public:
    PaletteDisplay() : previous_(platform), table_(*platform) {
        table_.screenPalette = [](PaletteEntry(&entries)[256]) -> uint32_t {
            for (uint32_t i = 0; i < 256; ++i) entries[i] = color(i);
            return 256;
        };
        table_.screenReserved = [] { return uint32_t{20}; };
        platform = &table_;
    }
    ~PaletteDisplay() { platform = previous_; }
    PaletteDisplay(const PaletteDisplay&) = delete;
    PaletteDisplay& operator=(const PaletteDisplay&) = delete;

    static PaletteEntry color(uint32_t i) {
        return {static_cast<uint8_t>(i), static_cast<uint8_t>(i * 7), static_cast<uint8_t>(255 - i), 4};
    }

  private:
    const Platform* previous_;
    Platform table_;
};

TEST(ColorResolution, ReservesTheDisplaysColors) {
    RandomNumbers random(334);
    Entries screen;
    for (uint32_t i = 0; i < 20; ++i) screen.push_back(PaletteDisplay::color(i < 10 ? i : 236 + i));
    const PaletteDisplay display;
    for (int i = 0; i < 300; ++i) {
        const Bytes bytes = random.bytes(200);
        Script script(bytes.data(), bytes.size());
        BitmapHandle source{};
        ASSERT_TRUE(drawBitmap(script, source, 40, 20));
        ResolutionRequest request = drawRequest(script);
        request.byHandle = false;
        request.entries.resize(random.below(2) * 256);
        request.bits = 5 + random.between(0, 3);
        request.count = random.below(2) * random.between(20, 40);
        request.flags &= ~0x3FFu;
        if (i % 4 != 0) request.flags |= CRF_RESERVESYSTEMCOLORS;
        if (i % 4 != 0) request.screen = screen;
        ASSERT_STREQ((ResolutionJob{.source = source, .request = request}.broken()), nullptr) << i;
        T_FreeBitmap(&source);
    }
}

TEST(ColorResolution, EverySelectionAtEveryDepth) {
    StoredBitmap source(Kind::section, 3, 2, 24);
    Palette entries = RandomNumbers(335).palette(256);
    for (uint32_t i = 1; i < 256; i += 2) entries[i].Reserved = kFreeEntry;
    const std::set<uint32_t> always = {0, 2, 8, 10, 512, 514, 520, 522, 1, 16, 48, 65};
    for (int32_t bits = 1; bits <= 8; ++bits) {
        for (uint32_t value = 0; value < 0x400; ++value) {
            const uint32_t selection = value & ~(CRF_BGR | CRF_GRAY);
            const bool accepted = always.count(selection) != 0 || (selection == 64 && bits == 8);
            ASSERT_EQ(T_ColorResBitmap(&source.record, nullptr, sizeof source.record, bits, value, entries.data(), 0, 0,
                                       nullptr, nullptr),
                      accepted ? SUCCESS : ERROR_INVALID_PARAMETER)
                << bits << " bits, " << value;
        }
    }
}

TEST(ColorResolution, RefusesBadArguments) {
    StoredBitmap stored(Kind::section, 3, 2, 24);
    BitmapHandle& source = stored.record;
    BitmapHandle destination{}, bare;
    const auto reduce = [&](BitmapHandle* from, uint32_t size, T_HANDLE handle) {
        return T_ColorResBitmap(from, &destination, size, 8, CRF_USERPALETTE, T_IntGetFixedPalette(8), handle, 0,
                                nullptr, nullptr);
    };
    const T_HANDLE handle = T_CreatePalette(T_IntGetFixedPalette(4), 16);
    EXPECT_EQ(reduce(nullptr, sizeof source, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(reduce(&source, 100, 0), ERROR_STRUCT_SIZE);
    EXPECT_EQ(destination.StructSize, 0u);
    EXPECT_EQ(reduce(&source, sizeof source, handle), ERROR_INVALID_PARAMETER) << "two palettes";
    ASSERT_EQ(T_InitBitmap(&bare, sizeof bare, 8, 8, 24), SUCCESS);
    EXPECT_EQ(reduce(&bare, sizeof bare, 0), ERROR_INVALID_PARAMETER) << "no storage";
    EXPECT_TRUE(T_DeletePalette(handle));
}

}  // namespace
}  // namespace tnk::test
