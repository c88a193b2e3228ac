#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <tools/dvrequest/commands/Commands.h>
#include <tools/dvrequest/support/ExitCode.h>
#include <tools/dvrequest/support/Text.h>

#include <algorithm>
#include <cctype>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace DvRequest {

namespace {

constexpr const char* c_examples =
    "Examples:\n"
    "  dvrequest host check 10.20.7.30 sim-03.lab.example 127.0.0.1\n"
    "Exit code: 0 all are addresses or names, 1 some are neither, 2 wrong use.\n";

constexpr std::size_t c_longestName = 253;
constexpr std::size_t c_longestLabel = 63;

bool isLetterOrDigit(char character) { return std::isalnum(static_cast<unsigned char>(character)) != 0; }

bool isLabel(const std::string& label) {
  const auto fits = [](char character) { return isLetterOrDigit(character) || character == '-'; };
  return !label.empty() && label.size() <= c_longestLabel && std::all_of(label.begin(), label.end(), fits) &&
         isLetterOrDigit(label.front()) && isLetterOrDigit(label.back());
}

/// Whether `text` can be the name of a host: labels of letters, digits and hyphens, the last of which is no number.
bool isHostName(const std::string& text) {
  std::istringstream stream(text);
  std::string label;
  while (std::getline(stream, label, '.')) {
    if (!isLabel(label)) {
      return false;
    }
  }
  const auto isDigit = [](unsigned char character) { return std::isdigit(character) != 0; };
  return !text.empty() && text.back() != '.' && text.size() <= c_longestName &&
         !std::all_of(label.begin(), label.end(), isDigit);
}

/// Whether each part of the address `text` is spelled as everyone reads it: no sign, no leading zero.
bool isPlainIp(const std::string& text) {
  std::istringstream stream(text);
  std::string part;
  while (std::getline(stream, part, '.')) {
    if (part.front() == '+' || part.front() == '-' || (part.size() > 1 && part.front() == '0')) {
      return false;
    }
  }
  return true;
}

std::string describe(const std::string& text) {
  if (Drelvan::HostInfo::isLocalIp(text)) {
    return "IPv4 address of this machine itself (loopback)";
  }
  if (Drelvan::HostInfo::isIp(text)) {
    return isPlainIp(text) ? "IPv4 address" : "IPv4 address, in a spelling that others may read differently";
  }
  return isHostName(text) ? "host name" : "neither an IPv4 address nor a host name; a service would take it as a name";
}

int check(const std::vector<std::string>& texts) {
  bool allGood = true;
  for (const std::string& text : texts) {
    std::cout << printable(text) << ": " << describe(text) << "\n";
    allGood = allGood && (Drelvan::HostInfo::isIp(text) || isHostName(text));
  }
  return allGood ? ExitCode::success : ExitCode::refused;
}

}  // namespace

void addHostCommand(CLI::App& program, int& exitCode) {
  CLI::App* command = program.add_subcommand("host", "classify host names and addresses");
  command->require_subcommand(1);
  command->footer(c_examples);
  const auto texts = std::make_shared<std::vector<std::string>>();
  CLI::App* checker = command->add_subcommand("check", "print what each text is");
  checker->add_option("texts", *texts, "address or name")->type_name("TEXT")->required();
  checker->callback([texts, &exitCode] { exitCode = check(*texts); });
}

}  // namespace DvRequest
