#include "support/failing_platform.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>
#include <ostream>

#include "convert/conversion_cache.h"
#include "system/section_store.h"

namespace tnk::test {

namespace {

enum Kind { kLocal, kGlobal, kMovable, kSection, kFile, kPalette, kModule };
constexpr int LiveObjects::*kCounters[] = {&LiveObjects::local,    &LiveObjects::global, &LiveObjects::movable,
                                           &LiveObjects::sections, &LiveObjects::files,  &LiveObjects::palettes,
                                           &LiveObjects::modules};

struct State {
    std::mutex mutex;
    uint32_t kinds = 0;
    int failAt = 0;
    bool failLater = false;
    int calls = 0;
    bool injected = false;
    std::multimap<std::pair<Kind, uintptr_t>, int>
        alive;  // with the locks of a movable block; a module may be there twice
    int deletedRegions = 0;
    std::string diagnostics;
    bool diskIsFull = false;  // as of the last file call that failed
    std::optional<uint64_t> diskRoom;
    std::optional<MemoryStatus> memory;
    std::optional<uint32_t> handles;
};

State* state = nullptr;

// The state, locked as long as this lives.
struct Locked {
    std::lock_guard<std::mutex> guard{state->mutex};
    State* operator->() const { return state; }
};

bool fails(uint32_t kind) {
    const Locked guard;
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
Handle born(Kind kind, Handle handle, Handle none = Handle{}) {
    const Locked guard;
    if (handle != none) state->alive.insert({{kind, (uintptr_t)handle}, 0});  // a pointer or an integer
    return handle;
}

// What was made before this platform was installed is not known here and not counted.
template <typename Handle>
Handle gone(Kind kind, Handle handle) {
    const Locked guard;
    const auto found = state->alive.find({kind, (uintptr_t)handle});
    if (found != state->alive.end()) state->alive.erase(found);
    return handle;
}

// A block that moved, or one that stays because moving failed.
template <typename Handle>
Handle moved(Kind kind, Handle from, Handle to) {
    if (to != Handle{}) gone(kind, from);
    return born(kind, to);
}

bool isAlive(Kind kind, T_HANDLE handle) {
    const Locked guard;
    return state->alive.contains({kind, (uintptr_t)handle});
}

void addLock(T_HANDLE block, int change) {
    const Locked guard;
    const auto found = state->alive.find({kMovable, (uintptr_t)block});
    if (found != state->alive.end()) found->second += change;
}

template <typename T>
bool substitute(std::optional<T> State::*known, T* value) {
    const Locked guard;
    if ((state->*known).has_value()) *value = *(state->*known);
    return (state->*known).has_value();
}

// Cuts a write to the room that is left; false when it cannot be done.
bool takeRoom(uint32_t& count) {
    if (fails(kTransferFailures)) return false;
    const Locked guard;
    if (!state->diskRoom.has_value()) return true;
    state->diskIsFull = count > *state->diskRoom;
    const auto fitting = static_cast<uint32_t>(std::min<uint64_t>(count, *state->diskRoom));
    if (fitting == 0 && count != 0) return false;
    count = fitting;
    *state->diskRoom -= fitting;
    return true;
}

const Platform& real = nativePlatform;

void setMemoryRoutines(Platform& table) {
    table.allocateLocal = [](auto... p) {
        return fails(kLocalFailures) ? nullptr : born(kLocal, real.allocateLocal(p...));
    };
    table.reallocateLocal = [](void* block, size_t bytes) -> void* {
        return moved(kLocal, block, fails(kLocalFailures) ? nullptr : real.reallocateLocal(block, bytes));
    };
    table.freeLocal = [](void* block) { real.freeLocal(gone(kLocal, block)); };
    table.allocateGlobal = [](auto... p) {
        return fails(kGlobalFailures) ? nullptr : born(kGlobal, real.allocateGlobal(p...));
    };
    table.reallocateGlobal = [](void* block, size_t bytes) -> void* {
        return moved(kGlobal, block, fails(kGlobalFailures) ? nullptr : real.reallocateGlobal(block, bytes));
    };
    table.freeGlobal = [](void* block) { real.freeGlobal(gone(kGlobal, block)); };
    table.allocateMovable = [](auto... p) {
        return fails(kMovableFailures) ? 0 : born(kMovable, real.allocateMovable(p...));
    };
    table.reallocateMovable = [](T_HANDLE block, size_t bytes) -> T_HANDLE {
        const Kind kind = isAlive(kGlobal, block) ? kGlobal : kMovable;  // fixed blocks serve as movable ones
        return moved(kind, block, fails(kMovableFailures) ? 0 : real.reallocateMovable(block, bytes));
    };
    table.lockMovable = [](T_HANDLE block) -> void* {
        void* data = fails(kMovableFailures) ? nullptr : real.lockMovable(block);
        if (data != nullptr) addLock(block, 1);
        return data;
    };
    table.unlockMovable = [](T_HANDLE block) {
        addLock(block, -1);
        real.unlockMovable(block);
    };
    table.freeMovable = [](T_HANDLE block) { real.freeMovable(gone(kMovable, block)); };
    table.createSection = [](uint64_t bytes, Section* section) {
        return !fails(kSectionFailures) && real.createSection(bytes, section) && born(kSection, section->handle) != 0;
    };
    table.resizeSection = [](Section* section, uint64_t oldBytes, uint64_t bytes) {
        const T_HANDLE before = section->handle;
        if (fails(kSectionFailures) || !real.resizeSection(section, oldBytes, bytes)) return false;
        return moved(kSection, before, section->handle) != 0;
    };
    table.closeSection = [](const Section& section) {
        gone(kSection, section.handle);
        real.closeSection(section);
    };
}

void setFileRoutines(Platform& table) {
    table.openFile = [](auto... p) {
        return fails(kOpenFailures) ? kNoFile : born(kFile, real.openFile(p...), kNoFile);
    };
    table.readFile = [](auto... p) { return fails(kTransferFailures) ? -1 : real.readFile(p...); };
    table.writeFile = [](auto file, auto data, auto count) {
        return takeRoom(count) ? real.writeFile(file, data, count) : -1;
    };
    table.readFileAt = [](auto... p) { return fails(kTransferFailures) ? -1 : real.readFileAt(p...); };
    table.writeFileAt = [](auto file, auto at, auto data, auto count) {
        return takeRoom(count) ? real.writeFileAt(file, at, data, count) : -1;
    };
    table.seekFile = [](auto... p) { return fails(kTransferFailures) ? -1 : real.seekFile(p...); };
    table.endFileHere = [](auto... p) { return !fails(kTransferFailures) && real.endFileHere(p...); };
    table.closeFile = [](T_HANDLE file) { return real.closeFile(gone(kFile, file)) && !fails(kCloseFailures); };
    table.deleteFile = [](const T_WCHAR* name) { return real.deleteFile(name) && !fails(kCloseFailures); };
    table.makeTempName = [](auto... p) { return !fails(kOpenFailures) && real.makeTempName(p...); };
    table.createTempFile = [](auto... p) {
        return fails(kOpenFailures) ? kNoFile : born(kFile, real.createTempFile(p...), kNoFile);
    };
    table.lastErrorIsDiskFull = [] {
        const Locked guard;
        return state->diskRoom.has_value() || state->injected ? state->diskIsFull : real.lastErrorIsDiskFull();
    };
}

void setSystemRoutines(Platform& table) {
    table.memoryStatus = [](MemoryStatus* status) {
        return !fails(kBudgetFailures) && (substitute(&State::memory, status) || real.memoryStatus(status));
    };
    table.handleCount = [](uint32_t* count) {
        return !fails(kBudgetFailures) && (substitute(&State::handles, count) || real.handleCount(count));
    };
    table.createThreadSlot = [](auto... p) { return !fails(kThreadFailures) && real.createThreadSlot(p...); };
    table.setThreadValue = [](auto... p) { return !fails(kThreadFailures) && real.setThreadValue(p...); };
    table.allocateSlot = [] { return fails(kThreadFailures) ? kNoSlot : real.allocateSlot(); };
    table.setSlotValue = [](auto... p) { return !fails(kThreadFailures) && real.setSlotValue(p...); };
    table.createPalette = [](auto... p) {
        return fails(kPaletteFailures) ? 0 : born(kPalette, real.createPalette(p...));
    };
    table.getPaletteEntries = [](auto... p) { return fails(kPaletteFailures) ? 0 : real.getPaletteEntries(p...); };
    table.setPaletteEntries = [](auto... p) { return fails(kPaletteFailures) ? 0 : real.setPaletteEntries(p...); };
    table.deletePalette = [](T_HANDLE palette) { return real.deletePalette(gone(kPalette, palette)); };
    table.loadModule = [](auto... p) { return fails(kModuleFailures) ? 0 : born(kModule, real.loadModule(p...)); };
    table.findSymbol = [](auto... p) { return fails(kModuleFailures) ? nullptr : real.findSymbol(p...); };
    table.unloadModule = [](T_HANDLE module) { return real.unloadModule(gone(kModule, module)); };
    table.diagnose = [](const char* text) { Locked()->diagnostics += text; };
    table.deleteRegion = [](T_HANDLE) { return ++Locked()->deletedRegions > 0; };
}

Platform makeTable() {
    Platform table = nativePlatform;
    setMemoryRoutines(table);
    setFileRoutines(table);
    setSystemRoutines(table);
    return table;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const LiveObjects& live) {
    return out << "{local " << live.local << ", global " << live.global << ", movable " << live.movable << " with "
               << live.movableLocks << " locks, sections " << live.sections << ", files " << live.files << ", palettes "
               << live.palettes << ", modules " << live.modules << "}";
}

FailingPlatform::FailingPlatform() : previous_(platform) {
    // The calling thread's settings are made beforehand: they outlive any operation and are no leak of it.
    T_GetDefaultDithering();
    if (state != nullptr) {
        ADD_FAILURE() << "there is a failing platform already";
        delete state;
    }
    emptySectionStore();  // of what the native platform made
    state = new State;
    static const Platform table = makeTable();
    platform = &table;
}

FailingPlatform::~FailingPlatform() {
    emptySectionStore();
    platform = previous_;
    delete state;
    state = nullptr;
}

void FailingPlatform::failAt(int k, uint32_t kinds, bool later) {
    emptySectionStore();  // which would serve without the calls that are to fail
    const Locked guard;
    state->kinds = kinds;
    state->failAt = k;
    state->failLater = later;
    state->calls = 0;
    state->injected = false;
}

void FailingPlatform::stopFailing() { Locked()->kinds = 0; }

bool FailingPlatform::injected() const { return Locked()->injected; }

LiveObjects FailingPlatform::live() const {
    // What is kept is no leak.
    emptySectionStore();
    dropKeptConversions();
    const Locked guard;
    LiveObjects live;
    for (const auto& [key, locks] : state->alive) {
        ++(live.*kCounters[key.first]);
        live.movableLocks += locks;
    }
    return live;
}

int FailingPlatform::deletedRegions() const { return Locked()->deletedRegions; }

std::string FailingPlatform::diagnostics() const { return Locked()->diagnostics; }

void FailingPlatform::setDiskRoom(uint64_t bytes) { Locked()->diskRoom = bytes; }
void FailingPlatform::setMemoryStatus(const MemoryStatus& status) { Locked()->memory = status; }
void FailingPlatform::setHandleCount(uint32_t count) { Locked()->handles = count; }

}  // namespace tnk::test
