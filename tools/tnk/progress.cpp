#include "progress.h"

#include <atomic>
#include <csignal>
#include <mutex>
#include <utility>

#include "failure.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <io.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace tool {

namespace {

// The handler may run in a thread of its own.
std::atomic<bool> stopWanted = false;
static_assert(std::atomic<bool>::is_always_lock_free);

thread_local Progress* innermost = nullptr;

// What stands on the terminal's line, and who draws there. A bar that is not shared belongs to the only thread.
std::mutex terminalLock;
std::string drawn;
bool shared = false;

#if defined(_WIN32)
BOOL WINAPI onConsoleEvent(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
    stopWanted = true;
    return TRUE;
}
#else
void onSignal(int) { stopWanted = true; }
#endif

bool onTerminal() {
#if defined(_WIN32)
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(fileno(stderr)) != 0;
#endif
}

// Bytes of a name that fit `columns` characters, cut at the front, between characters.
std::string tail(const std::string& name, size_t columns) {
    size_t characters = 0;
    for (size_t at = name.size(); at > 0; at--) {
        const bool continuation = (static_cast<unsigned char>(name[at - 1]) & 0xC0) == 0x80;
        if (!continuation && ++characters == columns && at > 1) return name.substr(at - 1);
    }
    return name;
}

// Callers have the lock.
void draw(const std::string& line) {
    drawn = line;
    std::fprintf(stderr, "\r%s", line.c_str());
    std::fflush(stderr);
}

void erase() {
    // Blanks rather than a control sequence: older consoles print those.
    if (!drawn.empty()) std::fprintf(stderr, "\r%79s\r", "");
    drawn.clear();
}

std::string barOf(int percent) {
    constexpr int kCells = 32;
    const int full = percent * kCells / 100;
    char number[8];
    std::snprintf(number, sizeof number, "%3d%%", percent);
    return " [" + std::string(full, '#') + std::string(kCells - full, '.') + "] " + number;
}

}  // namespace

void catchInterrupts() {
#if defined(_WIN32)
    SetConsoleCtrlHandler(onConsoleEvent, TRUE);
#else
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    // A reader that went away is a failure of writing.
    std::signal(SIGPIPE, SIG_IGN);
#endif
}

bool interrupted() { return stopWanted; }

void tell(std::FILE* stream, const std::string& lines) {
    const std::lock_guard lock(terminalLock);
    const std::string bar = drawn;
    erase();
    std::fputs(lines.c_str(), stream);
    std::fflush(stream);
    if (!bar.empty()) draw(bar);
}

SharedProgress::SharedProgress(const char* doing, size_t pictures) : doing_(doing), pictures_(pictures) {
    shared = true;
    if (onTerminal()) draw(doing_ + barOf(0));
}

SharedProgress::~SharedProgress() {
    erase();
    shared = false;
}

void SharedProgress::pictureDone() {
    const std::lock_guard lock(terminalLock);
    done_++;
    if (drawn.empty()) return;
    const std::string counts = " " + std::to_string(done_) + " of " + std::to_string(pictures_);
    draw(doing_ + counts + barOf(static_cast<int>(done_ * 100 / pictures_)));
}

Progress::Progress(const char* doing, const std::string& name)
    : label_(doing), terminal_(!shared && onTerminal()), outer_(std::exchange(innermost, this)) {
    constexpr size_t kColumns = 37;
    label_ += " " + tail(name, kColumns - label_.size() - 1);
    if (terminal_) {
        const std::lock_guard lock(terminalLock);
        draw(label_);
    }
    T_SetStatusCallBack(onStatus, this, &oldCallback_, &oldUserData_);
    T_SetCopyStatusCallBack(onStatus, this, &oldCopyCallback_, &oldCopyUserData_);
}

Progress::~Progress() {
    innermost = outer_;
    T_SetCopyStatusCallBack(oldCopyCallback_, oldCopyUserData_, nullptr, nullptr);
    T_SetStatusCallBack(oldCallback_, oldUserData_, nullptr, nullptr);
    if (!terminal_) return;
    const std::lock_guard lock(terminalLock);
    erase();
}

int32_t Progress::show(int percent) {
    if (interrupted()) return kStopped;
    if (terminal_ && percent != shown_) {
        shown_ = percent;
        const std::lock_guard lock(terminalLock);
        draw(label_ + barOf(percent));
    }
    return T_SUCCESS;
}

void Progress::rowDone(int row, int rows) {
    const int percent = static_cast<int>((int64_t{row} + 1) * 100 / rows);
    if (innermost ? innermost->show(percent) == kStopped : interrupted()) throw interruptedFailure();
}

int32_t TNK_CALL Progress::onStatus(int32_t percent, void* self) { return static_cast<Progress*>(self)->show(percent); }

}  // namespace tool
