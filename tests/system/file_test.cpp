#include "system/file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/failing_platform.h"
#include "support/files.h"

namespace tnk::test {
namespace {

constexpr uint32_t kShareAll = SHARE_READ | SHARE_WRITE;

constexpr struct {
    const char* what;
    bool exists;
    uint32_t flags;
    bool opens, reads, writes;
    const char* contents;  // afterwards
} kOpenCases[] = {
    {"read", true, OPEN_READ, true, true, false, "0123456789"},
    {"read what is missing", false, OPEN_READ, false, false, false, "(missing)"},
    {"write", true, OPEN_WRITE, true, false, true, "ab23456789"},
    {"create", false, OPEN_READWRITE | OPEN_CREATE, true, true, true, "ab"},
    {"create to read", false, OPEN_READ | OPEN_CREATE, true, true, false, ""},
    {"create wins over truncate", false, OPEN_WRITE | OPEN_CREATE | OPEN_TRUNCATE, true, false, true, "ab"},
    {"truncate", true, OPEN_READWRITE | OPEN_TRUNCATE, true, true, true, "ab"},
    {"truncate what is missing", false, OPEN_WRITE | OPEN_TRUNCATE, false, false, false, "(missing)"},
    {"truncate without writing", true, OPEN_READ | OPEN_TRUNCATE, false, false, false, "0123456789"},
};

TEST(File, OpensByFlags) {
    for (const auto& test : kOpenCases) {
        SCOPED_TRACE(test.what);
        const TempFolder folder;
        if (test.exists) folder.put("file", "0123456789");
        const T_HANDLE file = T_OsOpen(folder.name("file").c_str(), test.flags, kShareAll, nullptr);
        ASSERT_EQ(file != kNoFile, test.opens);
        if (test.opens) {
            char byte = 0;
            EXPECT_EQ(T_OsRead(file, &byte, 1, nullptr) >= 0, test.reads);
            EXPECT_EQ(T_OsSeek(file, 0, 0, nullptr), 0);
            EXPECT_EQ(T_OsWrite(file, "ab", 2, nullptr), test.writes ? 2 : -1);
            EXPECT_EQ(T_OsClose(file), 0);
        }
        EXPECT_EQ(folder.contents("file"), test.contents);
        if (!test.opens) continue;
        const auto path = folder.path() / "file";
        using std::filesystem::perms;
        const bool writable = (std::filesystem::status(path).permissions() & perms::owner_write) != perms::none;
        EXPECT_EQ(writable, test.exists || test.writes) << "made for reading alone it is read-only";
        std::filesystem::permissions(path, perms::owner_write, std::filesystem::perm_options::add);
    }
}

TEST(File, SeeksAndEndsTheFile) {
    const TempFolder folder;
    const T_WCHAR text[] = {0xE9, 0x20AC, 0x4E2D, 0xD83D, 0xDE00, 0};
    const WideString name = folder.name("n") + text;
    const T_HANDLE file = T_OsCreat(name.c_str(), CREATE_DELETE_ON_CLOSE);
    ASSERT_NE(file, kNoFile);
    EXPECT_EQ(T_OsWrite(file, "0123456789", 10, nullptr), 10);
    const int32_t seeks[][3] = {{4, 0, 4},    {3, 1, 7}, {-4, 2, 6}, {-1, 77, 9},  // other origins count from the end
                                {-100, 1, 0}, {0, 1, 9},                           // a failed seek moves nothing
                                {6, 0, 6}};
    for (const auto& [offset, origin, position] : seeks) EXPECT_EQ(T_OsSeek(file, offset, origin, nullptr), position);
    EXPECT_EQ(T_OsWrite(file, "", 0, nullptr), 0) << "ends the file here";
    EXPECT_EQ(T_OsSeek(file, 3, 0, nullptr), 3);
    EXPECT_EQ(T_OsWriteBig(file, "", 0, nullptr), 0) << "moves nothing and ends nothing";
    EXPECT_EQ(T_OsSeek(file, 0, 2, nullptr), 6);

    EXPECT_EQ(T_OsSetFileSize(file, 8), 0);
    EXPECT_EQ(T_OsSeek(file, 0, 1, nullptr), 8);
    EXPECT_EQ(T_OsSeek(file, 0, 0, nullptr), 0);
    char bytes[20] = {};
    EXPECT_EQ(T_OsReadBig(file, bytes, sizeof bytes, nullptr), 8) << "all there is";
    EXPECT_EQ(std::memcmp(bytes, "012345\0\0", 8), 0);

    const uint64_t far = (uint64_t{5} << 30) + 7;
    EXPECT_EQ(T_OsSeekBig(file, far, 0, nullptr), far);
    EXPECT_EQ(T_OsWrite(file, "far", 3, nullptr), 3);
    EXPECT_EQ(T_OsSeek(file, 0, 1, nullptr), static_cast<int32_t>(far + 3)) << "the low 32 bits";
    EXPECT_EQ(T_OsSeekBig(file, static_cast<uint64_t>(-3), 2, nullptr), far);
    EXPECT_TRUE(setFileSize(file, far + 1));
    EXPECT_EQ(seekBig(file, 0, SeekOrigin::end), static_cast<int64_t>(far + 1));
    EXPECT_EQ(T_OsClose(file), 0);
    EXPECT_EQ(folder.entries(), 0);
    EXPECT_EQ(T_OsOpen(folder.name().c_str(), OPEN_READ, 0, nullptr), kNoFile) << "a folder is no file";
}

TEST(File, TakesNamesThatAreTaken) {
    const TempDirectorySetting setting;
    T_WCHAR name[kPathChars];
    for (const int taken : {1, 2}) {
        ASSERT_EQ(T_OsGetTempName(name), SUCCESS);
        EXPECT_EQ(setting.folder().entries(), taken);
        EXPECT_EQ(std::filesystem::path(WideString(name)).filename().string().substr(0, 2), "TD");
    }
}

TEST(File, TellsAFullDisk) {
    FailingPlatform failing;
    failing.setDiskRoom(10);
    const T_HANDLE file = createTemporaryFile();
    EXPECT_EQ(T_OsWriteBig(file, "123456789012", 12, nullptr), -1) << "ten bytes fit, the next chunk fails";
    EXPECT_EQ(T_OsGetLastError(-5), ERROR_DISK_FULL);
    failing.failAt(1, kTransferFailures);
    EXPECT_EQ(T_OsWrite(file, "1", 1, nullptr), -1);
    EXPECT_EQ(T_OsGetLastError(-7), -7) << "another failure";
    T_OsClose(file);
}

#ifdef __linux__
TEST(File, TellsAFullDiskOfTheSystem) {
    const T_HANDLE file = T_OsOpen(wide("/dev/full").c_str(), OPEN_WRITE, 0, nullptr);
    if (file == kNoFile) GTEST_SKIP() << "no /dev/full here";
    EXPECT_EQ(T_OsWrite(file, "1", 1, nullptr), -1);
    EXPECT_EQ(T_OsGetLastError(-5), ERROR_DISK_FULL);
    EXPECT_EQ(T_OsClose(file), 0);
}
#endif

#ifdef _WIN32
TEST(File, SharesByFlags) {
    const TempFolder folder;
    folder.put("file", "text");
    const WideString name = folder.name("file");
    for (const uint32_t share : {0u, SHARE_WRITE, SHARE_READ, kShareAll}) {
        const T_HANDLE first = T_OsOpen(name.c_str(), OPEN_READ, share, nullptr);
        ASSERT_NE(first, kNoFile);
        for (const uint32_t access : {OPEN_READ, OPEN_WRITE}) {
            const T_HANDLE second = T_OsOpen(name.c_str(), access, kShareAll, nullptr);
            EXPECT_EQ(second != kNoFile, share == kShareAll || (share == SHARE_READ && access == OPEN_READ)) << share;
            if (second != kNoFile) T_OsClose(second);
        }
        EXPECT_EQ(T_OsClose(first), 0);
    }
}
#endif

// Chunks are seen by a routine that moves nothing but counts, so no buffer of that size is needed.
struct ChunkLog {
    std::vector<int32_t> results;  // of the first calls; later ones move the whole chunk
    std::vector<uint32_t> counts;
};

int32_t TNK_CALL logRead(T_HANDLE, void*, uint32_t count, void* data) {
    ChunkLog& log = *static_cast<ChunkLog*>(data);
    log.counts.push_back(count);
    const size_t call = log.counts.size() - 1;
    return call < log.results.size() ? log.results[call] : static_cast<int32_t>(count);
}

int32_t TNK_CALL logWrite(T_HANDLE, const void*, uint32_t count, void* log) { return logRead(0, nullptr, count, log); }

TEST(File, BigTransfersMoveInChunks) {
    const uint32_t full = 0x7FFFFFF;
    const struct {
        uint32_t count;
        std::vector<int32_t> results;
        int64_t result;
        std::vector<uint32_t> chunks;
    } cases[] = {
        {0, {}, 0, {}},
        {full + 1, {}, full + 1, {full, 1}},
        {0x18000000, {}, 0x18000000, {full, full, full, 3}},
        {100, {30, 0, 70}, 30, {100, 70}},
        {100, {30, -1}, -1, {100, 70}},
        {100, {170}, 100, {100}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.count);
        for (const bool reads : {true, false}) {
            ChunkLog log{test.results, {}};
            T_RedirectIO(nullptr, logRead, logWrite, nullptr, nullptr, &log);
            uint8_t* const buffer = reinterpret_cast<uint8_t*>(uintptr_t{0x10000});  // never touched
            EXPECT_EQ(reads ? T_RedirectedReadBig(1, buffer, test.count) : T_RedirectedWriteBig(1, buffer, test.count),
                      test.result);
            EXPECT_EQ(log.counts, test.chunks);
        }
    }
    T_RedirectIO(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
}

}  // namespace
}  // namespace tnk::test
