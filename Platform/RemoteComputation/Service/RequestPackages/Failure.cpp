#include <Platform/RemoteComputation/Service/RequestPackages/Failure.h>
#include <Platform/RemoteComputation/Service/RequestPackages/Text.h>
#include <service/ExceptionHandling.h>

#include <algorithm>
#include <cstddef>

namespace Drelvan::Private {

namespace {

constexpr const char* c_group = "RequestPackages";
constexpr std::size_t c_quotedLength = 100;

}  // namespace

void fail(const char* function, const char* file, int line, const std::string& message) {
  throw DvException(message.c_str(), c_group, function, file, line);
}

std::string quoted(std::string_view text) {
  std::string result = "'";
  std::size_t done = 0;
  while (done < text.size() && done < c_quotedLength) {
    const std::size_t length = std::max<std::size_t>(characterLength(text.substr(done)), 1);
    result.append(text.substr(done, length));
    done += length;
  }
  return result.append(done < text.size() ? "...'" : "'");
}

}  // namespace Drelvan::Private
