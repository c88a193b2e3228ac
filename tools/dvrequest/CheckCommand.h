#pragma once

#include <CLI/CLI.hpp>

namespace DvRequest {

/// Adds `check` to the program; it stores how it ended in `exitCode`.
void addCheckCommand(CLI::App& program, int& exitCode);

}  // namespace DvRequest
