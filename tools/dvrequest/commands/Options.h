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

/// Adds the option that says when to use colours.
inline void addColourOption(CLI::App& command, std::string& when) {
  command.add_option("--color", when, "auto (default, on a terminal), always or never")
      ->type_name("WHEN")
      ->check(CLI::IsMember({"auto", "always", "never"}));
}

}  // namespace DvRequest
