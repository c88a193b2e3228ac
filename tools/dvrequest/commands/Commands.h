#pragma once

#include <CLI/CLI.hpp>

namespace DvRequest {

// Each adds one command to the program; the command stores in `exitCode` how it ended.

void addCheckCommand(CLI::App& program, int& exitCode);
void addExplainCommand(CLI::App& program, int& exitCode);
void addSchemaCommand(CLI::App& program, int& exitCode);
void addJobIdCommand(CLI::App& program, int& exitCode);
void addHostCommand(CLI::App& program, int& exitCode);
/// `copy`, `rename` and `remove`.
void addFileCommands(CLI::App& program, int& exitCode);

}  // namespace DvRequest
