#include <examples/parameter_sweep/engines/CommandWords.h>
#include <wordexp.h>

#include <new>
#include <stdexcept>

namespace ParameterSweep {

namespace {

/// What wordexp(3) allocates, also when it fails.
class Words {
 public:
  // No thread of the server changes the environment.
  explicit Words(const std::string& text)
      : m_error(::wordexp(text.c_str(), &m_words, WRDE_NOCMD | WRDE_SHOWERR)) {}  // NOLINT(concurrency-mt-unsafe)
  Words(const Words&) = delete;
  Words& operator=(const Words&) = delete;
  ~Words() {
    if (m_error == 0 || m_error == WRDE_NOSPACE) {
      ::wordfree(&m_words);
    }
  }

  int getError() const { return m_error; }
  std::vector<std::string> get() const { return {m_words.we_wordv, m_words.we_wordv + m_words.we_wordc}; }

 private:
  wordexp_t m_words{};
  int m_error;
};

}  // namespace

std::vector<std::string> splitCommand(const std::string& text) {
  const Words words(text);
  switch (words.getError()) {
    case 0:
      return words.get();
    case WRDE_NOSPACE:
      throw std::bad_alloc();
    case WRDE_SYNTAX:
      throw std::invalid_argument("a quote or brace is not closed in: " + text);
    default:
      throw std::invalid_argument(
          "quote the characters | & ; < > ( ) { } $( ` and line ends, or put them into a script: " + text);
  }
}

}  // namespace ParameterSweep
