// The version record, which never changes, and the version of this release.
#include <cstring>

#include "base/result.h"
#include "platform/platform.h"
#include "tnkrn.h"

namespace {

// A product name of 16-bit characters on every target; the sign is U+00AE.
constexpr T_WCHAR kProductName[] = {'T', 'a', 'r', 'n', 'k', 'i', 't', 0xAE, ' ', 'f',
                                    'o', 'r', ' ', 'W', 'i', 'n', '3', '2',  0};
constexpr char kBuildDate[] = "Jun 11 2010";
constexpr char kBuildTime[] = "12:52:03";

static_assert(sizeof(VersionRecord) == 108);

}  // namespace

extern "C" int32_t TNK_CALL T_VersionInfo(VersionRecord* Record, uint32_t Size) {
    if (Record == nullptr) return ERROR_INVALID_PARAMETER;
    if (Size != sizeof(VersionRecord)) return ERROR_STRUCT_SIZE;
    VersionRecord version{};
    version.Size = sizeof version;
    tnk::platform->toMultibyte(kProductName, version.ProductName, sizeof version.ProductName);
    version.Level = 2;
    version.MajorVersion = 15;
    version.MinorVersion = 0;
    std::memcpy(version.BuildDate, kBuildDate, sizeof kBuildDate);
    std::memcpy(version.BuildTime, kBuildTime, sizeof kBuildTime);
    *Record = version;
    return SUCCESS;
}

extern "C" uint32_t TNK_CALL T_GetLibraryVersion(void) { return TNK_VERSION; }
