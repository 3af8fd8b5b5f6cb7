// Calls of libraries written in C that give up by longjmp.
#pragma once

#include <csetjmp>
#include <type_traits>

namespace tool {

// False when the library gave up and jumped to `target`. What `call` does besides calling the library must own nothing: the jump
// passes destructors over.
template <class Call>
bool attempt(std::jmp_buf& target, const Call& call) {
    static_assert(std::is_trivially_destructible_v<Call>);
    if (setjmp(target) != 0) return false;
    call();
    return true;
}

}  // namespace tool
