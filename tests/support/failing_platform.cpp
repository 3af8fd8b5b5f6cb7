#include "support/failing_platform.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>
#include <ostream>

namespace tnk::test {

namespace {

enum class Kind { local, global, movable, section, file, palette };

struct State {
    std::mutex mutex;
    uint32_t kinds = 0;
    int failAt = 0;
    bool failLater = false;
    int calls = 0;
    bool injected = false;
    std::map<std::pair<Kind, uintptr_t>, int> alive;  // the value counts the locks of a movable block
    int deletedRegions = 0;
    bool diskIsFull = false;  // as of the last file call that failed
    std::optional<uint64_t> diskRoom;
    std::optional<MemoryStatus> memory;
    std::optional<uint32_t> handles;
};

State* state = nullptr;

bool fails(uint32_t kind) {
    std::lock_guard guard(state->mutex);
    if ((state->kinds & kind) == 0) return false;
    ++state->calls;
    const bool failing = state->failLater ? state->calls >= state->failAt : state->calls == state->failAt;
    if (failing) {
        state->injected = true;
        state->diskIsFull = false;
    }
    return failing;
}

template <typename Handle>
uintptr_t keyOf(Handle handle) {
    return (uintptr_t)handle;  // a pointer or an integer
}

template <typename Handle>
Handle born(Kind kind, Handle handle) {
    std::lock_guard guard(state->mutex);
    state->alive[{kind, keyOf(handle)}] = 0;
    return handle;
}

// What was made before this platform was installed is not known here and not counted.
template <typename Handle>
void gone(Kind kind, Handle handle) {
    std::lock_guard guard(state->mutex);
    state->alive.erase({kind, keyOf(handle)});
}

void* allocateLocal(size_t bytes, bool zero) {
    if (fails(kLocalFailures)) return nullptr;
    void* block = nativePlatform.allocateLocal(bytes, zero);
    return block != nullptr ? born(Kind::local, block) : nullptr;
}

void freeLocal(void* block) {
    gone(Kind::local, block);
    nativePlatform.freeLocal(block);
}

void* allocateGlobal(size_t bytes, bool zero) {
    if (fails(kGlobalFailures)) return nullptr;
    void* block = nativePlatform.allocateGlobal(bytes, zero);
    return block != nullptr ? born(Kind::global, block) : nullptr;
}

void freeGlobal(void* block) {
    gone(Kind::global, block);
    nativePlatform.freeGlobal(block);
}

T_HANDLE allocateMovable(size_t bytes) {
    if (fails(kMovableFailures)) return 0;
    const T_HANDLE block = nativePlatform.allocateMovable(bytes);
    return block != 0 ? born(Kind::movable, block) : 0;
}

T_HANDLE reallocateMovable(T_HANDLE block, size_t bytes) {
    if (fails(kMovableFailures)) return 0;
    const T_HANDLE moved = nativePlatform.reallocateMovable(block, bytes);
    if (moved == 0) return 0;
    gone(Kind::movable, block);
    return born(Kind::movable, moved);
}

void addLock(T_HANDLE block, int change) {
    std::lock_guard guard(state->mutex);
    const auto found = state->alive.find({Kind::movable, keyOf(block)});
    if (found != state->alive.end()) found->second += change;
}

void* lockMovable(T_HANDLE block) {
    if (fails(kMovableFailures)) return nullptr;
    void* data = nativePlatform.lockMovable(block);
    if (data != nullptr) addLock(block, 1);
    return data;
}

void unlockMovable(T_HANDLE block) {
    addLock(block, -1);
    nativePlatform.unlockMovable(block);
}

void freeMovable(T_HANDLE block) {
    gone(Kind::movable, block);
    nativePlatform.freeMovable(block);
}

bool createSection(uint64_t bytes, Section* section) {
    if (fails(kSectionFailures) || !nativePlatform.createSection(bytes, section)) return false;
    born(Kind::section, section->handle);
    return true;
}

void closeSection(const Section& section) {
    gone(Kind::section, section.handle);
    nativePlatform.closeSection(section);
}

T_HANDLE openFile(const FileRequest& request) {
    if (fails(kOpenFailures)) return kNoFile;
    const T_HANDLE file = nativePlatform.openFile(request);
    return file != kNoFile ? born(Kind::file, file) : kNoFile;
}

int64_t readFile(T_HANDLE file, void* buffer, uint32_t count) {
    return fails(kTransferFailures) ? -1 : nativePlatform.readFile(file, buffer, count);
}

int64_t writeFile(T_HANDLE file, const void* buffer, uint32_t count) {
    if (fails(kTransferFailures)) return -1;
    {
        std::lock_guard guard(state->mutex);
        if (state->diskRoom.has_value()) {
            state->diskIsFull = count > *state->diskRoom;
            const auto fitting = static_cast<uint32_t>(std::min<uint64_t>(count, *state->diskRoom));
            if (fitting == 0 && count != 0) return -1;
            count = fitting;
            *state->diskRoom -= fitting;
        }
    }
    return nativePlatform.writeFile(file, buffer, count);
}

int64_t seekFile(T_HANDLE file, int64_t offset, SeekOrigin origin) {
    return fails(kTransferFailures) ? -1 : nativePlatform.seekFile(file, offset, origin);
}

bool endFileHere(T_HANDLE file) { return !fails(kTransferFailures) && nativePlatform.endFileHere(file); }

bool closeFile(T_HANDLE file) {
    gone(Kind::file, file);
    const bool closed = nativePlatform.closeFile(file);
    return !fails(kCloseFailures) && closed;
}

bool deleteFile(const T_WCHAR* name) {
    const bool deleted = nativePlatform.deleteFile(name);
    return !fails(kCloseFailures) && deleted;
}

bool makeTempName(const T_WCHAR* directory, const T_WCHAR* prefix, T_WCHAR (&path)[kPathChars]) {
    return !fails(kOpenFailures) && nativePlatform.makeTempName(directory, prefix, path);
}

bool lastErrorIsDiskFull() {
    std::lock_guard guard(state->mutex);
    return state->diskRoom.has_value() || state->injected ? state->diskIsFull : nativePlatform.lastErrorIsDiskFull();
}

bool memoryStatus(MemoryStatus* status) {
    if (fails(kBudgetFailures)) return false;
    std::lock_guard guard(state->mutex);
    if (!state->memory.has_value()) return nativePlatform.memoryStatus(status);
    *status = *state->memory;
    return true;
}

bool handleCount(uint32_t* count) {
    if (fails(kBudgetFailures)) return false;
    std::lock_guard guard(state->mutex);
    if (!state->handles.has_value()) return nativePlatform.handleCount(count);
    *count = *state->handles;
    return true;
}

bool createThreadSlot(void (*release)(void*)) {
    return !fails(kThreadFailures) && nativePlatform.createThreadSlot(release);
}

bool setThreadValue(void* value) { return !fails(kThreadFailures) && nativePlatform.setThreadValue(value); }

T_HANDLE createPalette(const PaletteEntry* entries, uint32_t count) {
    if (fails(kPaletteFailures)) return 0;
    const T_HANDLE palette = nativePlatform.createPalette(entries, count);
    return palette != 0 ? born(Kind::palette, palette) : 0;
}

uint32_t getPaletteEntries(T_HANDLE palette, uint32_t first, uint32_t count, PaletteEntry* entries) {
    return fails(kPaletteFailures) ? 0 : nativePlatform.getPaletteEntries(palette, first, count, entries);
}

uint32_t setPaletteEntries(T_HANDLE palette, uint32_t first, uint32_t count, const PaletteEntry* entries) {
    return fails(kPaletteFailures) ? 0 : nativePlatform.setPaletteEntries(palette, first, count, entries);
}

bool deletePalette(T_HANDLE palette) {
    gone(Kind::palette, palette);
    return nativePlatform.deletePalette(palette);
}

bool deleteRegion(T_HANDLE) {
    std::lock_guard guard(state->mutex);
    ++state->deletedRegions;
    return true;
}

Platform makeTable() {
    Platform table = nativePlatform;
    table.allocateLocal = allocateLocal;
    table.freeLocal = freeLocal;
    table.allocateGlobal = allocateGlobal;
    table.freeGlobal = freeGlobal;
    table.allocateMovable = allocateMovable;
    table.reallocateMovable = reallocateMovable;
    table.lockMovable = lockMovable;
    table.unlockMovable = unlockMovable;
    table.freeMovable = freeMovable;
    table.createSection = createSection;
    table.closeSection = closeSection;
    table.openFile = openFile;
    table.readFile = readFile;
    table.writeFile = writeFile;
    table.seekFile = seekFile;
    table.endFileHere = endFileHere;
    table.closeFile = closeFile;
    table.deleteFile = deleteFile;
    table.makeTempName = makeTempName;
    table.lastErrorIsDiskFull = lastErrorIsDiskFull;
    table.memoryStatus = memoryStatus;
    table.handleCount = handleCount;
    table.createThreadSlot = createThreadSlot;
    table.setThreadValue = setThreadValue;
    table.createPalette = createPalette;
    table.getPaletteEntries = getPaletteEntries;
    table.setPaletteEntries = setPaletteEntries;
    table.deletePalette = deletePalette;
    table.deleteRegion = deleteRegion;
    return table;
}

void startFailing(int k, uint32_t kinds, bool later) {
    std::lock_guard guard(state->mutex);
    state->kinds = kinds;
    state->failAt = k;
    state->failLater = later;
    state->calls = 0;
    state->injected = false;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const LiveObjects& live) {
    return out << "{local " << live.local << ", global " << live.global << ", movable " << live.movable << " with "
               << live.movableLocks << " locks, sections " << live.sections << ", files " << live.files << ", palettes "
               << live.palettes << "}";
}

FailingPlatform::FailingPlatform() : previous_(platform) {
    // The calling thread's settings are made beforehand: they outlive any operation and are no leak of it.
    T_GetDefaultDithering();
    if (state != nullptr) {
        ADD_FAILURE() << "there is a failing platform already";
        delete state;
    }
    state = new State;
    static const Platform table = makeTable();
    platform = &table;
}

FailingPlatform::~FailingPlatform() {
    platform = previous_;
    delete state;
    state = nullptr;
}

void FailingPlatform::failAt(int k, uint32_t kinds) { startFailing(k, kinds, false); }

void FailingPlatform::failFrom(int k, uint32_t kinds) { startFailing(k, kinds, true); }

void FailingPlatform::stopFailing() {
    std::lock_guard guard(state->mutex);
    state->kinds = 0;
}

bool FailingPlatform::injected() const {
    std::lock_guard guard(state->mutex);
    return state->injected;
}

int FailingPlatform::calls() const {
    std::lock_guard guard(state->mutex);
    return state->calls;
}

LiveObjects FailingPlatform::live() const {
    std::lock_guard guard(state->mutex);
    LiveObjects live;
    for (const auto& [key, locks] : state->alive) {
        switch (key.first) {
            case Kind::local:
                ++live.local;
                break;
            case Kind::global:
                ++live.global;
                break;
            case Kind::movable:
                ++live.movable;
                live.movableLocks += locks;
                break;
            case Kind::section:
                ++live.sections;
                break;
            case Kind::file:
                ++live.files;
                break;
            case Kind::palette:
                ++live.palettes;
                break;
        }
    }
    return live;
}

int FailingPlatform::deletedRegions() const {
    std::lock_guard guard(state->mutex);
    return state->deletedRegions;
}

void FailingPlatform::setDiskRoom(uint64_t bytes) {
    std::lock_guard guard(state->mutex);
    state->diskRoom = bytes;
}

void FailingPlatform::setMemoryStatus(const MemoryStatus& status) {
    std::lock_guard guard(state->mutex);
    state->memory = status;
}

void FailingPlatform::setHandleCount(uint32_t count) {
    std::lock_guard guard(state->mutex);
    state->handles = count;
}

}  // namespace tnk::test
