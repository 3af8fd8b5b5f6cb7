// Loading and unloading of the shared library. Nothing refers to this file, so a program that links the static form
// goes without it; settings then begin with their first use.
#include "platform/system_hooks.h"

namespace {

[[gnu::constructor]] void onLoad() { tnk::systemHooks.attachProcess(); }

[[gnu::destructor]] void onUnload() { tnk::systemHooks.detachProcess(); }

}  // namespace
