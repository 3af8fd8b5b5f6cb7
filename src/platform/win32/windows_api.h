// The only place that includes the system's header, with what keeps it small.
#pragma once

#ifdef TNKRN_H
#error "This comes first: its result codes would take the place of the library's."
#endif
#define WIN32_LEAN_AND_MEAN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#include <winioctl.h>

#include "platform/native.h"

namespace tnk::native {

inline HANDLE systemHandle(T_HANDLE handle) { return reinterpret_cast<HANDLE>(handle); }

inline T_HANDLE handleOf(const void* handle) { return reinterpret_cast<T_HANDLE>(handle); }

}  // namespace tnk::native
