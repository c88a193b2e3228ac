#pragma once

#include <filesystem>
#include <string>

namespace ParameterSweep {

/// The content of a file; empty when there is none.
std::string readStoredFile(const std::filesystem::path& file);

/// Gives a file its whole content at once: writes a sibling, flushes it to the disk and moves it into place, waiting
/// while the file is busy. Who reads the file sees the old content or the new one, also after a kill or a loss of
/// power. Throws `DvException` with nothing changed.
void writeStoredFile(const std::filesystem::path& file, const std::string& content);

/// Removes a file if there is one, waiting while it is busy.
void removeStoredFile(const std::filesystem::path& file);

}  // namespace ParameterSweep
