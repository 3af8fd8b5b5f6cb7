// What ends a command early: the message for the user and the exit code of the program.
#pragma once

#include <cstdint>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>

namespace tool {

enum ExitCode : int { kExitOk = 0, kExitFailed = 1, kExitUsage = 2, kExitInterrupted = 130 };

// Of comparisons, as other programs that compare have them: what is different must not look like what failed.
enum CompareCode : int { kExitEqual = 0, kExitDifferent = 1, kExitTrouble = 2 };

class Failure : public std::runtime_error {
  public:
    Failure(const std::string& why, ExitCode code) : std::runtime_error(why), code_(code) {}
    ExitCode code() const { return code_; }

  private:
    ExitCode code_;
};

// A file that could not be read, written or converted.
inline Failure fileFailure(const std::string& file, const std::string& why) {
    return Failure(file + ": " + why, kExitFailed);
}

inline Failure usageFailure(const std::string& why) { return Failure(why, kExitUsage); }

inline Failure interruptedFailure() { return Failure("interrupted", kExitInterrupted); }

// Something was told to the user already, and the rest was done.
inline Failure toldFailure() { return Failure("", kExitFailed); }

// A line for the user.
void complain(const std::string& why);

// The exit code of the work; a failure is told here, of `file` where the failure does not name one.
template <class Work>
int guarded(const Work& work, const std::string& file = "") {
    const std::string of = file.empty() ? "" : file + ": ";
    try {
        work();
        return kExitOk;
    } catch (const Failure& failure) {
        if (failure.what()[0]) complain(failure.what());
        return failure.code();
    } catch (const std::bad_alloc&) {
        complain(of + "not enough memory");
    } catch (const std::exception& error) {
        complain(of + error.what());
    }
    return kExitFailed;
}

// Result codes of the library in words.
std::string describeResult(int32_t result);

// Throws for every result but success: an interruption when the user stopped the work, else a failure of `file`.
void require(int32_t result, const std::string& file);

}  // namespace tool
