// Geometry on the command line.
#pragma once

#include <CLI/CLI.hpp>

#include "geometry.h"

namespace tool {

void addGeometryOptions(CLI::App& command, GeometryOptions& options);

}  // namespace tool
