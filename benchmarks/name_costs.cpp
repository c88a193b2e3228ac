/// Prints what documents cost whose names all have the same hash in Xerces-C, beside the same documents with other
/// names of the same length: the processor time of each, the fastest of five, and the ratio.
///
/// Entries of the log go to standard error as always; send it where a service would, or to /dev/null.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <service/ExceptionHandling.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <functional>
#include <string>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>

namespace {

using Name = std::function<std::string(unsigned number)>;

constexpr unsigned c_blocks = 14;

/// Names of the blocks "Ak" and "BE", which Xerces-C's hash does not tell apart.
std::string collidingName(unsigned number) {
  std::string name;
  for (unsigned block = 0; block < c_blocks; ++block) {
    name += (number >> block & 1U) != 0 ? "Ak" : "BE";
  }
  return name;
}

/// Names of the same length, spread.
std::string ordinaryName(unsigned number) {
  std::string name;
  std::uint64_t state = number + 1U;
  while (name.size() < std::size_t{2} * c_blocks) {
    state = state * 6364136223846793005U + 1442695040888963407U;
    name += static_cast<char>('a' + (state >> 33U) % 26U);
  }
  return name;
}

std::string repeated(unsigned count, const std::function<std::string(unsigned)>& part) {
  std::string text;
  for (unsigned number = 0; number < count; ++number) {
    text += part(number);
  }
  return text;
}

std::string root(const std::string& content, const std::string& attributes = "") {
  return "<r" + attributes + ">" + content + "</r>";
}

/// A valid package of `count` requests, with an attribute each.
std::string package(unsigned count, const std::function<std::string(unsigned)>& attribute) {
  return "<DV_RequestScript xmlns='http://drelvan.example/schemas/DVRequests.xsd'>" +
         repeated(count,
                  [&](unsigned number) {
                    return "<request id='4f0c9a7b21d35e68-90b1c2d3e4f5a697-0000000000000000' " + attribute(number) +
                           "/>";
                  }) +
         "</DV_RequestScript>";
}

double processorSeconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

bool isAccepted(const std::string& text, bool validate) {
  Drelvan::RequestXmlHelper& helper = Drelvan::RequestXmlHelper::getInstance();
  const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "document");
  try {
    helper.parse(source, validate)->release();
    return true;
  } catch (const Drelvan::DvExceptionNested&) {
    return false;
  }
}

struct Cost {
  double seconds;
  bool accepted;
};

Cost costOf(const std::string& text, bool validate) {
  constexpr int rounds = 5;
  Cost cost{1e9, false};
  for (int round = 0; round < rounds; ++round) {
    const double start = processorSeconds();
    cost.accepted = isAccepted(text, validate);
    cost.seconds = std::min(cost.seconds, processorSeconds() - start);
  }
  return cost;
}

const char* shown(bool accepted) { return accepted ? "accepted" : "refused"; }

void compare(const char* what, bool validate, const std::function<std::string(const Name&)>& document) {
  const std::string ordinaryText = document(ordinaryName);
  const Cost ordinary = costOf(ordinaryText, validate);
  const Cost colliding = costOf(document(collidingName), validate);
  std::printf("%-58s %9zu  %9.3f %-8s  %9.3f %-8s  %6.2f\n", what, ordinaryText.size(), ordinary.seconds * 1e3,
              shown(ordinary.accepted), colliding.seconds * 1e3, shown(colliding.accepted),
              colliding.seconds / ordinary.seconds);
  std::fflush(stdout);
}

void compareUnvalidated() {
  compare("490 prefixes", false, [](const Name& name) {
    return root(repeated(490, [&](unsigned number) { return "<e xmlns:" + name(number) + "='u'/>"; }));
  });
  compare("9 000 prefixes", false, [](const Name& name) {
    return root(repeated(9000, [&](unsigned number) { return "<e xmlns:" + name(number) + "='u'/>"; }));
  });
  compare("140 prefixes, 20 000 elements of them", false, [](const Name& name) {
    return root(repeated(20000, [&](unsigned number) { return "<" + name(number % 140) + ":e/>"; }),
                repeated(140, [&](unsigned number) { return " xmlns:" + name(number) + "='u'"; }));
  });
  compare("9 000 namespaces", false, [](const Name& name) {
    return root(repeated(9000, [&](unsigned number) { return "<e xmlns='" + name(number) + "'/>"; }));
  });
  compare("12 000 attributes, one an element", false, [](const Name& name) {
    return root(repeated(12000, [&](unsigned number) { return "<e " + name(number) + "=''/>"; }));
  });
  compare("12 000 attributes, 1 000 an element", false, [](const Name& name) {
    return root(repeated(12, [&](unsigned element) {
      return "<e" + repeated(1000, [&](unsigned number) { return " " + name(element * 1000 + number) + "=''"; }) + "/>";
    }));
  });
  compare("12 000 attributes of one element", false, [](const Name& name) {
    return root("<e" + repeated(12000, [&](unsigned number) { return " " + name(number) + "=''"; }) + "/>");
  });
  compare("190 attributes an element, 100 elements", false, [](const Name& name) {
    return root(repeated(100, [&](unsigned) {
      return "<e" + repeated(190, [&](unsigned number) { return " " + name(number) + "=''"; }) + "/>";
    }));
  });
  compare("140 elements of different names", false, [](const Name& name) {
    return root(repeated(140, [&](unsigned number) { return "<" + name(number) + "/>"; }));
  });
  compare("9 000 elements of different names", false, [](const Name& name) {
    return root(repeated(9000, [&](unsigned number) { return "<" + name(number) + "/>"; }));
  });
  compare("20 000 elements of 140 names", false, [](const Name& name) {
    return root(repeated(20000, [&](unsigned number) { return "<" + name(number % 140) + "/>"; }));
  });
  for (const unsigned count : {140U, 9000U}) {
    compare(count == 140 ? "140 ids" : "9 000 ids", false, [count](const Name& name) {
      return "<!DOCTYPE r [<!ATTLIST e i ID #IMPLIED>]>" +
             root(repeated(count, [&](unsigned number) { return "<e i='" + name(number) + "'/>"; }));
    });
  }
}

void compareValidated() {
  compare("490 prefixes, validated", true, [](const Name& name) {
    return package(490, [&](unsigned number) { return "xmlns:" + name(number) + "='u'"; });
  });
  compare("9 000 prefixes, validated", true, [](const Name& name) {
    return package(9000, [&](unsigned number) { return "xmlns:" + name(number) + "='u'"; });
  });
  compare("9 000 namespaces, validated", true, [](const Name& name) {
    return package(9000, [&](unsigned number) { return "xmlns:p='" + name(number) + "'"; });
  });
  compare("900 unknown attributes, validated", true,
          [](const Name& name) { return package(900, [&](unsigned number) { return name(number) + "=''"; }); });
  compare("900 unknown elements, validated", true, [](const Name& name) {
    return "<DV_RequestScript xmlns='http://drelvan.example/schemas/DVRequests.xsd'>" +
           repeated(900, [&](unsigned number) { return "<" + name(number) + "/>"; }) + "</DV_RequestScript>";
  });
}

}  // namespace

int main() {
  std::printf("%-58s %9s  %9s %-8s  %9s %-8s  %6s\n", "document", "bytes", "other ms", "", "same ms", "", "ratio");
  compareUnvalidated();
  compareValidated();
  Drelvan::RequestXmlHelper::reset(true);
  return 0;
}
