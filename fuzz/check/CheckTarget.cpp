// One input is a sequence of documents, as for the parse target. What the tool's check command finds in each document,
// validated and not, is compared with what the library reports of it.

#include <fuzz/parse/NoAccess.h>
#include <fuzz/parse/Sequence.h>
#include <fuzz/support/Input.h>
#include <fuzz/support/Property.h>
#include <tests/support/ReaderComparison.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

TestSupport::ReaderComparison& comparison() {
  // Never destroyed: Xerces-C would be terminated, and with it what forbids access.
  static auto& instance = *new TestSupport::ReaderComparison({FUZZ_EXAMPLE_FRAGMENT, FUZZ_BREADTH_FRAGMENT});
  return instance;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  comparison();
  Fuzz::forbidAccess();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  for (const std::string& document : Fuzz::splitDocuments(Fuzz::textOf(data, size))) {
    for (const bool validate : {true, false}) {
      const std::string difference = comparison().differenceOf(document, validate);
      Fuzz::require(difference.empty(), std::string("the tool finds what the library reports, ") +
                                            (validate ? "validating: " : "not validating: ") + difference);
    }
  }
  return 0;
}
