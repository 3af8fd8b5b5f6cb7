// Device contexts of the toolkit and the last error of the system.
#ifdef _WIN32
#include <windows.h>

#include <gtest/gtest.h>

#include "tnkrn.h"

namespace tnk::test {
namespace {

static_assert(SUCCESS == 1 && ERROR_STRUCT_SIZE == -789 && T_ERROR_DISK_FULL == -295 && ERROR_DISK_FULL == 112,
              "with the system's header first");

TEST(WindowsObjects, ReadingTheSettingsKeepsTheLastError) {
    SetLastError(ERROR_DISK_FULL);
    T_GetDefaultDithering();
    EXPECT_EQ(T_OsGetLastError(-5), T_ERROR_DISK_FULL);
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
    T_FreeBitmap(&bitmap);
}

}  // namespace
}  // namespace tnk::test
#endif
