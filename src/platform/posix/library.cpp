// Loading and unloading of the shared library. Nothing refers to this file, so a program that links the static form
// goes without it; settings then begin with their first use.
#include "system/settings.h"

namespace {

[[gnu::constructor]] void onLoad() { tnk::attachProcess(); }

[[gnu::destructor]] void onUnload() { tnk::detachProcess(); }

}  // namespace
