#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/server/JobOutputReader.h>

#include <algorithm>
#include <regex>
#include <vector>

namespace ParameterSweep {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t c_piece = std::size_t{64} << 10U;
constexpr unsigned c_partShift = 48;
constexpr unsigned c_tryShift = 40;
constexpr std::uint64_t c_offsetMask = (std::uint64_t{1} << c_tryShift) - 1;

/// Part and try as the upper bits of a place in the output.
std::vector<std::uint64_t> findOutputs(const fs::path& folder, std::uint64_t lastPart) {
  static const std::regex s_outputs(R"((\d{1,5})\.(\d{1,3})\.output)");
  std::vector<std::uint64_t> places;
  std::error_code error;
  for (fs::directory_iterator next(folder, error); !error && next != fs::directory_iterator(); next.increment(error)) {
    const std::string name = next->path().filename().string();
    std::smatch match;
    if (std::regex_match(name, match, s_outputs) && std::stoull(match[1]) <= lastPart) {
      places.push_back(std::stoull(match[1]) << c_partShift | (std::stoull(match[2]) & 0xFFU) << c_tryShift);
    }
  }
  std::sort(places.begin(), places.end());
  return places;
}

/// Without the beginning of a character at the end of a piece that another piece follows.
void cutWithinCharacter(std::string& text) {
  constexpr std::size_t c_longestCharacter = 4;
  for (std::size_t count = 1; count < c_longestCharacter && count < text.size(); ++count) {
    const auto byte = static_cast<unsigned char>(text[text.size() - count]);
    if (byte >= 0xC0U) {
      text.resize(text.size() - count);
      return;
    }
    if (byte < 0x80U) {
      return;
    }
  }
}

}  // namespace

JobOutput readOutput(const fs::path& spool, const SweepJobId& jobId, std::uint64_t after, const OutputParts& parts) {
  const std::vector<std::uint64_t> places = findOutputs(JobFolder(spool, jobId).path, parts.last);
  JobOutput output{jobId, after};
  for (const std::uint64_t place : places) {
    if ((after & ~c_offsetMask) > place) {
      continue;
    }
    const bool isGoingOn = (after & ~c_offsetMask) == place;
    const std::uint64_t offset = isGoingOn ? after & c_offsetMask : 0;
    const auto part = static_cast<std::uint32_t>(place >> c_partShift);
    const auto attempt = static_cast<std::uint32_t>(place >> c_tryShift & 0xFFU);
    std::string text = readStoredFile(PartFiles(spool, jobId, part, attempt).output, offset, c_piece);
    if (text.empty()) {
      continue;
    }
    if (text.size() == c_piece) {
      cutWithinCharacter(text);
    }
    output.next = place | (offset + text.size());
    output.more = text.size() + 3 >= c_piece || place != places.back();
    const bool needsTitle = offset == 0 && (parts.areSeveral || places.size() > 1);
    output.text =
        (needsTitle ? "== part " + std::to_string(part) + ", try " + std::to_string(attempt) + " ==\n" : "") + text;
    return output;
  }
  return output;
}

}  // namespace ParameterSweep
