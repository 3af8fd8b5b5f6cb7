#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "support/failing_platform.h"
#include "tnkrn.h"

namespace tnk::test {
namespace {

constexpr uint32_t kSize = sizeof(BitmapHandle);

class BitmapList : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(T_CreateBitmapList(&list), SUCCESS); }
    void TearDown() override {
        EXPECT_EQ(T_DestroyBitmapList(list), SUCCESS);
        EXPECT_EQ(failing.live(), LiveObjects{}) << "a list frees what it owns";
    }

    // A bitmap of one pixel with its number in Reserved2.
    static BitmapHandle make(uint32_t number) {
        BitmapHandle bitmap;
        EXPECT_EQ(T_CreateBitmap(&bitmap, kSize, MEM_CONVENTIONAL, 1, 1, 8, 0, nullptr, 0, nullptr, 0), SUCCESS);
        bitmap.Reserved2 = number;
        return bitmap;
    }
    void fill(uint32_t count) {
        for (uint32_t i = 0; i < count; ++i) {
            const BitmapHandle bitmap = make(i);
            ASSERT_EQ(T_InsertBitmapListItem(list, UINT32_MAX, &bitmap), SUCCESS);
        }
    }
    static std::vector<uint32_t> numbers(T_HANDLE of) {
        std::vector<uint32_t> out;
        uint32_t count = 0;
        EXPECT_EQ(T_GetBitmapListCount(of, &count), SUCCESS);
        for (uint32_t i = 0; i < count; ++i) {
            BitmapHandle item;
            EXPECT_EQ(T_GetBitmapListItem(of, i, &item, kSize), SUCCESS);
            EXPECT_EQ(item.StructSize, kSize);
            out.push_back(item.Reserved2);
        }
        return out;
    }

    using Numbers = std::vector<uint32_t>;
    FailingPlatform failing;
    T_HANDLE list = 0;
};

TEST_F(BitmapList, MovesAndCopiesRuns) {
    fill(6);
    T_HANDLE moved = 0, copied = 0;
    EXPECT_EQ(T_MoveBitmapListItems(&moved, list, 2, 3), SUCCESS);
    EXPECT_EQ(numbers(list), (Numbers{0, 1, 5}));
    EXPECT_EQ(numbers(moved), (Numbers{2, 3, 4}));
    EXPECT_EQ(T_CopyBitmapListItems(&copied, moved, 1, UINT32_MAX), SUCCESS);
    EXPECT_EQ(numbers(copied), (Numbers{3, 4}));
    BitmapHandle original, copy;
    T_GetBitmapListItem(moved, 1, &original, kSize);
    T_GetBitmapListItem(copied, 0, &copy, kSize);
    EXPECT_TRUE(original.pData != copy.pData && original.Palette != copy.Palette);
    T_DestroyBitmapList(copied);

    EXPECT_EQ(T_MoveBitmapListItems(&copied, moved, 0, 3), SUCCESS) << "all of them";
    EXPECT_EQ(numbers(moved), Numbers{});
    EXPECT_EQ(T_SetBitmapListItem(copied, 1, nullptr), SUCCESS);
    T_FreeBitmap(&original);  // it was only overwritten
    T_HANDLE none = 0;
    EXPECT_EQ(T_CopyBitmapListItems(&none, copied, 0, 3), ERROR_INVALID_PARAMETER) << "an empty record has no copy";
    EXPECT_EQ(none, 0);
    T_DestroyBitmapList(copied);
    T_DestroyBitmapList(moved);
}

TEST_F(BitmapList, SetsSlotsWithoutFreeing) {
    fill(2);
    BitmapHandle item;
    ASSERT_EQ(T_GetBitmapListItem(list, 1, &item, kSize), SUCCESS);
    BitmapHandle slot, empty{};
    empty.StructSize = kSize;
    for (const bool null : {true, false}) {
        BitmapHandle wrong = item;
        wrong.StructSize -= 4;
        EXPECT_EQ(T_SetBitmapListItem(list, 1, null ? nullptr : &wrong), null ? SUCCESS : ERROR_STRUCT_SIZE);
        T_GetBitmapListItem(list, 1, &slot, kSize);
        EXPECT_EQ(std::memcmp(&slot, &empty, kSize), 0);
        EXPECT_EQ(T_SetBitmapListItem(list, 1, &item), SUCCESS);
        EXPECT_EQ(numbers(list), (Numbers{0, 1}));
    }
}

TEST_F(BitmapList, ReplacesItemsAndTheSpareBehindThem) {
    fill(3);
    BitmapHandle old;
    BitmapHandle bitmap = make(10);
    EXPECT_EQ(T_ReplaceBitmapListItem(list, UINT32_MAX, &bitmap, &old, kSize), SUCCESS);
    EXPECT_EQ(old.Reserved2, 2u);
    EXPECT_EQ(T_ReplaceBitmapListItem(list, 0, &old, nullptr, 0), SUCCESS) << "the first is freed";
    EXPECT_EQ(numbers(list), (Numbers{2, 1, 10}));

    bitmap = make(20);
    EXPECT_EQ(T_ReplaceBitmapListItem(list, 3, &bitmap, nullptr, 0), SUCCESS);
    fill(1);
    EXPECT_EQ(T_DeleteBitmapListItems(list, 0, UINT32_MAX), SUCCESS);
    EXPECT_EQ(numbers(list), Numbers{});
    fill(2);
    T_HANDLE moved;
    EXPECT_EQ(T_MoveBitmapListItems(&moved, list, 0, 1), SUCCESS);
    T_DestroyBitmapList(moved);
    bitmap = make(21);
    EXPECT_EQ(T_ReplaceBitmapListItem(list, 1, &bitmap, &old, kSize), SUCCESS);
    EXPECT_EQ(old.Reserved2, 20u) << "it went along behind the items";
    T_FreeBitmap(&old);
    EXPECT_EQ(T_ReplaceBitmapListItem(list, 2, &bitmap, &old, kSize), ERROR_INVALID_PARAMETER);
}

TEST_F(BitmapList, RefusesBadArguments) {
    BitmapHandle bitmap = make(0);
    uint32_t count;
    T_HANDLE other = 0;
    const auto refusals = [&](T_HANDLE of, uint32_t index) {
        return std::vector{T_RemoveBitmapListItem(of, index, &bitmap),
                           T_GetBitmapListItem(of, index, &bitmap, kSize),
                           T_SetBitmapListItem(of, index, nullptr),
                           T_DeleteBitmapListItems(of, index, 1),
                           T_MoveBitmapListItems(&other, of, index, 1),
                           T_CopyBitmapListItems(&other, of, index, 1),
                           T_ReplaceBitmapListItem(of, index + 1, &bitmap, nullptr, 0)};
    };
    const std::vector<int32_t> all(7, ERROR_INVALID_PARAMETER);
    EXPECT_EQ(refusals(0, 0), all);
    EXPECT_EQ(refusals(list, 0), all) << "of an empty list";
    EXPECT_EQ(T_ReplaceBitmapListItem(list, UINT32_MAX, &bitmap, nullptr, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_InsertBitmapListItem(list, 0, &bitmap), SUCCESS);
    EXPECT_EQ(refusals(list, 1), all);

    const BitmapHandle wrong{};
    const std::pair<int32_t, int32_t> cases[] = {
        {T_CreateBitmapList(nullptr), ERROR_INVALID_PARAMETER},
        {T_DestroyBitmapList(0), ERROR_INVALID_PARAMETER},
        {T_GetBitmapListCount(0, &count), ERROR_INVALID_PARAMETER},
        {T_GetBitmapListCount(list, nullptr), ERROR_INVALID_PARAMETER},
        {T_InsertBitmapListItem(0, 0, &bitmap), ERROR_INVALID_PARAMETER},
        {T_InsertBitmapListItem(list, 0, nullptr), ERROR_INVALID_PARAMETER},
        {T_InsertBitmapListItem(list, 0, &wrong), ERROR_STRUCT_SIZE},
        {T_GetBitmapListItem(list, 0, nullptr, kSize), ERROR_INVALID_PARAMETER},
        {T_GetBitmapListItem(list, 0, &bitmap, kSize - 4), ERROR_STRUCT_SIZE},
        {T_ReplaceBitmapListItem(list, 0, nullptr, nullptr, 0), ERROR_INVALID_PARAMETER},
        {T_ReplaceBitmapListItem(list, 0, &wrong, nullptr, 0), ERROR_STRUCT_SIZE},
        {T_ReplaceBitmapListItem(list, 0, &bitmap, &bitmap, kSize - 4), ERROR_STRUCT_SIZE},
        {T_DeleteBitmapListItems(list, 0, 0), ERROR_INVALID_PARAMETER},
        {T_MoveBitmapListItems(nullptr, list, 0, 1), ERROR_INVALID_PARAMETER},
        {T_CopyBitmapListItems(nullptr, list, 0, 1), ERROR_INVALID_PARAMETER},
    };
    for (const auto& [result, expected] : cases) EXPECT_EQ(result, expected) << &result - &cases[0].first;
    EXPECT_EQ(numbers(list), Numbers{0});
    EXPECT_EQ(other, 0);
}

TEST_F(BitmapList, StaysAsItWasWithoutMemory) {
    fill(4);
    const BitmapHandle bitmap = make(9);
    T_HANDLE other = 0;
    const auto checkUnchanged = [&](int32_t result, const Numbers& after) {
        EXPECT_EQ(numbers(list), result == SUCCESS ? after : (Numbers{0, 1, 2, 3}));
        EXPECT_TRUE(result == SUCCESS || other == 0);
    };
    EXPECT_EQ(sweepFailures(
                  failing, kGlobalFailures, [&] { return T_CopyBitmapListItems(&other, list, 1, 2); },
                  [&](int32_t result, bool injected) {
                      EXPECT_EQ(result, injected ? FAILURE : SUCCESS);
                      checkUnchanged(result, {0, 1, 2, 3});
                      if (result == SUCCESS) T_DestroyBitmapList(std::exchange(other, 0));
                  }),
              6);
    failing.failFrom(1, kGlobalFailures);
    EXPECT_EQ(T_InsertBitmapListItem(list, 0, &bitmap), FAILURE);
    EXPECT_EQ(T_MoveBitmapListItems(&other, list, 1, 2), FAILURE);
    checkUnchanged(FAILURE, {});
    // A shorter array is not needed: removing always works.
    BitmapHandle removed;
    EXPECT_EQ(T_GetBitmapListItem(list, 1, &removed, kSize), SUCCESS);
    EXPECT_EQ(T_RemoveBitmapListItem(list, 1, nullptr), SUCCESS);
    T_FreeBitmap(&removed);
    EXPECT_EQ(numbers(list), (Numbers{0, 2, 3}));
    failing.stopFailing();
    EXPECT_EQ(T_InsertBitmapListItem(list, 1, &bitmap), SUCCESS);
    EXPECT_EQ(numbers(list), (Numbers{0, 9, 2, 3}));
}

// Random operations against a vector of numbers. Ownership is counted: a bitmap lives in one list, or with the test.
TEST_F(BitmapList, EqualsAVector) {
    std::mt19937 random(3);
    const auto below = [&](size_t n) { return static_cast<uint32_t>(random() % n); };
    Numbers model;
    bool spareTaken = false;
    for (uint32_t step = 0; step < 4000; ++step) {
        const auto count = static_cast<uint32_t>(model.size());
        const uint32_t index = below(count + 2), run = below(4);
        const auto at = model.begin() + std::min(index, count);
        const auto end = at + std::min<ptrdiff_t>(run, model.end() - at);
        const int32_t inRange = index < count ? SUCCESS : ERROR_INVALID_PARAMETER;
        const int32_t runInRange = run > 0 ? inRange : ERROR_INVALID_PARAMETER;
        BitmapHandle bitmap;
        T_HANDLE other = 0;
        switch (below(7)) {
            case 0:
            case 1:
                bitmap = make(step);
                ASSERT_EQ(T_InsertBitmapListItem(list, index, &bitmap), SUCCESS);
                model.insert(at, step);
                break;
            case 2:
                ASSERT_EQ(T_RemoveBitmapListItem(list, index, &bitmap), inRange);
                if (inRange != SUCCESS) break;
                EXPECT_EQ(bitmap.Reserved2, *at);
                T_FreeBitmap(&bitmap);
                model.erase(at);
                break;
            case 3:
                ASSERT_EQ(T_DeleteBitmapListItems(list, index, run), runInRange);
                model.erase(at, end);
                break;
            case 4:
                ASSERT_EQ(T_MoveBitmapListItems(&other, list, index, run), runInRange);
                if (runInRange != SUCCESS) break;
                EXPECT_EQ(numbers(other), Numbers(at, end));
                T_DestroyBitmapList(other);
                model.erase(at, end);
                break;
            case 5:
                ASSERT_EQ(T_CopyBitmapListItems(&other, list, index, run), runInRange);
                if (runInRange != SUCCESS) break;
                EXPECT_EQ(numbers(other), Numbers(at, end));
                T_DestroyBitmapList(other);
                break;
            default:
                if (count == 0 || index > count) break;
                bitmap = make(step);
                ASSERT_EQ(T_ReplaceBitmapListItem(list, index, &bitmap, nullptr, 0), SUCCESS);
                if (index == count)
                    spareTaken = true;
                else
                    *at = step;
        }
        ASSERT_EQ(numbers(list), model) << step;
        ASSERT_EQ(failing.live().sections, static_cast<int>(model.size()) + spareTaken);
    }
}

}  // namespace
}  // namespace tnk::test
