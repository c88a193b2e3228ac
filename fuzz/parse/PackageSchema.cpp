#include <fuzz/parse/PackageSchema.h>
#include <fuzz/support/Property.h>

#include <fstream>
#include <iterator>

namespace Fuzz {

namespace {

std::string readFragment(const char* path) {
  std::ifstream stream(path, std::ios::binary);
  require(stream.is_open(), std::string("the fragment ") + path + " is there");
  return {std::istreambuf_iterator<char>(stream), {}};
}

class WholeSchema final : public Drelvan::AbstractRequestSchema {
 public:
  WholeSchema() {
    m_schema = Drelvan::BaseRequestHandlingSchema().getSchemaNoHeader() + PackageSchema().getSchemaNoHeader();
  }
};

}  // namespace

PackageSchema::PackageSchema() { m_schema = readFragment(FUZZ_EXAMPLE_FRAGMENT) + readFragment(FUZZ_BREADTH_FRAGMENT); }

std::string exportedSchema() { return WholeSchema().getSchema(); }

}  // namespace Fuzz
