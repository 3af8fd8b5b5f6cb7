// Objects of the system and device contexts of the toolkit.
#ifdef _WIN32
#include <windows.h>
#endif

#include <gtest/gtest.h>

#include "support/failing_platform.h"

namespace tnk::test {
namespace {

#ifdef _WIN32

static_assert(SUCCESS == 1 && ERROR_STRUCT_SIZE == -789 && T_ERROR_DISK_FULL == -295 && ERROR_DISK_FULL == 112,
              "with the system's header first");

// Those whose arguments could change places; the others take one structure, of a type that the compiler checks.
TEST(WindowsObjects, AreMadeAsAskedForAndFreed) {
    const T_HANDLE screen = T_WinGetDC(0, 1, "m");
    const T_HANDLE memory = T_WinCreateCompatibleDC(screen, 1, "m");
    BITMAPINFO info{};
    info.bmiHeader = {sizeof info.bmiHeader, 5, 4, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    const LOGPALETTE palette = {0x300, 1, {{1, 2, 3, 0}}};
    const POINT points[] = {{1, 2}, {30, 2}, {1, 40}};
    struct {
        RGNDATAHEADER header{sizeof(RGNDATAHEADER), RDH_RECTANGLES, 1, sizeof(RECT), {1, 2, 30, 40}};
        RECT rect{1, 2, 30, 40};
    } region;
    void* bits = nullptr;
    const struct {
        T_HANDLE object;
        DWORD type;
    } made[] = {
        {T_WinCreateBitmap(5, 4, 1, 1, nullptr, 1, "m"), OBJ_BITMAP},
        {T_WinCreateCompatibleBitmap(screen, 5, 4, 1, "m"), OBJ_BITMAP},
        {T_WinCreateDIBSection(memory, &info, DIB_RGB_COLORS, &bits, 0, 0, 1, "m"), OBJ_BITMAP},
        {T_WinCreatePalette(&palette, 1, "m"), OBJ_PAL},
        {T_WinCreatePen(PS_SOLID, 1, 0, 1, "m"), OBJ_PEN},
        {T_WinCreateHatchBrush(HS_CROSS, 0xFF, 1, "m"), OBJ_BRUSH},
        {T_WinCreateRectRgn(1, 2, 30, 40, 1, "m"), OBJ_REGION},
        {T_WinCreateEllipticRgn(1, 2, 30, 40, 1, "m"), OBJ_REGION},
        {T_WinCreateRoundRectRgn(1, 2, 30, 40, 5, 6, 1, "m"), OBJ_REGION},
        {T_WinCreatePolygonRgn(points, 3, ALTERNATE, 1, "m"), OBJ_REGION},
        {T_WinExtCreateRegion(nullptr, sizeof region, &region, 1, "m"), OBJ_REGION},
    };
    ASSERT_NE(bits, nullptr);
    static_cast<uint8_t*>(bits)[4 * 16 - 1] = 1;
    for (const auto& [object, type] : made) {
        SCOPED_TRACE(type);
        EXPECT_EQ(GetObjectType(reinterpret_cast<HGDIOBJ>(object)), type);
        RECT box = {1, 2, 30, 40};
        if (type == OBJ_REGION) GetRgnBox(reinterpret_cast<HRGN>(object), &box);
        EXPECT_TRUE(box.left == 1 && box.top == 2 && box.right >= 28 && box.right <= 30 && box.bottom >= 38)
            << box.right << ' ' << box.bottom;
        BITMAP size = {0, 5, 4, 0, 0, 0, nullptr};
        if (type == OBJ_BITMAP) GetObjectW(reinterpret_cast<HGDIOBJ>(object), sizeof size, &size);
        EXPECT_TRUE(size.bmWidth == 5 && size.bmHeight == 4);
        EXPECT_EQ(T_WinDeleteObject(object, 1, "m"), 1);
        EXPECT_EQ(T_WinDeleteObject(object, 1, "m"), 0) << "it is gone";
    }
    EXPECT_EQ(T_WinDeleteDC(memory, 1, "m"), 1);
    EXPECT_EQ(T_WinReleaseDC(0, screen, 1, "m"), 1);
}

TEST(WindowsObjects, TarnDCsOwnThePaletteOfTheirBitmap) {
    BitmapHandle bitmap;
    ASSERT_EQ(T_CreateBitmap(&bitmap, sizeof bitmap, MEM_CONVENTIONAL, 4, 4, 8, 0, nullptr, 1, nullptr, 0), T_SUCCESS);
    for (const BitmapHandle* source :
         {static_cast<const BitmapHandle*>(nullptr), const_cast<const BitmapHandle*>(&bitmap)}) {
        const T_HANDLE context = T_CreateTarnDC(source);
        const auto dc = reinterpret_cast<HDC>(context);
        ASSERT_EQ(GetObjectType(dc), static_cast<DWORD>(OBJ_MEMDC));
        const HGDIOBJ palette = GetCurrentObject(dc, OBJ_PAL);
        EXPECT_EQ(T_GetPaletteSize(reinterpret_cast<T_HANDLE>(palette)), source != nullptr ? 256u : 20u);
        EXPECT_EQ(T_DeleteTarnDC(context), T_SUCCESS);
        EXPECT_EQ(T_DeleteTarnDC(context), T_FAILURE);
        EXPECT_EQ(GetObjectType(palette) == 0, source != nullptr) << "the palette goes with it";
    }
    bitmap.StructSize = 0;
    EXPECT_EQ(T_CreateTarnDC(&bitmap), 0);
    bitmap.StructSize = sizeof bitmap;
    T_FreeBitmap(&bitmap);
    EXPECT_EQ(T_DeleteTarnDC(0), T_SUCCESS);
}

#endif

TEST(WindowsObjects, NullStructuresMakeNothing) {
    using Indirect = T_HANDLE(TNK_CALL*)(const void*, uint32_t, const char*);
    const Indirect indirect[] = {T_WinCreateBitmapIndirect,     T_WinCreatePalette,      T_WinCreatePenIndirect,
                                 T_WinCreateBrushIndirect,      T_WinCreateFontIndirect, T_WinCreateRectRgnIndirect,
                                 T_WinCreateEllipticRgnIndirect};
    for (const Indirect make : indirect) EXPECT_EQ(make(nullptr, 1, "m"), 0);
    EXPECT_EQ(T_WinCreateDIBSection(0, nullptr, 0, nullptr, 0, 0, 1, "m"), 0);
    EXPECT_EQ(T_WinCreateDIBPatternBrushPt(nullptr, 0, 1, "m"), 0);
    EXPECT_EQ(T_WinCreatePolygonRgn(nullptr, 3, 1, 1, "m"), 0);
    EXPECT_EQ(T_WinExtCreateRegion(nullptr, 100, nullptr, 1, "m"), 0);
    EXPECT_TRUE(T_WinDeleteObject(0, 1, "m") == 0 && T_WinDeleteDC(0, 1, "m") == 0);
    EXPECT_EQ(T_WinReleaseDC(0, 0, 1, "m"), 0);
}

}  // namespace
}  // namespace tnk::test
