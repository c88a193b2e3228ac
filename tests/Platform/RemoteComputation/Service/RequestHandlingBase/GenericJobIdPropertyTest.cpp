#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <service/Identifier.h>
#include <tests/support/ParsedDocument.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Drelvan::GenericJobId;
using Drelvan::UniqueID;
using TestSupport::ParsedDocument;

class JobId : public GenericJobId {
 public:
  JobId(const std::string& prefix, const std::string& uniqueId) { setPrefixAndUniqueId(prefix, uniqueId); }
};

rc::Gen<std::string> hexDigits() {
  return rc::gen::container<std::string>(16, rc::gen::elementOf(std::string("0123456789abcdefABCDEF")));
}

rc::Gen<std::string> uniqueIds() {
  return rc::gen::map(
      rc::gen::container<std::vector<std::string>>(3, hexDigits()),
      [](const std::vector<std::string>& groups) { return groups[0] + "-" + groups[1] + "-" + groups[2]; });
}

/// Any bytes but the separator of the text form.
rc::Gen<std::string> prefixes() {
  return rc::gen::container<std::string>(
      rc::gen::suchThat(rc::gen::arbitrary<char>(), [](char character) { return character != '#'; }));
}

/// Texts that are near to a good text form.
rc::Gen<std::string> nearlyTextForms() {
  return rc::gen::map(
      rc::gen::tuple(prefixes(), uniqueIds(), rc::gen::inRange<std::size_t>(0, 80), rc::gen::arbitrary<char>()),
      [](const std::tuple<std::string, std::string, std::size_t, char>& parts) {
        const auto& [prefix, uniqueId, place, character] = parts;
        std::string text = JobId(prefix, uniqueId).toString();
        text[place % text.size()] = character;
        return text;
      });
}

RC_GTEST_PROP(GenericJobIdProperty, TextFormReadsBack, ()) {
  const JobId id(*prefixes(), *uniqueIds());
  std::string text = id.toString();
  std::string message = "as it was";
  const GenericJobId read = GenericJobId::fromString(text, message);
  RC_ASSERT(read.getName() == id.getName());
  RC_ASSERT(read.getUniqueId() == id.getUniqueId());
  RC_ASSERT(read.isValid() == id.isValid());
  RC_ASSERT(message == "as it was");
}

RC_GTEST_PROP(GenericJobIdProperty, CommandLineFormReadsBackAmongOtherArguments, ()) {
  const JobId id(*prefixes(), *uniqueIds());
  auto arguments = *rc::gen::arbitrary<std::vector<std::string>>();
  arguments.erase(std::remove(arguments.begin(), arguments.end(), GenericJobId::c_cmdTag), arguments.end());
  id.toCmd(arguments);
  std::string message = "as it was";
  const GenericJobId read = GenericJobId::fromCmd(arguments, message);
  RC_ASSERT(read.getName() == id.getName());
  RC_ASSERT(read.getUniqueId() == id.getUniqueId());
  RC_ASSERT(message == "as it was");
}

RC_GTEST_PROP(GenericJobIdProperty, ProgramArgumentsReadBack, ()) {
  const auto withoutNul = rc::gen::container<std::string>(rc::gen::nonZero<char>());
  std::string prefix = *withoutNul;
  std::replace(prefix.begin(), prefix.end(), '#', '+');
  const JobId id(prefix, *uniqueIds());
  auto arguments = *rc::gen::container<std::vector<std::string>>(withoutNul);
  arguments.erase(std::remove(arguments.begin(), arguments.end(), GenericJobId::c_cmdTag), arguments.end());
  id.toCmd(arguments);
  std::vector<char*> pointers;
  for (std::string& argument : arguments) {
    pointers.push_back(argument.data());
  }
  std::string message = "as it was";
  const GenericJobId read = GenericJobId::fromCmd(static_cast<int>(pointers.size()), pointers.data(), message);
  RC_ASSERT(read.getName() == id.getName());
  RC_ASSERT(read.getUniqueId() == id.getUniqueId());
  RC_ASSERT(message == "as it was");
}

RC_GTEST_PROP(GenericJobIdProperty, IsValidUnlessThePrefixIsInvalid, ()) {
  const std::string prefix = *rc::gen::oneOf(prefixes(), rc::gen::just(std::string("Invalid")));
  RC_ASSERT(JobId(prefix, *uniqueIds()).isValid() == (prefix != "Invalid"));
}

/// The rules of the reader, said once more over positions and pairs of characters.
std::string expectedOutcome(const std::string& text) {
  const auto separator = std::find(text.begin(), text.end(), '#');
  if (separator == text.end()) {
    return "Invalid value for -jobId";
  }
  const std::string uniqueId(separator + 1, text.end());
  if (!UniqueID().idCheckOK(uniqueId)) {
    return "Invalid UniqueID in -jobId";
  }
  const auto nameLength = separator - text.begin();
  if (nameLength > 0 && nameLength < 11) {
    return "out of range";
  }
  const bool matches = nameLength > 0 && *(separator - 11) == '_' &&
                       std::equal(separator - 10, separator, uniqueId.begin(), uniqueId.begin() + 10);
  return matches ? "" : "Invalid name in -jobId";
}

RC_GTEST_PROP(GenericJobIdProperty, ReaderDecidesEveryTextByItsRules, ()) {
  std::string text = *rc::gen::oneOf(nearlyTextForms(), rc::gen::arbitrary<std::string>());
  const std::string expected = expectedOutcome(text);
  std::string message;
  std::string outcome;
  try {
    const GenericJobId read = GenericJobId::fromString(text, message);
    outcome = message;
    RC_ASSERT(!outcome.empty() || read.toString() == text);
    RC_ASSERT(outcome.empty() || !read.isValid());
  } catch (const std::out_of_range&) {
    RC_ASSERT(message.empty());
    outcome = "out of range";
  }
  RC_ASSERT(outcome == expected);
}

RC_GTEST_PROP(GenericJobIdProperty, XmlFormReadsBackThroughAParse, ()) {
  const auto plain =
      rc::gen::container<std::string>(rc::gen::elementOf(std::string("abcXYZ0189 _-#.:;,!?()[]{}\"'/=+*~^|@$%`")));
  const JobId id(*plain, *uniqueIds());
  const std::string indent(*rc::gen::inRange<std::size_t>(0, 9), ' ');
  const ParsedDocument document(id.toXml(indent, *rc::gen::element(std::string(), std::string("\t"))));
  const GenericJobId read(document.root());
  RC_ASSERT(read.getName() == id.getName());
  RC_ASSERT(read.getUniqueId() == id.getUniqueId());
}

}  // namespace
