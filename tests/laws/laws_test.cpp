// What every operation promises in every kind of storage: a failure inside it is told or got around, a stop ends it, and
// neither loses or leaves anything.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <set>

#include "laws/operations.h"
#include "support/failing_platform.h"
#include "support/files.h"

namespace tnk::test {
namespace {

bool takes(const Operation& operation, Kind kind) {
    return kindTakes(kind, operation.format.bits) &&
           (kind != Kind::super || std::set{1, 8, 24}.count(operation.format.bits) != 0);
}

// What a world holds, read once: reading pages tiles, and so opens files.
struct Outcome {
    Outcome(World& world, bool leavesSource)
        : parts(world.parts()), source(leavesSource ? rowsOf(world.source.record) : Bytes()) {
        if ((world.made.Flags & BMF_ALLOCATED) != 0) rows = rowsOf(world.made);
    }
    std::vector<Bytes> parts;
    Bytes source;
    Bytes rows;  // of the bitmap that was made
};

// Each row is the old one (zero where there was none), or the new one.
bool isBetween(Bytes old, const Bytes& now, const Bytes& fresh, size_t line) {
    if (old.empty()) old.resize(now.size());
    if (now.size() != fresh.size() || now.size() != old.size()) return now.empty();
    for (auto at = now.begin(); at != now.end(); at += ptrdiff_t(line)) {
        const auto equals = [&](const Bytes& o) {
            return std::equal(at, at + ptrdiff_t(line), o.begin() + (at - now.begin()));
        };
        if (!equals(old) && !equals(fresh)) return false;
    }
    return true;
}

bool isPromised(int32_t code, const World& world, bool countsBytes) {
    constexpr int32_t kCodes[] = {FAILURE, ERROR_FILE_SEEK, ERROR_FILE_READ, ERROR_FILE_WRITE, ERROR_DISK_FULL};
    return std::find(std::begin(kCodes), std::end(kCodes), code) != std::end(kCodes) ||
           static_cast<uint32_t>(code) == COLOR_ERROR || (code == 0 && countsBytes && world.kind == Kind::tiled) ||
           (code == ERROR_NOT_ALLOCATED && world.kind == Kind::movable) ||
           (code == ERROR_INVALID_PARAMETER && world.palette != 0);
}

class Laws : public ::testing::TestWithParam<Operation> {
  protected:
    static bool leaves(Leaves what) { return GetParam().leaves == what; }
    static Outcome outcome(World& world) { return Outcome(world, leaves(Leaves::source)); }

    // An operation that failed has left what it met; `old` did not run, `fresh` ran without failure.
    void expectNothingHappened(World& world, const Outcome& old, const Outcome& fresh) {
        BitmapHandle& record = world.source.record;
        record.CurrentRow = world.record.CurrentRow;
        record.CurrentPos = world.record.CurrentPos;
        if (leaves(Leaves::source)) record.Size = world.record.Size;
        EXPECT_EQ(std::memcmp(&record, &world.record, sizeof record), 0) << "the record was changed";
        const Outcome now = outcome(world);
        if (leaves(Leaves::source)) {
            EXPECT_TRUE(isBetween(old.source, now.source, fresh.source, record.BytesPerLine)) << "rows were lost";
        } else {
            EXPECT_TRUE(now.parts[0] == old.parts[0]) << "the source was changed";
        }
        if (leaves(Leaves::made)) {
            EXPECT_TRUE(isBetween(old.rows, now.rows, fresh.rows, world.made.BytesPerLine)) << "other rows than so far";
        } else {
            EXPECT_TRUE(isBare(world.made)) << "the destination was left attached";
        }
        ASSERT_EQ(now.parts.size(), old.parts.size());
        for (size_t i = 3; i < now.parts.size(); ++i) {
            EXPECT_TRUE(now.parts[i] == old.parts[i] || (leaves(Leaves::made) && now.parts[i] == fresh.parts[i]))
                << "item " << i - 3;
        }
    }

    // Every call that it makes fails once, alone or with all after it.
    void sweep(Kind kind) {
        World untouched(GetParam(), kind, kHeight), done(GetParam(), kind, kHeight);
        const int32_t success = GetParam().run(done);
        ASSERT_GE(success, 0);
        const Outcome before = outcome(untouched), after = outcome(done);
        for (const bool fromThere : {false, true}) {
            bool injected = true;
            for (int call = 1; injected && !HasFailure(); ++call) {
                SCOPED_TRACE(::testing::Message() << "call " << call << (fromThere ? " and all later ones" : ""));
                const LiveObjects live = failing.live();
                {
                    World world(GetParam(), kind, kHeight);
                    fromThere ? failing.failFrom(call) : failing.failAt(call);
                    const int32_t result = GetParam().run(world);
                    injected = failing.injected();
                    failing.stopFailing();
                    if (result == success) {
                        EXPECT_TRUE(world.parts() == after.parts) << "answered " << result << " and did otherwise";
                    } else {
                        EXPECT_TRUE(injected);
                        EXPECT_TRUE(isPromised(result, world, success != SUCCESS)) << result;
                        expectNothingHappened(world, before, after);
                    }
                }
                EXPECT_EQ(failing.live(), live) << "something is left";
            }
        }
    }

    static constexpr int32_t kHeight = 9;
    FailingPlatform failing;
    TempDirectorySetting directory;
};

TEST_P(Laws, FailuresAreToldAndLoseNothing) {
    for (const Kind kind : kOwnKinds) {
        SCOPED_TRACE(nameOf(kind));
        if (takes(GetParam(), kind)) sweep(kind);
    }
    EXPECT_EQ(directory.folder().entries(), 0);
}

// Reports to one of the callbacks; the other must stay silent. Ends the operation after `stopAt` reports.
struct Recorder {
    Recorder(Reports reports, size_t stop, int32_t value) : stopAt(stop), code(value) {
        const bool copies = reports == Reports::toCopyStatus;
        T_SetStatusCallBack(copies ? silent : note, this, nullptr, nullptr);
        T_SetCopyStatusCallBack(copies ? note : silent, this, nullptr, nullptr);
    }
    ~Recorder() {
        T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
        T_SetCopyStatusCallBack(nullptr, nullptr, nullptr, nullptr);
    }
    static int32_t TNK_CALL note(int32_t percent, void* self) {
        auto& recorder = *static_cast<Recorder*>(self);
        recorder.percents.push_back(percent);
        return recorder.percents.size() > recorder.stopAt ? recorder.code : SUCCESS;
    }
    static int32_t TNK_CALL silent(int32_t, void*) {
        ADD_FAILURE() << "a report to the other callback";
        return SUCCESS;
    }

    size_t stopAt;
    int32_t code;
    std::vector<int32_t> percents;
};

// 0, then each row of which the percentage grows.
std::vector<int32_t> percentsOf(int32_t height) {
    std::vector<int32_t> percents = {0};
    for (int32_t row = 1; row <= height; ++row) {
        if (100 * row / height > percents.back()) percents.push_back(100 * row / height);
    }
    return percents;
}

// Parts of an operation that follow each other report where they meet twice.
bool isRising(const std::vector<int32_t>& values) {
    return std::adjacent_find(values.begin(), values.end(), std::greater<>()) == values.end();
}

TEST_P(Laws, ReportsAscendTo100AndStopAtAny) {
    if (GetParam().reports == Reports::no) return;
    for (const Kind kind : {Kind::section, Kind::disk, Kind::compressed}) {
        for (const int32_t height : {9, 130}) {
            if (!takes(GetParam(), kind)) continue;
            SCOPED_TRACE(::testing::Message() << nameOf(kind) << ", " << height << " rows");
            std::vector<int32_t> expected = percentsOf(height);
            const LiveObjects live = failing.live();
            {
                World untouched(GetParam(), kind, height), done(GetParam(), kind, height);
                {
                    const Recorder recorder(GetParam().reports, SIZE_MAX, 0);
                    EXPECT_EQ(GetParam().run(done), SUCCESS);
                    if (GetParam().reports == Reports::toStatusInSteps) {
                        expected = recorder.percents;
                        ASSERT_GE(expected.size(), 2u);
                        EXPECT_TRUE(expected.front() == 0 && expected.back() == 100 && isRising(expected));
                    }
                    EXPECT_EQ(recorder.percents, expected);
                }
                const Outcome before = outcome(untouched), after = outcome(done);
                for (size_t stop = 0; stop < expected.size(); stop += height == 9 ? 1 : 33) {
                    SCOPED_TRACE(::testing::Message() << "stopped at " << expected[stop]);
                    const int32_t codes[] = {-4711, 0, 77};
                    World world(GetParam(), kind, height);
                    {
                        const Recorder recorder(GetParam().reports, stop, codes[stop % 3]);
                        EXPECT_EQ(GetParam().run(world), recorder.code);
                        EXPECT_EQ(recorder.percents.size(), stop + 1);
                    }
                    expectNothingHappened(world, before, after);
                    EXPECT_EQ(leaves(Leaves::made), (world.made.Flags & BMF_ALLOCATED) != 0);
                    if (!leaves(Leaves::made) || HasFailure()) continue;
                    // As many rows as the percentage takes, and no other.
                    const int32_t rows = (expected[stop] * height + 99) / 100;
                    Bytes soFar = after.rows;
                    const Bytes none(soFar.size());
                    const auto end = ptrdiff_t(world.made.BytesPerLine) * rows;
                    std::copy(none.begin() + end, none.end(), soFar.begin() + end);
                    EXPECT_TRUE(rowsOf(world.made) == soFar);
                }
            }
            EXPECT_EQ(failing.live(), live) << "something is left";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, Laws, ::testing::ValuesIn(operations().begin(), operations().end()),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace

}  // namespace tnk::test
