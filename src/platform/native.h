// The routines of the system that this library is built for, a table a group. Each folder beside this file defines all of
// them, each beside the part of the system that it stands for; what they promise stands in platform.h.
#pragma once

#include "platform/platform.h"

namespace tnk::native {

extern const MemoryTable memoryTable;
extern const FileTable fileTable;
extern const ProcessTable processTable;
extern const DisplayTable displayTable;
extern const ModuleTable moduleTable;
extern const TextTable textTable;

}  // namespace tnk::native
