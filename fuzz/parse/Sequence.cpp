#include <fuzz/parse/Sequence.h>

namespace Fuzz {

std::vector<std::string> splitDocuments(std::string_view input) {
  std::vector<std::string> documents;
  for (;;) {
    const std::size_t end = input.find(c_separator);
    documents.emplace_back(input.substr(0, end));
    if (end == std::string_view::npos) {
      return documents;
    }
    input.remove_prefix(end + c_separator.size());
  }
}

std::string joinDocuments(const std::vector<std::string>& documents) {
  std::string input;
  for (std::size_t index = 0; index < documents.size(); ++index) {
    input.append(index == 0 ? std::string_view() : c_separator).append(documents[index]);
  }
  return input;
}

}  // namespace Fuzz
