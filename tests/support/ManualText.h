#pragma once

#include <tests/support/Pattern.h>
#include <tests/support/TemporaryFolder.h>

#include <set>
#include <string>

namespace TestSupport {

/// The options that begin with two dashes which a help text or a manual page names.
inline std::set<std::string> longOptions(const std::string& text) {
  std::set<std::string> options;
  for (const auto& match : Pattern("--[a-z][a-z-]*").findAll(text)) {
    options.insert(match[0]);
  }
  return options;
}

/// The source of a manual page, its dashes as a reader sees them.
inline std::string readManualPage(const std::string& file) {
  return Pattern("\\\\-").replaceAll(TemporaryFolder::read(file), "-");
}

}  // namespace TestSupport
