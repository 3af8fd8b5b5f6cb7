#include "progress.h"

#include <csignal>
#include <cstdio>
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

volatile std::sig_atomic_t stopWanted = 0;

Progress* innermost = nullptr;

#if defined(_WIN32)
BOOL WINAPI onConsoleEvent(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
    stopWanted = 1;
    return TRUE;
}
#else
void onSignal(int) { stopWanted = 1; }
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

}  // namespace

void catchInterrupts() {
#if defined(_WIN32)
    SetConsoleCtrlHandler(onConsoleEvent, TRUE);
#else
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
#endif
}

bool interrupted() { return stopWanted != 0; }

Progress::Progress(const char* doing, const std::string& name)
    : label_(doing), terminal_(onTerminal()), outer_(std::exchange(innermost, this)) {
    constexpr size_t kColumns = 37;
    label_ += " " + tail(name, kColumns - label_.size() - 1);
    if (terminal_) {
        std::fprintf(stderr, "\r%s", label_.c_str());
        std::fflush(stderr);
    }
    T_SetStatusCallBack(onStatus, this, &oldCallback_, &oldUserData_);
    T_SetCopyStatusCallBack(onStatus, this, &oldCopyCallback_, &oldCopyUserData_);
}

Progress::~Progress() {
    innermost = outer_;
    T_SetCopyStatusCallBack(oldCopyCallback_, oldCopyUserData_, nullptr, nullptr);
    T_SetStatusCallBack(oldCallback_, oldUserData_, nullptr, nullptr);
    // Blanks rather than a control sequence: older consoles print those.
    if (terminal_) std::fprintf(stderr, "\r%79s\r", "");
}

int32_t Progress::show(int percent) {
    if (interrupted()) return kStopped;
    if (terminal_ && percent != shown_) {
        shown_ = percent;
        constexpr int kCells = 32;
        const int full = percent * kCells / 100;
        const std::string bar = std::string(full, '#') + std::string(kCells - full, '.');
        std::fprintf(stderr, "\r%s [%s] %3d%%", label_.c_str(), bar.c_str(), percent);
        std::fflush(stderr);
    }
    return T_SUCCESS;
}

void Progress::rowDone(int row, int rows) {
    const int percent = static_cast<int>((int64_t{row} + 1) * 100 / rows);
    if (innermost ? innermost->show(percent) == kStopped : interrupted()) throw interruptedFailure();
}

int32_t TNK_CALL Progress::onStatus(int32_t percent, void* self) { return static_cast<Progress*>(self)->show(percent); }

}  // namespace tool
