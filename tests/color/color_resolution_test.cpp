// Colour resolution held against the plain forms over drawn bitmaps and requests, and what it refuses.
#include <gtest/gtest.h>

#include "fuzz/resolution_properties.h"
#include "platform/platform.h"
#include "support/failing_platform.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

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

TEST(ColorResolution, EqualsThePlainForm) {
    RandomNumbers random(331);
    Entries screen;
    for (uint32_t i = 0; i < 20; ++i) screen.push_back(PaletteDisplay::color(i < 10 ? i : 236 + i));
    const PaletteDisplay display;
    for (int i = 0; i < 4000; ++i) {
        const Bytes script = random.bytes(200);
        ASSERT_STREQ(brokenResolution(Script(script.data(), script.size()), screen), nullptr) << i;
    }
}

// A dithering run that the caller has on the source is another one, and goes with a source that is replaced.
TEST(ColorResolution, LeavesTheCallersDithering) {
    const FailingPlatform failing;
    {
        StoredBitmap stored(Kind::section, 9, 5, 24);
        BitmapHandle& source = stored.record;
        ASSERT_EQ(T_StartDitheringExt(&source, nullptr, 16, 4, nullptr), SUCCESS);
        const LiveObjects running = failing.live();
        for (BitmapHandle* to : {static_cast<BitmapHandle*>(nullptr), &source}) {
            EXPECT_EQ(failing.live(), running);
            EXPECT_EQ(T_ColorResBitmap(&source, to, sizeof source, 8, CRF_FIXEDPALETTE | CRF_DITHER_METHOD(1), nullptr,
                                       0, 0, nullptr, nullptr),
                      SUCCESS);
        }
        EXPECT_EQ(source.pDitherState, nullptr);
    }
    EXPECT_EQ(failing.live(), LiveObjects{});
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
