#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace DvRequest {

/// Adds the option that names schema fragments.
inline void addFragmentOption(CLI::App& command, std::vector<std::string>& files) {
  command.add_option("-f,--fragment", files, "schema fragment to add; repeatable")
      ->type_name("FILE")
      ->allow_extra_args(false);
}

}  // namespace DvRequest
