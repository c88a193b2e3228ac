#include <tools/dvrequest/Fragments.h>
#include <tools/dvrequest/Input.h>

namespace DvRequest {

namespace {

class CombinedSchema final : public Drelvan::AbstractRequestSchema {
 public:
  CombinedSchema() { append(Drelvan::BaseRequestHandlingSchema()); }

  void append(const Drelvan::AbstractRequestSchema& fragment) { m_schema += fragment.getSchemaNoHeader(); }
  std::string text() const { return m_header + m_schema + m_footer; }
};

}  // namespace

Fragment::Fragment(const std::string& file) : m_file(file) { m_schema = readAll(file); }

const std::string& Fragment::getFile() const { return m_file; }

std::vector<Fragment> readFragments(const std::vector<std::string>& files) { return {files.begin(), files.end()}; }

std::string combinedSchema(const std::vector<Fragment>& fragments) {
  CombinedSchema combined;
  for (const Fragment& fragment : fragments) {
    combined.append(fragment);
  }
  return combined.text();
}

}  // namespace DvRequest
