// One input is a job id's text, and, cut at line feeds and NULs, a command line.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <fuzz/support/Input.h>
#include <fuzz/support/Property.h>
#include <service/Identifier.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Drelvan::GenericJobId;
using Fuzz::require;

/// What came of reading a job id.
struct Reading {
  std::string id;  ///< as text; empty when the read failed
  std::string error;

  bool operator==(const Reading& other) const { return id == other.id && error == other.error; }
};

constexpr const char* c_untouched = "untouched";

/// A failed read gives an invalid id and says why; a successful one leaves the message alone.
template <typename Read>
Reading readingOf(Read read) {
  std::string error = c_untouched;
  try {
    const GenericJobId id = read(error);
    const bool failed = error != c_untouched;
    require(!failed || (!error.empty() && !id.isValid()), "a failed read gives an invalid id and a message");
    require(failed || Drelvan::UniqueID().idCheckOK(id.getUniqueId()), "an id that was read has a good unique id");
    return {failed ? std::string() : id.toString(), error};
  } catch (const std::out_of_range&) {
    require(error == c_untouched, "a name that is too short leaves the message alone");
    return {std::string(), "out of range"};
  }
}

bool hasShortName(const std::string& text) {
  const std::size_t end = text.find('#');
  return end >= 1 && end <= 10;
}

void checkText(const std::string& text) {
  std::string given = text;
  const Reading reading = readingOf([&](std::string& error) { return GenericJobId::fromString(given, error); });
  require(given == text, "reading does not change the text");
  require(reading.id.empty() || reading.id == text, "an id that was read gives the text it was read from");
  require(reading.error != "out of range" || hasShortName(text), "only a short name is out of range");
}

void checkWritten(const std::string& text) {
  std::string given = text;
  std::string error;
  const GenericJobId id = GenericJobId::fromString(given, error);
  std::vector<std::string> arguments{"program"};
  id.toCmd(arguments);
  require(arguments.size() == 3, "the command-line form is two arguments");
  const Reading again = readingOf([&](std::string& message) { return GenericJobId::fromCmd(arguments, message); });
  require(again.id == id.toString(), "the command-line form reads back as the same id");
}

void checkCommandLine(const std::string& input) {
  std::vector<std::string> arguments = Fuzz::split(input, std::string_view("\n\0", 2));
  std::vector<char*> pointers;
  for (std::string& argument : arguments) {
    pointers.push_back(argument.data());
  }
  const auto count = static_cast<int>(pointers.size());
  const Reading fromTexts = readingOf([&](std::string& error) { return GenericJobId::fromCmd(arguments, error); });
  const Reading fromPointers =
      readingOf([&](std::string& error) { return GenericJobId::fromCmd(count, pointers.data(), error); });
  require(fromTexts == fromPointers, "both command-line readers agree");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input = Fuzz::textOf(data, size);
  checkText(input);
  checkCommandLine(input);
  if (!hasShortName(input)) {
    checkWritten(input);
  }
  return 0;
}
