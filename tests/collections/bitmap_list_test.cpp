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
using Numbers = std::vector<uint32_t>;

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
    static Numbers numbers(T_HANDLE of) {
        uint32_t count = 0;
        EXPECT_EQ(T_GetBitmapListCount(of, &count), SUCCESS);
        Numbers out(count);
        for (uint32_t i = 0; i < count; ++i) {
            BitmapHandle item;
            EXPECT_EQ(T_GetBitmapListItem(of, i, &item, kSize), SUCCESS);
            out[i] = item.Reserved2;
        }
        return out;
    }

    FailingPlatform failing;
    T_HANDLE list = 0;
};

// Random operations against a vector of numbers, every fourth one without memory. Ownership is counted: a bitmap lives in
// one list, or with the test.
TEST_F(BitmapList, EqualsAVector) {
    std::mt19937 random(3);
    const auto below = [&](size_t n) { return static_cast<uint32_t>(random() % n); };
    Numbers model;
    uint32_t spare = 0;  // number of the bitmap behind the items
    for (uint32_t step = 1; step < 4000; ++step) {
        const auto count = static_cast<uint32_t>(model.size());
        const uint32_t index = below(count + 2), run = below(4), operation = below(7);
        const auto at = model.begin() + std::min(index, count);
        const auto end = at + std::min<ptrdiff_t>(run, model.end() - at);
        const int32_t found = index < count ? SUCCESS : ERROR_INVALID_PARAMETER;
        const int32_t foundRun = run > 0 ? found : ERROR_INVALID_PARAMETER;
        BitmapHandle bitmap = make(step), old{};
        T_HANDLE other = 0;
        const bool starved = below(4) == 0;
        if (starved) failing.failFrom(1, kGlobalFailures);
        int32_t result = SUCCESS, expected = found;
        if (operation < 2) {
            result = T_InsertBitmapListItem(list, index, &bitmap);
            expected = starved && result == FAILURE ? FAILURE : SUCCESS;  // there may be room
            if (result == SUCCESS) model.insert(at, step);
        } else if (operation == 2) {
            result = T_RemoveBitmapListItem(list, index, &old);
            EXPECT_TRUE(result != SUCCESS || old.Reserved2 == *at);
            if (result == SUCCESS) model.erase(at);
        } else if (operation == 3) {
            result = T_DeleteBitmapListItems(list, index, run);
            expected = foundRun;
            model.erase(at, end);
        } else if (operation < 6) {
            const auto spawn = operation == 4 ? T_MoveBitmapListItems : T_CopyBitmapListItems;
            result = spawn(&other, list, index, run);
            expected = foundRun == SUCCESS && starved ? FAILURE : foundRun;
            EXPECT_EQ(other != 0, result == SUCCESS);
            EXPECT_TRUE(other == 0 || numbers(other) == Numbers(at, end));
            if (other != 0 && operation == 4) model.erase(at, end);
        } else {
            const uint32_t slot = count > 0 && index > count ? count - 1 : index;
            result = T_ReplaceBitmapListItem(list, index > count ? UINT32_MAX : index, &bitmap,
                                             run > 0 ? &old : nullptr, kSize);
            expected = count > 0 ? SUCCESS : ERROR_INVALID_PARAMETER;
            uint32_t& number = slot < count ? model[slot] : spare;
            EXPECT_TRUE(result != SUCCESS || run == 0 || old.Reserved2 == number);
            if (result == SUCCESS) number = step;
        }
        failing.stopFailing();
        ASSERT_EQ(result, expected) << "operation " << operation;
        const bool taken = result == SUCCESS && (operation < 2 || operation == 6);
        if (!taken) T_FreeBitmap(&bitmap);
        T_FreeBitmap(&old);
        if (other != 0) T_DestroyBitmapList(other);
        ASSERT_EQ(numbers(list), model) << "operation " << operation;
        ASSERT_EQ(failing.live().sections, static_cast<int>(model.size()) + (spare != 0));
    }
}

// The array grows by halves: few moves however long the list gets.
// What the callbacks of an operation try to do to its list.
struct Meddler {
    T_HANDLE list;
    int32_t answer;
    int calls = 0;

    int32_t meddle() {
        ++calls;
        BitmapHandle record{}, old{};
        record.StructSize = kSize;
        T_HANDLE other = 0;
        for (const int32_t result :
             {T_DestroyBitmapList(list), T_InsertBitmapListItem(list, 0, &record),
              T_RemoveBitmapListItem(list, 0, &old), T_SetBitmapListItem(list, 0, nullptr),
              T_ReplaceBitmapListItem(list, 0, &record, &old, kSize), T_DeleteBitmapListItems(list, 0, 1),
              T_MoveBitmapListItems(&other, list, 0, 1), T_ColorResBitmapList(list, 24, 0, nullptr, 0, 0)}) {
            EXPECT_EQ(result, ERROR_INVALID_PARAMETER);
        }
        return answer;
    }
    static int32_t TNK_CALL report(int32_t, void* user) { return static_cast<Meddler*>(user)->meddle(); }
    static int32_t TNK_CALL row(BitmapHandle*, uint8_t*, uint32_t, uint32_t, uint32_t, void* user) {
        return static_cast<Meddler*>(user)->meddle();
    }
};

TEST_F(BitmapList, StaysAsItIsWhileAnOperationRuns) {
    for (uint32_t i = 0; i < 3; ++i) {
        const BitmapHandle bitmap = make(i);
        ASSERT_EQ(T_InsertBitmapListItem(list, i, &bitmap), SUCCESS);
    }
    for (const int32_t answer : {-74, 1}) {
        Meddler meddler{list, answer};
        T_HANDLE copied = 0;
        T_SetCopyStatusCallBack(Meddler::report, &meddler, nullptr, nullptr);
        EXPECT_EQ(T_CopyBitmapListItems(&copied, list, 0, 3), answer);
        T_SetCopyStatusCallBack(nullptr, nullptr, nullptr, nullptr);
        EXPECT_EQ(T_DestroyBitmapList(copied), answer == SUCCESS ? SUCCESS : ERROR_INVALID_PARAMETER);
        EXPECT_EQ(T_ColorResBitmapListExt(list, 24, 0, nullptr, 0, 0, Meddler::row, &meddler), answer);
        T_SetStatusCallBack(Meddler::report, &meddler, nullptr, nullptr);
        EXPECT_EQ(T_ColorResBitmapList(list, 4, 0, nullptr, 0, 0), answer);
        T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
        EXPECT_GT(meddler.calls, answer == SUCCESS ? 9 : 2);
        EXPECT_EQ(numbers(list).size(), 3u);
    }
    EXPECT_EQ(T_DeleteBitmapListItems(list, 0, 1), SUCCESS) << "afterwards it can be changed";
}

TEST_F(BitmapList, SetsSlotsWithoutFreeing) {
    const BitmapHandle bitmap = make(5), wrong{};
    BitmapHandle slot, empty{};
    empty.StructSize = kSize;
    ASSERT_EQ(T_InsertBitmapListItem(list, UINT32_MAX, &bitmap), SUCCESS);
    for (const BitmapHandle* record : {static_cast<const BitmapHandle*>(nullptr), &wrong}) {
        EXPECT_EQ(T_SetBitmapListItem(list, 0, record), record == nullptr ? SUCCESS : ERROR_STRUCT_SIZE);
        T_GetBitmapListItem(list, 0, &slot, kSize);
        EXPECT_EQ(std::memcmp(&slot, &empty, kSize), 0);
        T_HANDLE copied = 0;
        EXPECT_EQ(T_CopyBitmapListItems(&copied, list, 0, 1), ERROR_INVALID_PARAMETER) << "it has no storage";
        EXPECT_EQ(T_SetBitmapListItem(list, 0, &bitmap), SUCCESS);
    }
    EXPECT_EQ(T_SetBitmapListItem(list, 1, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_InsertBitmapListItem(list, 0, &wrong), ERROR_STRUCT_SIZE);
    EXPECT_EQ(T_GetBitmapListItem(list, 0, &slot, kSize - 4), ERROR_STRUCT_SIZE);
    EXPECT_EQ(T_ReplaceBitmapListItem(list, 0, &wrong, nullptr, 0), ERROR_STRUCT_SIZE);
    EXPECT_EQ(T_ReplaceBitmapListItem(list, 0, &bitmap, &slot, kSize - 4), ERROR_STRUCT_SIZE);
    EXPECT_EQ(numbers(list), Numbers{5});
}

TEST_F(BitmapList, RefusesWhatIsNull) {
    BitmapHandle record{};
    record.StructSize = kSize;
    T_HANDLE other = 0;
    uint32_t count;
    for (const int32_t result :
         {T_CreateBitmapList(nullptr), T_DestroyBitmapList(0), T_GetBitmapListCount(0, &count),
          T_GetBitmapListCount(list, nullptr), T_InsertBitmapListItem(0, 0, &record),
          T_InsertBitmapListItem(list, 0, nullptr), T_RemoveBitmapListItem(0, 0, &record),
          T_GetBitmapListItem(0, 0, &record, kSize), T_GetBitmapListItem(list, 0, nullptr, kSize),
          T_SetBitmapListItem(0, 0, nullptr), T_DeleteBitmapListItems(0, 0, 1),
          T_ReplaceBitmapListItem(0, 0, &record, nullptr, 0), T_ReplaceBitmapListItem(list, 0, nullptr, nullptr, 0),
          T_MoveBitmapListItems(nullptr, list, 0, 1), T_MoveBitmapListItems(&other, 0, 0, 1),
          T_CopyBitmapListItems(nullptr, list, 0, 1), T_CopyBitmapListItems(&other, 0, 0, 1)})
        EXPECT_EQ(result, ERROR_INVALID_PARAMETER);
}

}  // namespace
}  // namespace tnk::test
