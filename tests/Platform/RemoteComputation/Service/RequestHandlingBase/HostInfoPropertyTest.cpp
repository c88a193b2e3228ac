#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <tests/support/ParsedDocument.h>
#include <tests/support/Pattern.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using Drelvan::HostInfo;
using TestSupport::ParsedDocument;
using TestSupport::Pattern;

/// The rule for addresses by a pattern and digit comparison instead of conversions.
bool isIpByPattern(const std::string& text) {
  static const Pattern pattern(R"(([+-]?\d+)\.([+-]?\d+)\.([+-]?\d+)\.([+-]?\d+))");
  const std::vector<std::string> parts = pattern.groupsOf(text);
  return !parts.empty() && std::all_of(parts.begin() + 1, parts.end(), [](const std::string& part) {
    static const Pattern zero(R"([+-]?0+)");
    static const Pattern upTo255(R"(\+?0*(\d|[1-9]\d|1\d\d|2[0-4]\d|25[0-5]))");
    return zero.matches(part) || upTo255.matches(part);
  });
}

rc::Gen<std::string> numbers() {
  return rc::gen::oneOf(
      rc::gen::map(rc::gen::inRange<std::int64_t>(-300, 600), [](std::int64_t value) { return std::to_string(value); }),
      rc::gen::map(rc::gen::arbitrary<std::int64_t>(), [](std::int64_t value) { return std::to_string(value); }),
      rc::gen::container<std::string>(rc::gen::elementOf(std::string("0125+- "))));
}

rc::Gen<std::string> nearlyAddresses() {
  return rc::gen::map(
      rc::gen::weightedOneOf<std::vector<std::string>>({{4, rc::gen::container<std::vector<std::string>>(4, numbers())},
                                                        {1, rc::gen::container<std::vector<std::string>>(numbers())}}),
      [](const std::vector<std::string>& parts) {
        std::string text;
        for (const std::string& part : parts) {
          text += (text.empty() ? "" : ".") + part;
        }
        return text;
      });
}

RC_GTEST_PROP(HostInfoProperty, IsIpAgreesWithThePattern, ()) {
  const std::string text = *rc::gen::oneOf(
      nearlyAddresses(), rc::gen::container<std::string>(rc::gen::elementOf(std::string("0123456789.+- "))),
      rc::gen::arbitrary<std::string>());
  RC_CLASSIFY(isIpByPattern(text), "addresses");
  RC_ASSERT(HostInfo::isIp(text) == isIpByPattern(text));
}

RC_GTEST_PROP(HostInfoProperty, EveryPlainAddressIsOne, ()) {
  const auto part = rc::gen::inRange(0, 256);
  const std::string text =
      std::to_string(*part) + "." + std::to_string(*part) + "." + std::to_string(*part) + "." + std::to_string(*part);
  RC_ASSERT(HostInfo::isIp(text));
  RC_ASSERT(HostInfo::isLocalIp(text) == (text == "127.0.0.1"));
  HostInfo host;
  host.setIpOrName(text);
  RC_ASSERT(host.getIp() == text);
  RC_ASSERT(host.getName().empty());
}

/// Characters of one to four bytes, and those that XML treats specially; no reference can arise from them.
rc::Gen<std::string> names() {
  static const std::vector<std::string> characters{"a",
                                                   "Z",
                                                   "0",
                                                   " ",
                                                   "\t",
                                                   "\n",
                                                   "\r",
                                                   "<",
                                                   ">",
                                                   "&",
                                                   "\"",
                                                   "'",
                                                   "#",
                                                   "]]>",
                                                   "\x7F",
                                                   "\xC3\xA9",
                                                   "\xE2\x82\xAC",
                                                   "\xEF\xBF\xBD",
                                                   "\xF0\x9F\x98\x80",
                                                   "\xF4\x8F\xBF\xBF"};
  return rc::gen::map(rc::gen::container<std::vector<std::string>>(rc::gen::elementOf(characters)),
                      [](const std::vector<std::string>& parts) {
                        std::string text;
                        for (const std::string& part : parts) {
                          text += part;
                        }
                        return text;
                      });
}

RC_GTEST_PROP(HostInfoProperty, XmlFormReadsBackThroughAParse, ()) {
  HostInfo host(*names(), *rc::gen::container<std::string>(rc::gen::elementOf(std::string("0123456789abcdef.:%"))));
  const auto ports = rc::gen::oneOf(rc::gen::arbitrary<int>(), rc::gen::inRange(-2, 3));
  host.setRequestServerPort(*ports);
  host.setPublisherPort(*ports);
  const ParsedDocument document(host.toXmlString("host", "  ", "\t"));
  const HostInfo read(document.root());
  RC_ASSERT(read.getName() == host.getName());
  RC_ASSERT(read.getIp() == host.getIp());
  RC_ASSERT(read.getRequestServerPort() == std::max(host.getRequestServerPort(), -1));
  RC_ASSERT(read.getPublisherPort() == std::max(host.getPublisherPort(), -1));
}

RC_GTEST_PROP(HostInfoProperty, MovingKeepsEverythingButTheSourcesTexts, (std::string name, std::string ip)) {
  const int requestServerPort = *rc::gen::arbitrary<int>();
  const int publisherPort = *rc::gen::arbitrary<int>();
  HostInfo source(name, ip);
  source.setRequestServerPort(requestServerPort);
  source.setPublisherPort(publisherPort);
  const std::string text = source.toString();
  HostInfo target(std::move(source));
  RC_ASSERT(target.toString() == text);
  target.setName("");
  target.setIp("");
  RC_ASSERT(source.toString() == target.toString());
}

}  // namespace
